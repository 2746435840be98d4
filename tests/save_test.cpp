// Saves that succeed completely or change nothing: disks that fill, targets of every kind, two writers at
// once, processes that are killed.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <functional>
#include <random>
#include <thread>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

namespace fs = std::filesystem;

class Saves : public TreeTest {
protected:
    Saves() { fs::create_directories(folder.path()); }

    std::string in_folder(const std::string& name) const { return folder.path() + "/" + name; }
    static std::string content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void put(const std::string& path, std::string_view bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    std::size_t files_in_folder() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
    }
    bool saves(Handle doc, const std::string& path) {
        return !gives_no_value("xmlDOMDocSaveXMLFile", doc, path);
    }

    /// A way to write, into a path; whether it succeeded.
    using Save = std::function<bool(const std::string&)>;
    std::vector<Save> every_save(Handle doc, Handle html) {
        std::vector<Save> all = {[=, this](const std::string& path) { return saves(doc, path); },
                                 [=, this](const std::string& path) {
                                     return !gives_no_value("xmlXSLTransformFile", input.path(),
                                                            style.path(), path);
                                 }};
        for (const std::string encoding : {"UTF-8", "UTF-16LE", "ISO-8859-1", "none"}) {
            all.emplace_back([=, this](const std::string& path) {
                return !gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, path, encoding, 0);
            });
            all.emplace_back([=, this](const std::string& path) {
                return !gives_no_value("xmlHTMLDocSaveFormatFile", html, path, encoding, 0);
            });
        }
        return all;
    }

    const TempFile folder{"saves", TempFile::In::memory}, input{"input.xml", "<a>one<b/>two</a>"},
        style{"style.xsl", stylesheet("<xsl:template match='/'><xsl:copy-of select='.'/>"
                                      "</xsl:template>")};
};

TEST_F(Saves, a_disk_that_is_full_at_any_byte) {
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const Handle doc = load("<a b='c'>\u00e9<!--d--></a>"), html = load_html("<p>one<p>two");
    const Handle zipped = load("<a/>");
    doc_of(zipped)->compression = 9;
    const std::string target = in_folder("target"), old = "what was there before";
    std::vector<Save> all = every_save(doc, html);
    all.emplace_back([&](const std::string& path) { return saves(zipped, path); });
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_TRUE(all[i](target)) << i;
        const std::string whole = content(target);
        for (std::size_t room = 0; room <= whole.size(); ++room) {
            for (const bool exists : {true, false}) {
                if (exists)
                    put(target, old);
                else
                    fs::remove(target);
                rlimit small = limit;
                small.rlim_cur = room;
                setrlimit(RLIMIT_FSIZE, &small);
                const bool saved = all[i](target);
                setrlimit(RLIMIT_FSIZE, &limit);
                EXPECT_EQ(saved, room == whole.size()) << i << ' ' << room;
                EXPECT_EQ(content(target), saved ? whole : exists ? old : "") << i << ' ' << room;
                EXPECT_EQ(fs::exists(target), saved || exists) << i << ' ' << room;
                EXPECT_LE(files_in_folder(), 1U);
            }
        }
    }
    std::signal(SIGXFSZ, before);
}

