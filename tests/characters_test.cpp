// Characters of every class through every writer: what is written reads back as the same tree, or the save
// says no and leaves the file.
#include <gmock/gmock.h>

#include <random>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

/// Where a character stands, with what selects it in a document that is read back.
struct Place {
    const char* what;
    const char* xpath;
    enum class Kind { referable, raw, name } kind;
};

class Characters : public TreeTest {
protected:
    static constexpr const char* old = "what was there before";

    Handle with_value(Handle node, const std::u16string& value) {
        get("xmlDOMNodeSetValue", node, value);
        return node;
    }
    Handle make(Handle doc, std::uint32_t type, const std::u16string& data) {
        return get("xmlDOMDocCreateNode", doc, type, data);
    }
    /// Puts the text into the document at that place, below `element`.
    void put(Handle doc, Handle element, std::string_view what, const std::u16string& text) {
        if (what == "text") append(element, make(doc, XML_TEXT_NODE, text));
        if (what == "attribute") {
            const Handle attr = create(doc, XML_ATTRIBUTE_NODE, "k");
            append(attr, make(doc, XML_TEXT_NODE, text));
            set_attribute(element, attr);
        }
        if (what == "comment") append(element, make(doc, XML_COMMENT_NODE, text));
        if (what == "CDATA") append(element, make(doc, XML_CDATA_SECTION_NODE, text));
        if (what == "instruction")
            append(element, with_value(create(doc, XML_PI_NODE, "pi"), text));
        if (what == "name") append(element, make(doc, XML_ELEMENT_NODE, text));
        if (what == "attribute name") set_attribute(element, make(doc, XML_ATTRIBUTE_NODE, text));
        if (what == "script") {
            const Handle script = create(doc, XML_ELEMENT_NODE, "script");
            append(script, make(doc, XML_TEXT_NODE, text));
            append(element, script);
        }
    }
    /// What stands there in a file that was written; "none" in one that cannot be read.
    std::u16string read(const std::string& path, bool html, const Place& place) {
        const Handle doc = get(html ? "xmlHTMLDocLoadFile" : "xmlDOMDocLoadXMLFile", path, 1);
        if (doc == 0) return u"none";
        const std::vector<Handle> found = select(doc, place.xpath);
        std::u16string value = u"not found";
        if (!found.empty()) {
            const bool is_name = place.kind == Place::Kind::name;
            const Outcome outcome =
                call(is_name ? "xmlDOMNodeGetName" : "xmlDOMNodeGetValue", found[0]);
            value = outcome.status() == VT_TOO_LARGE ? u"wide" : outcome.text();
        }
        get("xmlDOMDocFreeDoc", doc);
        return value;
    }
    static void write(const std::string& path, std::string_view bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    const TempFile file{"characters", TempFile::In::memory},
        second{"second-name", TempFile::In::memory};
};

constexpr std::string_view encodings[] = {
    "plain",    "plain ISO-8859-1", "plain windows-1252", "none",  "UTF-8",
    "UTF-16LE", "UTF-16BE",         "ISO-8859-1",         "ASCII", "HTML"};

/// Whether a file in this encoding has the character without a reference.
bool has(std::string_view encoding, char32_t character) {
    if (encoding.ends_with("ISO-8859-1")) return character < 0x100;
    if (encoding == "ASCII" || encoding == "HTML") return character < 0x80;
    if (encoding.ends_with("1252"))
        return character < 0x80 || character == 0x20AC || (character >= 0xA0 && character < 0x100);
    return true;
}

TEST_F(Characters, of_every_class_in_every_place_of_every_file) {
    using Kind = Place::Kind;
    const Place places[] = {
        {"text", "//r/text()", Kind::referable},
        {"attribute", "//r/@k", Kind::referable},
        {"comment", "//r/comment()", Kind::raw},
        {"CDATA", "//r/text()", Kind::raw},
        {"instruction", "//processing-instruction('pi')", Kind::raw},
        {"name", "//r/*[1]", Kind::name},
        {"attribute name", "//r/@*", Kind::name},
        {"script", "//script/text()", Kind::raw},
    };
    const std::u16string never[] = {
        {0x01},   {0x0B},   {0x0C},   {0x1F},           {0xFFFE},
        {0xFFFF}, {0xD83D}, {0xDE00}, {0xDE00, 0xD83D}, {0xD83D, u'x', 0xDE00}};
    const std::u16string always[] = {u"\t",     u"\n",     u"\r",     {0x7F},    {0x80},   {0x85},
                                     u"\u00e9", u"\u20ac", u"\u2028", u"\ufdd0", u"\ufffd"};
    const std::u16string pair = {0xD83D, 0xDE00};
    const auto expect = [&](bool html, const Place& place, std::string_view encoding,
                            const std::u16string& character, bool refused) {
        const Handle doc = html ? load_html("<title>t</title><r>") : load("<r/>");
        const Handle element = find(doc, "//r");
        const std::u16string text = u"a" + character + u"b";
        put(doc, element, place.what, text);
        const bool is_plain = encoding.starts_with("plain");
        if (is_plain && encoding.size() > 5)
            get("xmlDOMDocSetProperty", doc, 1, encoding.substr(6));
        const std::string before = dump(doc);
        // Once to be replaced, and once to be written in place, where nothing can be taken back.
        for (const bool in_place : {false, true}) {
            if (in_place && encoding != "UTF-8" && encoding != "ASCII") continue;
            if (file.content() != old) write(file.path(), old);
            if (in_place) fs::create_hard_link(file.path(), second.path());
            const Outcome outcome =
                is_plain ? call("xmlDOMDocSaveXMLFile", doc, file.path())
                         : call(html ? "xmlHTMLDocSaveFormatFile" : "xmlDOMDocSaveXMLFormatFile",
                                doc, file.path(), encoding, 0);
            fs::remove(second.path());
            const std::string where = std::string(html ? "HTML " : "XML ") + place.what + " " +
                                      std::string(encoding) + " " + to_utf8(character);
            EXPECT_EQ(outcome.no_value(), refused) << where;
            if (outcome.no_value()) {
                EXPECT_EQ(file.content(), old) << where;
                EXPECT_EQ(dump(doc), before) << where;
                char number[16];
                std::snprintf(number, sizeof number, "has U+%04X", character[0]);
                EXPECT_THAT(this->text("xmlDOMDocGetLastMsg", doc), HasSubstr(number)) << where;
            } else if (encoding != "HTML" || html) {
                // libxml2 takes HTML for UTF-16 only with a byte order mark, which it does not write.
                if (html && encoding.starts_with("UTF-16"))
                    write(file.path(),
                          (encoding == "UTF-16LE" ? "\xFF\xFE" : "\xFE\xFF") + file.content());
                // Line ends are made one kind where no reference can stand for them.
                const bool becomes_line_end = character == u"\r" && place.kind == Kind::raw &&
                                              !(html && place.what == std::string_view("CDATA"));
                const std::u16string wanted = character == pair  ? u"wide"
                                              : becomes_line_end ? u"a\nb"
                                                                 : text;
                const std::u16string found = read(file.path(), html, place);
                if (!html || character != u"\r") {
                    EXPECT_EQ(found, wanted) << where;
                }
            }
        }
        free(doc);
    };
    for (const bool html : {false, true}) {
        for (const Place& place : places) {
            const bool is_script = place.what == std::string_view("script");
            if (is_script != html && is_script) continue;
            // Names are the script's; and of HTML the parser leaves what it does not know.
            if (html && place.kind == Kind::name) continue;
            for (const std::string_view encoding : encodings) {
                if (html && encoding.starts_with("plain")) continue;
                if (under_valgrind() && encoding.starts_with("UTF-16")) continue;
                for (const std::u16string& character : never)
                    expect(html, place, encoding, character, true);
                const bool is_utf16 = encoding.starts_with("UTF-16");
                expect(html, place, encoding, pair, !is_utf16 || html);
                for (const std::u16string& character : always) {
                    const bool is_letter = character == u"\u00e9" || character == u"\u20ac";
                    if (place.kind == Kind::name && !is_letter) continue;
                    // In HTML a CDATA section is text, and "none" stands for "HTML".
                    const bool takes_references = place.kind == Kind::referable ||
                                                  (html && place.what == std::string_view("CDATA"));
                    const std::string_view real = html && encoding == "none" ? "HTML" : encoding;
                    expect(html, place, encoding, character,
                           !takes_references && !has(real, character[0]));
                }
            }
        }
    }
}

TEST_F(Characters, that_come_in_two_pieces_of_a_file) {
    // libxml2 writes in pieces of some thousand bytes.
    const std::string filler(7800, 'x');
    for (std::size_t length = 3800; length < 7800; length += length % 200 < 100 ? 1 : 100) {
        const Handle doc = load("<a>" + filler.substr(0, length) + "</a>");
        append(root(doc), make(doc, XML_COMMENT_NODE, {0xD83D, 0xDE00}));
        append(root(doc), create(doc, XML_TEXT_NODE, filler));
        for (const char* encoding : {"UTF-8", "ISO-8859-1", "none"})
            expect_no_value("xmlDOMDocSaveXMLFormatFile", doc, file.path(), encoding, 0);
        EXPECT_NE(get("xmlDOMDocSaveXMLFormatFile", doc, file.path(), "UTF-16BE", 0), ~0U);
        EXPECT_TRUE(file.exists());
        fs::remove(file.path());
        free(doc);
    }
}

TEST_F(Characters, are_written_as_libxml2_writes_them) {
    // The library escapes text of files without an encoding itself.
    const TempFile theirs("theirs", TempFile::In::memory);
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i) {
        std::string text;
        for (int n = std::uniform_int_distribution(0, 6000)(random) >> (i % 12); n > 0; --n) {
            const int kind = std::uniform_int_distribution(0, 9)(random);
            const int limit = kind < 6 ? 0x7F : kind < 8 ? 0x7FF : kind < 9 ? 0xD7FF : 0x10FFFF;
            const int character = std::uniform_int_distribution(0x20, limit)(random);
            const bool is_surrogate = character >= 0xD800 && character < 0xE000;
            if (is_surrogate || (character & 0xFFFE) == 0xFFFE) continue;
            text += "&#" + std::to_string(character) + ";";
            if (kind == 0) text += "&#13;\n\t&lt;&gt;&amp;";
        }
        const Handle doc = load("<a b='" + text + "'>" + text + "<b/></a>");
        for (const int format : {0, 1}) {
            ASSERT_NE(get("xmlDOMDocSaveXMLFormatFile", doc, file.path(), "none", format), ~0U);
            xmlSaveFormatFile(theirs.path().c_str(), doc_of(doc), format);
            ASSERT_EQ(file.content(), theirs.content()) << i;
        }
        free(doc);
    }
}

