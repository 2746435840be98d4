// Input that no friend would give, through every function that takes a path or a text.
#include <gmock/gmock.h>
#include <libxml/globals.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::HasSubstr;

std::string times(std::size_t count, std::string_view part) {
    std::string text;
    text.reserve(count * part.size());
    while (count-- > 0) text += part;
    return text;
}
/// A document whose entities have ten references each to the one before.
std::string laughs(const std::string& content) {
    std::string dtd = "<!ENTITY e0 'ha'>";
    for (int i = 1; i < 12; ++i)
        dtd += "<!ENTITY e" + std::to_string(i) + " '" +
               times(10, "&e" + std::to_string(i - 1) + ";") + "'>";
    return "<!DOCTYPE r [" + dtd + "]>" + content;
}

class Hostile : public TreeTest {
protected:
    /// What becomes of a file or text: nothing, or a document or DTD (its text), which is freed.
    template <typename... T>
    std::string fate(std::string_view loader, const T&... args) {
        const Outcome loaded = call(loader, args...);
        EXPECT_EQ(loaded.status(), VT_OK);
        if (loaded.no_value()) return "none";
        const Outcome dump = call("xmlDOMNodeDumpNode", loaded.handle(), 0);
        free_node(loaded.handle());
        return dump.status() == VT_OK ? dump.utf8() : std::to_string(dump.status());
    }
    std::string xml_file(std::string_view path) { return fate("xmlDOMDocLoadXMLFile", path, 1); }
    std::string html_file(std::string_view path) { return fate("xmlHTMLDocLoadFile", path, 1); }
    std::string dtd_file(std::string_view path) { return fate("xmlDOMDocLoadDoctype", "", path); }
    /// Whether a transformation of this input, by this stylesheet, into this file wrote anything.
    bool transforms(std::string_view input, std::string_view by, std::string_view into) {
        return !gives_no_value("xmlXSLTransformFile", input, by, into);
    }

    const TempFile style{"style.xsl", stylesheet("<xsl:output method='text'/>")},
        good{"good.xml", "<a/>"}, output{"output"};
};

TEST_F(Hostile, files_of_every_loader) {
    const char gzip[] = "\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03\xB3\x49\xB4";
    const struct {
        const char* what;
        std::string bytes;
        const char *html = "", *dtd = "none";  // what the document or DTD has in it; none is XML
    } files[] = {
        {"empty", ""},
        {"blank", " \n", "", "<!DOCTYPE"},
        {"truncated tag", "<a><b"},
        {"truncated text", "<a>text", "text"},
        {"truncated DOCTYPE", "<!DOCTYPE a [<!ELEMENT a"},
        {"truncated gzip", std::string(gzip, sizeof gzip - 1), "", ""},
        {"NUL in a tag", std::string("<a\0b/>", 6), "none"},
        {"NUL in text", std::string("<a>x\0y</a>", 10), "x y"},
        {"NULs", std::string(10000, '\0'), "none"},
        {"claims UTF-8", "<?xml version='1.0' encoding='UTF-8'?><a>\xE9</a>", "\u00e9"},
        {"claims what is unknown", "<?xml version='1.0' encoding='no-such'?><a>x</a>", "x"},
        {"half a character", "<a>\xE2\x82</a>"},
        {"half a surrogate", std::string("\xFF\xFE<\0a\0>\0\x00\xD8<\0/\0a\0>\0", 18)},
        {"a billion laughs", laughs("<r>&e11;</r>")},
        {"a billion laughs in an attribute", laughs("<r a='&e11;'/>")},
        {"an endless entity", "<!DOCTYPE r [<!ENTITY e '&e;'>]><r>&e;</r>"},
        {"an endless parameter entity", "<!DOCTYPE r [<!ENTITY % p '%p;'>%p;]><r/>"},
    };
    for (const auto& [what, bytes, html, dtd] : files) {
        const TempFile file("hostile", bytes);
        EXPECT_EQ(xml_file(file.path()), "none") << what;
        EXPECT_THAT(html_file(file.path()), HasSubstr(html)) << what;
        EXPECT_THAT(dtd_file(file.path()), HasSubstr(dtd)) << what;
        EXPECT_FALSE(transforms(file.path(), style.path(), output.path())) << what;
        EXPECT_FALSE(transforms(good.path(), file.path(), output.path())) << what;
        EXPECT_FALSE(output.exists()) << what;
        EXPECT_THAT(xml_file(good.path()), HasSubstr("<a/>")) << "after " << what;
    }
    // Parameter entities that grow, in a DTD.
    std::string bomb = "<!ENTITY % e0 '<!ELEMENT a ANY>'>";
    for (int i = 1; i < 30; ++i)
        bomb += "<!ENTITY % e" + std::to_string(i) + " '" +
                times(2, "&#37;e" + std::to_string(i - 1) + ";") + "'>";
    EXPECT_EQ(dtd_file(TempFile("growing.dtd", bomb + "%e29;").path()), "none");
}

