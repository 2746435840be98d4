#include "dom/node/free.hpp"

#include <utility>

#include "dom/doc/documents.hpp"
#include "dom/doc/messages.hpp"
#include "dom/node/held.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "handles/ends.hpp"
#include "handles/handle.hpp"

namespace valtrosse {
namespace {

/// Releases what libxml2 does not free with this node, or makes it do so.
void release_own_records(xmlNode* node) {
    if (_x_hasNsPriv(node)) xmlFreeNs(std::exchange(node->ns, nullptr));
    if (node->type != XML_ENTITY_REF_NODE) return;
    if (own_text(node)) release_own_text(node);
    if (first_child(node)) {
        // libxml2 never frees what hangs below a reference; below a fragment it does.
        node->type = XML_DOCUMENT_FRAG_NODE;
        node->content = nullptr;
    }
}

/// A DTD that a script placed under the document is no subset of it: libxml2 would pass it over.
void free_additional_dtds(xmlDoc* doc) {
    for (xmlNode *child = doc->children, *next; child; child = next) {
        next = child->next;
        auto* dtd = reinterpret_cast<xmlDtd*>(child);
        if (child->type != XML_DTD_NODE || dtd == doc->intSubset || dtd == doc->extSubset) continue;
        xmlUnlinkNode(child);
        xmlFreeDtd(dtd);
    }
}

void forget_document(xmlDoc* doc) {
    auto* const node = reinterpret_cast<xmlNode*>(doc);
    doc->doc = doc;  // a clone names none, but a message may stand under its address
    _x_removeMsg(node, nullptr);
    forget_held(node);
    document_gone(doc);
}

void free_notations(xmlNode* record) {
    if (record->parent) record->parent->children = nullptr;
    while (record) {
        auto* notation = reinterpret_cast<xmlEntity*>(record);
        record = notation->children;
        forget_held(reinterpret_cast<xmlNode*>(notation));
        end_handle(notation);
        xmlFree(const_cast<xmlChar*>(notation->name));
        xmlFree(const_cast<xmlChar*>(notation->ExternalID));
        xmlFree(const_cast<xmlChar*>(notation->SystemID));
        xmlFree(notation);
    }
}

}  // namespace

bool may_be_freed(const xmlNode* node) {
    if (is_declaration(node)) return false;
    if (node->type == XML_DTD_NODE)
        return !belongs_to_document(reinterpret_cast<const xmlDtd*>(node));
    return !node->parent || node->type == XML_NOTATION_NODE;
}

void free_document(xmlDoc* doc) {
    // The external subset hangs nowhere, and XPath leads to it through its declarations.
    for (xmlNode* part :
         {reinterpret_cast<xmlNode*>(doc), reinterpret_cast<xmlNode*>(doc->extSubset)}) {
        if (!part) continue;
        forget_held_subtree(part);
        if (may_have_own_records(doc))
            visit_subtree(part, [doc](xmlNode* owned) {
                release_own_records(owned);
                // libxml2 looks for the dictionary there. The nodes of a copied document name none.
                owned->doc = doc;
            });
    }
    free_additional_dtds(doc);
    forget_document(doc);
    xmlFreeDoc(doc);
}

void object_ended(xmlNode* object) {
    if (!is_document(object)) {
        if (any_held_nodes()) forget_held(object);
        return;
    }
    auto* const doc = reinterpret_cast<xmlDoc*>(object);
    if (is_known_document(doc)) forget_document(doc);  // somebody else frees it
}

}  // namespace valtrosse

using namespace valtrosse;

void _x_freeNode(xmlNode* node) {
    if (!node || is_declaration(node)) return;
    if (is_document(node)) return free_document(reinterpret_cast<xmlDoc*>(node));
    if (node->type == XML_NOTATION_NODE) return free_notations(node);

    forget_held_subtree(node);
    visit_subtree(node, [](xmlNode* part) {
        release_own_records(part);
        // libxml2 would look into the document named here, which may be gone. A tree outside any
        // document owns its strings, so that it can do without.
        part->doc = nullptr;
    });
    xmlFreeNode(node);
}