TEST_F(Saves, a_target_keeps_what_it_is) {
    const Handle doc = load("<new/>");
    const std::string whole = (saves(doc, in_folder("whole")), content(in_folder("whole")));
    const auto status_of = [](const std::string& path) {
        struct stat64 status {};
        lstat64(path.c_str(), &status);
        return status;
    };

    const std::string target = in_folder("target");
    for (const mode_t mode : {0600U, 0640U, 04755U}) {
        put(target, "old");
        chmod(target.c_str(), mode);
        EXPECT_TRUE(saves(doc, target));
        EXPECT_EQ(status_of(target).st_mode & 07777, mode);
        EXPECT_EQ(content(target), whole);
    }
    const mode_t mask = umask(027);
    EXPECT_TRUE(saves(doc, in_folder("made")));
    umask(mask);
    EXPECT_EQ(status_of(in_folder("made")).st_mode & 07777, 0640U);
    if (geteuid() == 0) {
        EXPECT_EQ(chown(target.c_str(), 1234, 4321), 0);
        EXPECT_TRUE(saves(doc, target));
        EXPECT_EQ(status_of(target).st_uid, 1234U);
        EXPECT_EQ(status_of(target).st_gid, 4321U);
    }

    // Links: of the symbolic ones the file at the end is replaced, with a second name it is written.
    fs::create_directory(in_folder("elsewhere"));
    put(in_folder("elsewhere/end"), "old");
    fs::create_symlink("elsewhere/end", in_folder("link"));
    fs::create_symlink("link", in_folder("link-to-link"));
    EXPECT_TRUE(saves(doc, in_folder("link-to-link")));
    EXPECT_TRUE(fs::is_symlink(in_folder("link")) && fs::is_symlink(in_folder("link-to-link")));
    EXPECT_EQ(content(in_folder("elsewhere/end")), whole);
    put(target, "old");
    fs::create_hard_link(target, in_folder("second"));
    EXPECT_TRUE(saves(doc, target));
    EXPECT_EQ(content(in_folder("second")), whole);
    EXPECT_EQ(fs::hard_link_count(target), 2U);
    fs::create_symlink("not-there-yet", in_folder("dangling"));
    EXPECT_TRUE(saves(doc, in_folder("dangling")));
    EXPECT_EQ(content(in_folder("not-there-yet")), whole);

    // Addresses as libxml2 understands them, and names that it would misunderstand.
    const struct {
        const char *address, *name;
    } addresses[] = {{"a%20b", "a b"}, {"100%", "100%"},           {"100% a", "100% a"},
                     {"a:b", "a:b"},   {"\u00e9 ?#", "\u00e9 ?#"}, {"%2525", "%25"}};
    fs::create_directory(in_folder("50%25 or 50%"));
    for (const auto& [address, name] : addresses)
        for (const std::string& prefix : {std::string(), std::string("50%25 or 50%/")}) {
            EXPECT_TRUE(saves(doc, in_folder(prefix + address)));
            EXPECT_TRUE(fs::exists(in_folder(prefix + name)) ||
                        fs::exists(in_folder(prefix + address)))
                << prefix << address;
        }
    EXPECT_TRUE(saves(doc, "file://" + in_folder("by-address")));
    EXPECT_EQ(content(in_folder("by-address")), whole);
    const std::string long_name(255, 'n');
    EXPECT_TRUE(saves(doc, in_folder(long_name)));
    EXPECT_EQ(content(in_folder(long_name)), whole);

    // What is no regular file is written straight through.
    const std::string pipe = in_folder("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::string read;
    std::thread reader([&] { read = content(pipe); });
    EXPECT_TRUE(saves(doc, pipe));
    reader.join();
    EXPECT_EQ(read, whole);
    EXPECT_TRUE(fs::is_fifo(pipe));
    for (const auto& entry : fs::recursive_directory_iterator(folder.path()))
        EXPECT_NE(entry.path().extension(), ".tmp");
}

/// What `work` gives in a process that is not root.
int of_a_user(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        constexpr id_t nobody = 65534;
        if (geteuid() == 0 && (setegid(nobody) != 0 || seteuid(nobody) != 0)) _exit(99);
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

TEST_F(Saves, what_a_user_may_not_do) {
    if (under_valgrind()) GTEST_SKIP() << "in processes of its own";
    const Handle doc = load("<new/>");
    const std::string whole = (saves(doc, in_folder("whole")), content(in_folder("whole")));
    const auto try_save = [&](const std::string& path) {
        return of_a_user([&] { return saves(doc, path) ? 0 : 1; });
    };
    // In a folder that cannot be written, a file is written in place.
    const std::string open_file = in_folder("open"), read_only = in_folder("read-only");
    put(open_file, "old");
    put(read_only, "old");
    fs::permissions(open_file, fs::perms(0666));
    fs::permissions(read_only, fs::perms(0444));
    fs::permissions(folder.path(), fs::perms(0555));
    EXPECT_EQ(try_save(open_file), 0);
    EXPECT_EQ(content(open_file), whole);
    EXPECT_EQ(try_save(in_folder("new")), 1);
    // And one that cannot be written is not replaced.
    fs::permissions(folder.path(), fs::perms(0777));
    EXPECT_EQ(try_save(read_only), 1);
    EXPECT_EQ(content(read_only), "old");
    // In a folder like /tmp nobody may put something in the place of what is another's.
    fs::permissions(folder.path(), fs::perms(01777));
    put(open_file, "old");
    EXPECT_EQ(try_save(open_file), 0);
    EXPECT_EQ(content(open_file), whole);
    EXPECT_EQ(files_in_folder(), 3U);
}

TEST_F(Saves, two_at_once_leave_one_of_both) {
    const std::string target = in_folder("target");
    const int rounds = under_valgrind() ? 20 : 300;
    const std::string texts[] = {"<a>" + std::string(30000, 'a') + "</a>", "<b/>"};
    std::string wholes[2];
    std::vector<Handle> docs;
    for (std::size_t i = 0; i < 2; ++i) {
        docs.push_back(load(texts[i]));
        wholes[i] = (saves(docs[i], target), content(target));
    }
    std::atomic<int> left = 2;
    std::vector<std::thread> writers;
    for (const Handle doc : docs)
        writers.emplace_back([&, doc] {
            Host own(plugin_path());
            for (int i = 0; i < rounds; ++i)
                EXPECT_EQ(own.call("xmlDOMDocSaveXMLFile", {doc, target}).handle(), doc);
            --left;
        });
    while (left > 0) EXPECT_THAT(wholes, testing::Contains(content(target)));
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(files_in_folder(), 1U);
}

TEST_F(Saves, a_process_that_is_killed_leaves_the_old_or_the_new) {
    if (under_valgrind()) GTEST_SKIP() << "in processes of its own";
    const std::string target = in_folder("target");
    const Handle docs[] = {load("<a>" + std::string(1000000, 'a') + "</a>"),
                           load("<b>" + std::string(500000, 'b') + "</b>")};
    std::string wholes[2];
    for (int i = 0; i < 2; ++i) wholes[i] = (saves(docs[i], target), content(target));
    std::mt19937 random(1);
    int unfinished = 0;
    for (int i = 0; i < 100; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            for (int n = 0;; ++n) saves(docs[n % 2], target);
        usleep(std::uniform_int_distribution<useconds_t>(0, 5000)(random));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        EXPECT_THAT(wholes, testing::Contains(content(target))) << i;
        unfinished += files_in_folder() > 1;
        for (const auto& entry : fs::directory_iterator(folder.path()))
            if (entry.path() != target) fs::remove(entry.path());
    }
    EXPECT_GT(unfinished, 0) << "none was killed on the way";
}

}  // namespace
}  // namespace valtrosse::host
