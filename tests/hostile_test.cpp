// Input that no friend would give, through every function that takes a path or a text.
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxslt/xsltutils.h>
#include <sys/resource.h>

#include <csignal>
#include <functional>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

class Hostile : public LibraryTest {
protected:
    /// What became of a file or text: nothing, or a document or DTD (its text), which is freed.
    std::string fate(const Outcome& loaded) {
        EXPECT_EQ(loaded.status(), VT_OK);
        if (loaded.no_value()) return "none";
        const Handle handle = loaded.handle();
        const std::string text = dumped(handle);
        EXPECT_EQ(get("xmlDOMNodeFreeNode", handle), 0U);
        return text;
    }
    std::string dumped(Handle node) {
        const Outcome dump = call("xmlDOMNodeDumpNode", node, 0);
        return dump.status() == VT_OK ? dump.utf8() : std::to_string(dump.status());
    }
    std::string xml_file(std::string_view path) {
        return fate(call("xmlDOMDocLoadXMLFile", path, 1));
    }
    std::string html_file(std::string_view path) {
        return fate(call("xmlHTMLDocLoadFile", path, 1));
    }
    std::string dtd_file(std::string_view path) {
        return fate(call("xmlDOMDocLoadDoctype", "", path));
    }
    std::string xml_text(std::u16string_view text) {
        return fate(call("xmlDOMDocLoadXMLString", text, 1));
    }
    std::string html_text(std::u16string_view text) {
        return fate(call("xmlHTMLDocLoadString", text, 1));
    }
    /// Whether a transformation of this input, by this stylesheet, into this file wrote anything.
    bool transforms(std::string_view input, std::string_view style, std::string_view output) {
        return !gives_no_value("xmlXSLTransformFile", input, style, output);
    }

    static std::string times(std::size_t count, std::string_view part) {
        std::string text;
        text.reserve(count * part.size());
        while (count-- > 0) text += part;
        return text;
    }
    /// Entities of ten references each to the one before.
    static std::string laughs(const std::string& content) {
        std::string dtd = "<!ENTITY e0 'ha'>";
        for (int i = 1; i < 12; ++i)
            dtd += "<!ENTITY e" + std::to_string(i) + " '" +
                   times(10, "&e" + std::to_string(i - 1) + ";") + "'>";
        return "<!DOCTYPE r [" + dtd + "]>" + content;
    }
};

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

TEST_F(Hostile, files_of_every_loader) {
    const TempFile identity("identity.xsl",
                            "<xsl:stylesheet version='1.0' xmlns:xsl="
                            "'http://www.w3.org/1999/XSL/Transform'/>");
    const TempFile good("good.xml", "<a/>"), output("output");
    const char gzip[] = "\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03\xB3\x49\xB4";
    const struct {
        const char* what;
        std::string bytes;
        const char *html, *dtd;  // what the document or DTD has in it; no file of these is XML
    } files[] = {
        {"empty", "", "", "none"},
        {"blank", " \n", "", "<!DOCTYPE"},
        {"truncated tag", "<a><b", "", "none"},
        {"truncated text", "<a>text", "text", "none"},
        {"truncated DOCTYPE", "<!DOCTYPE a [<!ELEMENT a", "", "none"},
        {"truncated gzip", std::string(gzip, sizeof gzip - 1), "", ""},
        {"NUL in a tag", std::string("<a\0b/>", 6), "", "none"},
        {"NUL in text", std::string("<a>x\0y</a>", 10), "x", "none"},
        {"NULs", std::string(10000, '\0'), "", "none"},
        {"claims UTF-8", "<?xml version='1.0' encoding='UTF-8'?><a>\xE9</a>", "\u00e9", "none"},
        {"claims an unknown encoding", "<?xml version='1.0' encoding='no-such'?><a>x</a>", "x",
         "none"},
        {"half a character", "<a>\xE2\x82</a>", "", "none"},
        {"half a surrogate", std::string("\xFF\xFE<\0a\0>\0\x00\xD8<\0/\0a\0>\0", 20), "", "none"},
        {"a billion laughs", laughs("<r>&e11;</r>"), "", "none"},
        {"a billion laughs in an attribute", laughs("<r a='&e11;'/>"), "", "none"},
        {"an endless entity", "<!DOCTYPE r [<!ENTITY e '&e;'>]><r>&e;</r>", "", "none"},
        {"an endless parameter entity", "<!DOCTYPE r [<!ENTITY % p '%p;'>%p;]><r/>", "", "none"}};
    for (const auto& [what, bytes, html, dtd] : files) {
        const TempFile file("hostile", bytes);
        EXPECT_EQ(xml_file(file.path()), "none") << what;
        EXPECT_TRUE(contains(html_file(file.path()), html)) << what << html_file(file.path());
        EXPECT_TRUE(contains(dtd_file(file.path()), dtd)) << what << dtd_file(file.path());
        EXPECT_FALSE(transforms(file.path(), identity.path(), output.path())) << what;
        EXPECT_FALSE(transforms(good.path(), file.path(), output.path())) << what;
        EXPECT_FALSE(output.exists()) << what;
        EXPECT_EQ(xml_file(good.path()).substr(0, 5), "<?xml") << "after " << what;
    }
    // Parameter entities that grow, in a DTD.
    std::string bomb = "<!ENTITY % e0 '<!ELEMENT a ANY>'>";
    for (int i = 1; i < 30; ++i)
        bomb += "<!ENTITY % e" + std::to_string(i) + " '" +
                times(2, "&#37;e" + std::to_string(i - 1) + ";") + "'>";
    const TempFile growing("growing.dtd", bomb + "%e29;");
    EXPECT_EQ(dtd_file(growing.path()), "none");
}

