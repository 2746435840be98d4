// Documents: loading, creating, freeing, saving.
#include <libxml/globals.h>
#include <libxml/parser.h>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

class Documents : public LibraryTest {
protected:
    template <typename Path>
    Handle load_file(const Path& path, std::uint32_t keep_blanks = 1) {
        return keep(get("xmlDOMDocLoadXMLFile", path, keep_blanks));
    }
    std::string message() { return text("xmlDOMDocGetLastMsg", 0); }
    /// The root of a document, written out; it must have one.
    std::string whole(Handle doc) {
        const Handle root = doc ? get("xmlDOMDocGetRootNode", doc) : 0;
        return root ? dump(root) : "none";
    }
    /// What a formatted save writes.
    std::string saved(Handle doc, std::string_view encoding, std::uint32_t format = 0) {
        const TempFile file("saved.xml");
        EXPECT_EQ(call("xmlDOMDocSaveXMLFormatFile", doc, file.path(), encoding, format).integer(),
                  0U);
        return file.content();
    }
};

TEST_F(Documents, load_with_and_without_blanks) {
    const std::string xml = "<a>\n  <b> x </b>\n</a>";
    const TempFile file("blanks.xml", xml);
    for (int before : {0, 1}) {
        EXPECT_EQ(call("xmlDOMDocKeepBlanksDefault", before).integer(), 0U);
        for (std::uint32_t keep_blanks : {0U, 1U}) {
            const std::string wanted = keep_blanks ? xml : "<a><b> x </b></a>";
            EXPECT_EQ(whole(load(xml, keep_blanks)), wanted);
            EXPECT_EQ(whole(load_file(file.path(), keep_blanks)), wanted);
            EXPECT_EQ(load("<a", keep_blanks), 0U);
            EXPECT_EQ(xmlKeepBlanksDefaultValue, before);
        }
        get("xmlDOMDocSetLastMsg", 0, "before");
        for (std::uint32_t other : {2U, 0xFFFFFFFFU}) {
            EXPECT_TRUE(gives_no_value("xmlDOMDocLoadXMLString", "<a", other));
            EXPECT_TRUE(gives_no_value("xmlDOMDocLoadXMLFile", "/no/such/file", other));
            EXPECT_TRUE(gives_no_value("xmlDOMDocKeepBlanksDefault", other));
            EXPECT_EQ(xmlKeepBlanksDefaultValue, before);
        }
        EXPECT_EQ(message(), "before");
    }
}

TEST_F(Documents, that_cannot_be_loaded_leave_a_message) {
    const TempFile empty("empty.xml", ""), broken("broken.xml", "<a><b></a>");
    const struct {
        const char* function;
        std::string source;
        const char* message;
    } cases[] = {{"xmlDOMDocLoadXMLFile", "/no/such/folder/a.xml", "/no/such/folder/a.xml"},
                 {"xmlDOMDocLoadXMLFile", testing::TempDir(), ""},
                 {"xmlDOMDocLoadXMLFile", empty.path(), "Document is empty"},
                 {"xmlDOMDocLoadXMLFile", broken.path(), "broken.xml:1: parser error"},
                 {"xmlDOMDocLoadXMLString", "<a>&undefined;</a>", "'undefined' not defined"},
                 {"xmlDOMDocLoadXMLString", " ", "Start tag expected"},
                 {"xmlDOMDocLoadXMLString", "<a/><b/>", "Extra content at the end"}};
    for (const auto& [function, source, text] : cases) {
        get("xmlDOMDocSetLastMsg", 0, "before");
        EXPECT_TRUE(gives_no_value(function, source, 1)) << source;
        EXPECT_NE(message().find(text), std::string::npos) << source << ": " << message();
        EXPECT_NE(message(), "before") << source;
    }
    for (const char* function : {"xmlDOMDocLoadXMLString", "xmlDOMDocLoadXMLFile"})
        for (const Argument& nothing : {Argument(u""), Argument::string_without_text()})
            EXPECT_TRUE(gives_no_value(function, nothing, 0));
}

