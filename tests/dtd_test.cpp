// DTDs: validation, doctypes, entities, notations and IDs.
#include <libxml/parser.h>

#include <functional>
#include <map>
#include <set>
#include <utility>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

class Dtds : public LibraryTest {
protected:
    Handle load_file(std::string_view path) { return keep(get("xmlDOMDocLoadXMLFile", path, 1)); }
    /// The text that a function gives; "none" for no value.
    template <typename... T>
    std::string text(std::string_view function, const T&... args) {
        const Outcome outcome = call(function, args...);
        return outcome.no_value() ? "none" : outcome.utf8();
    }
    std::string report(Handle doc) { return text("xmlDOMDocValidateDTD", doc); }
    Handle root_of(Handle doc) { return get("xmlDOMDocGetRootNode", doc); }
    Handle by_id(Handle doc, std::string_view id) {
        return get("xmlDOMDocGetElementById", doc, id);
    }
    Handle attribute(Handle element, std::string_view attribute_name) {
        return get("xmlDOMElementGetAttributeNode", element, attribute_name);
    }
    /// A new attribute with this value, which is in no element.
    Handle new_attribute(Handle doc, std::string_view attribute_name, std::string_view content) {
        const Handle attr = get("xmlDOMDocCreateNode", doc, 2, attribute_name);
        get("xmlDOMNodeAddChild", 0, attr, get("xmlDOMDocCreateNode", doc, 3, content));
        return attr;
    }
    std::vector<Handle> entities(Handle doc) { return call("xmlDOMDocGetEntities", doc).handles(); }
    static xmlDoc* doc_of(Handle doc) { return reinterpret_cast<xmlDoc*>(doc); }
};

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(Dtds, path_of_an_external_subset) {
    const auto path_of =
        host.symbol_as<xmlChar* (*)(const char*, const char*)>("_x_pathFromDocDtdPaths");
    const std::string deep(5000, 'd');
    const struct {
        const char *document, *system_id;
        std::string path;
    } cases[] = {{"/data/in/a.xml", "a.dtd", "/data/in/a.dtd"},
                 {"/data/in/a.xml", "dtd/a", "/data/in/dtd/a"},
                 {"/data/in/a.xml", "../x/a.dtd", "../x/a.dtd"},
                 {"/data/in/a.xml", "/a", "/data/in//a"},
                 {"/data/in/", "", "/data/in/"},
                 {"/a", ".", "/."},
                 {"a.xml", "a.dtd", "a.dtd"},
                 {"a.xml", "dtd/a", "dtd/a"},
                 {"", "a", "a"},
                 {nullptr, "./a", "./a"},
                 {nullptr, "a.dtd", "null"},
                 {"/a/b", nullptr, "null"},
                 {nullptr, nullptr, "null"},
                 {"d/caf\u00e9", deep.c_str(), "d/" + deep}};
    for (const auto& [document, system_id, wanted] : cases) {
        xmlChar* const path = path_of(document, system_id);
        EXPECT_EQ(path ? reinterpret_cast<char*>(path) : "null", wanted);
        xmlFree(path);
    }
}

