// DTDs: validation, doctypes, entities, notations and IDs.
#include <gmock/gmock.h>
#include <libxml/parser.h>

#include <set>
#include <tuple>
#include <utility>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::HasSubstr;
using testing::UnorderedElementsAre;

class Dtds : public TreeTest {
protected:
    std::string report(Handle doc) { return text("xmlDOMDocValidateDTD", doc); }
    Handle holder(Handle doc, std::string_view id) {
        return get("xmlDOMDocGetElementById", doc, id);
    }
    Handle new_attribute(Handle doc, std::string_view attribute_name, std::string_view content) {
        return with_text(create(doc, XML_ATTRIBUTE_NODE, attribute_name), content);
    }
};

TEST_F(Dtds, path_of_an_external_subset) {
    const auto path_of =
        host.symbol_as<xmlChar* (*)(const char*, const char*)>("_x_pathFromDocDtdPaths");
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/in/a.xml", "a.dtd", "/in/a.dtd"},
        {"/in/a.xml", "dtd/a", "/in/dtd/a"},
        {"/in/a.xml", "../x/a.dtd", "../x/a.dtd"},
        {"/data/in/", "", "/data/in/"},
        {"/a", ".", "/."},
        {"", "a", "a"},
        {nullptr, "./a", "./a"},
        {nullptr, "a.dtd", "null"},
        {"/a/b", nullptr, "null"},
    };
    for (const auto& [document, system_id, path] : cases)
        EXPECT_EQ(taken(path_of(document, system_id)), path);
    const std::string deep(5000, 'd');
    EXPECT_EQ(taken(path_of("d/caf\u00e9", deep.c_str())), "d/" + deep);
}

TEST_F(Dtds, validation_reports_what_is_wrong) {
    // DTD, document, and a part of the report, which is empty for a valid document.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"[<!ELEMENT a EMPTY>]", "<a/>", ""},
        {"[<!ELEMENT a (#PCDATA|b)*><!ELEMENT b ANY><!ENTITY e '<b>x</b>'>]", "<a>&e;y</a>", ""},
        {"[<!ELEMENT a (b)>]", "<a/>", "element a: validity error : Element a content"},
        {"[<!ELEMENT b EMPTY>]", "<b/>", "root and DTD name do not match 'b' and 'a'"},
        {"[<!ELEMENT a ANY>]", "<a b='1'/>", "No declaration for attribute b of element a"},
        {"[<!ELEMENT a ANY><!ATTLIST a i ID #IMPLIED>]", "<a i='x'><a i='x'/></a>", "ID x already"},
        {"[<!ELEMENT a ANY><!ATTLIST a r IDREF #IMPLIED>]", "<a r='x'/>", "unknown ID \"x\""},
        {"[<!ELEMENT a ANY><!ATTLIST a e (x) 'x'>]", "<a e='y'/>", "not among the enumerated set"},
        // A system identifier whose file is not there says nothing; declarations inside do not count.
        {"SYSTEM 'lost.dtd'", "<a/>", ""},
        {"SYSTEM '/no/such/lost.dtd' [<!ELEMENT a (b)>]", "<a/>", ""},
    };
    for (const auto& [doctype, content, fault] : cases) {
        const Handle doc = load("<!DOCTYPE a " + std::string(doctype) + ">" + content);
        const std::string message = text("xmlDOMDocGetLastMsg", doc);
        EXPECT_THAT(report(doc), HasSubstr(fault));
        EXPECT_EQ(report(doc).empty(), *fault == 0) << doctype;
        EXPECT_EQ(text("xmlDOMDocGetLastMsg", doc), message);
        expect_no_value("xmlDOMDocValidateDTD", root(doc));
    }
    EXPECT_THAT(report(load_html("<!DOCTYPE html><p>")), HasSubstr("declaration for element p"));
    EXPECT_THAT(report(load("<a/>")), HasSubstr("no DTD found"));
    EXPECT_NE(report(new_document()), "none");
}

