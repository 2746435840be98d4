// Memory that ends somewhere: what comes back is the whole of it, or a refusal.
#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <climits>
#include <csignal>
#include <functional>
#include <new>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

class Limits : public TreeTest {
protected:
    static constexpr int items = 20000;
    enum Ending : int { whole, refused, damaged };

    static void allow(rlim_t bytes) {
        const rlimit limit{bytes, RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &limit);
    }

    /// Leaves so many bytes to this process: takes all that malloc has, and gives them back.
    static void leave(std::size_t bytes) {
        mallopt(M_MMAP_MAX, 0);
        static void* volatile reserve;  // so that the compiler leaves out nothing
        static void* volatile taken;
        reserve = std::malloc(bytes + 1);
        allow(0);
        for (std::size_t size = 4096; size >= 16; size /= 2) do
                taken = std::malloc(size);
            while (taken);
        std::free(reserve);
    }

    /// Makes the call with so much more memory, in a process of its own; `is_whole` looks at what it gave, with
    /// memory again. Gives how that ended.
    template <typename IsWhole, typename... T>
    int with_memory(std::size_t bytes, IsWhole is_whole, std::string_view function,
                    const T&... args) {
        const pid_t child = fork();
        if (child == 0) {
            silence_libxml2();
            std::freopen("/dev/null", "w", stderr);
            Outcome outcome;
            bool host_failed = false;
            leave(bytes);
            try {
                outcome = call(function, args...);
            } catch (const std::bad_alloc&) {
                host_failed = true;
            }
            allow(RLIM_INFINITY);
            const bool is_refused = host_failed || outcome.status() == VT_OUT_OF_MEMORY ||
                                    (outcome.status() == VT_OK && outcome.no_value());
            _exit(is_refused                                       ? refused
                  : outcome.status() == VT_OK && is_whole(outcome) ? whole
                                                                   : damaged);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// The same with more and more memory, until there is enough.
    template <typename IsWhole, typename... T>
    void with_little_memory(IsWhole is_whole, std::string_view function, const T&... args) {
        std::vector<int> endings;
        for (std::size_t bytes = 0; endings.empty() || endings.back() != whole;
             bytes += 1 + bytes / 8 + 5000) {
            endings.push_back(with_memory(bytes, is_whole, function, args...));
            ASSERT_THAT(endings.back(), testing::AnyOf(whole, refused)) << function << ' ' << bytes;
            ASSERT_LT(bytes, std::size_t{1} << 30) << function;
        }
        EXPECT_EQ(endings.front(), refused) << function << ": there was memory enough all the time";
    }

    bool has_all_items(Handle top) {
        return select(top, "descendant-or-self::item").size() == items &&
               select(top, "descendant::item[@k = 'v']/text()").size() == items;
    }
};

TEST_F(Limits, of_memory_for_loads_copies_and_saves) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "AddressSanitizer keeps memory of its own";
#endif
    if (under_valgrind()) GTEST_SKIP() << "limits are valgrind's own";
    std::u16string source;
    for (int i = 0; i < items; ++i) source += u"<item k='v'>text</item>";
    const std::u16string xml = u"<r>" + source + u"</r>", html = u"<html><body>" + source;
    const TempFile xml_file("in.xml", to_utf8(xml)), html_file("in.html", to_utf8(html));
    load("<r/>");  // the place of the first handles is mapped, which no limit of 0 allows
    const auto is_whole_document = [this](const Outcome& made) {
        return has_all_items(get("xmlDOMDocGetRootNode", made.handle()));
    };
    with_little_memory(is_whole_document, "xmlDOMDocLoadXMLString", xml, 1);
    with_little_memory(is_whole_document, "xmlDOMDocLoadXMLFile", xml_file.path(), 1);
    with_little_memory(is_whole_document, "xmlHTMLDocLoadString", html, 1);
    with_little_memory(is_whole_document, "xmlHTMLDocLoadFile", html_file.path(), 1);

    const Handle doc = load(to_utf8(xml)), other = load("<other/>"),
                 page = load_html(to_utf8(html));
    with_little_memory(is_whole_document, "xmlDOMNodeCloneNode", doc, 1);
    const auto is_whole_tree = [this](const Outcome& made) { return has_all_items(made.handle()); };
    with_little_memory(is_whole_tree, "xmlDOMNodeCloneNode", root(doc), 1);
    with_little_memory(is_whole_tree, "xmlDOMNodeImportNode", root(doc), 1, other);
    with_little_memory(
        [&](const Outcome& text) {
            const std::u16string& given = text.text();
            return given.size() > xml.size() - 4 && given.ends_with(u"</item></r>");
        },
        "xmlDOMNodeDumpNode", root(doc), 0);

    const TempFile target;
    const auto is_written = [&](const Outcome&) {
        const Handle again = get("xmlDOMDocLoadXMLFile", target.path(), 1);
        return again != 0 && has_all_items(get("xmlDOMDocGetRootNode", again));
    };
    with_little_memory(is_written, "xmlDOMDocSaveXMLFile", doc, target.path());
    with_little_memory(is_written, "xmlDOMDocSaveXMLFormatFile", doc, target.path(), "UTF-16", 0);
    const auto is_written_page = [&](const Outcome&) {
        const Handle again = get("xmlHTMLDocLoadFile", target.path(), 1);
        return again != 0 && has_all_items(get("xmlDOMDocGetRootNode", again));
    };
    with_little_memory(is_written_page, "xmlHTMLDocSaveFormatFile", page, target.path(), "UTF-8",
                       0);
}

}  // namespace
}  // namespace valtrosse::host
