// HTML, XSLT, document properties, serialised nodes, names and replacement.
#include <libxml/HTMLparser.h>
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxslt/xsltutils.h>

#include <memory>
#include <optional>
#include <random>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

class Formats : public LibraryTest {
protected:
    Handle html(std::string_view text, std::uint32_t keep_blanks = 1) {
        return keep(get("xmlHTMLDocLoadString", text, keep_blanks));
    }
    Handle html_file(std::string_view path) { return keep(get("xmlHTMLDocLoadFile", path, 1)); }
    Handle root_of(Handle doc) { return get("xmlDOMDocGetRootNode", doc); }
    template <typename... T>
    std::string text(std::string_view function, const T&... args) {
        const Outcome outcome = call(function, args...);
        return outcome.no_value() ? "none" : outcome.utf8();
    }
    std::string dumped(Handle node, std::uint32_t format = 0) {
        return text("xmlDOMNodeDumpNode", node, format);
    }
    /// What the HTML writer writes; "none" when it gives no value.
    std::string saved(Handle doc, std::string_view encoding, std::uint32_t format = 0) {
        const TempFile file("saved.html");
        const Outcome outcome =
            call("xmlHTMLDocSaveFormatFile", doc, file.path(), encoding, format);
        return outcome.no_value() ? "none" : file.content();
    }
    static xmlDoc* doc_of(Handle doc) { return reinterpret_cast<xmlDoc*>(doc); }
};

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(Formats, html_is_repaired_and_says_so) {
    const std::string page = "<title>T</title>\n<p>one<p>two</b>";
    const TempFile file("page.html", page);
    const std::string body = "<body><p>one</p><p>two</p></body>";
    for (Handle doc : {html(page), html_file(file.path())}) {
        EXPECT_EQ(doc_of(doc)->type, XML_HTML_DOCUMENT_NODE);
        EXPECT_TRUE(contains(dumped(root_of(doc)), body)) << dumped(root_of(doc));
        EXPECT_TRUE(contains(text("xmlDOMDocGetLastMsg", doc), "Unexpected end tag : b"));
    }
    for (std::uint32_t keep_blanks : {0U, 1U}) {
        const Handle doc = html("<table>\n<tr>\n<td>x</table>", keep_blanks);
        EXPECT_EQ(contains(dumped(doc), "<table>\n"), keep_blanks == 1) << dumped(doc);
        EXPECT_EQ(xmlKeepBlanksDefaultValue, 1);
    }
    for (std::uint32_t keep_blanks : {2U, 5U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(gives_no_value("xmlHTMLDocLoadString", page, keep_blanks));
        EXPECT_TRUE(gives_no_value("xmlHTMLDocLoadFile", file.path(), keep_blanks));
    }
    EXPECT_TRUE(gives_no_value("xmlHTMLDocLoadFile", "/no/such/page.html", 1));
    EXPECT_TRUE(contains(text("xmlDOMDocGetLastMsg", 0), "/no/such/page.html"));

    // A file is in the encoding that it names, else in Latin-1; text is UTF-8.
    const struct {
        std::string bytes;
        const char* read;
    } files[] = {
        {"<p>\xE9", "\u00e9"},
        {"\xEF\xBB\xBF<p>\xC3\xA9", "\u00e9"},
        {"<meta charset='utf-8'><p>\xC3\xA9", "\u00e9"},
        {"<meta http-equiv=Content-Type content='text/html; charset=ISO-8859-2'><p>\xF3\xB3",
         "\u00f3\u0142"}};
    for (const auto& [bytes, read] : files) {
        const TempFile encoded("encoded.html", bytes);
        EXPECT_TRUE(contains(dumped(html_file(encoded.path())), "<p>" + std::string(read) + "</p>"))
            << bytes;
    }
    EXPECT_TRUE(contains(dumped(html("<meta charset='utf-8'><p>\u00e9\u20ac&euro;")),
                         "\u00e9\u20ac\u20ac"));
}

TEST_F(Formats, html_is_saved_in_the_accepted_encodings) {
    const TempFile file(
        "page.html",
        "<html><head><meta charset='utf-8'></head><body><p>\u00e9\u20ac<br>x</p></body></html>");
    const struct {
        const char *encoding, *written;
    } cases[] = {
        {"UTF-8", "<p>\u00e9\u20ac<br>x</p>"},    {"ISO-8859-1", "<p>\xE9&#8364;<br>x</p>"},
        {"ASCII", "<p>&#233;&#8364;<br>x</p>"},   {"HTML", "<p>&eacute;&euro;<br>x</p>"},
        {"utf-8", "<p>&eacute;&euro;<br>x</p>"},  {"", "<p>&eacute;&euro;<br>x</p>"},
        {"no-such", "<p>&eacute;&euro;<br>x</p>"}};
    for (const auto& [encoding, written] : cases) {
        const Handle doc = html_file(file.path());
        EXPECT_TRUE(contains(saved(doc, encoding), written)) << encoding << saved(doc, encoding);
        EXPECT_STREQ(reinterpret_cast<const char*>(doc_of(doc)->encoding), "utf-8") << encoding;
    }
    const Handle doc = html("<div><p>a</p></div><div>b</div>"), xml = load("<html/>");
    const std::string wide = saved(doc, "UTF-16LE");
    EXPECT_TRUE(contains(wide, std::string("<\0p\0>\0a\0", 8)));
    EXPECT_NE(saved(doc, "UTF-8", 0), saved(doc, "UTF-8", 1));
    const TempFile unwritten("unwritten.html");
    for (Handle refused : {xml, root_of(doc)})
        EXPECT_TRUE(
            gives_no_value("xmlHTMLDocSaveFormatFile", refused, unwritten.path(), "UTF-8", 0));
    EXPECT_EQ(call("xmlHTMLDocSaveFormatFile", doc, unwritten.path(), "UTF-8", 2).status(),
              VT_BAD_INTEGER);
    EXPECT_FALSE(unwritten.exists());
    // Without any element there is a line break at least.
    EXPECT_NE(saved(html("<!--c-->"), "UTF-8"), "none");
}

TEST_F(Formats, html_save_keeps_the_handles_on_its_meta_element) {
    const struct {
        const char *head, *content;
    } cases[] = {{"<meta http-equiv='Content-Type' content='text/html; charset=ISO-8859-1'>",
                  "text/html; charset=UTF-8"},
                 {"<meta content='x' http-equiv='content-type'><title>t</title>",
                  "text/html; charset=UTF-8"},
                 {"<meta http-equiv='Content-Type' content='charset=utf-8'>", "charset=utf-8"}};
    for (const auto& [head, content] : cases) {
        const Handle doc = html(std::string("<html><head>") + head + "</head></html>");
        const Handle meta = find(root_of(doc), "//meta");
        const Handle attr = get("xmlDOMElementGetAttributeNode", meta, "content");
        const Handle node = get("xmlDOMNodeGetRelative", attr, 3);
        EXPECT_EQ(get("xmlHTMLDocSaveFormatFile", doc, "/dev/null", "UTF-8", 0), 0U);
        EXPECT_EQ(get("xmlDOMNodeGetRelative", attr, 3), node);
        EXPECT_EQ(value(node), content);
        EXPECT_EQ(get("xmlDOMNodeGetRelative", node, 0), attr);
        EXPECT_TRUE(contains(saved(doc, "ISO-8859-1"), "charset=ISO-8859-1\"")) << head;
        EXPECT_EQ(value(node), "text/html; charset=ISO-8859-1");
        EXPECT_TRUE(gives_no_value("xmlHTMLDocSaveFormatFile", doc, "/dev/full", "ASCII", 0));
        EXPECT_EQ(get("xmlDOMNodeUnlinkNode", node), node);
        EXPECT_EQ(get("xmlDOMNodeFreeNode", node), 0U);
    }
    // The writer reads the content of any case, and sets this one.
    const Handle doc =
        html("<html><head><meta http-equiv='Content-Type' content='a'></head></html>");
    const Handle meta = find(root_of(doc), "//meta");
    std::vector<Handle> texts = {get("xmlDOMNodeGetRelative", find(meta, "@content"), 3)};
    for (const char* attribute_name : {"CONTENT", "Content"}) {
        const Handle attr = get("xmlDOMDocCreateNode", doc, 2, attribute_name);
        texts.push_back(get("xmlDOMDocCreateNode", doc, 3, "b"));
        get("xmlDOMNodeAddChild", 0, attr, texts.back());
        get("xmlDOMElementSetAttributeNode", meta, attr);
    }
    EXPECT_EQ(get("xmlHTMLDocSaveFormatFile", doc, "/dev/null", "UTF-8", 0), 0U);
    for (Handle node : texts) EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), doc) << value(node);
}