TEST_F(Dtds, validation_reports_what_is_wrong) {
    const struct {
        const char *xml, *fault;  // an empty fault: valid
    } cases[] = {
        {"<!DOCTYPE a [<!ELEMENT a EMPTY>]><a/>", ""},
        {"<!DOCTYPE a [<!ELEMENT a (#PCDATA|b)*><!ELEMENT b ANY><!ENTITY e "
         "'<b>x</b>'>]><a>&e;y</a>",
         ""},
        {"<!DOCTYPE a [<!ELEMENT a (b)>]><a/>", "element a: validity error : Element a content"},
        {"<!DOCTYPE b [<!ELEMENT a EMPTY>]><a/>", "root and DTD name do not match 'a' and 'b'"},
        {"<!DOCTYPE a [<!ELEMENT a ANY>]><a b='1'/>",
         "No declaration for attribute b of element a"},
        {"<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a i ID #IMPLIED>]><a i='x'><a i='x'/></a>",
         "ID x already defined"},
        {"<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a r IDREF #IMPLIED>]><a r='x'/>",
         "IDREF attribute r references an unknown ID \"x\""},
        {"<!DOCTYPE a [<!ELEMENT a ANY><!ATTLIST a e (x) 'x'>]><a e='y'/>",
         "Value \"y\" for attribute e of a is not among the enumerated set"},
        {"<a/>", "no DTD found"},
        // A system identifier whose file is not there says nothing; declarations inside do not count.
        {"<!DOCTYPE a SYSTEM 'lost.dtd'><a/>", ""},
        {"<!DOCTYPE a SYSTEM '/no/such/lost.dtd' [<!ELEMENT a (b)>]><a/>", ""}};
    for (const auto& [xml, fault] : cases) {
        const Handle doc = load(xml);
        const std::string message = text("xmlDOMDocGetLastMsg", doc);
        for (int times = 0; times < 2; ++times) {
            const std::string got = report(doc);
            EXPECT_EQ(got.empty(), *fault == 0) << xml << got;
            EXPECT_TRUE(contains(got, fault)) << xml << got;
        }
        EXPECT_EQ(text("xmlDOMDocGetLastMsg", doc), message);
        EXPECT_EQ(report(root_of(doc)), "none");
    }
    const Handle html = keep(get("xmlHTMLDocLoadString", "<!DOCTYPE html><p>x", 1));
    EXPECT_TRUE(contains(report(html), "No declaration for element p")) << report(html);
    EXPECT_NE(report(keep(get("xmlDOMDocCreateDoc", "1.0"))), "none");
}

TEST_F(Dtds, validation_reads_the_external_subset_next_to_the_document) {
    const TempFile folder("folder");
    std::filesystem::create_directories(folder.path() + "/sub");
    const auto write = [&](const std::string& path, std::string_view content) {
        std::ofstream(folder.path() + path) << content;
        return folder.path() + path;
    };
    write("/x.dtd", "<!ELEMENT a (b)><!ELEMENT b EMPTY>");
    const std::string other = write("/sub/x", "<!ELEMENT a EMPTY>");
    const struct {
        std::string system_id;
        bool needs_b;
    } cases[] = {{"x.dtd", true}, {"sub/x", false}, {other, false}, {"./lost/x.dtd", false}};
    for (const auto& [system_id, needs_b] : cases) {
        const std::string xml =
            "<!DOCTYPE a SYSTEM '" + system_id + "' [<!ELEMENT b ANY>]>\n<a></a>";
        const Handle doc = load_file(write("/x.xml", xml));
        const std::string fault =
            needs_b ? folder.path() + "/x.xml:2: element a: validity error" : "";
        EXPECT_EQ(report(doc).substr(0, fault.size()), fault) << system_id;
        EXPECT_EQ(report(doc).empty(), !needs_b) << system_id;
        // The internal subset is back in its place.
        EXPECT_EQ(get("xmlDOMNodeGetRelative", doc, 3), handle_of(doc_of(doc)->intSubset));
        EXPECT_EQ(doc_of(doc)->extSubset, nullptr);
    }
    // From text there is no folder, until a script names one.
    const Handle doc = load("<!DOCTYPE a SYSTEM 'x.dtd'><a></a>");
    EXPECT_EQ(report(doc), "");
    get("xmlDOMDocSetProperty", doc, 3, folder.path() + "/any");
    EXPECT_TRUE(contains(report(doc), "element a: validity error")) << report(doc);
}

TEST_F(Dtds, report_up_to_4998_bytes) {
    const Handle doc = load("<!DOCTYPE a [<!ELEMENT a EMPTY>]><a/>");
    const auto report_with_name = [&](std::size_t length) {
        const Handle attr = new_attribute(doc, std::string(length, 'n'), "");
        get("xmlDOMElementSetAttributeNode", root_of(doc), attr);
        const std::string result = report(doc);
        get("xmlDOMElementRemoveAttributeNode", root_of(doc), attr);
        EXPECT_EQ(get("xmlDOMNodeFreeNode", attr), 0U);
        return result.size();
    };
    const std::size_t rest = report_with_name(100) - 100;
    EXPECT_EQ(report_with_name(4998 - rest), 4998U);
    for (std::size_t length : {4999 - rest, 5000 - rest, std::size_t{20000}})
        EXPECT_EQ(report_with_name(length), 0U);
    EXPECT_EQ(report_with_name(100), rest + 100);
    EXPECT_EQ(report(doc), "");
    // Raw bytes of a path are quoted as they are.
    const TempFile folder("folder");
    std::filesystem::create_directory(folder.path());
    std::ofstream(folder.path() + "/caf\xE9") << "<a/>";
    const Handle latin =
        keep(get("xmlDOMDocLoadXMLFile", to_units(folder.path()) + u"/caf\u00e9", 1));
    EXPECT_TRUE(contains(report(latin), "no DTD found")) << report(latin);
    const TempFile large("large.xml", "<!DOCTYPE a [<!ELEMENT a ANY>]><a><\U00010000\u00e9/></a>");
    EXPECT_TRUE(contains(report(load_file(large.path())), "for element \uFFFD\u00e9"));
}

