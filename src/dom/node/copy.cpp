// Copies of trees: cloning and importing.
#include "dom/node/copy.hpp"

#include <libxml/dict.h>
#include <libxml/hash.h>
#include <libxml/parserInternals.h>

#include "dom/doc/copy_dtd.hpp"
#include "dom/doc/documents.hpp"
#include "dom/node/free.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/scope.hpp"
#include "dom/node/tree.hpp"
#include "plugin/frame.hpp"

namespace valtrosse {
namespace {

/// What of a node's children is copied with it, one by one: of a DTD nothing, since copy_dtd() copies it
/// whole, but what the text of an entity was parsed into.
xmlNode* first_child_to_copy(const xmlNode* node) {
    if (node->type == XML_ENTITY_DECL) return first_owned(node);
    return node->type == XML_DTD_NODE ? nullptr : first_child(node);
}

/// One copy in the making. What has been made is a sound tree at any time, so that it can be freed when
/// memory runs out.
class Copier {
public:
    Copier(xmlNode* source, bool deep, xmlDoc* attribute_doc)
        : source_(source),
          deep_(deep),
          attribute_doc_(attribute_doc),
          outside_(source->parent) {}

    xmlNode* run() {
        root_ = copy_node(source_);
        if (!root_) return nullptr;
        // An attribute is complete already: its text comes with it, deep or not.
        if (deep_ && !is_attribute(source_)) copy_below(source_, root_);
        if (doc_) finish_document();
        failed_ |= inside_.incomplete() || outside_.incomplete();
        if (!failed_) return root_;
        _x_freeNode(root_);
        return nullptr;
    }

private:
    /// Copies what hangs below `top` in pre-order; `to` is the copy of `from` all along.
    void copy_below(const xmlNode* top, xmlNode* top_copy) {
        const xmlNode* from = top;
        xmlNode* to = top_copy;
        while (!failed_) {
            if (const xmlNode* child = first_child_to_copy(from)) {
                from = child;
            } else {
                while (from != top && !from->next) {
                    inside_.leave(from);
                    from = from->parent;
                    to = to->parent;
                }
                if (from == top) return;
                inside_.leave(from);
                from = from->next;
                to = to->parent;
            }
            xmlNode* const copy = copy_node(from);
            if (!copy) return;
            link_before(to, copy, nullptr);
            to = copy;
        }
    }

    /// A copy of the node without what hangs below it; null, and failed, where there can be none.
    xmlNode* copy_node(const xmlNode* from) {
        inside_.enter(from);
        xmlNode* const copy = bare_copy(from);
        failed_ |= copy == nullptr;
        if (!copy) return nullptr;
        if (!root_) root_ = copy;
        const bool lacks_data =
            from->type == XML_PI_NODE && from->content != nullptr && copy->content == nullptr;
        failed_ |= !is_complete(copy) || lacks_data;
        if (is_element(from)) complete_element(from, copy);
        if (is_attribute(from)) complete_attribute(reinterpret_cast<const xmlAttr*>(from), copy);
        return copy;
    }

    /// In a document that is copied, names come from the dictionary of the copy.
    xmlNode* bare_copy(const xmlNode* from) {
        xmlNode* copy = nullptr;
        switch (from->type) {
            case XML_ELEMENT_NODE: copy = xmlNewDocNode(doc_, nullptr, from->name, nullptr); break;
            case XML_ATTRIBUTE_NODE: return as_node(xmlNewDocProp(doc_, from->name, nullptr));
            case XML_TEXT_NODE:
                copy = xmlNewText(from->content);
                if (copy && from->name == xmlStringTextNoenc) copy->name = xmlStringTextNoenc;
                return copy;
            case XML_CDATA_SECTION_NODE:
                return xmlNewCDataBlock(nullptr, from->content, xmlStrlen(from->content));
            case XML_PI_NODE: copy = xmlNewDocPI(doc_, from->name, from->content); break;
            case XML_COMMENT_NODE: return xmlNewComment(from->content);
            case XML_DOCUMENT_FRAG_NODE: return xmlNewDocFragment(nullptr);
            case XML_ENTITY_REF_NODE:
                copy = xmlNewReference(doc_, from->name);
                if (copy) complete_reference(from, copy);
                break;
            case XML_DOCUMENT_NODE:
            case XML_HTML_DOCUMENT_NODE: return copy_document(from);
            case XML_DTD_NODE: return doc_ ? copy_subset(from) : nullptr;
            default: return nullptr;
        }
        if (copy) copy->doc = nullptr;
        return copy;
    }