constexpr const char* stylesheet_start =
    "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>";

TEST_F(Formats, transformation_of_files) {
    const TempFile input("in.xml",
                         "<!DOCTYPE r [<!ENTITY e 'caf\u00e9'>]><r><a>1</a><a>&e;</a></r>");
    const struct {
        std::string body;
        std::optional<std::string> output;
    } cases[] = {
        {"<xsl:output method='text' encoding='UTF-8'/>", "1caf\u00e9"},
        {"<xsl:output method='text' encoding='ISO-8859-1'/>", "1caf\xE9"},
        {"<xsl:output omit-xml-declaration='yes'/><xsl:template match='/'><o><xsl:value-of"
         " select='count(//a)'/></o></xsl:template>",
         "<o>2</o>\n"},
        {"<xsl:output method='html'/><xsl:template match='/'><br/></xsl:template>", "<br>\n"},
        {"<xsl:template match='/'/>", ""},  // nothing to write is no failure
        {"<xsl:template match='/'><xsl:apply-templates select='/'/></xsl:template>", std::nullopt},
        {"<xsl:template match='/'><a/><xsl:message terminate='yes'>no</xsl:message></xsl:template>",
         std::nullopt},
        {"<xsl:template match='[' />", std::nullopt},
        {"<xsl:no-such/>", std::nullopt}};
    for (const auto& [body, output] : cases) {
        const TempFile style("style.xsl", stylesheet_start + body + "</xsl:stylesheet>");
        const TempFile result("r\u00e9sult");
        const Outcome written =
            call("xmlXSLTransformFile", input.path(), style.path(), result.path());
        EXPECT_EQ(written.status(), 0U);
        if (!output) {
            EXPECT_TRUE(written.no_value() && !result.exists()) << body;
            continue;
        }
        ASSERT_FALSE(written.no_value()) << body;
        EXPECT_EQ(written.integer(), output->size()) << body;
        EXPECT_EQ(result.content(), *output) << body;
    }
    EXPECT_TRUE(gives_no_value("xmlXSLTransformFile", input.path(), nullptr, "/dev/null"));
    EXPECT_EQ(call("xmlXSLTransformFile", input.path(), "/x").status(), VT_MISSING_ARGUMENT);
    // From now on entities are substituted, and external subsets read.
    EXPECT_EQ(dump(load_root("<!DOCTYPE r [<!ENTITY e 'x'>]><r>&e;</r>")), "<r>x</r>");
    const TempFile dtd("ext.dtd", "<!ATTLIST r w CDATA 'dflt'>");
    EXPECT_EQ(text("xmlDOMElementGetAttribute",
                   load_root("<!DOCTYPE r SYSTEM '" + dtd.path() + "'><r/>"), "w"),
              "dflt");
}