TEST_F(Dtds, validation_of_deep_trees) {
    const Handle doc = load("<!DOCTYPE a [<!ELEMENT a (a?)>]><a/>");
    for (int levels : {10000, 10001, under_valgrind() ? 20000 : 200000}) {
        Handle top = get("xmlDOMDocCreateNode", doc, 1, "a");
        for (int i = 2; i < levels; ++i) {
            const Handle outer = get("xmlDOMDocCreateNode", doc, 1, "a");
            get("xmlDOMNodeAddChild", 0, outer, top);
            top = outer;
        }
        EXPECT_EQ(get("xmlDOMNodeAddChild", 0, root_of(doc), top), top);
        EXPECT_EQ(report(doc), levels > 10000 ? "none" : "") << levels;
        EXPECT_EQ(get("xmlDOMNodeUnlinkNode", top), top);
        EXPECT_EQ(get("xmlDOMNodeFreeNode", top), 0U);
    }
}

TEST_F(Dtds, validation_leaves_ids_as_they_were) {
    const TempFile dtd("ids.dtd",
                       "<!ELEMENT r (i*)><!ELEMENT i EMPTY><!ATTLIST i k CDATA #IMPLIED"
                       " n ID #IMPLIED x IDREF #IMPLIED xml:id ID #IMPLIED>");
    const std::string content = "<r><i k='one' n='in'/><i k='two' x='one'/><i xml:id='three'/></r>";
    const std::string inside =
        "<!ELEMENT r (i*)><!ELEMENT i EMPTY>"
        "<!ATTLIST i k ID #IMPLIED n CDATA #IMPLIED x IDREF #IMPLIED xml:id ID #IMPLIED>";
    for (const std::string& doctype :
         {"[" + inside + "]", "SYSTEM '" + dtd.path() + "' [" + inside + "]"}) {
        const Handle doc = load("<!DOCTYPE r " + doctype + ">" + content);
        const Handle other = load("<r/>");
        const auto answers = [&] {
            std::string found;
            for (const char* id : {"one", "two", "three", "in", "moved"})
                found += std::to_string(select(doc, "id('" + std::string(id) + "')").size()) +
                         (by_id(doc, id) ? "+ " : "- ");
            return found;
        };
        const Handle first = find(doc, "//i[1]");
        EXPECT_EQ(answers(), "1+ 1+ 1+ 0- 0- ");
        report(doc);
        EXPECT_EQ(answers(), "1+ 1+ 1+ 0- 0- ") << doctype;
        EXPECT_EQ(doc_of(doc)->refs, nullptr);

        // What validation took for an ID or a reference goes without a trace.
        for (const char* attribute_name : {"n", "k"}) {
            const Handle attr = attribute(first, attribute_name);
            EXPECT_EQ(get("xmlDOMElementRemoveAttributeNode", first, attr), attr);
            EXPECT_EQ(get("xmlDOMNodeFreeNode", attr), 0U);
        }
        EXPECT_EQ(answers(), "0- 1+ 1+ 0- 0- ") << doctype;
        const Handle moved = new_attribute(doc, "k", "moved");
        get("xmlDOMElementSetAttributeNode", first, moved);
        report(doc);
        EXPECT_EQ(answers(), "0- 1+ 1+ 0- 1+ ") << doctype;
        const Handle second = find(doc, "//i[2]");
        EXPECT_EQ(get("xmlDOMNodeAddChild", 0, root_of(other), second), second);
        EXPECT_EQ(answers(), "0- 0- 1+ 0- 1+ ") << doctype;
        free(doc);
        EXPECT_EQ(dump(root_of(other)), "<r><i k=\"two\" x=\"one\"/></r>");
    }
}