TEST_F(Documents, paths_and_text_of_any_length) {
    const TempFile folder("folder");
    std::filesystem::create_directory(folder.path());
    for (std::size_t length : {198U, 199U, 200U, 201U, 450U}) {
        std::string path = folder.path();
        while (path.size() + 101 < length) {
            path += "/" + std::string(99, 'd');
            std::filesystem::create_directory(path);
        }
        path += "/" + std::string(length - path.size() - 1, 'f');
        const std::string xml = "<a>" + std::string(length - 7, 'x') + "</a>";
        const Handle doc = load(xml);
        EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, path), doc);
        EXPECT_EQ(whole(load_file(path)), xml);
        std::filesystem::remove(path);
        EXPECT_EQ(get("xmlDOMDocSaveXMLFormatFile", doc, path, std::string(length, 'e'), 1), 0U);
        EXPECT_EQ(whole(load_file(path)), xml);
    }

    // Loaders and formatted saves take the low byte of each unit, plain saves write UTF-8.
    const Handle doc = load("<a>\u00e9</a>");
    const std::string path = folder.path() + "/caf\u00e9\u20ac";
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, path), doc);
    EXPECT_EQ(load_file(path), 0U);
    for (unsigned high : {0U, 0x4100U}) {
        std::u16string units;
        for (char byte : path)
            units += static_cast<char16_t>(high | static_cast<std::uint8_t>(byte));
        EXPECT_EQ(whole(load_file(units)), "<a>\u00e9</a>");
        EXPECT_EQ(call("xmlDOMDocSaveXMLFormatFile", doc, units, "UTF-8", 0).integer(), 0U);
    }
}

TEST_F(Documents, create_root_and_free) {
    const std::pair<std::u16string, std::string> versions[] = {
        {u"1.0", "1.0"},
        {u"", ""},
        {{0x131, 0x22E, 0x430}, "1.0"},
        {std::u16string(300, u'1'), std::string(300, '1')}};
    for (const auto& [version, wanted] : versions) {
        const Handle doc = keep(get("xmlDOMDocCreateDoc", version));
        EXPECT_EQ(chars(reinterpret_cast<xmlDoc*>(doc)->version), wanted);
        EXPECT_TRUE(gives_no_value("xmlDOMDocGetRootNode", doc));
    }
    const Handle doc = load("<?pi?><!DOCTYPE a><!--c--><a><b/></a><!--d-->");
    const Handle root = get("xmlDOMDocGetRootNode", doc);
    EXPECT_EQ(name(root), "a");
    EXPECT_EQ(name(get("xmlDOMDocGetRootNode", keep(get("xmlHTMLDocLoadString", "<p>x", 1)))),
              "html");
    for (Handle no_document : {root, find(root, "b"), relative(doc, 3)}) {
        EXPECT_TRUE(gives_no_value("xmlDOMDocGetRootNode", no_document));
        EXPECT_TRUE(gives_no_value("xmlDOMDocFreeDoc", no_document));
    }
    EXPECT_EQ(dump(root), "<a><b/></a>");
}

TEST_F(Documents, plain_save_writes_the_document_as_it_is) {
    const std::string xml =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
        "<a xmlns=\"o\" xmlns:p=\"u\"><p:b xmlns:p=\"v\">\xE9</p:b> <c xmlns=\"i\"/></a>\n";
    const TempFile file("latin.xml", xml), copy("copy.xml"), unwritten("unwritten.xml");
    const Handle doc = load_file(file.path());
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, copy.path()), doc);
    EXPECT_EQ(copy.content(), xml);

    const Argument no_text = Argument::string_without_text();
    for (const Argument& path : {Argument("/no/such/folder/a.xml"), Argument("/dev/full"),
                                 Argument(testing::TempDir()), no_text}) {
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFile", doc, path));
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, path, "ASCII", 1));
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, path, "other", 0));
    }
    const Argument path(unwritten.path());
    for (Handle refused :
         {keep(get("xmlHTMLDocLoadString", "<p>x", 1)), get("xmlDOMDocGetRootNode", doc)}) {
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFile", refused, path));
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFormatFile", refused, path, "UTF-8", 0));
    }
    EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, path, no_text, 0));
    for (std::uint32_t format : {2U, 0xFFFFFFFFU})
        EXPECT_EQ(call("xmlDOMDocSaveXMLFormatFile", doc, path, "UTF-8", format).status(), 30U);
    EXPECT_FALSE(unwritten.exists());
}