TEST_F(Formats, document_properties) {
    const TempFile file("d.xml",
                        "<?xml version='1.1' encoding='ISO-8859-1' standalone='yes'?><a>\xE9</a>");
    const auto all = [&](Handle doc) {
        std::string properties;
        for (std::uint32_t property = 0; property < 4; ++property)
            properties += (property ? " " : "") + text("xmlDOMDocGetProperty", doc, property);
        return properties;
    };
    const Handle doc = keep(get("xmlDOMDocLoadXMLFile", file.path(), 1));
    EXPECT_EQ(all(doc), "1.1 ISO-8859-1 1 " + file.path());
    EXPECT_EQ(all(load("<a/>")), "1.0 none none none");
    EXPECT_EQ(all(load("<?xml version='1.0'?><a/>")), "1.0 none none none");
    EXPECT_EQ(all(load("<?xml version='1.0' standalone='no'?><a/>")), "1.0 none 0 none");
    EXPECT_EQ(all(keep(get("xmlDOMDocCreateDoc", "7"))), "7 none none none");
    const Handle page = html("<p>x");
    for (Handle document : {doc, page, load("<a/>")}) {
        for (std::size_t length : {99U, 100U, 101U, 199U, 200U, 5000U, 0U}) {
            const std::string set(length, 'x');
            for (std::uint32_t property : {0U, 1U, 3U})
                EXPECT_EQ(call("xmlDOMDocSetProperty", document, property, set).integer(), 0U);
            EXPECT_EQ(call("xmlDOMDocSetProperty", document, 2, length == 99 ? "1" : set).integer(),
                      0U);
            EXPECT_EQ(all(document), set + " " + set + (length == 99 ? " 1 " : " 0 ") + set);
        }
        const std::string before = all(document);
        for (std::uint32_t property : {4U, 0xFFFFFFFFU}) {
            EXPECT_TRUE(gives_no_value("xmlDOMDocSetProperty", document, property, "x"));
            EXPECT_TRUE(gives_no_value("xmlDOMDocGetProperty", document, property));
        }
        EXPECT_TRUE(gives_no_value("xmlDOMDocSetProperty", document, 0, nullptr));
        EXPECT_TRUE(gives_no_value("xmlDOMDocSetProperty", root_of(document), 0, "x"));
        EXPECT_TRUE(gives_no_value("xmlDOMDocGetProperty", root_of(document), 0));
        EXPECT_EQ(all(document), before);
    }
    // They are what a plain save writes; an encoding that nobody knows writes nothing.
    const TempFile copy("copy.xml");
    const char* const sets[] = {"1.0", "US-ASCII", "no"};
    for (std::uint32_t property = 0; property < 3; ++property)
        get("xmlDOMDocSetProperty", doc, property, sets[property]);
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, copy.path()), doc);
    EXPECT_EQ(copy.content(),
              "<?xml version=\"1.0\" encoding=\"US-ASCII\" standalone=\"no\"?>\n<a>&#233;</a>\n");
    get("xmlDOMDocSetProperty", doc, 1, "no-such-encoding");
    const TempFile unwritten("unwritten.xml");
    EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFile", doc, unwritten.path()));
    EXPECT_FALSE(unwritten.exists());
}