TEST_F(Hostile, paths_of_every_function) {
    const TempFile locked("locked.xml", "<a/>"), good("good.xml", "<a/>");
    const TempFile style("identity.xsl",
                         "<xsl:stylesheet version='1.0' xmlns:xsl="
                         "'http://www.w3.org/1999/XSL/Transform'/>");
    namespace fs = std::filesystem;
    fs::permissions(locked.path(), fs::perms::none);
    const Handle doc = load("<a/>"), html = keep(get("xmlHTMLDocLoadString", "<p>x", 1));
    const std::string endless(5000, 'p'), folders = times(2500, "p/");
    for (const std::string& path :
         {testing::TempDir(), std::string("/no/such/file"), endless, folders, "/" + endless,
          std::string("%%%"), std::string("file:///no/such"), std::string("ftp"), std::string("\n"),
          std::string("/dev/full/x"), std::string("")}) {
        EXPECT_EQ(xml_file(path), "none") << path;
        EXPECT_FALSE(transforms(path, style.path(), "/dev/null")) << path;
        EXPECT_FALSE(transforms(good.path(), path, "/dev/null")) << path;
        const Handle lost = load("<!DOCTYPE a SYSTEM '" + path + "'><a/>");
        EXPECT_EQ(call("xmlDOMDocValidateDTD", lost).status(), VT_OK) << path;
        // A folder is opened like a file, and then there is nothing in it.
        const bool folder = path == testing::TempDir();
        EXPECT_EQ(html_file(path) == "none", !folder) << path;
        EXPECT_EQ(dtd_file(path) == "none", !folder) << path;
    }
    if (geteuid() != 0) {  // who may read everything
        EXPECT_EQ(xml_file(locked.path()) + html_file(locked.path()), "nonenone");
    }
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/full", "/dev/urandom"}) {
        EXPECT_EQ(xml_file(device), "none") << device;
        EXPECT_NE(html_file(device), "none") << device;
        EXPECT_FALSE(transforms(device, style.path(), "/dev/null")) << device;
    }
    // Targets that cannot be written, each by every function that writes.
    const std::string page(under_valgrind() ? 20000 : 1000000, 'x');
    const TempFile input("input.xml", "<a>" + page + "</a>");
    const TempFile folder("folder");
    fs::create_directory(folder.path());
    fs::create_symlink(folder.path() + "/loop", folder.path() + "/loop");
    for (Handle long_text : {get("xmlDOMDocGetRootNode", doc), find(html, "//p")})
        get("xmlDOMNodeAddChild", 0, long_text, get("xmlDOMDocCreateNode", doc, 3, page));
    for (const std::string& path :
         {std::string("/dev/full"), std::string("/no/such/folder/x"), folder.path(),
          folder.path() + "/loop", "/" + endless, std::string("/proc/version"), std::string("")}) {
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFile", doc, path)) << path;
        for (const char* encoding : {"UTF-8", "UTF-16LE", "ISO-8859-1", "none"}) {
            EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, path, encoding, 0))
                << path;
            EXPECT_TRUE(gives_no_value("xmlHTMLDocSaveFormatFile", html, path, encoding, 0))
                << path;
        }
        EXPECT_FALSE(transforms(input.path(), style.path(), path)) << path;
    }
}