TEST_F(Characters, that_are_markup) {
    const Handle html = load_html("<x<y><!--a--b-->");
    const struct {
        const char* what;
        std::uint32_t type;
        std::u16string data, value;
        const char* fault;  // null: it is written
    } cases[] = {
        {"comment", XML_COMMENT_NODE, u"a--b", u"", "a comment of element r has \"--\""},
        {"comment's end", XML_COMMENT_NODE, u"a-", u"", "a comment"},
        {"comment set", XML_COMMENT_NODE, u"a", u"--", "a comment"},
        {"comment that is well", XML_COMMENT_NODE, u"-a- -->", u"-a- ->", nullptr},
        {"instruction", XML_PI_NODE, u"pi", u"a?>b", "an instruction has \"?>\""},
        {"target", XML_PI_NODE, u"XML", u"a", "a processing instruction"},
        {"section", XML_CDATA_SECTION_NODE, u"a]]>b", u"", nullptr},
        {"element", XML_ELEMENT_NODE, u"a b", u"", "an element a b"},
        {"no element", XML_ELEMENT_NODE, u"", u"", "an element"},
        {"digit", XML_ELEMENT_NODE, u"1a", u"", "an element"},
        {"letters", XML_ELEMENT_NODE, u"\u00e9-1.\u00b7\u4e2d\u2c00", u"", nullptr},
        {"no letter", XML_ELEMENT_NODE, u"a\u00d7", u"", "an element"},
        {"reference", XML_ENTITY_REF_NODE, u"a;<b/>", u"", "an entity reference"},
    };
    for (const auto& [what, type, data, value, fault] : cases) {
        const Handle doc = load("<r/>");
        append(root(doc), with_value(make(doc, type, data), value.empty() ? data : value));
        write(file.path(), old);
        const Outcome outcome = call("xmlDOMDocSaveXMLFile", doc, file.path());
        EXPECT_EQ(outcome.no_value(), fault != nullptr) << what;
        if (fault) {
            EXPECT_EQ(file.content(), old) << what;
        } else {
            EXPECT_NE(load_file(file.path()), 0U) << file.content();
        }
        if (what == cases[0].what) {
            EXPECT_THAT(text("xmlDOMDocGetLastMsg", doc), HasSubstr(fault));
        }
    }
    // Nodes of HTML have what its parser takes.
    const Handle doc = load("<r/>");
    append(root(doc), get("xmlDOMNodeImportNode", find(html, "//comment()"), 1, doc));
    expect_no_value("xmlDOMDocSaveXMLFile", doc, file.path());
    for (const auto& [property, value, is_well] : {std::tuple(0, "-//A//B 1.0", true),
                                                   {0, "a\"b", false},
                                                   {1, "a\"b", true},
                                                   {1, "'\"", false}}) {
        const Handle dtd = get("xmlDOMDocCreateDoctype", "r"), with_dtd = load("<r/>");
        get("xmlDOMDoctypeSetProperty", dtd, 1, "r.dtd");
        get("xmlDOMDoctypeSetProperty", dtd, property, value);
        get("xmlDOMDocSetExternalDtd", with_dtd, dtd);
        EXPECT_EQ(gives_no_value("xmlDOMDocSaveXMLFile", with_dtd, file.path()), !is_well) << value;
        EXPECT_TRUE(!is_well || load_file(file.path()) != 0) << value;
    }
    for (const auto& [version, is_well] :
         {std::pair("", false), {"1", false}, {"1.0\" x=\"", false}, {"1.1", true}, {"1.", true}}) {
        const Handle made = keep(get("xmlDOMDocCreateDoc", version)), set = load("<r/>");
        get("xmlDOMDocSetProperty", set, 0, version);
        append(made, create(made, XML_ELEMENT_NODE, "r"));
        for (const Handle with_version : {made, set})
            EXPECT_EQ(gives_no_value("xmlDOMDocSaveXMLFile", with_version, file.path()), !is_well)
                << version;
        EXPECT_TRUE(!is_well || load_file(file.path()) != 0) << version;
    }
    // A declaration comes to an attribute that is written with its name.
    const Handle late = load("<r/>"),
                 element = get("xmlDOMDocCreateNodeNS", late, XML_ELEMENT_NODE, "p:id", "");
    get("xmlDOMElementSetAttributeNode", element,
        get("xmlDOMDocCreateNodeNS", late, XML_ATTRIBUTE_NODE, "xmlns:p",
            "http://www.w3.org/2000/xmlns/"));
    append(root(late), element);
    expect_no_value("xmlDOMDocSaveXMLFile", late, file.path());
    // Attributes that are written with the name of another, or of a declaration, in either order.
    for (const char* name : {"q:k", "xmlns"}) {
        const Handle twins = load("<r xmlns:q='u' q:k='v'/>");
        const bool is_plain = name[0] == 'x';
        if (is_plain)
            get("xmlDOMElementSetAttributeNode", root(twins),
                create(twins, XML_ATTRIBUTE_NODE, name));
        EXPECT_FALSE(gives_no_value("xmlDOMDocSaveXMLFile", twins, file.path())) << name;
        get("xmlDOMElementSetAttributeNodeNS", root(twins),
            get("xmlDOMDocCreateNodeNS", twins, XML_ATTRIBUTE_NODE, is_plain ? ":k" : name, "w"));
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFile", twins, file.path())) << name;
        EXPECT_THAT(text("xmlDOMDocGetLastMsg", twins), HasSubstr("the name of another"));
    }
    // The parser keeps references in the URIs of namespaces.
    const Handle declaring =
        load("<!DOCTYPE r [<!ENTITY e 'x'>]><r xmlns='u&amp;v' xmlns:p='&e;'/>");
    for (const char* uri : {"a&b", "a<b", "a&lt;b", "a\"'b", "\t\n"}) {
        const Handle made = get("xmlDOMDocCreateNodeNS", declaring, XML_ELEMENT_NODE, "q:a", uri);
        append(root(declaring), made);
        const std::string before = dump(declaring);
        ASSERT_NE(get("xmlDOMDocSaveXMLFile", declaring, file.path()), ~0U) << uri;
        EXPECT_EQ(dump(declaring), before);
        const Handle again = load_file(file.path());
        ASSERT_NE(again, 0U) << file.content();
        std::string wanted = uri;
        if (const std::size_t at = wanted.find('&'); at != wanted.npos)
            wanted.insert(at + 1, "#38;");
        const Handle found = select(again, "/*/*").back();
        EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", found, 1), wanted);
        EXPECT_EQ(text("xmlDOMNodeGetPropertyNS", root(again), 1), "u&#38;v");
    }
}