TEST_F(Formats, dump_of_every_kind_of_node) {
    const Handle doc = load(
        "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r k CDATA 'd'><!NOTATION n SYSTEM 's'>"
        "<!ENTITY e 'x'><!ENTITY u SYSTEM 'u' NDATA n>]>"
        "<r xmlns:p='u' p:a='&lt;&quot;\u00e9'><p:b><c/></p:b>t&amp;<![CDATA[<]]><?pi "
        "x?><!--c-->&e;</r>");
    const Handle root = root_of(doc);
    const struct {
        const char *path, *written;
    } cases[] = {{"p:b", "<p:b><c/></p:b>"},
                 {"@*", " p:a=\"&lt;&quot;&#xE9;\""},
                 {"text()[1]", "t&amp;"},
                 {"text()[2]", "<![CDATA[<]]>"},
                 {"processing-instruction()", "<?pi x?>"},
                 {"comment()", "<!--c-->"}};
    for (const auto& [path, written] : cases) EXPECT_EQ(dumped(find(root, path)), written);
    const Handle b = find(root, "p:b");
    EXPECT_EQ(dumped(b, 1), "<p:b>\n  <c/>\n</p:b>");
    EXPECT_TRUE(gives_no_value("xmlDOMNodeDumpNode", root, 2));
    EXPECT_TRUE(contains(dumped(doc), "<!NOTATION n SYSTEM \"s\" >"));
    for (Handle entity : call("xmlDOMDocGetEntities", doc).handles())
        EXPECT_EQ(dumped(entity).find("<!ENTITY " + name(entity)), 0U);
    EXPECT_EQ(dumped(get("xmlDOMElementGetAttributeNode",
                         root_of(load("<!DOCTYPE r [<!ATTLIST r k CDATA 'd'>]><r/>")), "k")),
              "<!ATTLIST r k CDATA \"d\">\n");
    const Handle notations = get("xmlDOMDocGetNotations", doc);
    EXPECT_EQ(dumped(notations), "");
    EXPECT_EQ(get("xmlDOMNodeFreeNode", notations), 0U);
    for (std::size_t length : {97U, 98U, 99U, 100U, 101U, 5000U}) {
        const std::string xml = "<a>" + std::string(length - 7, 'x') + "</a>";
        EXPECT_EQ(dumped(load_root(xml)), xml);
    }
    EXPECT_EQ(call("xmlDOMNodeDumpNode", load_root("<a>&#x1F600;</a>"), 0).status(), VT_TOO_LARGE);

    // Outside any document, and naming one that is gone.
    const Handle made = get("xmlDOMDocCreateNodeNS", doc, 1, "q:e", "urn:q");
    const Handle attr = get("xmlDOMDocCreateNodeNS", doc, 2, "q:a", "urn:q");
    get("xmlDOMNodeAddChild", 0, attr, get("xmlDOMDocCreateNode", doc, 3, "v&\u00e9"));
    EXPECT_EQ(dumped(attr), " q:a=\"v&amp;&#xE9;\"");
    get("xmlDOMElementSetAttributeNodeNS", made, attr);
    get("xmlDOMNodeAddChild", 0, made, get("xmlDOMDocCreateNode", doc, 5, "e"));
    EXPECT_EQ(get("xmlDOMNodeUnlinkNode", b), b);
    get("xmlDOMNodeAddChild", 0, made, b);
    const Handle reference = get("xmlDOMDocCreateNode", doc, 5, "e");
    free(doc);
    EXPECT_EQ(dumped(made), "<q:e q:a=\"v&amp;&#xE9;\">&e;<p:b><c/></p:b></q:e>");
    EXPECT_EQ(dumped(reference), "&e;");
    EXPECT_EQ(dumped(attr), " q:a=\"v&amp;&#xE9;\"");
    for (Handle node : {made, reference}) EXPECT_EQ(get("xmlDOMNodeFreeNode", node), 0U);
}

