// HTML, XSLT, document properties, serialised nodes, names and replacement.
#include <gmock/gmock.h>
#include <libxml/globals.h>

#include <optional>
#include <random>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::HasSubstr;

class Formats : public TreeTest {
protected:
    Handle html_file(std::string_view path) { return keep(get("xmlHTMLDocLoadFile", path, 1)); }
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
};

TEST_F(Formats, html_is_repaired_and_says_so) {
    const std::string page = "<title>T</title>\n<p>one<p>two</b>";
    const TempFile file("page.html", page);
    for (Handle doc : {load_html(page), html_file(file.path())}) {
        EXPECT_EQ(doc_of(doc)->type, XML_HTML_DOCUMENT_NODE);
        EXPECT_THAT(dumped(doc), HasSubstr("<body><p>one</p><p>two</p></body>"));
        EXPECT_THAT(text("xmlDOMDocGetLastMsg", doc), HasSubstr("Unexpected end tag : b"));
    }
    const std::string table = "<table>\n<tr>\n<td>x</table>";
    EXPECT_THAT(dumped(load_html(table, 0)), HasSubstr("<table><tr>"));
    EXPECT_THAT(dumped(load_html(table, 1)), HasSubstr("<table>\n<tr>"));
    EXPECT_EQ(xmlKeepBlanksDefaultValue, 1);
    expect_no_value("xmlHTMLDocLoadFile", "/no/such/page.html", 1);
    EXPECT_THAT(text("xmlDOMDocGetLastMsg", 0), HasSubstr("/no/such/page.html"));

    // A file is in the encoding that it names, else in Latin-1; text is UTF-8.
    const std::string meta =
        "<meta http-equiv=Content-Type content='text/html; charset=ISO-8859-2'>";
    const std::pair<std::string, const char*> files[] = {
        {"<p>\xE9", "<p>\u00e9</p>"},
        {"\xEF\xBB\xBF<p>\xC3\xA9", "<p>\u00e9</p>"},
        {"<meta charset='utf-8'><p>\xC3\xA9", "<p>\u00e9</p>"},
        {meta + "<p>\xF3\xB3", "<p>\u00f3\u0142</p>"},
    };
    for (const auto& [bytes, read] : files) {
        const TempFile encoded("encoded.html", bytes);
        EXPECT_THAT(dumped(html_file(encoded.path())), HasSubstr(read)) << bytes;
    }
    EXPECT_THAT(dumped(load_html("<meta charset='utf-8'><p>\u00e9&euro;")),
                HasSubstr("\u00e9\u20ac"));
}

TEST_F(Formats, html_is_saved_in_the_accepted_encodings) {
    const TempFile file("page.html",
                        "<html><head><meta charset='utf-8'></head><p>\u00e9\u20ac<br>x");
    const std::pair<const char*, const char*> cases[] = {
        {"UTF-8", "<p>\u00e9\u20ac<br>x</p>"},   {"ISO-8859-1", "<p>\xE9&#8364;<br>x</p>"},
        {"ASCII", "<p>&#233;&#8364;<br>x</p>"},  {"HTML", "<p>&eacute;&euro;<br>x</p>"},
        {"utf-8", "<p>&eacute;&euro;<br>x</p>"}, {"no-such", "<p>&eacute;&euro;<br>x</p>"},
    };
    for (const auto& [encoding, written] : cases) {
        const Handle doc = html_file(file.path());
        EXPECT_THAT(saved(doc, encoding), HasSubstr(written)) << encoding;
        EXPECT_STREQ(chars(doc_of(doc)->encoding), "utf-8") << encoding;
    }
    const Handle doc = load_html("<div><p>a</p></div><div>b</div>");
    EXPECT_THAT(saved(doc, "UTF-16LE"), HasSubstr(std::string("<\0p\0>\0a\0", 8)));
    EXPECT_NE(saved(doc, "UTF-8", 0), saved(doc, "UTF-8", 1));
    EXPECT_EQ(call("xmlHTMLDocSaveFormatFile", doc, "/dev/null", "UTF-8", 2).status(),
              VT_BAD_INTEGER);
    EXPECT_NE(saved(load_html("<!--c-->"), "UTF-8"), "none");  // a line break at least
}

