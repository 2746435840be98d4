// Walks over libxml2's trees, and what a node is in them. No recursion: trees may be a million levels
// deep.
#pragma once

#include <libxml/tree.h>

#include "plugin/export.hpp"

/// 1 for the types of an XML and of an HTML document (9, 13), else 0.
VALTROSSE_EXPORT int _x_isDocumentNode(unsigned type);
/// 1 when the chain of parents ends at a document, a document included; else 0, also for null.
VALTROSSE_EXPORT int _x_isNodeInDoc(const xmlNode* node);

namespace valtrosse {

inline bool is_document(const xmlNode* node) {
    return node->type == XML_DOCUMENT_NODE || node->type == XML_HTML_DOCUMENT_NODE;
}
inline bool is_element(const xmlNode* node) { return node->type == XML_ELEMENT_NODE; }
inline bool is_attribute(const xmlNode* node) { return node->type == XML_ATTRIBUTE_NODE; }

/// Element, attribute and entity declarations and namespace records: no nodes of a tree of their own.
inline bool is_declaration(const xmlNode* node) {
    return node->type >= XML_ELEMENT_DECL && node->type <= XML_NAMESPACE_DECL;
}

inline const xmlNode* topmost(const xmlNode* node) {
    while (node->parent) node = node->parent;
    return node;
}

/// The document whose external subset this DTD is; null for another DTD.
xmlDoc* document_of_external_subset(const xmlDtd* dtd);

/// The document that the node is in; null for a node outside any document. The doc field plays no
/// part: a node may name a document without being in it, and a cloned document's nodes name none.
inline xmlDoc* containing_document(const xmlNode* node) {
    const xmlNode* top = topmost(node);
    if (top->type == XML_DTD_NODE)
        return document_of_external_subset(reinterpret_cast<const xmlDtd*>(top));
    return is_document(top) ? reinterpret_cast<xmlDoc*>(const_cast<xmlNode*>(top)) : nullptr;
}

/// The first child that belongs to this node's tree. What hangs below an entity reference is the DTD's
/// own declaration, with the rest of the DTD as its siblings; a notation record's link is its chain.
inline xmlNode* first_child(const xmlNode* node) {
    switch (node->type) {
        case XML_ENTITY_REF_NODE:
            return node->children && !is_declaration(node->children) ? node->children : nullptr;
        case XML_NOTATION_NODE:
        case XML_ELEMENT_DECL:
        case XML_ATTRIBUTE_DECL:
        case XML_ENTITY_DECL:
        case XML_NAMESPACE_DECL: return nullptr;
        default: return node->children;
    }
}

/// The node after `node` in pre-order that is not below it; null at the end of root's subtree.
inline xmlNode* next_after_subtree(const xmlNode* node, const xmlNode* root) {
    for (; node != root; node = node->parent)
        if (node->next) return node->next;
    return nullptr;
}

/// The node after `node` in pre-order; null at the end of root's subtree.
inline xmlNode* next_in_subtree(const xmlNode* node, const xmlNode* root) {
    xmlNode* child = first_child(node);
    return child ? child : next_after_subtree(node, root);
}

inline xmlAttr* first_attribute(const xmlNode* node) {
    return is_element(node) ? node->properties : nullptr;
}

inline xmlNode* as_node(xmlAttr* attr) { return reinterpret_cast<xmlNode*>(attr); }

/// Links a node that hangs nowhere under parent, just before `next`, or as the last child for null.
inline void link_before(xmlNode* parent, xmlNode* node, xmlNode* next) {
    node->parent = parent;
    node->next = next;
    node->prev = next ? next->prev : parent->last;
    (node->prev ? node->prev->next : parent->children) = node;
    (next ? next->prev : parent->last) = node;
}

/// Whether libxml2 had the memory for the texts of a node that it made, which it does not check.
inline bool is_complete(const xmlNode* node) {
    switch (node->type) {
        case XML_ELEMENT_NODE:
        case XML_ATTRIBUTE_NODE:
        case XML_ENTITY_REF_NODE:
        case XML_PI_NODE: return node->name != nullptr;
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_COMMENT_NODE: return node->content != nullptr;
        default: return true;
    }
}

/// The first node that libxml2 frees with this one: its first attribute, else its first child. An entity
/// declaration owns what its text was parsed into.
inline xmlNode* first_owned(const xmlNode* node) {
    if (xmlAttr* attr = first_attribute(node)) return as_node(attr);
    if (node->type != XML_ENTITY_DECL) return first_child(node);
    return node->children && node->children->parent == node ? node->children : nullptr;
}

/// The node after `node` among all that root owns: attributes and their text come after their element
/// and before its children. Null at the end.
inline xmlNode* next_owned(const xmlNode* node, const xmlNode* root) {
    if (xmlNode* below = first_owned(node)) return below;
    for (; node && node != root; node = node->parent) {
        if (node->next) return node->next;
        if (is_attribute(node) && node->parent)
            if (xmlNode* child = first_child(node->parent)) return child;
    }
    return nullptr;
}

/// Calls visit(xmlNode*) for root and every node that it owns, each before what hangs below it.
template <typename Visit>
void visit_subtree(xmlNode* root, Visit visit) {
    for (xmlNode* node = root; node; node = next_owned(node, root)) visit(node);
}

}  // namespace valtrosse