TEST_F(Dtds, validation_reads_the_external_subset_next_to_the_document) {
    const TempFile folder("folder");
    std::filesystem::create_directories(folder.path() + "/sub");
    const auto write = [&](const std::string& path, std::string_view content) {
        std::ofstream(folder.path() + path) << content;
        return folder.path() + path;
    };
    write("/x.dtd", "<!ELEMENT a (b)><!ELEMENT b EMPTY>");
    const std::string other = write("/sub/x", "<!ELEMENT a EMPTY>"), beside = "x.dtd";
    for (const std::string& system_id : {beside, other, "./lost/" + beside}) {
        const Handle doc = load_file(
            write("/x.xml", "<!DOCTYPE a SYSTEM '" + system_id + "' [<!ELEMENT b ANY>]>\n<a></a>"));
        const std::string fault =
            system_id == beside ? folder.path() + "/x.xml:2: element a: validity error" : "";
        EXPECT_THAT(report(doc), HasSubstr(fault));
        EXPECT_EQ(report(doc).empty(), fault.empty()) << system_id;
        // The internal subset is back in its place.
        EXPECT_EQ(first_child(doc), handle_of(doc_of(doc)->intSubset));
        EXPECT_EQ(doc_of(doc)->extSubset, nullptr);
    }
    // A path that is no URI: with a blank, with letters outside of ASCII, with a percent sign.
    std::filesystem::create_directories(folder.path() + "/my dir");
    for (const std::string file : {"my dir/x.dtd", "my dir/\u00e9.dtd", "50% \u00e9", "a%41"}) {
        const std::string path = write("/" + file, "<!ELEMENT a (b)>");
        const Handle doc = load_file(
            write("/y.xml", "<!DOCTYPE a SYSTEM '" + (file[0] == 'm' ? path : file) + "'><a/>"));
        EXPECT_EQ(report(doc).empty(), file == "a%41") << file;
        const Handle dtd = get("xmlDOMDocLoadDoctype", "", path);
        EXPECT_EQ(dtd == 0, file == "a%41");
        if (dtd) free_node(dtd);
    }
    // From text there is no folder, until a script names one.
    const Handle doc = load("<!DOCTYPE a SYSTEM 'x.dtd'><a></a>");
    EXPECT_EQ(report(doc), "");
    get("xmlDOMDocSetProperty", doc, 3, folder.path() + "/any");
    EXPECT_THAT(report(doc), HasSubstr("element a: validity error"));
}

TEST_F(Dtds, report_of_what_is_no_text) {
    // Raw bytes of a path are quoted as they are.
    const TempFile file("caf\xE9", "<a/>");
    std::u16string path;
    for (const char byte : file.path()) path += static_cast<std::uint8_t>(byte);
    EXPECT_THAT(report(load_file(path)), HasSubstr("no DTD found"));
    const TempFile large("large.xml", "<!DOCTYPE a [<!ELEMENT a ANY>]><a><\U00010000\u00e9/></a>");
    EXPECT_THAT(report(load_file(large.path())), HasSubstr("for element \uFFFD\u00e9"));
}

TEST_F(Dtds, validation_of_deep_trees) {
    const Handle doc = load("<!DOCTYPE a [<!ELEMENT a (a?)>]><a/>");
    for (int levels : {10000, 10001, under_valgrind() ? 20000 : 200000}) {
        Handle top = create(doc, XML_ELEMENT_NODE, "a");
        for (int i = 2; i < levels; ++i) {
            const Handle outer = create(doc, XML_ELEMENT_NODE, "a");
            append(outer, std::exchange(top, outer));
        }
        EXPECT_EQ(append(root(doc), top), top);
        EXPECT_EQ(report(doc), levels > 10000 ? "none" : "") << levels;
        free_node(unlink(top));
    }
}

TEST_F(Dtds, validation_leaves_ids_as_they_were) {
    const TempFile dtd("ids.dtd",
                       "<!ELEMENT r (i*)><!ELEMENT i EMPTY><!ATTLIST i k CDATA #IMPLIED"
                       " n ID #IMPLIED x IDREF #IMPLIED xml:id ID #IMPLIED>");
    const std::string inside =
        "[<!ELEMENT r (i*)><!ELEMENT i EMPTY>"
        "<!ATTLIST i k ID #IMPLIED n CDATA #IMPLIED x IDREF #IMPLIED xml:id ID #IMPLIED>]>"
        "<r><i k='one' n='in'/><i k='two' x='one'/><i xml:id='three'/></r>";
    for (const std::string& external : {std::string(), "SYSTEM '" + dtd.path() + "'"}) {
        const Handle doc = load("<!DOCTYPE r " + external + inside), other = load("<r/>");
        const auto answers = [&] {
            std::string found;
            for (const std::string id : {"one", "two", "three", "in", "moved"})
                found += by_id(doc, id) + (holder(doc, id) ? "+ " : "- ");
            return found;
        };
        const Handle first = find(doc, "//i[1]");
        EXPECT_EQ(answers(), "i + i + i + - - ");
        report(doc);
        EXPECT_EQ(answers(), "i + i + i + - - ") << external;
        EXPECT_EQ(doc_of(doc)->refs, nullptr);

        // What validation took for an ID or a reference goes without a trace.
        for (const char* attribute_name : {"n", "k"})
            free_node(remove_attribute(first, attribute(first, attribute_name)));
        EXPECT_EQ(answers(), "- i + i + - - ") << external;
        set_attribute(first, new_attribute(doc, "k", "moved"));
        report(doc);
        EXPECT_EQ(answers(), "- i + i + - i + ") << external;
        append(root(other), find(doc, "//i[2]"));
        EXPECT_EQ(answers(), "- - i + - i + ") << external;
        free(doc);
        EXPECT_EQ(dump(root(other)), "<r><i k=\"two\" x=\"one\"/></r>");
    }
}