TEST_F(Dtds, made_and_attached) {
    const TempFile file("made.dtd",
                        "<!ELEMENT r ANY><!ATTLIST r k ID #IMPLIED w CDATA 'dflt'>"
                        "<!ENTITY e 'text'><!NOTATION n SYSTEM 'viewer'>");
    for (const std::string& wanted : {std::string("a"), std::string(), std::string(300, 'n')}) {
        const Handle dtd = get("xmlDOMDocCreateDoctype", wanted);
        EXPECT_EQ(name(dtd), wanted);
        EXPECT_EQ(get("xmlDOMNodeGetType", dtd), 10U);
        EXPECT_EQ(call("xmlDOMNodeGetOwnerDoc", dtd).integer(), 0U);
        EXPECT_EQ(call("xmlDOMNodeFreeNode", dtd).integer(), 0U);
    }
    const Handle doc = load("<!--c--><r k='key'/>"),
                 html = keep(get("xmlHTMLDocLoadString", "<p>", 1));
    const Handle dtd = get("xmlDOMDocLoadDoctype", "", file.path());
    EXPECT_EQ(text("xmlDOMDoctypeGetProperty", dtd, 0), "none");
    EXPECT_EQ(text("xmlDOMDoctypeGetProperty", dtd, 1), file.path());
    for (Handle refused : {html, root_of(doc), dtd})
        EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", refused, dtd));
    EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", doc, doc));
    EXPECT_EQ(by_id(doc, "key"), 0U);

    EXPECT_EQ(call("xmlDOMDocSetExternalDtd", doc, dtd).integer(), 0U);
    EXPECT_EQ(handle_of(doc_of(doc)->intSubset), dtd);
    EXPECT_EQ(get("xmlDOMNodeGetRelative", dtd, 1), root_of(doc));
    EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", dtd), doc);
    EXPECT_EQ(by_id(doc, "key"), root_of(doc));
    EXPECT_EQ(text("xmlDOMElementGetAttribute", root_of(doc), "w"), "dflt");
    EXPECT_EQ(entities(doc).size(), 1U);
    get("xmlDOMDoctypeSetProperty", dtd, 2, "r");
    EXPECT_EQ(report(doc), "");
    const Handle reference = get("xmlDOMDocCreateNode", doc, 5, "e");
    get("xmlDOMNodeAddChild", 0, root_of(doc), reference);
    EXPECT_EQ(dump(root_of(doc)), "<r k=\"key\">&e;</r>");

    // It is the document's now: no other one comes in, and it does not go.
    const Handle second = get("xmlDOMDocCreateDoctype", "r"), other = load("<r/>");
    EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", doc, second));
    EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", doc, dtd));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, doc, second));
    for (Handle document : {other, keep(get("xmlDOMDocCreateDoc", "1.0"))}) {
        EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", document, dtd));
        EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, document, dtd));
        EXPECT_EQ(doc_of(document)->intSubset, nullptr);
    }
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", dtd));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeUnlinkNode", dtd));

    // A DTD placed as a child is freed with the document, but is no subset.
    EXPECT_EQ(get("xmlDOMNodeAddChild", 1, root_of(other), second), second);
    EXPECT_EQ(doc_of(other)->intSubset, nullptr);
    EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", other, second));
    const Handle third = get("xmlDOMDocCreateDoctype", "r");
    EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", other, third));
    EXPECT_EQ(text("xmlDOMDocGetEntities", other), "4");
    EXPECT_TRUE(contains(report(other), "no DTD found"));

    // Into an empty document and into a clone; a DTD may outlive the document it was made beside.
    const Handle copy = keep(get("xmlDOMNodeCloneNode", load("<r k='2'/>"), 1));
    free(doc);
    EXPECT_EQ(get("xmlDOMDocSetExternalDtd", copy, third), 0U);
    EXPECT_EQ(text("xmlDOMNodeDumpNode", copy, 0),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE r>\n<r k=\"2\"/>\n");
    const Handle empty = keep(get("xmlDOMDocCreateDoc", "1.0"));
    EXPECT_EQ(
        get("xmlDOMDocSetExternalDtd", empty, get("xmlDOMDocLoadDoctype", "pub", file.path())), 0U);
    EXPECT_EQ(text("xmlDOMDoctypeGetProperty", get("xmlDOMNodeGetRelative", empty, 3), 0), "pub");
}