TEST_F(Hostile, targets_that_fill_up_on_the_way) {
    // As on a full disk: so many bytes go into a file and no more.
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const TempFile style("identity.xsl",
                         "<xsl:stylesheet version='1.0' xmlns:xsl="
                         "'http://www.w3.org/1999/XSL/Transform'>"
                         "<xsl:output method='text'/></xsl:stylesheet>");
    const TempFile output("output");
    for (std::size_t size : {4097U, 8193U, 12289U, 20000U, 65537U}) {
        const std::string text(size, 'x');
        const TempFile input("input.xml", "<a>" + text + "</a>");
        const Handle doc = load("<a>" + text + "</a>");
        const Handle html = keep(get("xmlHTMLDocLoadString", "<p>" + text, 1));
        for (std::size_t room : {0U, 4096U, 8192U, 12288U, 16384U, 65536U}) {
            rlimit small = limit;
            small.rlim_cur = room;
            setrlimit(RLIMIT_FSIZE, &small);
            const auto full = [&](std::string_view function, const auto&... args) {
                const bool refused = gives_no_value(function, args...);
                EXPECT_EQ(refused, output.content().size() == room)
                    << function << size << ' ' << room;
            };
            full("xmlDOMDocSaveXMLFile", doc, output.path());
            for (const char* encoding : {"UTF-8", "UTF-16BE", "none"}) {
                full("xmlDOMDocSaveXMLFormatFile", doc, output.path(), encoding, 0);
                full("xmlHTMLDocSaveFormatFile", html, output.path(), encoding, 0);
            }
            full("xmlXSLTransformFile", input.path(), style.path(), output.path());
            setrlimit(RLIMIT_FSIZE, &limit);
        }
    }
    std::signal(SIGXFSZ, before);
}

TEST_F(Hostile, texts_of_every_loader) {
    const std::size_t scale = under_valgrind() ? 100 : 1;
    const struct {
        const char* what;
        std::string text;
        const char *xml, *html;  // a part of the document; "none" without one
    } texts[] = {
        {"an attribute over the limit", "<a b='" + std::string(100000000 / scale, 'x') + "'/>",
         scale > 1 ? "xxx" : "none", "xxx"},
        {"1 MB of tags", std::string(1000000 / scale, '<'), "none", ""},
        {"ampersands", std::string(100000 / scale, '&'), "none", ""},
        {"255 levels", times(255, "<a>") + times(255, "</a>"), "<a><a/></a>", ""},
        {"300 levels", times(300, "<a>") + times(300, "</a>"), "none", ""},
        {"100000 levels", times(100000 / scale, "<div>"), "none", "<div>"},
        {"many attributes", "<a" + times(10000 / scale, " b='c'") + "/>", "none", ""},
        {"a billion laughs", laughs("<r>&e11;</r>"), "none", ""},
        {"references of no character", "<a>&#0;&#xD800;&#x110000;&#99999999999;</a>", "none", ""},
        {"no characters", "\x01\x02<a>\x03</a>", "none", ""},
        {"an end without a start", "</a></b>]]>-->", "none", ""},
        {"comments in comments", times(10000 / scale, "<!--"), "none", ""},
        {"a file of this machine", "<!DOCTYPE r [<!ENTITY e SYSTEM '/etc/passwd'>]><r>&e;</r>",
         "<r>&e;</r>", ""}};
    for (const auto& [what, text, xml, html] : texts) {
        const std::u16string units = to_units(text);
        EXPECT_TRUE(contains(xml_text(units), xml)) << what;
        if (units.size() > 20000000) continue;
        const std::string page = html_text(units);
        EXPECT_TRUE(contains(page, html)) << what;
        EXPECT_FALSE(contains(page, "root:x")) << what;
    }
    for (const std::u16string& text : {std::u16string(), std::u16string(1, u'\0')}) {
        EXPECT_EQ(xml_text(text), "none");
        EXPECT_EQ(html_text(text), "none");
    }
    // A surrogate alone, or two of them, are no character of XML.
    for (std::u16string surrogates :
         {std::u16string{0xD800}, std::u16string{0xDC00}, std::u16string{0xD83D, 0xDE00}}) {
        EXPECT_EQ(xml_text(u"<a>" + surrogates + u"</a>"), "none");
        EXPECT_EQ(xml_text(u"<a" + surrogates + u"/>"), "none");
        EXPECT_NE(html_text(u"<p " + surrogates + u"=\"" + surrogates + u"\">" + surrogates), "");
    }
    if (under_valgrind()) return;  // what follows takes minutes there
    // Once entities are substituted the limits hold as well.
    xmlSubstituteEntitiesDefault(1);
    const std::string block(100000, 'x');
    EXPECT_EQ(xml_text(to_units(laughs("<r>&e11;</r>"))), "none");
    EXPECT_EQ(xml_text(to_units("<!DOCTYPE r [<!ENTITY e '" + block + "'>]><r>" +
                                times(20000, "&e;") + "</r>")),
              "none");
}