    xmlNode* copy_document(const xmlNode* from) {
        auto* const source = reinterpret_cast<xmlDoc*>(const_cast<xmlNode*>(from));
        doc_ = xmlCopyDoc(source, 0);
        if (!doc_) return nullptr;
        document_made(doc_);
        note_own_records(doc_);
        root_ = reinterpret_cast<xmlNode*>(doc_);
        attribute_doc_ = doc_;
        if (!source->version) {
            xmlFree(const_cast<xmlChar*>(doc_->version));  // "1.0" otherwise
            doc_->version = nullptr;
        }
        doc_->properties = source->properties;
        doc_->parseFlags = source->parseFlags;
        doc_->dict = xmlDictCreate();
        failed_ |= !doc_->dict;
        if (deep_ && source->extSubset) {
            doc_->extSubset = copy_dtd(source->extSubset);
            failed_ |= !doc_->extSubset;
            // It hangs nowhere: its field alone says whose it is.
            if (doc_->extSubset) doc_->extSubset->doc = doc_;
        }
        return root_;
    }

    xmlNode* copy_subset(const xmlNode* from) {
        const auto* const source = reinterpret_cast<const xmlDtd*>(from);
        xmlDtd* const dtd = copy_dtd(source);
        if (source == reinterpret_cast<xmlDoc*>(source_)->intSubset) doc_->intSubset = dtd;
        return reinterpret_cast<xmlNode*>(dtd);
    }

    /// A reference has a declaration and a text where the source has them, and in a document alone.
    void complete_reference(const xmlNode* from, xmlNode* copy) {
        if (!doc_ || !from->children || first_child(from)) let_go(copy, nullptr);
        if (!doc_ || !from->content) copy->content = nullptr;
        if (doc_ && own_text(from)) failed_ |= !give_own_text(copy, own_text(from));
    }

    void complete_element(const xmlNode* from, xmlNode* copy) {
        copy->line = from->line;
        copy_declarations(from->nsDef, copy->nsDef);
        copy_namespace(from->ns, from, copy, deep_);
        xmlAttr* last = nullptr;
        for (const xmlAttr* attr = from->properties; attr && !failed_; attr = attr->next) {
            auto* const attr_copy =
                reinterpret_cast<xmlAttr*>(copy_node(reinterpret_cast<const xmlNode*>(attr)));
            if (!attr_copy) return;
            attr_copy->parent = copy;
            attr_copy->prev = last;
            (last ? last->next : copy->properties) = attr_copy;
            last = attr_copy;
        }
    }

    void copy_declarations(xmlNs* from, xmlNs*& place) {
        xmlNs** next = &place;
        for (; from; from = from->next) {
            xmlNs* const copy = xmlCopyNamespace(from);
            *next = copy;
            failed_ |= !copy || (from->href && !copy->href) || (from->prefix && !copy->prefix);
            if (failed_) return;
            next = &copy->next;
        }
    }

    void complete_attribute(const xmlAttr* from, xmlNode* copy) {
        copy_namespace(from->ns, from->parent, copy, true);
        copy_below(reinterpret_cast<const xmlNode*>(from), copy);
        if (copy == root_) {
            copy->doc = nullptr;
            return;
        }
        // finish_document() enters those that are marked as IDs.
        if (doc_) reinterpret_cast<xmlAttr*>(copy)->atype = from->atype;
        for (xmlNode* part = copy; part; part = next_in_subtree(part, copy))
            part->doc = attribute_doc_;
    }