TEST_F(Characters, of_a_document_type) {
    // What the parser read; Cyrillic, so that ISO-8859-1 has none of it.
    const char* const sh = "\u0448";
    const auto saves = [&](std::string dtd) {
        for (std::size_t at; (at = dtd.find('@')) != dtd.npos;) dtd.replace(at, 1, sh);
        const Handle doc = load("<!DOCTYPE r [" + dtd + "]><r/>");
        EXPECT_NE(doc, 0U) << dtd;
        const bool saved =
            !gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, file.path(), "ISO-8859-1", 0);
        EXPECT_TRUE(!saved || load_file(file.path()) != 0) << dtd;
        return saved;
    };
    for (const char* dtd :
         {"<!ENTITY e '@'>", "<!ATTLIST r a CDATA '@'>", "<!ELEMENT r (a,(b|c)*,d)>"})
        EXPECT_TRUE(saves(dtd)) << dtd;
    for (const char* dtd :
         {"<!ELEMENT @ ANY>", "<!ELEMENT r (a,(b|(c,@))*,d)>", "<!ATTLIST @ a CDATA ''>",
          "<!ATTLIST r @ CDATA ''>", "<!ATTLIST r a (b|@) 'b'>", "<!ENTITY @ 'x'>",
          "<!ENTITY e SYSTEM '@'>", "<!NOTATION @ SYSTEM 'x'>", "<!NOTATION n SYSTEM '@'>",
          "<!ENTITY e ''><!--@-->", "<!ENTITY e ''><?p @?>"})
        EXPECT_FALSE(saves(dtd)) << dtd;
    const Handle doc = load("<!DOCTYPE r><r/>");
    const Handle dtd = find(doc, "/node()[1]") == root(doc) ? relative(doc, 3) : 0;
    ASSERT_NE(dtd, 0U);
    get("xmlDOMDoctypeSetProperty", dtd, 1, std::u16string{0xD83D});
    expect_no_value("xmlDOMDocSaveXMLFile", doc, file.path());
    EXPECT_EQ(text("xmlDOMDocGetLastMsg", doc),
              "not written: the document type has U+D83D, which no file can hold\n");
}