TEST_F(Formats, html_save_keeps_the_handles_on_its_meta_element) {
    const std::pair<const char*, const char*> cases[] = {
        {"<meta http-equiv='Content-Type' content='text/html; charset=ISO-8859-1'>",
         "text/html; charset=UTF-8"},
        {"<meta content='x' http-equiv='content-type'><title>t</title>",
         "text/html; charset=UTF-8"},
        {"<meta http-equiv='Content-Type' content='charset=utf-8'>", "charset=utf-8"}};
    for (const auto& [head, content] : cases) {
        const Handle doc = load_html(std::string("<html><head>") + head + "</head></html>");
        const Handle attr = find(doc, "//meta/@content"), node = first_child(attr);
        EXPECT_EQ(get("xmlHTMLDocSaveFormatFile", doc, "/dev/null", "UTF-8", 0), 0U);
        EXPECT_TRUE(first_child(attr) == node && parent(node) == attr);
        EXPECT_EQ(value(node), content);
        EXPECT_THAT(saved(doc, "ISO-8859-1"), HasSubstr("charset=ISO-8859-1\""));
        EXPECT_EQ(value(node), "text/html; charset=ISO-8859-1");
        expect_no_value("xmlHTMLDocSaveFormatFile", doc, "/dev/full", "ASCII", 0);
        free_node(unlink(node));
    }
    // The writer reads the content of any case, and sets this one.
    const Handle doc =
        load_html("<html><head><meta http-equiv='Content-Type' content='a'></head></html>");
    const Handle meta = find(doc, "//meta");
    std::vector<Handle> texts = {first_child(find(meta, "@content"))};
    for (const char* attribute_name : {"CONTENT", "Content"}) {
        const Handle attr = with_text(create(doc, XML_ATTRIBUTE_NODE, attribute_name), "b");
        texts.push_back(first_child(attr));
        set_attribute(meta, attr);
    }
    EXPECT_EQ(get("xmlHTMLDocSaveFormatFile", doc, "/dev/null", "UTF-8", 0), 0U);
    for (Handle node : texts) EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", node), doc) << value(node);
}

TEST_F(Formats, transformation_of_files) {
    const TempFile input("in.xml", "<!DOCTYPE r [<!ENTITY e '\u00e9'>]><r><a>1</a><a>&e;</a></r>");
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"<xsl:output method='text' encoding='UTF-8'/>", "1\u00e9"},
        {"<xsl:output method='text' encoding='ISO-8859-1'/>", "1\xE9"},
        {"<xsl:output omit-xml-declaration='yes'/><xsl:template match='/'><o><xsl:value-of"
         " select='count(//a)'/></o></xsl:template>",
         "<o>2</o>\n"},
        {"<xsl:output method='html'/><xsl:template match='/'><br/></xsl:template>", "<br>\n"},
        {"<xsl:template match='/'/>", ""},  // nothing to write is no failure
        {"<xsl:template match='/'><xsl:apply-templates select='/'/></xsl:template>", std::nullopt},
        {"<xsl:template match='/'><a/><xsl:message terminate='yes'>no</xsl:message></xsl:template>",
         std::nullopt},
        {"<xsl:template match='[' />", std::nullopt},
    };
    for (const auto& [body, output] : cases) {
        const TempFile style("style.xsl", stylesheet(body));
        const TempFile result("r\u00e9sult");
        const Outcome written =
            call("xmlXSLTransformFile", input.path(), style.path(), result.path());
        EXPECT_EQ(written.no_value(), !output) << body;
        EXPECT_TRUE(output || !result.exists()) << body;
        EXPECT_EQ(result.content(), output.value_or("")) << body;
        EXPECT_EQ(output ? written.integer() : 0, result.content().size()) << body;
    }
    // The paths are read in turn: what is missing after a null one does not matter.
    expect_no_value("xmlXSLTransformFile", input.path(), nullptr, "/dev/null");
    // From now on entities are substituted, and external subsets read.
    const TempFile dtd("ext.dtd", "<!ATTLIST r w CDATA 'dflt'>");
    const Handle parsed =
        load_root("<!DOCTYPE r SYSTEM '" + dtd.path() + "' [<!ENTITY e 'x'>]><r>&e;</r>");
    EXPECT_EQ(dump(parsed) + text("xmlDOMElementGetAttribute", parsed, "w"), "<r>x</r>dflt");
}