TEST_F(Dtds, ids_that_validation_finds_in_a_document_without_any) {
    const TempFile dtd("found.dtd", "<!ELEMENT r ANY><!ATTLIST r k ID #IMPLIED>");
    const Handle doc = load("<!DOCTYPE r SYSTEM '" + dtd.path() + "'><r k='a'><r k='b'/></r>");
    EXPECT_EQ(by_id(doc, "a b"), "");
    EXPECT_EQ(report(doc), "");
    EXPECT_EQ(by_id(doc, "a b"), "r r ");
    const Handle inner = first_child(root(doc));
    unlink(inner);
    EXPECT_EQ(by_id(doc, "a b"), "r ");
    EXPECT_EQ(report(doc), "");
    free_node(inner);
}

// A clone is saved, dumped, validated, read and searched as its original.
TEST_F(Dtds, clones_are_as_their_originals) {
    const TempFile external("clone.dtd",
                            "<!ELEMENT r (a, (b | c)*, d?, e)><!ELEMENT a (#PCDATA|b|c|d|e)*>"
                            "<!ATTLIST b k ID #REQUIRED><!ENTITY x 'outside &in;'><!--outside-->");
    const std::string inside =
        "[<!ELEMENT r (a, (b | c)*, d?, e)><!ELEMENT a (#PCDATA|b|c|d|e)*><!ELEMENT b EMPTY>"
        "<!ELEMENT c ((a,b)|(b,(c,d,e)+))><!--c--><?p i?><?p?><!ELEMENT d ANY><!ELEMENT e ANY>"
        "<!ATTLIST b k ID #REQUIRED m CDATA #FIXED 'f' n (x|y|z) 'y' xmlns:q CDATA #IMPLIED>"
        "<!ENTITY in 'I<b k=\"in\"/>&deep;'><!ENTITY deep 'D'><!ENTITY % pe 'x'>"
        "<!ENTITY un SYSTEM 'u' NDATA gif><!NOTATION gif PUBLIC 'p' 's'>]>";
    const std::string documents[] = {
        "<?xml version='1.0' encoding='ISO-8859-1' standalone='no'?><!DOCTYPE r " + inside +
            "<r><a>1&in;2<b k='one'/></a><b k='two'/><c><a/><b k='3'/></c><d w='&deep;'/><e/></r>",
        "<!DOCTYPE r " + inside + "<r><a><b/></a><b k='two' m='g'/><d w='&deep;'/><c/></r>",
        "<!DOCTYPE r SYSTEM '" + external.path() +
            "' [<!ENTITY in 'I'>]>"
            "<r><a>1&x;2<b k='one'/></a><b k='two'/><b k='two'/><e/></r>",
        "<r xmlns:p='u'><p:a xml:id='one' p:k='v'/></r>",
    };
    for (const std::uint32_t external_too : {0U, 1U})
        for (const std::string& source : documents) {
            xmlLoadExtDtdDefaultValue = static_cast<int>(external_too);
            const Handle doc = load(source);
            ASSERT_NE(doc, 0U);
            const auto facts = [&](Handle of) {
                const TempFile file;
                get("xmlDOMDocSaveXMLFile", of, file.path());
                std::string all = file.content() + xml(of);
                for (const Handle node : select(of, "//text() | //@* | //processing-instruction()"))
                    all += value(node) + '|';
                for (const char* id : {"one", "two", "3", "in"})
                    all += by_id(of, id) + name(holder(of, id)) + ' ';
                for (const char* element : {"//b", "//d"})
                    for (const Handle node : select(of, element))
                        for (const char* wanted : {"k", "m", "n", "w"})
                            all += text("xmlDOMElementGetAttribute", node, wanted) + '|';
                return all + report(of) + properties("xmlDOMDocGetProperty", of, 4);
            };
            const Handle copy = keep(clone(doc)), again = keep(clone(copy));
            const std::string wanted = facts(doc);
            EXPECT_EQ(facts(copy), wanted);
            free(doc);
            EXPECT_EQ(facts(again), wanted);
            // Its nodes leave it as those of other documents do.
            const Handle left = unlink(first_child(root(again)));
            free(again);
            EXPECT_EQ(xml(left), xml(first_child(root(copy))));
            free_node(left);
        }
}