TEST_F(Formats, names) {
    const struct {
        const char* name;
        bool level1, level2, valid;
    } cases[] = {
        {"node", true, false, true},  {"a:b", false, true, true},    {":b", false, true, true},
        {"a:", false, true, true},    {":", false, true, true},      {"a:b:c", false, false, true},
        {"", true, false, false},     {"1abc", true, false, false},  {" a", true, false, false},
        {"a ", true, false, false},   {"a b", true, false, false},   {"-a", true, false, false},
        {"a-.1", true, false, true},  {"\u00e9", true, false, true}, {"\u00d7", true, false, false},
        {"\uD7A3", true, false, true}};
    const std::string filler(250, 'n');
    for (const auto& [text, is_level1, is_level2, is_valid] : cases)
        for (const std::string& tested : {std::string(text), text + filler}) {
            EXPECT_EQ(call("xmlDOMUtilIsLevel1Name", tested).boolean(), is_level1) << tested;
            EXPECT_EQ(call("xmlDOMUtilIsLevel2Name", tested).boolean(), is_level2) << tested;
            if (*text == 0) continue;
            EXPECT_EQ(call("xmlDOMUtilIsValidXMLName", tested).boolean(), is_valid) << tested;
        }
    EXPECT_FALSE(call("xmlDOMUtilIsValidXMLName", "").boolean());
    EXPECT_FALSE(call("xmlDOMUtilIsValidXMLName", std::u16string{u'a', 0xD800}).boolean());
    for (const char* predicate : {"_x_isLevel1Name", "_x_isLevel2Name"})
        EXPECT_EQ(host.symbol_as<int (*)(const char*)>(predicate)(nullptr), 0);
}

