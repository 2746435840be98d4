// Copies of trees: cloning and importing.
#include "dom/node/copy.hpp"

#include <libxml/parserInternals.h>

#include "dom/doc/documents.hpp"
#include "dom/node/free.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "plugin/frame.hpp"

namespace valtrosse {
namespace {

const xmlNode* first_child_to_copy(const xmlNode* node) {
    return node->type == XML_DTD_NODE ? nullptr : first_child(node);  // libxml2 copies whole DTDs
}

/// One copy in the making. What has been made is a sound tree at any time, so that it can be freed when
/// memory runs out.
class Copier {
public:
    Copier(xmlNode* source, bool deep, xmlDoc* attribute_doc)
        : source_(source),
          deep_(deep),
          attribute_doc_(attribute_doc) {}

    xmlNode* run() {
        root_ = copy_node(source_);
        if (!root_) return nullptr;
        // An attribute is complete already: its text comes with it, deep or not.
        if (deep_ && !is_attribute(source_)) copy_below(source_, root_);
        if (is_document(root_)) finish_document(reinterpret_cast<xmlDoc*>(root_));
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
                    from = from->parent;
                    to = to->parent;
                }
                if (from == top) return;
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
        xmlNode* copy = bare_copy(from);
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

    xmlNode* bare_copy(const xmlNode* from) {
        const int length =
            xmlStrlen(from->type == XML_CDATA_SECTION_NODE ? from->content : nullptr);
        switch (from->type) {
            case XML_ELEMENT_NODE: return xmlNewNode(nullptr, from->name);
            case XML_ATTRIBUTE_NODE: return as_node(xmlNewProp(nullptr, from->name, nullptr));
            case XML_TEXT_NODE: {
                xmlNode* text = xmlNewText(from->content);
                if (text && from->name == xmlStringTextNoenc) text->name = xmlStringTextNoenc;
                return text;
            }
            case XML_CDATA_SECTION_NODE: return xmlNewCDataBlock(nullptr, from->content, length);
            case XML_PI_NODE: return xmlNewPI(from->name, from->content);
            case XML_COMMENT_NODE: return xmlNewComment(from->content);
            case XML_DOCUMENT_FRAG_NODE: return xmlNewDocFragment(nullptr);
            case XML_ENTITY_REF_NODE: {
                xmlNode* reference = xmlNewReference(nullptr, from->name);
                if (reference) let_go(reference, nullptr);
                return reference;
            }
            case XML_DOCUMENT_NODE:
            case XML_HTML_DOCUMENT_NODE: return copy_document(from);
            case XML_DTD_NODE: return root_ ? copy_dtd(from) : nullptr;
            default: return nullptr;
        }
    }

    xmlNode* copy_document(const xmlNode* from) {
        auto* source = reinterpret_cast<xmlDoc*>(const_cast<xmlNode*>(from));
        xmlDoc* const doc = xmlCopyDoc(source, 0);
        document_made(doc);
        attribute_doc_ = doc;
        return reinterpret_cast<xmlNode*>(doc);
    }

    xmlNode* copy_dtd(const xmlNode* from) {
        auto* source = reinterpret_cast<xmlDtd*>(const_cast<xmlNode*>(from));
        xmlDtd* const dtd = xmlCopyDtd(source);
        auto* const doc = reinterpret_cast<xmlDoc*>(root_);
        if (source == reinterpret_cast<xmlDoc*>(source_)->intSubset) doc->intSubset = dtd;
        return reinterpret_cast<xmlNode*>(dtd);
    }

    void complete_element(const xmlNode* from, xmlNode* copy) {
        copy->line = from->line;
        if (from->nsDef) {
            copy->nsDef = xmlCopyNamespaceList(from->nsDef);
            failed_ |= copy->nsDef == nullptr;
        }
        copy_namespace(from->ns, copy, deep_);
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

    void complete_attribute(const xmlAttr* from, xmlNode* copy) {
        copy_namespace(from->ns, copy, true);
        copy_below(reinterpret_cast<const xmlNode*>(from), copy);
        if (copy == root_) return;
        for (xmlNode* part = copy; part; part = next_in_subtree(part, copy))
            part->doc = attribute_doc_;
    }

    /// Every namespace of a copy is a private record. With `declare`, one that is declared outside of
    /// what is copied is declared on the copied root as well, so that the copy keeps it under any
    /// parent and can be serialised by itself.
    void copy_namespace(const xmlNs* ns, xmlNode* copy, bool declare) {
        if (!ns) return;
        copy->ns = _x_xmlNewNsPriv(ns->href, ns->prefix);
        failed_ |= copy->ns == nullptr;
        if (declare && is_element(root_) && is_declared_outside(ns))
            failed_ |= !declare_namespace(root_, ns->href, ns->prefix);
    }

    bool is_declared_outside(const xmlNs* ns) {
        if (ns == last_looked_up_) return last_was_outside_;
        last_looked_up_ = ns;
        last_was_outside_ = false;
        for (const xmlNode* node = source_->parent; node; node = node->parent)
            for (const xmlNs* other = is_element(node) ? node->nsDef : nullptr; other;
                 other = other->next)
                last_was_outside_ |= other == ns;
        return last_was_outside_;
    }

    /// The nodes of a copied document name no document; its IDs answer all the same.
    void finish_document(xmlDoc* doc) {
        doc->doc = nullptr;
        note_own_records(doc);
        const auto* const source = reinterpret_cast<xmlDoc*>(source_);
        if (!source->ids && !may_lack_ids(source)) return;
        visit_subtree(root_, [&](xmlNode* node) {
            if (is_attribute(node)) failed_ |= !add_id(doc, reinterpret_cast<xmlAttr*>(node));
        });
    }

    xmlNode* source_;
    bool deep_;
    xmlDoc* attribute_doc_;
    xmlNode* root_ = nullptr;
    bool failed_ = false;
    const xmlNs* last_looked_up_ = nullptr;
    bool last_was_outside_ = false;
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