TEST_F(Formats, document_properties) {
    const TempFile file("d.xml",
                        "<?xml version='1.1' encoding='ISO-8859-1' standalone='yes'?><a>\xE9</a>");
    const auto all = [&](Handle doc) { return properties("xmlDOMDocGetProperty", doc, 5); };
    const Handle doc = load_file(file.path());
    EXPECT_EQ(all(doc), "1.1 ISO-8859-1 1 " + file.path() + " none");
    EXPECT_EQ(all(load("<a/>")), "1.0 none none none none");
    EXPECT_EQ(all(load("<?xml version='1.0' standalone='no'?><a/>")), "1.0 none 0 none none");
    // They are what a plain save writes; an encoding that nobody knows writes nothing.
    const TempFile copy("copy.xml"), unwritten("unwritten.xml");
    get("xmlDOMDocSetProperty", doc, 0, "1.0");
    get("xmlDOMDocSetProperty", doc, 1, "US-ASCII");
    get("xmlDOMDocSetProperty", doc, 2, "no");
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, copy.path()), doc);
    EXPECT_EQ(copy.content(),
              "<?xml version=\"1.0\" encoding=\"US-ASCII\" standalone=\"no\"?>\n<a>&#233;</a>\n");
    get("xmlDOMDocSetProperty", doc, 1, "no-such-encoding");
    expect_no_value("xmlDOMDocSaveXMLFile", doc, unwritten.path());
    EXPECT_FALSE(unwritten.exists());
}

TEST_F(Formats, dump_of_every_kind_of_node) {
    const Handle doc = load(
        "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r k CDATA 'd'><!NOTATION n SYSTEM 's'>"
        "<!ENTITY e 'x'><!ENTITY u SYSTEM 'u' NDATA n>]><r xmlns:p='u' p:a='&lt;&quot;\u00e9'>"
        "<p:b><c/></p:b>t&amp;<![CDATA[<]]><?pi x?><!--c-->&e;</r>");
    std::string nodes;
    for (Handle node : select(root(doc), "@*|node()")) nodes += dumped(node) + "|";
    EXPECT_EQ(nodes,
              " p:a=\"&lt;&quot;&#xE9;\"|<p:b><c/></p:b>|t&amp;|<![CDATA[<]]>|<?pi x?>|<!--c-->|");
    const Handle declaration = attribute(root(doc), "k");
    EXPECT_EQ(dumped(find(doc, "//p:b"), 1), "<p:b>\n  <c/>\n</p:b>");
    EXPECT_THAT(dumped(doc), HasSubstr("<!NOTATION n SYSTEM \"s\" >"));
    EXPECT_EQ(dumped(declaration), "<!ATTLIST r k CDATA \"d\">\n");
    for (Handle entity : call("xmlDOMDocGetEntities", doc).handles())
        EXPECT_THAT(dumped(entity), testing::StartsWith("<!ENTITY " + name(entity)));
    const Handle notations = get("xmlDOMDocGetNotations", doc);
    EXPECT_EQ(dumped(notations), "");
    free_node(notations);
    EXPECT_EQ(call("xmlDOMNodeDumpNode", load("<a>&#x1F600;</a>"), 0).status(), VT_TOO_LARGE);
}