TEST_F(Dtds, external_subset_of_a_document_stays_there) {
    const TempFile dtd("ext.dtd", "<!ELEMENT r ANY><!ATTLIST r k ID #IMPLIED w CDATA 'x'>");
    const TempFile file("ext.xml", "<!DOCTYPE r SYSTEM '" + dtd.path() + "'><r k='k1'/>");
    const int before = std::exchange(xmlLoadExtDtdDefaultValue, 1);
    const Handle doc = load_file(file.path()), other = load("<r/>");
    xmlLoadExtDtdDefaultValue = before;
    const Handle external = handle_from_outside(doc_of(doc)->extSubset);
    ASSERT_NE(external, 0U);
    EXPECT_EQ(by_id(doc, "k1"), 0U);  // declared outside only
    EXPECT_TRUE(gives_no_value("xmlDOMDocSetExternalDtd", other, external));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, other, external));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", external));
    EXPECT_EQ(get("xmlDOMDoctypeSetProperty", external, 0, "p"), 0U);
    EXPECT_EQ(report(doc), "");
}

TEST_F(Dtds, doctype_properties) {
    const Handle doc = load("<!DOCTYPE r PUBLIC 'pub' 'sys' []><r/>");
    const Handle dtd = get("xmlDOMNodeGetRelative", doc, 3);
    const Handle system_only = get("xmlDOMNodeGetRelative", load("<!DOCTYPE r SYSTEM 's'><r/>"), 3);
    const Handle made = get("xmlDOMDocCreateDoctype", "m");
    const auto both = [&](Handle node) {
        return text("xmlDOMDoctypeGetProperty", node, 0) + " " +
               text("xmlDOMDoctypeGetProperty", node, 1);
    };
    EXPECT_EQ(both(dtd), "pub sys");
    EXPECT_EQ(both(system_only), "none s");
    EXPECT_EQ(both(made), "none none");
    for (std::size_t length : {0U, 98U, 99U, 100U, 198U, 199U, 200U, 5000U})
        for (Handle node : {dtd, system_only, made}) {
            const std::string set = std::string(length, 'x') + "\u00e9";
            for (std::uint32_t property = 0; property < 3; ++property)
                EXPECT_EQ(call("xmlDOMDoctypeSetProperty", node, property, set).integer(), 0U);
            EXPECT_EQ(both(node), set + " " + set);
            EXPECT_EQ(name(node), set);
        }
    for (std::uint32_t property : {2U, 3U})
        EXPECT_TRUE(gives_no_value("xmlDOMDoctypeGetProperty", dtd, property));
    const std::string before = both(dtd) + name(dtd);
    EXPECT_TRUE(gives_no_value("xmlDOMDoctypeSetProperty", dtd, 3, "x"));
    for (std::uint32_t property = 0; property < 3; ++property) {
        EXPECT_TRUE(gives_no_value("xmlDOMDoctypeSetProperty", dtd, property, nullptr));
        EXPECT_TRUE(gives_no_value("xmlDOMDoctypeSetProperty", root_of(doc), property, "x"));
        EXPECT_TRUE(gives_no_value("xmlDOMDoctypeGetProperty", doc, property));
    }
    EXPECT_EQ(both(dtd) + name(dtd), before);
    EXPECT_EQ(get("xmlDOMNodeFreeNode", made), 0U);
}

