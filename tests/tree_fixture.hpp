// What the tests of trees share: short names for the calls, and text to compare trees by.
#pragma once

#include <ctime>

#include "tests/fixture.hpp"

namespace valtrosse::host {

class TreeTest : public LibraryTest {
protected:
    using LibraryTest::LibraryTest;

    Handle create(Handle doc, std::uint32_t type, std::string_view data) {
        return get("xmlDOMDocCreateNode", doc, type, data);
    }
    Handle create_ns(Handle doc, std::uint32_t type, std::string_view qname, std::string_view uri) {
        return get("xmlDOMDocCreateNodeNS", doc, type, qname, uri);
    }
    Handle new_document() { return keep(get("xmlDOMDocCreateDoc", "1.0")); }
    Handle root(Handle doc) { return get("xmlDOMDocGetRootNode", doc); }
    Handle add(std::uint32_t position, Handle node, Handle newnode) {
        return get("xmlDOMNodeAddChild", position, node, newnode);
    }
    Handle append(Handle node, Handle newnode) { return add(0, node, newnode); }
    Handle unlink(Handle node) { return get("xmlDOMNodeUnlinkNode", node); }
    Handle clone(Handle node, std::uint32_t deep = 1) {
        return get("xmlDOMNodeCloneNode", node, deep);
    }
    Handle parent(Handle node) { return get("xmlDOMNodeGetRelative", node, 0); }
    Handle next(Handle node) { return get("xmlDOMNodeGetRelative", node, 1); }
    Handle first_child(Handle node) { return get("xmlDOMNodeGetRelative", node, 3); }
    Handle attribute(Handle element, std::string_view local_name) {
        return get("xmlDOMElementGetAttributeNode", element, local_name);
    }
    Handle set_attribute(Handle element, Handle attr) {
        return get("xmlDOMElementSetAttributeNode", element, attr);
    }
    Handle set_attribute_ns(Handle element, Handle attr) {
        return get("xmlDOMElementSetAttributeNodeNS", element, attr);
    }
    Handle remove_attribute(Handle element, Handle attr) {
        return get("xmlDOMElementRemoveAttributeNode", element, attr);
    }
    /// A new attribute with this text.
    Handle with_text(Handle attr, std::string_view text) {
        append(attr, create(get("xmlDOMNodeGetOwnerDoc", attr), XML_TEXT_NODE, text));
        return attr;
    }
    void free_node(Handle node) {
        const Outcome outcome = call("xmlDOMNodeFreeNode", node);
        EXPECT_FALSE(outcome.no_value()) << "not freed";
    }
    /// A LIBXMLLife object that holds the tree.
    ObjectHandle holding(Handle tree) {
        ObjectHandle object = host.create().object();
        EXPECT_EQ(host.call_method(object, "addInternal", {tree}).status(), 0U);
        return object;
    }
    /// XML text as the tests write it: without the XML declaration, in single quotes.
    static std::string plain(std::string text) {
        if (text.starts_with("<?xml ")) text.erase(0, text.find('\n') + 1);
        while (text.ends_with('\n')) text.pop_back();
        std::replace(text.begin(), text.end(), '"', '\'');
        return text;
    }
    std::string xml(Handle node) { return plain(call("xmlDOMNodeDumpNode", node, 0).utf8()); }
    /// The names of the elements that XPath's id() finds from the node, each with a blank after it.
    std::string by_id(Handle node, const std::string& ids) {
        std::string names;
        for (const Handle found : select(node, "id('" + ids + "')")) names += name(found) + ' ';
        return names;
    }
    /// The declaration of the document's first general entity.
    Handle entity(Handle doc) { return call("xmlDOMDocGetEntities", doc).handles().at(0); }
};

/// The processor time that work() takes.
template <typename Work>
double seconds(Work work) {
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

}  // namespace valtrosse::host
