#include "dom/node/departure.hpp"

#include "dom/doc/documents.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

// Until complete(), fields that libxml2 does not use in records outside of its lists say how to go back.
xmlNs*& next_made(xmlNs* record) { return record->next; }
void remember(xmlNs* record, xmlNode* owner, xmlNs* replaced) {
    record->_private = replaced;
    record->context = reinterpret_cast<xmlDoc*>(owner);
}
xmlNode* owner_of(const xmlNs* record) { return reinterpret_cast<xmlNode*>(record->context); }
xmlNs* replaced_by(const xmlNs* record) { return static_cast<xmlNs*>(record->_private); }

}  // namespace

Departure::~Departure() {
    while (xmlNs* const record = made_) {
        made_ = next_made(record);
        owner_of(record)->ns = replaced_by(record);
        xmlFreeNs(record);
    }
}

bool Departure::make_private(xmlNode* node) {
    const bool has_namespace = (is_element(node) || is_attribute(node)) && node->ns;
    if (!has_namespace || _x_hasNsPriv(node)) return true;
    xmlNs* const record = _x_xmlNewNsPriv(node->ns->href, node->ns->prefix);
    if (!record) return false;
    remember(record, node, node->ns);
    next_made(record) = made_;
    made_ = record;
    node->ns = record;
    return true;
}

bool Departure::prepare(xmlNode* root, bool comes_back) {
    root_ = root;
    doc_ = document_for_lookup(root);
    for (xmlNode* node = root; node; node = next_owned(node, root)) {
        if (!make_private(node) || !(comes_back || own_strings(node, doc_))) return false;
        if (node->type == XML_ENTITY_REF_NODE && !own_declared_text(node, doc_)) return false;
    }
    return true;
}

void Departure::complete(DocFields docs) {
    if (!root_) return;
    if (xmlDoc* const changed = containing_document(root_)) note_changed(changed);
    for (xmlNode* node = root_; node; node = next_in_subtree(node, root_)) {
        for (xmlAttr* attr = first_attribute(node); attr; attr = attr->next)
            for (xmlNode* part = as_node(attr); part; part = next_in_subtree(part, as_node(attr)))
                let_go(part, doc_);
        let_go(node, doc_);
        if (docs == DocFields::clear) node->doc = nullptr;
    }
    while (xmlNs* const record = made_) {
        made_ = next_made(record);
        remember(record, nullptr, nullptr);
        next_made(record) = nullptr;
    }
}

}  // namespace valtrosse