TEST_F(Dtds, entities_and_their_properties) {
    EXPECT_TRUE(gives_no_value("xmlDOMDocGetEntities", load("<r/>")));
    EXPECT_EQ(text("xmlDOMDocGetEntities", load("<!DOCTYPE r><r/>")), "4");
    EXPECT_EQ(text("xmlDOMDocGetEntities", load("<!DOCTYPE r [<!ENTITY % p 'x'>]><r/>")), "4");
    const Handle html = keep(get("xmlHTMLDocLoadString", "<!DOCTYPE html><p>", 1));
    EXPECT_EQ(text("xmlDOMDocGetEntities", html), "4");
    EXPECT_TRUE(
        gives_no_value("xmlDOMDocGetEntities", load_root("<!DOCTYPE r [<!ENTITY e 'x'>]><r/>")));

    const std::map<std::string, std::string> wanted = {
        {"internal", "none none none"},       {"system", "none s.xml none"},
        {"public", "pub p.xml none"},         {"unparsed", "none u.gif gif"},
        {"unparsed-public", "up v.gif tiff"}, {"caf\u00e9", "none none none"}};
    const Handle doc = load(
        "<!DOCTYPE r [<!NOTATION gif SYSTEM 'g'><!NOTATION tiff SYSTEM 't'>"
        "<!ENTITY internal 'text'><!ENTITY system SYSTEM 's.xml'><!ENTITY caf\u00e9 ''>"
        "<!ENTITY public PUBLIC 'pub' 'p.xml'><!ENTITY unparsed SYSTEM 'u.gif' NDATA gif>"
        "<!ENTITY unparsed-public PUBLIC 'up' 'v.gif' NDATA tiff>]><r/>");
    std::map<std::string, std::string> got;
    for (Handle entity : entities(doc)) {
        EXPECT_EQ(get("xmlDOMNodeGetType", entity), 6U);
        std::string& properties = got[name(entity)];
        for (std::uint32_t property = 0; property < 3; ++property)
            properties += (property ? " " : "") + text("xmlDOMEntityGetProperty", entity, property);
        EXPECT_TRUE(gives_no_value("xmlDOMEntityGetProperty", entity, 3));
        EXPECT_TRUE(gives_no_value("xmlDOMNotationGetProperty", entity, 0));
        EXPECT_TRUE(gives_no_value("xmlDOMNodeFreeNode", entity));
    }
    EXPECT_EQ(got, wanted);
    EXPECT_TRUE(gives_no_value("xmlDOMEntityGetProperty", root_of(doc), 1));

    // Around the size of the frame's buffer.
    for (std::size_t count : {11U, 12U, 13U, 2000U}) {
        std::string xml = "<!DOCTYPE r [";
        for (std::size_t i = 0; i < count; ++i) xml += "<!ENTITY e" + std::to_string(i) + " ''>";
        const Handle many = load(xml + "]><r/>");
        std::set<std::string> names;
        for (Handle entity : entities(many)) names.insert(name(entity));
        EXPECT_EQ(names.size(), count);
        host.faults().fail_allocation = 1;
        EXPECT_EQ(call("xmlDOMDocGetEntities", many).status() == VT_OUT_OF_MEMORY, count > 12);
        host.faults() = {};
    }
}

TEST_F(Dtds, notations_are_chains_of_their_own) {
    for (const char* without : {"<r/>", "<!DOCTYPE r><r/>", "<!DOCTYPE r [<!ENTITY e 'x'>]><r/>"})
        EXPECT_TRUE(gives_no_value("xmlDOMDocGetNotations", load(without)));
    std::string xml = "<!DOCTYPE r [<!NOTATION pub PUBLIC 'p'><!NOTATION both PUBLIC 'b' 's'>";
    for (int i = 0; i < 20; ++i)
        xml += "<!NOTATION n" + std::to_string(i) + " SYSTEM 'v" + std::to_string(i) + "'>";
    const Handle doc = load(xml + "]><r/>");
    EXPECT_TRUE(gives_no_value("xmlDOMDocGetNotations", root_of(doc)));
    const auto chain = [&](Handle record) {
        std::vector<Handle> records;
        for (Handle before = 0; record != 0; record = get("xmlDOMNodeGetRelative", record, 3)) {
            EXPECT_EQ(get("xmlDOMNodeGetRelative", record, 0), before);
            records.push_back(before = record);
        }
        return records;
    };
    const auto first = chain(get("xmlDOMDocGetNotations", doc));
    const auto second = chain(get("xmlDOMDocGetNotations", doc));
    free(doc);  // they outlive it

    std::set<std::string> seen;
    for (Handle record : first) {
        EXPECT_EQ(get("xmlDOMNodeGetType", record), 12U);
        EXPECT_EQ(call("xmlDOMNodeGetOwnerDoc", record).integer(), 0U);
        for (std::uint32_t property : {2U, 0xFFFFFFFFU})
            EXPECT_TRUE(gives_no_value("xmlDOMNotationGetProperty", record, property));
        EXPECT_TRUE(gives_no_value("xmlDOMEntityGetProperty", record, 1));
        EXPECT_TRUE(gives_no_value("xmlDOMNodeCloneNode", record, 1));
        seen.insert(name(record) + " " + text("xmlDOMNotationGetProperty", record, 0) + " " +
                    text("xmlDOMNotationGetProperty", record, 1));
        EXPECT_EQ(std::count(second.begin(), second.end(), record), 0);
    }
    EXPECT_EQ(seen.size(), 22U);
    for (const char* record : {"pub p none", "both b s", "n7 none v7"})
        EXPECT_EQ(seen.count(record), 1U) << record;

    // From the middle on, the head of what is left, a record taken out, and all the rest.
    EXPECT_EQ(get("xmlDOMNodeFreeNode", first[15]), 0U);
    EXPECT_EQ(chain(first[0]).size(), 15U);
    EXPECT_EQ(get("xmlDOMNodeUnlinkNode", first[5]), first[5]);
    EXPECT_EQ(chain(first[0]).size(), 5U);
    EXPECT_EQ(chain(first[5]).size(), 10U);
    const Handle target = load("<r/>");
    for (Handle parent : {root_of(target), target, second[0]})
        EXPECT_TRUE(gives_no_value("xmlDOMNodeAddChild", 0, parent, second[1]));
    EXPECT_TRUE(gives_no_value("xmlDOMNodeReplaceNode", second[1], first[5]));
    for (Handle head : {first[5], first[0], second[0]})
        EXPECT_EQ(get("xmlDOMNodeFreeNode", head), 0U);
}