TEST_F(Formats, names) {
    for (const std::string name : {"node", ":", "a:b:c", "a-.1", "\u00e9"})
        EXPECT_TRUE(call("xmlDOMUtilIsValidXMLName", name).boolean()) << name;
    for (const std::string name : {"", " a", "a ", "a b", "1abc", "-a", "\u00d7"})
        EXPECT_FALSE(call("xmlDOMUtilIsValidXMLName", name).boolean()) << name;
    for (const char* predicate : {"_x_isLevel1Name", "_x_isLevel2Name"})
        EXPECT_EQ(host.symbol_as<int (*)(const char*)>(predicate)(nullptr), 0);
}

class Replacement : public LibraryTest {
protected:
    static std::uint32_t size(std::u16string_view text) {
        return static_cast<std::uint32_t>(text.size());
    }
    /// Compares search and replacement with those of the standard library; the inputs lie in blocks of
    /// exactly their size, so that valgrind sees a step beyond.
    void compare(const std::u16string& text, const std::u16string& pattern,
                 const std::u16string& by) {
        std::u16string wanted;
        std::size_t from = 0, at = text.find(pattern);
        const bool found = !pattern.empty() && at != text.npos;
        for (; found && at != text.npos; at = text.find(pattern, from)) {
            wanted.append(text, from, at - from).append(by);
            from = at + pattern.size();
        }
        if (found) wanted.append(text, from);
        const Exact<char16_t> t(text), p(pattern), b(by);
        EXPECT_EQ(find_(t.data, size(text), p.data, size(pattern)),
                  found ? t.data + text.find(pattern) : nullptr);
        char16_t* result = t.data;
        std::uint32_t count = 77;
        const vt_status status = replace_(host.runtime(), t.data, size(text), p.data, size(pattern),
                                          b.data, size(by), &result, &count);
        ASSERT_EQ(status, found ? VT_OK : VT_MALFORMED);
        ASSERT_TRUE((result != nullptr) == found && count == wanted.size());
        if (!found) return;
        EXPECT_EQ(std::u16string(result, count), wanted);
        host.symbol_as<void (*)(void*)>("Mem_Free")(result);
    }

    using Units = const char16_t*;
    using Count = std::uint32_t;
    using Find = Units(Units, Count, Units, Count);
    using Replace = vt_status(vt_host_runtime*, Units, Count, Units, Count, Units, Count,
                              char16_t**, Count*);
    Find* find_ = host.symbol_as<Find*>("_x_FindBufferInBuffer");
    Replace* replace_ = host.symbol_as<Replace*>("_x_ReplaceWordInBuffer");
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
        const auto text = word(random() % 70, letters), by = word(random() % 12, letters);
        auto pattern = word(random() % 6, letters);
        if (i % 3 == 0 && !text.empty())
            pattern = text.substr(random() % text.size(), 1 + random() % 20);
        compare(text, pattern, by);
    }
}

TEST_F(Replacement, results_and_failures) {
    char16_t* out = nullptr;
    std::uint32_t count = 0;
    const std::u16string text(0x8001, u'a'), by(0x4000, u'b');
    EXPECT_EQ(replace_(host.runtime(), text.data(), size(text), text.data(), 1, by.data(), size(by),
                       &out, &count),
              VT_TOO_LARGE);  // 16384 units over 0x20000000
    EXPECT_TRUE(out == nullptr && count == 0);
    for (int missing = 0; missing < 5; ++missing) {
        const auto units = [&](int parameter) { return missing == parameter ? nullptr : u"a"; };
        EXPECT_EQ(replace_(host.runtime(), units(0), 1, units(1), 1, units(2), 1,
                           missing == 3 ? nullptr : &out, missing == 4 ? nullptr : &count),
                  VT_MALFORMED);
    }
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
