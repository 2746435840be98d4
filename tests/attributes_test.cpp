// Attribute lists and what scripts ask of attributes.
#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

class Attributes : public TreeTest {
protected:
    /// The names of an element's attributes, with the list's links checked both ways.
    std::string names(Handle element) {
        std::vector<Handle> forwards;
        for (Handle attr = get("xmlDOMNodeGetFirstAttribute", element); attr != 0;
             attr = get("xmlDOMNodeGetNextAttribute", element, attr)) {
            EXPECT_EQ(parent(attr), element);
            EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", attr), get("xmlDOMNodeGetOwnerDoc", element));
            forwards.push_back(attr);
        }
        std::string text;
        Handle before = 0;
        for (const Handle attr : forwards) {
            EXPECT_EQ(relative(attr, 2), before);
            text += name(attr) + '=' + value(attr) + ' ';
            before = attr;
        }
        EXPECT_EQ(before == 0 ? 0 : next(before), 0U);
        return text;
    }
    void expect_detached(Handle attr) {
        for (const std::uint32_t step : {0U, 1U, 2U}) EXPECT_EQ(relative(attr, step), 0U);
    }
    std::string specified(Handle node) {
        const Outcome outcome = call("xmlDOMAttrGetSpecified", node);
        return outcome.no_value() ? "none" : outcome.boolean() ? "yes" : "no";
    }
    std::string is_id(Handle node) {
        const Outcome outcome = call("xmlDOMAttrIsId", node);
        return outcome.no_value() ? "none" : outcome.boolean() ? "yes" : "no";
    }
};

TEST_F(Attributes, lists_hold_together_through_every_change) {
    const char* const source = "<r xmlns:p='u' xmlns:q='u' a='1' p:a='2' b='3' p:c='4'/>";
    const struct {
        const char* what;
        char op;  // s set, n set with a namespace, r remove, u unlink
        const char* attr;
        const char* uri;
        const char* after;
        bool replaces;
    } changes[] = {
        {"replace the first", 's', "a", "", "a=new p:a=2 b=3 p:c=4 ", true},
        {"replace in the middle", 's', "b", "", "a=1 p:a=2 b=new p:c=4 ", true},
        {"append", 's', "d", "", "a=1 p:a=2 b=3 p:c=4 d=new ", false},
        {"one in a namespace is another", 's', "c", "", "a=1 p:a=2 b=3 p:c=4 c=new ", false},
        {"a new one's namespace does not count", 's', "q:b", "u", "a=1 p:a=2 q:b=new p:c=4 ", true},
        {"replace by URI", 'n', "q:a", "u", "a=1 q:a=new b=3 p:c=4 ", true},
        {"replace the last", 'n', "p:c", "u", "a=1 p:a=2 b=3 p:c=new ", true},
        {"append another URI", 'n', "z:a", "v", "a=1 p:a=2 b=3 p:c=4 z:a=new ", false},
        {"one in no namespace is another", 'n', "p:b", "u", "a=1 p:a=2 b=3 p:c=4 p:b=new ", false},
        {"remove the first", 'r', "@a", "", "p:a=2 b=3 p:c=4 ", false},
        {"remove in the middle", 'r', "@b", "", "a=1 p:a=2 p:c=4 ", false},
        {"remove the last", 'r', "@*[last()]", "", "a=1 p:a=2 b=3 ", false},
        {"unlink one", 'u', "@*[2]", "", "a=1 b=3 p:c=4 ", false},
    };
    for (const bool in_document : {true, false}) {
        for (const auto& change : changes) {
            SCOPED_TRACE(change.what);
            const Handle doc = load(source);
            const Handle r = root(doc);
            if (!in_document) append(create(doc, XML_ELEMENT_NODE, "holder"), r);
            Handle detached = 0;
            if (change.op == 'r' || change.op == 'u') {
                const Handle attr = find(r, change.attr);
                const Handle owner = get("xmlDOMNodeGetOwnerDoc", attr);
                const std::string kept = name(attr) + text("xmlDOMNodeGetPropertyNS", attr, 1);
                detached = change.op == 'u' ? unlink(attr) : remove_attribute(r, attr);
                EXPECT_EQ(detached, attr);
                EXPECT_EQ(name(attr) + text("xmlDOMNodeGetPropertyNS", attr, 1), kept);
                const bool has_none = change.op == 'r' || in_document;
                EXPECT_EQ(get("xmlDOMNodeGetOwnerDoc", attr), has_none ? 0 : owner);
            } else {
                const bool plain = *change.uri == 0;
                const Handle attr =
                    with_text(plain ? create(doc, XML_ATTRIBUTE_NODE, change.attr)
                                    : create_ns(doc, XML_ATTRIBUTE_NODE, change.attr, change.uri),
                              "new");
                const char* const function = change.op == 's' ? "xmlDOMElementSetAttributeNode"
                                                              : "xmlDOMElementSetAttributeNodeNS";
                const Handle result = get(function, r, attr);
                EXPECT_EQ(result == attr, !change.replaces);
                if (change.replaces) detached = result;
                EXPECT_TRUE(gives_no_value(function, r, attr)) << "it is linked now";
            }
            EXPECT_EQ(names(r), change.after);
            if (!in_document) free_node(parent(r));
            free(doc);
            if (detached == 0) continue;
            expect_detached(detached);
            name(detached);
            free_node(detached);
        }
    }
}