TEST_F(Hostile, paths_of_every_function) {
    using Paths = std::vector<std::string>;
    const std::string endless(5000, 'p'), folders = times(2500, "p/"), temp = testing::TempDir();
    for (const std::string& path :
         Paths{temp, "/no/such/file", endless, folders, "/" + endless, "%%%", "file:///no/such",
               "ftp", "\n", "/dev/full/x", ""}) {
        EXPECT_EQ(xml_file(path), "none") << path;
        EXPECT_FALSE(transforms(path, style.path(), "/dev/null")) << path;
        EXPECT_FALSE(transforms(good.path(), path, "/dev/null")) << path;
        const Handle lost = load("<!DOCTYPE a SYSTEM '" + path + "'><a/>");
        EXPECT_EQ(call("xmlDOMDocValidateDTD", lost).status(), VT_OK) << path;
        EXPECT_EQ(html_file(path), "none") << path;
        EXPECT_EQ(dtd_file(path), "none") << path;
    }
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/full", "/dev/urandom"}) {
        EXPECT_EQ(xml_file(device), "none") << device;
        EXPECT_EQ(html_file(device) == "none", device != std::string_view("/dev/null")) << device;
        EXPECT_FALSE(transforms(device, style.path(), "/dev/null")) << device;
    }
    // Targets that cannot be written, each by every function that writes.
    const std::string page(under_valgrind() ? 20000 : 1000000, 'x');
    const TempFile input("input.xml", "<a>" + page + "</a>"), folder("folder");
    const std::string loop = folder.path() + "/loop";
    std::filesystem::create_directory(folder.path());
    std::filesystem::create_symlink(loop, loop);
    const Handle doc = load_file(input.path()), html = load_html("<p>" + page);
    for (const std::string& path : Paths{"/dev/full", "/no/such/folder/x", folder.path(), loop,
                                         "/" + endless, "/proc/version", ""}) {
        expect_no_value("xmlDOMDocSaveXMLFile", doc, path);
        for (const char* encoding : {"UTF-8", "UTF-16LE", "ISO-8859-1", "none"}) {
            expect_no_value("xmlDOMDocSaveXMLFormatFile", doc, path, encoding, 0);
            expect_no_value("xmlHTMLDocSaveFormatFile", html, path, encoding, 0);
        }
        EXPECT_FALSE(transforms(input.path(), style.path(), path)) << path;
    }
}