TEST_F(Documents, formatted_save_in_the_accepted_encodings) {
    const TempFile file("latin.xml",
                        "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9&#8364;</a>");
    const Handle doc = load_file(file.path());
    const auto declared = [](const std::string& encoding, const std::string& text) {
        return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>\n<a>" + text + "</a>\n";
    };
    const std::pair<std::string, std::string> cases[] = {{"UTF-8", "\u00e9\u20ac"},
                                                         {"ISO-8859-1", "\xE9&#8364;"},
                                                         {"ASCII", "&#233;&#8364;"},
                                                         {"US-ASCII", "&#233;&#8364;"},
                                                         {"HTML", "&eacute;&euro;"}};
    for (const auto& [encoding, text] : cases)
        EXPECT_EQ(saved(doc, encoding), declared(encoding, text));
    for (bool big : {false, true}) {
        const std::string encoding = big ? "UTF-16BE" : "UTF-16LE";
        std::string wanted;
        for (char16_t unit : to_units(declared(encoding, "\u00e9\u20ac"))) {
            const char bytes[] = {static_cast<char>(unit), static_cast<char>(unit >> 8)};
            wanted += {bytes[big], bytes[!big]};
        }
        EXPECT_EQ(saved(doc, encoding), wanted);
    }
    for (const char* other :
         {"utf-8", "unspecified", "", "UTF-16", "UTF-8 ", "ISO-8859-15", "html"}) {
        const std::string text = saved(doc, other);
        EXPECT_EQ(text.find("<?xml version=\"1.0\"?>\n"), 0U) << other << text;
        EXPECT_EQ(whole(load(text)), "<a>\u00e9\u20ac</a>") << other;
        EXPECT_TRUE(gives_no_value("xmlDOMDocSaveXMLFormatFile", doc, "/dev/full", other, 0));
        EXPECT_STREQ(chars(reinterpret_cast<xmlDoc*>(doc)->encoding), "ISO-8859-1");
    }
    const auto valid = host.symbol_as<const char* (*)(const char*)>("_x_getValidEncoding");
    const std::string name = "US-ASCII";
    EXPECT_TRUE(valid(name.c_str()) == name.c_str() && !valid("US-ASCI") && !valid(nullptr));
    EXPECT_EQ(host.symbol_as<int (*)()>("_x_isLittleEndian")(), 1);

    const Handle dense = load("<a> <b><c/></b> </a>", 0), mixed = load("<a><b><c/></b>text</a>");
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    EXPECT_EQ(saved(dense, "UTF-8", 0), declaration + "<a><b><c/></b></a>\n");
    EXPECT_EQ(saved(dense, "UTF-8", 1), declaration + "<a>\n  <b>\n    <c/>\n  </b>\n</a>\n");
    EXPECT_EQ(saved(mixed, "UTF-8", 1), declaration + "<a><b><c/></b>text</a>\n");
}

TEST_F(Documents, formatted_save_drops_declarations_of_prefixes_in_scope) {
    const std::pair<const char*, const char*> cases[] = {
        {"<a xmlns:p='u'><b xmlns:p='u' p:x=''><p:c/></b></a>",
         "<a xmlns:p=\"u\"><b p:x=\"\"><p:c/></b></a>"},
        {"<a xmlns:p='u'><p:b xmlns:p='v' p:x=''><p:c xmlns:p='w'/></p:b></a>",
         "<a xmlns:p=\"u\"><p:b p:x=\"\"><p:c/></p:b></a>"},
        {"<h xmlns='h'><p><s xmlns='s' xmlns:q='q'><g/></s></p></h>",
         "<h xmlns=\"h\"><p><s xmlns:q=\"q\"><g/></s></p></h>"},
        {"<a><b xmlns='u'/><c xmlns='v'><d xmlns=''/></c></a>",
         "<a><b xmlns=\"u\"/><c xmlns=\"v\"><d/></c></a>"}};
    for (const auto& [xml, normalised] : cases) {
        const Handle doc = load(xml), root = get("xmlDOMDocGetRootNode", doc);
        const std::string before = whole(doc);
        EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, "/dev/null"), doc);
        EXPECT_EQ(whole(doc), before);
        EXPECT_NE(saved(doc, "other").find(normalised), std::string::npos) << xml;
        EXPECT_EQ(whole(doc), normalised);
        for (Handle user : select(root, "//*[contains(name(), ':')] | //@*"))
            EXPECT_EQ(node_of(user)->ns, node_of(root)->nsDef) << xml;  // all mean the root's
    }
}

}  // namespace
}  // namespace valtrosse::host