TEST_F(Attributes, an_only_attribute_comes_and_goes) {
    const Handle doc = load("<r a='1'/>"), r = root(doc), a = attribute(r, "a");
    const Handle s = root(load("<s/>"));
    for (const char* expected : {"a=1 ", "a=1 "}) {
        EXPECT_EQ(remove_attribute(r, a), a);
        EXPECT_TRUE(gives_no_value("xmlDOMNodeGetFirstAttribute", r));
        EXPECT_EQ(set_attribute(r, a), a);
        EXPECT_EQ(names(r), expected);
    }
    // Wrong partners change nothing.
    const Handle b = create(doc, XML_ATTRIBUTE_NODE, "b"), text = create(doc, XML_TEXT_NODE, "t");
    const struct {
        const char* function;
        Handle element;
        Handle attr;
    } refused[] = {
        {"xmlDOMElementSetAttributeNode", s, a},       {"xmlDOMElementSetAttributeNode", text, b},
        {"xmlDOMElementSetAttributeNode", r, text},    {"xmlDOMElementSetAttributeNode", a, b},
        {"xmlDOMElementSetAttributeNodeNS", r, b},     {"xmlDOMElementSetAttributeNodeNS", s, a},
        {"xmlDOMElementRemoveAttributeNode", s, a},    {"xmlDOMElementRemoveAttributeNode", r, b},
        {"xmlDOMElementRemoveAttributeNode", text, a}, {"xmlDOMNodeGetNextAttribute", s, a},
        {"xmlDOMNodeGetNextAttribute", r, b},          {"xmlDOMNodeGetNextAttribute", r, a}};
    for (const auto& call : refused)
        EXPECT_TRUE(gives_no_value(call.function, call.element, call.attr)) << call.function;
    EXPECT_EQ(names(r), "a=1 ");
    free_node(b);
    free_node(text);
}

TEST_F(Attributes, are_found_by_name_and_by_namespace) {
    const Handle doc = load(
        "<!DOCTYPE r [<!ATTLIST r i ID #IMPLIED d CDATA 'default' f CDATA #FIXED 'fixed'"
        " p:g CDATA 'prefixed' xmlns:p CDATA #FIXED 'urn:p' n NMTOKEN #IMPLIED>"
        "<!ENTITY e 'ent'>]><r xmlns:p='urn:p' i='x' p:a='in p' b='&e;&#38;&lt;'/>");
    const Handle r = root(doc);
    const struct {
        const char* name;
        const char* uri;  // null: by plain name
        const char* value;
        const char* specified;
        const char* is_id;
    } lookups[] = {
        {"i", nullptr, "x", "yes", "yes"},     {"d", nullptr, "default", "no", "none"},
        {"f", nullptr, "fixed", "no", "none"}, {"b", nullptr, "ent&<", "yes", "no"},
        {"n", nullptr, "none", "", ""},        {"a", nullptr, "in p", "yes", "no"},
        {"p:a", nullptr, "none", "", ""},      {"", nullptr, "none", "", ""},
        {"a", "urn:p", "in p", "yes", "no"},   {"a", "urn:q", "none", "", ""},
        {"p:a", "urn:p", "none", "", ""},      {"g", "urn:p", "prefixed", "no", "none"},
        {"i", "urn:p", "none", "", ""},
    };
    const Handle copy = clone(r);  // it has no document, so neither defaults nor entities
    for (const auto& lookup : lookups) {
        for (const Handle element : {r, copy}) {
            SCOPED_TRACE(std::string(lookup.name) + (element == r ? "" : " of the copy"));
            const bool defaulted = lookup.specified[0] == 'n';
            const bool found = *lookup.specified && (element == r || !defaulted);
            const std::string value = !found                                     ? "none"
                                      : element == copy && lookup.name[0] == 'b' ? "&<"
                                                                                 : lookup.value;
            const auto look_up = [&](const char* function) {
                return lookup.uri
                           ? call(function + std::string("NS"), element, lookup.name, lookup.uri)
                           : call(function, element, lookup.name);
            };
            const Outcome text = look_up("xmlDOMElementGetAttribute");
            EXPECT_EQ(text.no_value() ? "none" : text.utf8(), value);
            const Outcome node = look_up("xmlDOMElementGetAttributeNode");
            ASSERT_EQ(node.no_value(), !found);
            if (!found) continue;
            EXPECT_EQ(specified(node.handle()), lookup.specified);
            EXPECT_EQ(is_id(node.handle()), element == r ? lookup.is_id : is_id(node.handle()));
        }
    }
    free_node(copy);
    const Handle i = attribute(r, "i");
    remove_attribute(r, i);
    EXPECT_EQ(is_id(i), "none");
    free_node(i);
    for (const Handle other : {doc, first_child(doc)}) {
        EXPECT_EQ(specified(other), "none");
        EXPECT_TRUE(gives_no_value("xmlDOMElementGetAttribute", other, "i"));
        EXPECT_TRUE(gives_no_value("xmlDOMNodeGetFirstAttribute", other));
    }
    // Defaults come from the document that a created element was made for, while it lives.
    const Handle made = create(doc, XML_ELEMENT_NODE, "r");
    EXPECT_EQ(text("xmlDOMElementGetAttribute", made, "d"), "default");
    free(doc);
    EXPECT_EQ(text("xmlDOMElementGetAttribute", made, "d"), "none");
    free_node(made);
}