class Replacement : public LibraryTest {
protected:
    /// The text with every occurrence replaced; nothing when there is none.
    static std::optional<std::u16string> replaced(const std::u16string& text,
                                                  const std::u16string& pattern,
                                                  const std::u16string& by) {
        std::u16string result;
        std::size_t from = 0, at;
        if (pattern.empty() || text.find(pattern) == text.npos) return std::nullopt;
        for (; (at = text.find(pattern, from)) != text.npos; from = at + pattern.size())
            result.append(text, from, at - from).append(by);
        return result.append(text, from);
    }
    /// Compares search and replacement with the above; all inputs lie in blocks of exactly their size.
    void compare(const std::u16string& text, const std::u16string& pattern,
                 const std::u16string& by) {
        const auto block = [](const std::u16string& units) {
            auto copy = std::make_unique<char16_t[]>(units.size());
            std::copy(units.begin(), units.end(), copy.get());
            return copy;
        };
        const auto length = [](const std::u16string& units) {
            return static_cast<std::uint32_t>(units.size());
        };
        const auto t = block(text), p = block(pattern), b = block(by);
        const std::size_t at = pattern.empty() ? text.npos : text.find(pattern);
        EXPECT_EQ(find_(t.get(), length(text), p.get(), length(pattern)),
                  at == text.npos ? nullptr : t.get() + at);
        char16_t* result = t.get();
        std::uint32_t count = 77;
        const vt_status status = replace_(host.runtime(), t.get(), length(text), p.get(),
                                          length(pattern), b.get(), length(by), &result, &count);
        const auto wanted = replaced(text, pattern, by);
        ASSERT_EQ(status, wanted ? VT_OK : VT_MALFORMED);
        ASSERT_EQ(count, wanted ? wanted->size() : 0);
        EXPECT_EQ(result == nullptr, !wanted.has_value());
        if (!wanted) return;
        EXPECT_EQ(std::u16string(result, count), *wanted);
        host.symbol_as<void (*)(void*)>("Mem_Free")(result);
    }

    using Find = const char16_t* (*)(const char16_t*, std::uint32_t, const char16_t*,
                                     std::uint32_t);
    using Replace = vt_status (*)(vt_host_runtime*, const char16_t*, std::uint32_t, const char16_t*,
                                  std::uint32_t, const char16_t*, std::uint32_t, char16_t**,
                                  std::uint32_t*);
    Find find_ = host.symbol_as<Find>("_x_FindBufferInBuffer");
    Replace replace_ = host.symbol_as<Replace>("_x_ReplaceWordInBuffer");
};

TEST_F(Replacement, as_a_plain_search_does_it) {
    std::mt19937 random(5);
    const auto word = [&](std::size_t length, unsigned letters) {
        std::u16string units(length, u'a');
        // Units that differ in one byte only, and surrogates.
        constexpr char16_t alphabet[] = {u'a', 0x6161, 0xD861, u'b'};
        for (char16_t& unit : units) unit = alphabet[random() % letters];
        return units;
    };
    const std::size_t rounds = under_valgrind() ? 3000 : 200000;
    for (std::size_t i = 0; i < rounds && !HasFailure(); ++i) {
        const unsigned letters = 1 + random() % 4;
        const auto text = word(random() % 70, letters);
        const auto by = word(random() % 12, letters);
        auto pattern = word(random() % 6, letters);
        if (i % 3 == 0 && !text.empty())
            pattern = text.substr(random() % text.size(), 1 + random() % 20);
        compare(text, pattern, by);
    }
    // Around the edges of blocks, with first and last unit alike and different.
    for (std::size_t before = 0; before < 26; ++before)
        for (std::size_t after : {0U, 1U, 6U, 7U, 8U, 9U, 15U, 16U, 17U})
            for (const std::u16string pattern :
                 {u"x", u"xx", u"xy", u"xyx", u"xxxxxxxx", u"xyyyyyyyyx"})
                for (std::size_t by : {0U, 1U, 7U, 8U, 9U, 20U})
                    compare(std::u16string(before, u'x') + pattern + std::u16string(after, u'y') +
                                pattern,
                            pattern, std::u16string(by, u'z'));
}