TEST_F(Characters, of_a_transformation) {
    const TempFile input("input.xml", "<a>\u20ac</a>");
    const auto content_of = [&](const std::string& output, const std::string& content) {
        write(file.path(), old);
        const TempFile style("style.xsl",
                             stylesheet("<xsl:output " + output + "/><xsl:template match='/'>" +
                                        content + "</xsl:template>"));
        const bool saved =
            !gives_no_value("xmlXSLTransformFile", input.path(), style.path(), file.path());
        EXPECT_EQ(saved, file.content() != old);
        return saved ? file.content() : "none";
    };
    const std::string in_comment =
                          "<b><xsl:comment select='1'><xsl:value-of select='a'/>"
                          "</xsl:comment></b>",
                      in_text = "<b><xsl:value-of select='a'/></b>";
    EXPECT_THAT(content_of("encoding='ISO-8859-1'", in_text), HasSubstr("<b>&#8364;</b>"));
    EXPECT_EQ(content_of("encoding='ISO-8859-1'", in_comment), "none");
    EXPECT_THAT(content_of("encoding='windows-1252'", in_comment), HasSubstr("<!--\x80-->"));
    EXPECT_THAT(content_of("", in_comment), HasSubstr("<!--\u20ac-->"));
    EXPECT_EQ(content_of("method='text' encoding='ASCII'", in_text), "none");
    EXPECT_EQ(content_of("method='text'", in_text), "\u20ac");
    EXPECT_EQ(
        content_of("method='html' encoding='ASCII'", "<script><xsl:value-of select='a'/></script>"),
        "none");
}

}  // namespace
}  // namespace valtrosse::host