TEST_F(Dtds, elements_by_id) {
    const Handle doc = load(
        "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST i key ID #IMPLIED><!ATTLIST p:q p:id ID #IMPLIED>"
        "<!ATTLIST j key CDATA #IMPLIED><!ENTITY e \"<i key='in-entity'/>\">]>"
        "<r xmlns:p='u'><i key='k1'/><j key='k2'><i key='k2' n='1'/></j><i key='k2' n='2'/>"
        "<p:q p:id='k3'/><p:q id='k4'/><q p:id='k5'/><i id='k6'/><i key=' k7  x '/><i key=''/>"
        "<p:q id='first' p:id='second'/><i key='&#xE9;'/>&e;</r>");
    const struct {
        const char *id, *path;  // no path: not found
    } cases[] = {{"k1", "i[1]"},
                 {"k2", "//i[@n=1]"},
                 {"k3", "p:q[1]"},
                 {"k4", nullptr},
                 {"k5", nullptr},
                 {"k6", nullptr},
                 {"K1", nullptr},
                 {"k1 ", nullptr},
                 {" k1", nullptr},
                 {"k", nullptr},
                 {"k7 x", "i[@key='k7 x']"},
                 {"", "i[@key='']"},
                 {"\u00e9", "i[last()]"},
                 {"first", "p:q[3]"},
                 {"second", nullptr}};
    const Handle clone = keep(get("xmlDOMNodeCloneNode", doc, 1));
    for (Handle document : {doc, clone})
        for (const auto& [id, path] : cases)
            EXPECT_EQ(by_id(document, id), path ? find(root_of(document), path) : 0)
                << id << (document == clone ? " in the clone" : "");
    for (Handle no_document : {root_of(doc), get("xmlDOMNodeGetRelative", doc, 3)})
        EXPECT_TRUE(gives_no_value("xmlDOMDocGetElementById", no_document, "k1"));
    EXPECT_TRUE(gives_no_value("xmlDOMDocGetElementById", doc, nullptr));
    EXPECT_TRUE(gives_no_value("xmlDOMDocGetElementById", load("<i key='k1' xml:id='k2'/>"), "k2"));
    const auto search = host.symbol_as<xmlNode* (*)(xmlNode*, const char*)>("_x_getElementById");
    EXPECT_EQ(handle_of(search(node_of(find(doc, "//j")), "k2")), find(doc, "//i[@n=1]"));
    EXPECT_EQ(search(node_of(find(doc, "//j")), "k1"), nullptr);

    // As scripts leave the tree.
    const Handle first = find(doc, "//i[@key='k1']"), attr = attribute(first, "key");
    EXPECT_EQ(get("xmlDOMElementRemoveAttributeNode", first, attr), attr);
    EXPECT_EQ(by_id(doc, "k1"), 0U);
    EXPECT_EQ(by_id(clone, "k1"), find(clone, "//i[@key='k1']"));
    get("xmlDOMNodeSetValue", get("xmlDOMNodeGetRelative", attr, 3), "new");
    const Handle second = find(doc, "//i[@n=2]");
    const Handle replaced = get("xmlDOMElementSetAttributeNode", second, attr);
    EXPECT_EQ(value(replaced), "k2");
    EXPECT_EQ(by_id(doc, "new"), second);
    EXPECT_EQ(get("xmlDOMNodeFreeNode", replaced), 0U);
    EXPECT_EQ(get("xmlDOMNodeFreeNode", get("xmlDOMNodeUnlinkNode", find(doc, "//j/i"))), 0U);
    EXPECT_EQ(by_id(doc, "k2"), 0U);
    // The text of an entity is part of the DTD.
    EXPECT_EQ(name(by_id(doc, "in-entity")), "i");

    // Of more names than are gathered, each is still an ID.
    std::string declared = "<!DOCTYPE r [", content = "]><r>";
    for (int i = 0; i < 20; ++i) {
        const std::string n = std::to_string(i);
        declared += "<!ATTLIST e" + n + " a" + n + " ID #IMPLIED>";
        content += "<e" + n + " a" + n + "='v" + n + "'/><r a" + n + "='w" + n + "'/>";
    }
    const Handle many = load(declared + content + "</r>");
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(name(by_id(many, "v" + std::to_string(i))), "e" + std::to_string(i));
        EXPECT_EQ(by_id(many, "w" + std::to_string(i)), 0U);
    }
}