TEST_F(Replacement, results_and_failures) {
    const auto result = [&](const Argument& text, const Argument& pattern, const Argument& by) {
        const Outcome outcome = call("xmlDOMUtilStrReplace", text, pattern, by);
        if (outcome.status() != VT_OK) return std::to_string(outcome.status());
        return outcome.no_value() ? "none" : outcome.utf8();
    };
    EXPECT_EQ(result("aaaa", "aa", "b"), "bb");
    EXPECT_EQ(result("abcabc", "bc", ""), "aa");
    EXPECT_EQ(result("aa", "a", ""), "");
    EXPECT_EQ(result("abc", "x", "y"), "33");
    EXPECT_EQ(result("abc", "abcd", "y"), "33");
    EXPECT_EQ(result("abc", "", "y"), "33");
    EXPECT_EQ(result("", "a", "y"), "33");
    const Argument no_text = Argument::string_without_text();
    for (const Argument& none : {Argument(nullptr), no_text}) {
        EXPECT_EQ(result(none, "a", "b"), "none");
        EXPECT_EQ(result("a", none, "b"), "none");
        EXPECT_EQ(result("a", "a", none), "none");
    }
    EXPECT_EQ(result(std::u16string{u'a', 0xD83D, 0xDE00}, std::u16string{0xDE00}, "b"),
              "a\uFFFDb");

    char16_t* out = nullptr;
    std::uint32_t count = 0;
    const std::u16string text(0x8001, u'a'), by(0x4000, u'b');
    const auto replace = [&](std::uint32_t units) {
        out = nullptr;
        return replace_(host.runtime(), text.data(), units, text.data(), 1, by.data(), 0x4000, &out,
                        &count);
    };
    EXPECT_EQ(replace(0x8001), VT_TOO_LARGE);  // 16384 units over 0x20000000
    EXPECT_TRUE(out == nullptr && count == 0);
    host.faults().fail_allocation = 1;
    EXPECT_EQ(replace(3), VT_OUT_OF_MEMORY);
    host.faults() = {};
    for (int missing = 0; missing < 5; ++missing)
        EXPECT_EQ(replace_(host.runtime(), missing == 0 ? nullptr : u"a", 1,
                           missing == 1 ? nullptr : u"a", 1, missing == 2 ? nullptr : u"a", 1,
                           missing == 3 ? nullptr : &out, missing == 4 ? nullptr : &count),
                  VT_MALFORMED);

    const auto compare =
        host.symbol_as<int (*)(const char16_t*, const char16_t*, std::uint32_t)>("_x_memcmp");
    EXPECT_TRUE(compare(nullptr, u"a", 0) && compare(u"a", nullptr, 0) && compare(u"ab", u"ac", 2));
    EXPECT_FALSE(compare(u"ab", u"ac", 1) || compare(u"a", u"b", 0));
    const auto copy =
        host.symbol_as<void (*)(char16_t*, const char16_t*, std::uint32_t)>("_x_memcpy");
    char16_t target[] = u"abc";
    copy(target, u"xyz", 2);
    copy(target, nullptr, 3);
    copy(nullptr, target, 3);
    EXPECT_EQ(std::u16string_view(target), u"xyc");
}

}  // namespace
}  // namespace valtrosse::host