TEST_F(Dtds, made_and_attached) {
    const TempFile file("made.dtd",
                        "<!ELEMENT r ANY><!ATTLIST r k ID #IMPLIED w CDATA 'dflt'>"
                        "<!ENTITY e 'text'><!NOTATION n SYSTEM 'viewer'>");
    const Handle doc = load("<!--c--><r k='key'/>"), empty = new_document();
    const Handle dtd = get("xmlDOMDocLoadDoctype", "", file.path());
    EXPECT_EQ(properties("xmlDOMDoctypeGetProperty", dtd, 2), "none " + file.path());

    EXPECT_EQ(call("xmlDOMDocSetExternalDtd", doc, dtd).integer(), 0U);
    EXPECT_TRUE(handle_of(doc_of(doc)->intSubset) == dtd && next(dtd) == root(doc));
    EXPECT_EQ(holder(doc, "key"), root(doc));
    EXPECT_EQ(text("xmlDOMElementGetAttribute", root(doc), "w"), "dflt");
    get("xmlDOMDoctypeSetProperty", dtd, 2, "r");
    EXPECT_EQ(report(doc), "");
    append(root(doc), create(doc, XML_ENTITY_REF_NODE, "e"));
    EXPECT_EQ(dump(root(doc)), "<r k=\"key\">&e;</r>");

    // Into an empty document and into a clone; a DTD may outlive the document it was made beside.
    const Handle made = get("xmlDOMDocCreateDoctype", "r"), copy = keep(clone(load("<r k='2'/>")));
    free(doc);
    EXPECT_EQ(call("xmlDOMDocSetExternalDtd", copy, made).integer(), 0U);
    EXPECT_EQ(xml(copy), "<!DOCTYPE r>\n<r k='2'/>");
    get("xmlDOMDocSetExternalDtd", empty, get("xmlDOMDocLoadDoctype", "pub", file.path()));
    EXPECT_EQ(text("xmlDOMDoctypeGetProperty", first_child(empty), 0), "pub");
}

TEST_F(Dtds, external_subset_of_a_document_stays_there) {
    const TempFile dtd("ext.dtd", "<!ELEMENT r ANY><!ATTLIST r k ID #IMPLIED w CDATA 'x'>");
    xmlLoadExtDtdDefaultValue = 1;  // the fixture puts it back
    const Handle doc = load("<!DOCTYPE r SYSTEM '" + dtd.path() + "'><r k='k1'/>");
    const Handle external = handle_of(doc_of(doc)->extSubset), other = load("<r/>");
    ASSERT_NE(external, 0U);
    EXPECT_EQ(holder(doc, "k1"), 0U);  // declared outside only
    expect_no_value("xmlDOMDocSetExternalDtd", other, external);
    expect_no_value("xmlDOMNodeAddChild", 0, other, external);
    expect_no_value("xmlDOMNodeFreeNode", external);
    EXPECT_EQ(report(doc), "");
}

TEST_F(Dtds, entities_and_their_properties) {
    const Handle doc = load(
        "<!DOCTYPE r [<!NOTATION gif SYSTEM 'g'><!NOTATION tiff SYSTEM 't'><!ENTITY % p 'x'>"
        "<!ENTITY internal 'text'><!ENTITY system SYSTEM 's.xml'><!ENTITY caf\u00e9 ''>"
        "<!ENTITY public PUBLIC 'pub' 'p.xml'><!ENTITY unparsed SYSTEM 'u.gif' NDATA gif>"
        "<!ENTITY unparsed-public PUBLIC 'up' 'v.gif' NDATA tiff>]><r/>");
    std::set<std::string> got;
    for (Handle entity : call("xmlDOMDocGetEntities", doc).handles()) {
        got.insert(name(entity) + ": " + properties("xmlDOMEntityGetProperty", entity, 4));
        expect_no_value("xmlDOMNotationGetProperty", entity, 0);
        expect_no_value("xmlDOMNodeFreeNode", entity);
    }
    EXPECT_THAT(got, UnorderedElementsAre(
                         "internal: none none none none", "system: none s.xml none none",
                         "public: pub p.xml none none", "unparsed: none u.gif gif none",
                         "unparsed-public: up v.gif tiff none", "caf\u00e9: none none none none"));
    EXPECT_EQ(text("xmlDOMDocGetEntities", load_html("<!DOCTYPE html>")), "4");
}

