// Documents: loading, creating, freeing, saving.
#include <gmock/gmock.h>
#include <libxml/globals.h>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::HasSubstr;

class Documents : public TreeTest {
protected:
    std::string message() { return text("xmlDOMDocGetLastMsg", 0); }
    /// The root of a document, written out.
    std::string whole(Handle doc) { return doc && root(doc) ? dump(root(doc)) : "none"; }
    /// What a formatted save writes.
    std::string saved(Handle doc, std::string_view encoding, std::uint32_t format = 0) {
        const TempFile file("saved.xml");
        const Outcome outcome =
            call("xmlDOMDocSaveXMLFormatFile", doc, file.path(), encoding, format);
        return outcome.no_value() ? "none" : file.content();
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
        expect_no_value("xmlDOMDocKeepBlanksDefault", 2);
        EXPECT_EQ(xmlKeepBlanksDefaultValue, before);
    }
}

TEST_F(Documents, that_cannot_be_loaded_leave_a_message) {
    const TempFile empty("empty.xml", ""), broken("broken.xml", "<a><b></a>");
    const auto expect_message = [&](const char* loader, std::string_view source, const char* part) {
        get("xmlDOMDocSetLastMsg", 0, "before");
        expect_no_value(loader, source, 1);
        EXPECT_THAT(message(), testing::AllOf(HasSubstr(part), testing::Ne("before")));
    };
    const char *const file = "xmlDOMDocLoadXMLFile", *const string = "xmlDOMDocLoadXMLString";
    expect_message(file, "/no/such/folder/a.xml", "/no/such/folder/a.xml");
    expect_message(file, testing::TempDir(), "");
    expect_message(file, empty.path(), "Document is empty");
    expect_message(file, broken.path(), "broken.xml:1: parser error");
    expect_message(string, "<a>&undefined;</a>", "'undefined' not defined");
    expect_message(string, " ", "Start tag expected");
    expect_message(string, "<a/><b/>", "Extra content at the end");
    for (const char* loader : {file, string}) expect_no_value(loader, u"", 0);
}

// Loaders and formatted saves take the low byte of each unit, plain saves write UTF-8.
TEST_F(Documents, paths_are_8_bit_text_or_utf8) {
    const TempFile folder("folder");
    std::filesystem::create_directory(folder.path());
    const Handle doc = load("<a>\u00e9</a>");
    const std::string path = folder.path() + "/caf\u00e9\u20ac" + std::string(200, 'x');
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, path), doc);
    EXPECT_EQ(load_file(path), 0U);
    for (unsigned high : {0U, 0x4100U}) {
        std::u16string units;
        for (const char byte : path)
            units += static_cast<char16_t>(high | static_cast<std::uint8_t>(byte));
        EXPECT_EQ(whole(load_file(units)), "<a>\u00e9</a>");
        EXPECT_EQ(call("xmlDOMDocSaveXMLFormatFile", doc, units, "UTF-8", 0).integer(), 0U);
    }
}

TEST_F(Documents, versions_keep_the_low_byte_of_each_unit) {
    const std::string many(300, '1');
    for (const auto& [version, wanted] : {std::pair(to_units(""), std::string()),
                                          {{0x131, 0x22E, 0x430}, "1.0"},
                                          {to_units(many), many}})
        EXPECT_EQ(chars(doc_of(keep(get("xmlDOMDocCreateDoc", version)))->version), wanted);
}

TEST_F(Documents, plain_save_writes_the_document_as_it_is) {
    const std::string xml =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
        "<a xmlns=\"o\" xmlns:p=\"u\"><p:b xmlns:p=\"v\">\xE9</p:b> <c xmlns=\"i\"/></a>\n";
    const TempFile file("latin.xml", xml), copy("copy.xml");
    const Handle doc = load_file(file.path());
    EXPECT_EQ(get("xmlDOMDocSaveXMLFile", doc, copy.path()), doc);
    EXPECT_EQ(copy.content(), xml);
}

TEST_F(Documents, formatted_save_in_the_accepted_encodings) {
    const TempFile file("latin.xml",
                        "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9&#8364;</a>");
    const Handle doc = load_file(file.path());
    const auto declared = [](const std::string& encoding, const std::string& text) {
        return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>\n<a>" + text + "</a>\n";
    };
    const std::pair<const char*, const char*> cases[] = {{"UTF-8", "\u00e9\u20ac"},
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
    for (const char* other : {"utf-8", "unspecified", "", "UTF-16", "UTF-8 ", "US-ASCI", "html"}) {
        EXPECT_EQ(saved(doc, other), "<?xml version=\"1.0\"?>\n<a>&#xE9;&#x20AC;</a>\n") << other;
        expect_no_value("xmlDOMDocSaveXMLFormatFile", doc, "/dev/full", other, 0);
        EXPECT_STREQ(chars(doc_of(doc)->encoding), "ISO-8859-1");
    }
    const auto valid = host.symbol_as<const char* (*)(const char*)>("_x_getValidEncoding");
    const std::string name = "US-ASCII";
    EXPECT_TRUE(valid(name.c_str()) == name.c_str() && !valid("US-ASCI") && !valid(nullptr));
    EXPECT_EQ(host.symbol_as<int (*)()>("_x_isLittleEndian")(), 1);

    const Handle dense = load("<a> <b><c/></b> </a>", 0), mixed = load("<a><b><c/></b>text</a>");
    EXPECT_THAT(saved(dense, "UTF-8", 0), HasSubstr("?>\n<a><b><c/></b></a>\n"));
    EXPECT_THAT(saved(dense, "UTF-8", 1), HasSubstr("?>\n<a>\n  <b>\n    <c/>\n  </b>\n</a>\n"));
    EXPECT_THAT(saved(mixed, "UTF-8", 1), HasSubstr("?>\n<a><b><c/></b>text</a>\n"));
}

}  // namespace
}  // namespace valtrosse::host
