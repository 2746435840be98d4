#include "dom/node/ownership.hpp"

#include <libxml/dict.h>

#include "dom/doc/documents.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

bool own(xmlDict* dict, const xmlChar*& text) {
    if (!text || xmlDictOwns(dict, text) != 1) return true;
    const xmlChar* const copy = xmlStrdup(text);
    if (copy) text = copy;
    return copy != nullptr;
}

/// Whether a node has nothing but its name or text: no IDs, and nothing to free in another way.
bool is_plain_leaf(const xmlNode* node) {
    switch (node->type) {
        case XML_ELEMENT_NODE: return !node->children && !node->properties;
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_COMMENT_NODE:
        case XML_PI_NODE: return true;
        default: return false;
    }
}

}  // namespace

xmlDoc* document_for_lookup(const xmlNode* node) {
    return is_known_document(node->doc) ? node->doc : containing_document(node);
}

bool belongs_to_document(const xmlDtd* dtd) {
    return dtd->parent || document_of_external_subset(dtd);
}

bool own_strings(xmlNode* node, const xmlDoc* doc) {
    xmlDict* const dict = doc ? doc->dict : nullptr;
    if (!dict) return true;
    // Text and comments share static names, which no dictionary owns.
    if (!own(dict, node->name)) return false;
    switch (node->type) {
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_COMMENT_NODE:
        case XML_PI_NODE: {
            const xmlChar* content = node->content;
            const bool owned = own(dict, content);
            node->content = const_cast<xmlChar*>(content);
            return owned;
        }
        default: return true;
    }
}

void let_go(xmlNode* node, xmlDoc* doc) {
    if (is_attribute(node)) remove_id(doc, reinterpret_cast<xmlAttr*>(node));
    if (node->type == XML_ENTITY_REF_NODE && !first_child(node))
        node->children = node->last = nullptr;
}

bool own_declared_text(xmlNode* reference, xmlDoc* doc) {
    if (own_text(reference)) return true;
    const xmlEntity* const entity = xmlGetDocEntity(doc, reference->name);
    const xmlChar* const text =
        reference->content || !entity ? reference->content : entity->content;
    if (!text) return true;
    if (doc) note_own_records(doc);
    return give_own_text(reference, text);
}

bool give_own_text(xmlNode* reference, const xmlChar* text) {
    xmlChar* const copy = xmlStrdup(text);
    if (copy) reference->psvi = reference->content = copy;
    return copy != nullptr;
}

void release_own_text(xmlNode* reference) {
    xmlFree(reference->psvi);
    reference->psvi = nullptr;
    reference->content = nullptr;
}

void adopt(xmlNode* root, const xmlNode* parent) {
    xmlDoc* const named = parent->doc;
    // No walk up to the document: it is the one named or, in a clone, one that is no more as loaded.
    if (is_plain_leaf(root) && parent->type != XML_ENTITY_REF_NODE) {
        root->doc = named;
        if (is_known_document(named)) note_changed(named);
        return;
    }
    xmlDoc* const doc = containing_document(parent);
    // Outside documents all of a tree names the same: linking a node of that tree's document under it
    // costs nothing, however much hangs below the node.
    if (!doc && root->doc == named && !is_attribute(root)) return;
    if (doc) note_changed(doc);
    // libxml2 leaves what hangs below a reference behind when it frees the document.
    if (doc && parent->type == XML_ENTITY_REF_NODE) note_own_records(doc);
    visit_subtree(root, [&](xmlNode* node) {
        node->doc = named;
        if (!doc) return;
        if (is_attribute(node) && node->parent)
            add_id_or_note(doc, reinterpret_cast<xmlAttr*>(node));
        if (node->type == XML_ENTITY_REF_NODE && (first_child(node) || own_text(node)))
            note_own_records(doc);
    });
}

void clear_stale_docs(xmlNode* node) {
    if (!may_have_stale_docs() || containing_document(node)) return;
    visit_subtree(const_cast<xmlNode*>(topmost(node)), [](xmlNode* part) {
        if (part->doc && !is_known_document(part->doc)) part->doc = nullptr;
    });
}

}  // namespace valtrosse