    /// Every namespace of a copy is a private record. With `declare`, one that is declared outside of
    /// what is copied is declared on the copied root as well, so that the copy keeps it under any
    /// parent and can be serialised by itself. at: the source's element that the namespace is for.
    void copy_namespace(const xmlNs* ns, const xmlNode* at, xmlNode* copy, bool declare) {
        if (!ns) return;
        copy->ns = _x_xmlNewNsPriv(ns->href, ns->prefix);
        failed_ |= copy->ns == nullptr;
        if (declare && is_element(root_) && !inside_.find(at, ns->prefix) &&
            outside_.declares(ns->prefix, ns->href))
            failed_ |= !declare_namespace(root_, ns->href, ns->prefix);
    }

    /// 1. Copies what the text of entities was parsed into, now that all entities are there.
    /// 2. Enters the IDs.
    /// 3. Clears the document's own doc field: the nodes of a copied document name no document.
    void finish_document() {
        const auto* const source = reinterpret_cast<xmlDoc*>(source_);
        copy_entity_contents(source->intSubset, doc_->intSubset);
        copy_entity_contents(source->extSubset, doc_->extSubset);
        if (source->ids) failed_ |= !enter_marked(doc_);
        note_ids_of_copy(doc_, source);
        doc_->doc = nullptr;
    }

    void copy_entity_contents(const xmlDtd* from, const xmlDtd* to) {
        if (!from || !to) return;
        for (const xmlNode* child = from->children; child && !failed_; child = child->next) {
            const auto* const entity = reinterpret_cast<const xmlEntity*>(child);
            if (child->type != XML_ENTITY_DECL || !first_child_to_copy(child)) continue;
            auto* const copy = static_cast<xmlEntity*>(
                xmlHashLookup(static_cast<xmlHashTable*>(to->entities), entity->name));
            if (!copy) continue;
            copy->owner = entity->owner;
            copy_below(child, reinterpret_cast<xmlNode*>(copy));
        }
    }

    xmlNode* source_;
    bool deep_;
    xmlDoc* attribute_doc_;
    Scope outside_;          // what the source's ancestors declare
    Scope inside_{nullptr};  // what the source declares down to the node that is being copied
    xmlNode* root_ = nullptr;
    xmlDoc* doc_ = nullptr;  // the copied document, when it is one
    bool failed_ = false;
};

bool can_be_copied(const xmlNode* node) {
    return node->type != XML_ENTITY_NODE && node->type != XML_NOTATION_NODE;
}

/// The handle of a new copy, which is freed when it cannot be handed over; no value for null.
Result copy_value(Call& call, xmlNode* copy) {
    const Result result = call.handle_or_no_value(copy);
    if (result.failed()) _x_freeNode(copy);
    return result;
}

/// A detached copy of `node`, with its subtree when `deep` is 1, of an element with its attributes
/// alone when it is 0. No value for another depth, DTDs, declarations and notations.
Result clone(Call& call, xmlNode* node, std::uint32_t deep) {
    if (deep > 1 || !can_be_copied(node)) return no_value;
    return copy_value(call, copy_tree(node, deep == 1, nullptr));
}

/// As clone(), for another document than the one that `node` names. No value for a document, and for a
/// `doc` that is none.
Result import(Call& call, xmlNode* node, std::uint32_t deep, xmlDoc* doc) {
    if (deep > 1 || doc == node->doc || is_document(node) || !can_be_copied(node)) return no_value;
    if (!is_document(reinterpret_cast<xmlNode*>(doc))) return no_value;
    return copy_value(call, copy_tree(node, deep == 1, doc));
}

}  // namespace

xmlNode* copy_tree(xmlNode* source, bool deep, xmlDoc* attribute_doc) {
    return Copier(source, deep, attribute_doc).run();
}

}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeCloneNode, valtrosse::clone)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeImportNode, valtrosse::import)