TEST_F(Hostile, targets_that_fill_up_on_the_way) {
    // As on a full disk: so many bytes go into a file and no more.
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    for (std::size_t size : {4097U, 8193U, 12289U, 20000U, 65537U}) {
        const std::string text(size, 'x');
        const TempFile input("input.xml", "<a>" + text + "</a>");
        const Handle doc = load_file(input.path()), html = load_html("<p>" + text);
        for (std::size_t room : {0U, 4096U, 8192U, 12288U, 16384U, 65536U}) {
            rlimit small = limit;
            small.rlim_cur = room;
            setrlimit(RLIMIT_FSIZE, &small);
            const auto full = [&](std::string_view function, const auto&... args) {
                std::filesystem::remove(output.path());
                const bool refused = gives_no_value(function, args...);
                EXPECT_EQ(refused, !output.exists()) << function << size << ' ' << room;
                EXPECT_TRUE(refused || output.content().size() <= room);
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
    const auto xml_text = [&](const auto& text) { return fate("xmlDOMDocLoadXMLString", text, 1); };
    const auto html_text = [&](const auto& text) { return fate("xmlHTMLDocLoadString", text, 1); };
    const std::string long_attribute = "<a b='" + std::string(100000000 / scale, 'x') + "'/>";
    EXPECT_THAT(xml_text(long_attribute).substr(0, 100), HasSubstr(scale > 1 ? "xxx" : "none"));
    const struct {
        const char* what;
        std::string text;
        const char *xml = "none", *html = "";  // a part of the document; "none" without one
    } texts[] = {
        {"1 MB of tags", std::string(1000000 / scale, '<')},
        {"ampersands", std::string(100000 / scale, '&')},
        {"255 levels", times(255, "<a>") + times(255, "</a>"), "<a><a/></a>"},
        {"300 levels", times(300, "<a>") + times(300, "</a>")},
        {"10000 levels", times(9990 / scale, "<div>") + "end", "none", "<div>end</div>"},
        {"100000 levels", times(100000, "<div>"), "none", "none"},
        {"many attributes", "<a" + times(10000 / scale, " b='c'") + "/>"},
        {"a billion laughs", laughs("<r>&e11;</r>")},
        {"references of no character", "<a>&#0;&#xD800;&#x110000;&#99999999999;</a>"},
        {"no characters", "\x01\x02<a>\x03</a>"},
        {"an end without a start", "</a></b>]]>-->"},
        {"comments in comments", times(10000 / scale, "<!--")},
        {"a file", "<!DOCTYPE r [<!ENTITY e SYSTEM '/etc/passwd'>]><r>&e;</r>", "<r>&e;</r>"},
    };
    for (const auto& [what, text, xml, html] : texts) {
        EXPECT_NE(xml_text(text).find(xml), std::string::npos) << what;
        const std::string page = html_text(text);
        EXPECT_TRUE(page.find(html) != page.npos && page.find("root:x") == page.npos) << what;
    }
    for (const std::u16string& text : {std::u16string(), std::u16string(1, u'\0')})
        EXPECT_EQ(xml_text(text) + html_text(text), "nonenone");
    // A surrogate alone, or two of them, are no character of XML.
    for (const std::u16string surrogates : {u"\xD800", u"\xDC00", u"\xD83D\xDE00"}) {
        EXPECT_EQ(xml_text(u"<a>" + surrogates + u"</a>"), "none");
        EXPECT_EQ(xml_text(u"<a" + surrogates + u"/>"), "none");
        EXPECT_NE(html_text(u"<p " + surrogates + u"=\"" + surrogates + u"\">" + surrogates), "");
    }
    if (under_valgrind()) return;  // what follows takes minutes there
    // Once entities are substituted the limits hold as well.
    xmlSubstituteEntitiesDefault(1);
    EXPECT_EQ(xml_text(laughs("<r>&e11;</r>")), "none");
    EXPECT_EQ(xml_text("<!DOCTYPE r [<!ENTITY e '" + std::string(100000, 'x') + "'>]><r>" +
                       times(20000, "&e;") + "</r>"),
              "none");
}

TEST_F(Hostile, texts_of_many_references) {
    const std::size_t count = 50000 / (under_valgrind() ? 10 : 1);
    const std::string entity(50000, 'x');
    const auto load_with = [&](const std::string& references) {
        return load("<!DOCTYPE r [<!ENTITY e '" + entity + "'><!ENTITY f '" + entity +
                    "'>]><r k='" + references + "'>t" + references + "</r>");
    };
    for (const std::string& references : {times(count, "&e;"), times(count / 2, "&e;&f;")}) {
        const Handle element = root(load_with(references));
        const Handle attribute = get("xmlDOMNodeGetFirstAttribute", element);
        EXPECT_EQ(call("xmlDOMElementGetAttribute", element, "k").status(), VT_TOO_LARGE);
        for (const Handle node : {attribute, relative(element, 3)})
            EXPECT_EQ(call("xmlDOMNodeGetValue", node).status(), VT_TOO_LARGE);
        EXPECT_EQ(call("xmlDOMTextGetLength", relative(element, 3)).status(), VT_TOO_LARGE);
    }
    const Handle element = root(load_with(times(100, "&e;&f;")));
    EXPECT_EQ(text("xmlDOMElementGetAttribute", element, "k").size(), 200 * entity.size());
}

TEST_F(Hostile, half_of_a_document_is_none) {
    const std::string rows = times(3000, "<p>a row</p>\n"), bad = "<p>\xFF\x80</p>";
    const std::string ascii =
        "<meta http-equiv='Content-Type' content='text/html; charset=us-ascii'>";
    const std::string utf7 = "<meta http-equiv='Content-Type' content='text/html; charset=utf-7'>";
    const std::string utf16 = "\xFF\xFE" + std::string("<\0p\0>\0", 6);
    // gzip: a header, one block of 12 bytes as they are, and an end that is missing.
    const std::string gzip = std::string("\x1F\x8B\x08\0\0\0\0\0\0\x03\x01\x0C\0\xF3\xFF", 15);
    const std::string lines = times(950000, "line &amp; text");
    const struct {
        const char *what, *loader;
        std::string content;
        const char* message;
    } files[] = {
        {"a zero", "xmlHTMLDocLoadFile", rows + "<p>" + '\0' + rows, "a zero character"},
        {"a zero after XML", "xmlDOMDocLoadXMLFile", "<a/>" + std::string(1, '\0') + "<b",
         "a zero character"},
        {"no ASCII", "xmlHTMLDocLoadFile", ascii + rows + bad + rows, "the document's encoding"},
        {"no UTF-7", "xmlHTMLDocLoadFile", utf7 + rows + bad + rows, "the document's encoding"},
        {"half a unit", "xmlHTMLDocLoadFile", utf16 + "x", "the document's encoding"},
        {"cut gzip", "xmlHTMLDocLoadFile", gzip + "<p>one<p>two", "could not be read to its end"},
        {"XML in cut gzip", "xmlDOMDocLoadXMLFile", gzip + "<a>text1</a>", ""},
        {"long text", "xmlDOMDocLoadXMLFile", "<a>" + lines + "</a>", "more than 10000000 bytes"},
        {"a zero in a text", "xmlHTMLDocLoadString", rows + '\0' + rows, "a zero character"},
        {"a zero after a text", "xmlDOMDocLoadXMLString", "<a/>" + std::string(1, '\0'),
         "a zero character"},
        {"levels", "xmlHTMLDocLoadString", times(10001, "<b>"), "deeper than 10000 levels"},
    };
    for (const auto& [what, loader, content, message] : files) {
        const TempFile file("cut", content);
        const bool is_file = std::string_view(loader).ends_with("File");
        expect_no_value(loader, is_file ? file.path() : content, 1);
        EXPECT_THAT(text("xmlDOMDocGetLastMsg", 0), HasSubstr(message)) << what;
    }
    expect_no_value("xmlHTMLDocLoadFile", testing::TempDir(), 1);
    EXPECT_THAT(text("xmlDOMDocGetLastMsg", 0), HasSubstr("could not be read to its end"));
    // Whatever is longer than libxml2 thinks healthy in HTML is there whole.
    const std::string more(11000000 / (under_valgrind() ? 100 : 1), 'x');
    for (const std::string& page :
         {"<p>" + more + "end", "<script>" + more + "end</script>", "<!--" + more + "end-->"})
        EXPECT_THAT(fate("xmlHTMLDocLoadString", page, 1).substr(more.size()), HasSubstr("end"));
}

TEST_F(Hostile, texts_in_a_tree) {
    const Handle doc = load("<!DOCTYPE r [<!ATTLIST r k ID #IMPLIED>]><r k='x'/>");
    const Handle element = root(doc);
    for (const char* part : {"(", "a[", "-", "f("})
        expect_no_value("xmlDOMNodeSelectNodes", doc, times(100000, part));
    const std::u16string lone{u'a', 0xD800, u'b', 0xDFFF}, nul{u'a', 0, u'b'}, pair{0xD83D, 0xDE00};
    const std::u16string large(under_valgrind() ? 3000 : 300000, u'\u20ac');
    for (const std::u16string& text : {lone, nul, pair, large, std::u16string()}) {
        for (std::uint32_t type : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 11U}) {
            const Handle node = get("xmlDOMDocCreateNode", doc, type, text);
            ASSERT_NE(node, 0U) << type;
            const vt_status dump = call("xmlDOMNodeDumpNode", node, 1).status();
            EXPECT_TRUE(dump == VT_OK || dump == VT_MALFORMED || dump == VT_TOO_LARGE) << dump;
            if (type == XML_TEXT_NODE) {
                // What goes in comes out, surrogates too; a zero ends it.
                EXPECT_EQ(call("xmlDOMNodeGetValue", node).text(), text == nul ? u"a" : text);
                append(element, node);
                for (std::string_view encoding : {"UTF-8", "ISO-8859-1", "none"}) {
                    const TempFile file("saved.xml");
                    if (gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, file.path(), encoding, 0))
                        continue;
                    EXPECT_THAT(file.content(), testing::EndsWith("</r>\n")) << encoding;
                }
                unlink(node);
            }
            free_node(node);
        }
        for (const char* function :
             {"xmlDOMElementGetAttribute", "xmlDOMNodeSelectNodes", "xmlDOMDocSetLastMsg"})
            EXPECT_EQ(call(function, element, text).status(), VT_OK) << function;
        EXPECT_EQ(get("xmlDOMDocGetElementById", doc, text), 0U);
        EXPECT_EQ(call("xmlDOMDocValidateDTD", doc).status(), VT_OK);
        EXPECT_EQ(dump(element), "<r k=\"x\"/>");
    }
}

}  // namespace
}  // namespace valtrosse::host