TEST_F(Dtds, elements_by_id) {
    const Handle doc = load(
        "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST i key ID #IMPLIED><!ATTLIST p:q p:id ID #IMPLIED>"
        "<!ATTLIST j key CDATA #IMPLIED><!ENTITY e \"<i key='in-entity'/>\">]>"
        "<r xmlns:p='u'><i key='k1'/><j key='k2'><i key='k2' n='1'/></j><i key='k2' n='2'/>"
        "<p:q p:id='k3'/><p:q id='k4'/><q p:id='k5'/><i id='k6'/><i key=' k7  x '/><i key=''/>"
        "<p:q id='first' p:id='second'/><i key='&#xE9;'/>&e;</r>");
    const std::pair<const char*, const char*> elements[] = {
        {"k1", "i[1]"},     {"k2", "//i[@n=1]"},     {"k3", "p:q[1]"},   {"k7 x", "i[@key='k7 x']"},
        {"", "i[@key='']"}, {"\u00e9", "i[last()]"}, {"first", "p:q[3]"}};
    for (Handle document : {doc, keep(clone(doc))}) {
        for (const auto& [id, path] : elements)
            EXPECT_EQ(holder(document, id), find(root(document), path)) << id << document - doc;
        for (const char* id : {"k4", "k5", "k6", "K1", "k1 ", " k1", "k", "second"})
            expect_no_value("xmlDOMDocGetElementById", document, id);
    }
    EXPECT_EQ(name(holder(doc, "in-entity")), "i");  // the text of an entity is part of the DTD
    expect_no_value("xmlDOMDocGetElementById", load("<i key='k1' xml:id='k2'/>"), "k2");
    const auto search = host.symbol_as<xmlNode* (*)(xmlNode*, const char*)>("_x_getElementById");
    EXPECT_EQ(handle_of(search(node_of(find(doc, "//j")), "k2")), find(doc, "//i[@n=1]"));
    EXPECT_EQ(search(node_of(find(doc, "//j")), "k1"), nullptr);

    // Of more names than are gathered, each is still an ID.
    std::string declared, content;
    const std::string names = "abcdefghijklmnopqrst";
    for (const char n : names) {
        declared += std::string("<!ATTLIST e") + n + " a" + n + " ID #IMPLIED>";
        content += std::string("<e") + n + " a" + n + "='+" + n + "'/><r a" + n + "='-" + n + "'/>";
    }
    const Handle many = load("<!DOCTYPE r [" + declared + "]><r>" + content + "</r>");
    for (const char n : names) {
        EXPECT_EQ(name(holder(many, std::string("+") + n)), std::string("e") + n);
        EXPECT_EQ(holder(many, std::string("-") + n), 0U);
    }
}

// The first look-up of each document is answered from the table; the change must be seen all the same.
TEST_F(Dtds, ids_found_before_a_change_are_searched_after_it) {
    const std::string dtd = "<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]>";
    const Handle other = load(dtd + "<r><e id='k' n='0'/></r>");
    const auto n = [&](Handle doc) {
        return text("xmlDOMElementGetAttribute", holder(doc, "k"), "n");
    };
    const auto n_after = [&](auto change) {
        const Handle doc = load(dtd + "<r><e id='k' n='1'/><e id='k' n='2'/></r>");
        EXPECT_EQ(n(doc), "1");
        const Handle element = holder(doc, "k");
        change(element, attribute(element, "id"));
        return n(doc);
    };
    const auto set = [&](Handle attr, const char* id) {
        get("xmlDOMNodeSetValue", first_child(attr), id);
    };
    EXPECT_EQ(n_after([&](Handle e, Handle) { add(1, e, find(other, "//e")); }), "0");
    EXPECT_EQ(n_after([&](Handle e, Handle) { free_node(unlink(e)); }), "2");
    EXPECT_EQ(n_after([&](Handle, Handle attr) { set(attr, "new"); }), "2");
    const auto replace = [&](Handle e, Handle) {
        free_node(set_attribute(e, new_attribute(other, "id", "new")));
    };
    EXPECT_EQ(n_after(replace), "2");
    // The value of the first attribute of a local name counts.
    const char* const two = "<r xmlns:p='u'><e p:id='k' id='z' n='1'/><e id='k' n='2'/></r>";
    EXPECT_EQ(n(load(dtd + two)), "1");
}

}  // namespace
}  // namespace valtrosse::host