TEST_F(Attributes, names_and_properties) {
    const std::string longer(300, 'n');
    const struct {
        std::string name;
        bool level1, level2, valid;
    } names[] = {{"node", true, false, true},       {"a:b", false, true, true},
                 {":b", false, true, true},         {"a:", false, true, true},
                 {"a:b:c", false, false, true},     {"", true, false, false},
                 {"1abc", true, false, false},      {" a", true, false, false},
                 {"\xC3\xA9l", true, false, true},  {longer, true, false, true},
                 {longer + ":b", false, true, true}};
    for (const auto& test : names) {
        EXPECT_EQ(call("xmlDOMUtilIsLevel1Name", test.name).boolean(), test.level1) << test.name;
        EXPECT_EQ(call("xmlDOMUtilIsLevel2Name", test.name).boolean(), test.level2) << test.name;
        EXPECT_EQ(call("xmlDOMUtilIsValidXMLName", test.name).boolean(), test.valid) << test.name;
    }
    const Handle doc =
        load("<r xmlns='urn:d' xmlns:p='urn:p' p:a='1' b='2'><p:e/><f xmlns=''/></r>");
    const struct {
        const char* node;
        const char* local_uri_prefix;
    } properties[] = {{"/*", "r urn:d none none"},
                      {"/*/*[1]", "e urn:p p none"},
                      {"/*/*[2]", "none none none none"},
                      {"/*/@*[1]", "a urn:p p none"},
                      {"/*/@b", "none none none none"}};
    for (const auto& test : properties) {
        std::string all;
        for (const std::uint32_t code : {0U, 1U, 2U, 3U})
            all += (code ? " " : "") + text("xmlDOMNodeGetPropertyNS", find(doc, test.node), code);
        EXPECT_EQ(all, test.local_uri_prefix) << test.node;
    }
    EXPECT_TRUE(gives_no_value("xmlDOMNodeGetPropertyNS", doc, 0));
    using Predicate = int (*)(const char*, const char*);
    const auto valid = host.symbol_as<Predicate>("_x_isValidURIPrefix");
    const auto declares = host.symbol_as<Predicate>("_x_isNsURIPrefix");
    const char* const uris[] = {"http://www.w3.org/XML/1998/namespace",
                                "http://www.w3.org/2000/xmlns/", "urn:p", nullptr};
    const char* const prefixes[] = {"xml", "xmlns", "p", nullptr};
    const char* const expected[] = {"y.y.", ".Yy.", "..y.", "...."};
    for (int u = 0; u < 4; ++u) {
        for (int p = 0; p < 4; ++p) {
            const char answer = expected[u][p];
            EXPECT_EQ(valid(uris[u], prefixes[p]), answer != '.') << u << p;
            EXPECT_EQ(declares(uris[u], prefixes[p]), answer == 'Y') << u << p;
        }
    }
}

}  // namespace
}  // namespace valtrosse::host