// The first look-up of each document is answered from the table; the change must be seen all the same.
TEST_F(Dtds, ids_found_before_a_change_are_searched_after_it) {
    const std::string dtd = "<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]>";
    const struct {
        const char* what;
        std::function<void(Handle doc, Handle root)> change;
        const char *found, *after;  // n of the element with the ID k
    } cases[] = {
        {"an earlier holder is linked",
         [&](Handle, Handle root) {
             const Handle other = load(dtd + "<r><e id='k' n='0'/></r>");
             const Handle holder = get("xmlDOMNodeGetRelative", root_of(other), 3);
             get("xmlDOMNodeAddChild", 1, get("xmlDOMNodeGetRelative", root, 3), holder);
         },
         "1", "0"},
        {"the holder is unlinked",
         [&](Handle, Handle root) {
             get("xmlDOMNodeFreeNode",
                 get("xmlDOMNodeUnlinkNode", get("xmlDOMNodeGetRelative", root, 3)));
         },
         "1", "2"},
        {"an attribute is replaced",
         [&](Handle doc, Handle root) {
             const Handle attr = get("xmlDOMDocCreateNode", doc, 2, "id");
             get("xmlDOMNodeAddChild", 0, attr, get("xmlDOMDocCreateNode", doc, 3, "other"));
             get("xmlDOMNodeFreeNode",
                 get("xmlDOMElementSetAttributeNode", get("xmlDOMNodeGetRelative", root, 3), attr));
         },
         "1", "2"},
        {"a value is set",
         [&](Handle, Handle root) {
             const Handle attr =
                 get("xmlDOMElementGetAttributeNode", get("xmlDOMNodeGetRelative", root, 3), "id");
             get("xmlDOMNodeSetValue", get("xmlDOMNodeGetRelative", attr, 3), "other");
         },
         "1", "2"},
    };
    for (const auto& [what, change, found, after] : cases) {
        const Handle doc = load(dtd + "<r><e id='k' n='1'/><e id='k' n='2'/></r>");
        const auto holder = [&] {
            return text("xmlDOMElementGetAttribute", get("xmlDOMDocGetElementById", doc, "k"), "n");
        };
        EXPECT_EQ(holder(), found) << what;
        change(doc, root_of(doc));
        EXPECT_EQ(holder(), after) << what;
    }
    // The value of the first attribute of a local name counts; entities come before the root element.
    const Handle two = load(
        "<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]><r xmlns:p='u'>"
        "<e p:id='k' id='z' n='1'/><e id='k' n='2'/></r>");
    EXPECT_EQ(text("xmlDOMElementGetAttribute", get("xmlDOMDocGetElementById", two, "k"), "n"),
              "1");
}

}  // namespace
}  // namespace valtrosse::host