TEST_F(Hostile, texts_in_a_tree) {
    const Handle doc = load("<!DOCTYPE r [<!ATTLIST r k ID #IMPLIED>]><r k='x'/>");
    const Handle root = get("xmlDOMDocGetRootNode", doc);
    for (const char* part : {"(", "a[", "-", "f("})
        EXPECT_TRUE(gives_no_value("xmlDOMNodeSelectNodes", doc, times(100000, part))) << part;
    const std::u16string lone{u'a', 0xD800, u'b', 0xDFFF}, nul{u'a', 0, u'b'}, pair{0xD83D, 0xDE00};
    const std::u16string large(under_valgrind() ? 3000 : 300000, u'\u20ac');
    for (const std::u16string& text : {lone, nul, pair, large, std::u16string()}) {
        for (std::uint32_t type : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 11U}) {
            const Handle node = get("xmlDOMDocCreateNode", doc, type, text);
            ASSERT_NE(node, 0U) << type;
            if (type == 3) {
                // What goes in comes out, surrogates too; a zero ends it or is kept.
                const std::u16string kept = call("xmlDOMNodeGetValue", node).text();
                EXPECT_TRUE(kept == text || (text == nul && kept == u"a")) << text.size();
                EXPECT_EQ(get("xmlDOMNodeAddChild", 0, root, node), node);
                for (std::string_view encoding : {"UTF-8", "UTF-16LE", "ISO-8859-1", "none"}) {
                    const TempFile file("saved.xml");
                    const bool written = !gives_no_value("xmlDOMDocSaveXMLFormatFile", doc,
                                                         file.path(), encoding, 0);
                    if (written && encoding != "UTF-16LE") {
                        EXPECT_TRUE(contains(file.content(), "</r>")) << encoding;
                    }
                }
                EXPECT_EQ(get("xmlDOMNodeUnlinkNode", node), node);
            }
            const vt_status dump = call("xmlDOMNodeDumpNode", node, 1).status();
            EXPECT_TRUE(dump == VT_OK || dump == VT_MALFORMED || dump == VT_TOO_LARGE) << dump;
            EXPECT_EQ(get("xmlDOMNodeFreeNode", node), 0U);
        }
        for (std::string_view function : {"xmlDOMElementGetAttribute",
                                          "xmlDOMElementGetAttributeNode", "xmlDOMNodeSelectNodes"})
            EXPECT_EQ(call(function, root, text).status(), VT_OK) << function;
        EXPECT_EQ(get("xmlDOMDocGetElementById", doc, text), 0U);
        for (std::string_view function : {"xmlDOMUtilIsLevel1Name", "xmlDOMUtilIsValidXMLName"})
            EXPECT_EQ(call(function, text).status(), VT_OK) << function;
        EXPECT_EQ(call("xmlDOMDocSetLastMsg", doc, text).status(), VT_OK);
        EXPECT_EQ(call("xmlDOMDocGetLastMsg", doc).status(), VT_OK);
        for (std::uint32_t property : {0U, 1U, 3U}) {
            EXPECT_EQ(get("xmlDOMDocSetProperty", doc, property, text), 0U);
            EXPECT_FALSE(call("xmlDOMDocGetProperty", doc, property).no_value());
        }
        EXPECT_EQ(call("xmlDOMDocValidateDTD", doc).status(), VT_OK);
        EXPECT_EQ(dump(root), "<r k=\"x\"/>");
    }
}

}  // namespace
}  // namespace valtrosse::host
