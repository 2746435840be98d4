// Attribute lists and what scripts ask of attributes.
#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

class Attributes : public TreeTest {
protected:
    /// What the function says of the node: "yes", "no" or "none".
    std::string answer(const char* function, Handle node) {
        const Outcome outcome = call(function, node);
        return outcome.no_value() ? "none" : outcome.boolean() ? "yes" : "no";
    }
};

TEST_F(Attributes, are_found_by_name_and_by_namespace) {
    const Handle doc = load(
        "<!DOCTYPE r [<!ATTLIST r i ID #IMPLIED d CDATA 'default' f CDATA #FIXED 'fixed'"
        " p:g CDATA 'prefixed' xmlns:p CDATA #FIXED 'urn:p' n NMTOKEN #IMPLIED>"
        "<!ENTITY e 'ent'>]><r xmlns:p='urn:p' i='x' p:a='in p' b='&e;&#38;&lt;'/>");
    const Handle r = root(doc);
    const Handle copy = clone(r);  // it has no document, so neither defaults nor entities
    const auto look_up = [&](Handle element, const auto&... name) {
        const std::string ns = sizeof...(name) == 2 ? "NS" : "";
        std::string value = text("xmlDOMElementGetAttribute" + ns, element, name...);
        const Handle found = get("xmlDOMElementGetAttributeNode" + ns, element, name...);
        if (found == 0) return value;
        return value + ' ' + answer("xmlDOMAttrGetSpecified", found) + ' ' +
               answer("xmlDOMAttrIsId", found);
    };
    // The value, whether it is specified, whether it is an ID.
    const auto look_up_all = [&](Handle element) {
        std::string all;
        for (const char* name : {"i", "b", "a", "d", "f", "n", "p:a", ""})
            all += look_up(element, name) + "; ";
        for (const char* name : {"a", "g", "i", "p:a"})
            all += look_up(element, name, "urn:p") + "; ";
        return all + look_up(element, "a", "urn:q");
    };
    EXPECT_EQ(look_up_all(r),
              "x yes yes; ent&< yes no; in p yes no; default no none; fixed no none; none; none; "
              "none; in p yes no; prefixed no none; none; none; none");
    EXPECT_EQ(look_up_all(copy),
              "x yes none; &< yes none; in p yes none; none; none; none; none; none; "
              "in p yes none; none; none; none; none");
    free_node(copy);
    const Handle i = remove_attribute(r, attribute(r, "i"));
    EXPECT_EQ(answer("xmlDOMAttrIsId", i), "none");
    free_node(i);
    for (const Handle other : {doc, first_child(doc)}) {
        EXPECT_EQ(answer("xmlDOMAttrGetSpecified", other), "none");
        EXPECT_EQ(look_up(other, "i"), "none");
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
    // Of level 1 and 2, and valid XML names.
    const std::pair<std::string, const char*> names[] = {
        {"node", "yny"},      {"a:b", "nyy"},  {":b", "nyy"},         {"a:", "nyy"},
        {"a:b:c", "nny"},     {"", "ynn"},     {"1abc", "ynn"},       {" a", "ynn"},
        {"\xC3\xA9l", "yny"}, {longer, "yny"}, {longer + ":b", "nyy"}};
    for (const auto& [name, expected] : names) {
        std::string found;
        for (const char* test : {"Level1Name", "Level2Name", "ValidXMLName"})
            found += call(std::string("xmlDOMUtilIs") + test, name).boolean() ? 'y' : 'n';
        EXPECT_EQ(found, expected) << name;
    }
    const Handle doc =
        load("<r xmlns='urn:d' xmlns:p='urn:p' p:a='1' b='2'><p:e/><f xmlns=''/></r>");
    std::string properties;
    for (const Handle node : select(doc, "//* | //@*"))
        for (const int code : {0, 1, 2, 3})
            properties += text("xmlDOMNodeGetPropertyNS", node, code) + (code == 3 ? "; " : " ");
    EXPECT_EQ(properties,
              "r urn:d none none; a urn:p p none; none none none none; "
              "e urn:p p none; none none none none; ");
    EXPECT_TRUE(gives_no_value("xmlDOMNodeGetPropertyNS", doc, 0));
    using Predicate = int (*)(const char*, const char*);
    const auto valid = host.symbol_as<Predicate>("_x_isValidURIPrefix");
    const auto declares = host.symbol_as<Predicate>("_x_isNsURIPrefix");
    const char* const uris[] = {"http://www.w3.org/XML/1998/namespace",
                                "http://www.w3.org/2000/xmlns/", "urn:p", nullptr};
    const char* const prefixes[] = {"xml", "xmlns", "p", nullptr};
    std::string found;
    for (const char* uri : uris)
        for (const char* prefix : prefixes)
            found += declares(uri, prefix) ? 'Y' : valid(uri, prefix) ? 'y' : '.';
    EXPECT_EQ(found,
              "y.y."
              ".Yy."
              "..y."
              "....");
}

}  // namespace
}  // namespace valtrosse::host
