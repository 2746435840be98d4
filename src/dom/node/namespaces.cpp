#include "dom/node/namespaces.hpp"

#include <cstring>

#include "dom/doc/documents.hpp"
#include "dom/node/departure.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/scope.hpp"
#include "dom/node/tree.hpp"

using namespace valtrosse;

namespace {

// Marks in a record's type field, where libxml2 itself has XML_LOCAL_NAMESPACE only. They lie outside
// its enumeration, so the field is read and written as the number it is.
constexpr std::uint32_t private_record = 100;
constexpr std::uint32_t removed_declaration = 101;

std::uint32_t mark_of(const xmlNs* ns) {
    std::uint32_t mark;
    std::memcpy(&mark, &ns->type, sizeof mark);
    return mark;
}
void set_mark(xmlNs* ns, std::uint32_t mark) { std::memcpy(&ns->type, &mark, sizeof mark); }
static_assert(sizeof(xmlNsType) == sizeof(std::uint32_t));

const auto* const xml_prefix = reinterpret_cast<const xmlChar*>("xml");

/// Whether the after-link step may find something to do: no leaf without namespaces has any.
bool may_have_namespaces(const xmlNode* root) {
    return first_child(root) || (is_element(root) && (root->ns || root->properties));
}

bool is_private(const xmlNs* ns) { return mark_of(ns) == private_record; }

/// Calls visit(element, scope) for every element of the subtree in pre-order. visit() calls
/// scope.enter(element) itself, once the element's declarations are what its content is to see.
template <typename Visit>
void walk_in_scope(xmlNode* root, Visit visit) {
    Scope scope(root->parent);
    for (xmlNode* node = root;;) {
        if (is_element(node))
            visit(node, scope);
        else
            scope.enter(node);
        if (xmlNode* child = first_child(node)) {
            node = child;
            continue;
        }
        for (;; node = node->parent) {
            scope.leave(node);
            if (node == root) return;
            if (node->next) break;
        }
        node = node->next;
    }
}

/// The document's own declaration of the reserved prefix xml.
xmlNs* xml_declaration(xmlDoc* doc) {
    return doc ? xmlSearchNs(doc, reinterpret_cast<xmlNode*>(doc), xml_prefix) : nullptr;
}

/// Makes a declaration of the element out of a private record; takes no memory.
void declare_record(xmlNode* element, xmlNs* record) {
    set_mark(record, XML_LOCAL_NAMESPACE);
    xmlNs** last = &element->nsDef;
    while (*last) last = &(*last)->next;
    *last = record;
}

/// The after-link step for one reference; `doc` is the document that the element is in.
void resolve(xmlNs*& ns, xmlNode* element, Scope& scope, xmlDoc* doc) {
    if (!ns) return;
    if (xmlStrEqual(ns->prefix, xml_prefix)) {
        xmlNs* const declaration = xml_declaration(doc);
        // Without memory for it the record stays.
        if (!declaration && doc) note_own_records(doc);
        if (!declaration || declaration == ns) return;
        if (is_private(ns)) xmlFreeNs(ns);
        ns = declaration;
        return;
    }
    xmlNs* const declaration = scope.find(element, ns->prefix);
    if (is_private(ns)) {
        if (!declaration) {
            const bool in_scope_already = element->nsDef != nullptr;
            declare_record(element, ns);
            if (!in_scope_already) scope.enter(element);
            return;
        }
        xmlFreeNs(ns);
    }
    ns = declaration;
}

}  // namespace

xmlNs* _x_xmlNewNsPriv(const xmlChar* uri, const xmlChar* prefix) {
    // xmlNewNs refuses the reserved prefix: it gets its prefix afterwards.
    const bool reserved = xmlStrEqual(prefix, xml_prefix);
    xmlNs* ns = xmlNewNs(nullptr, uri, reserved ? nullptr : prefix);
    if (!ns) return nullptr;
    if (reserved) ns->prefix = xmlStrdup(prefix);
    if ((prefix && !ns->prefix) || (uri && !ns->href)) {
        xmlFreeNs(ns);
        return nullptr;
    }
    set_mark(ns, private_record);
    note_namespace_uri(uri);
    return ns;
}

int _x_hasNsPriv(const xmlNode* node) {
    return node && (is_element(node) || is_attribute(node)) && node->ns && is_private(node->ns);
}

int _x_NsBeforeUnlinkNode(xmlNode* node, std::int16_t mode) {
    const bool leaves = node && (mode == 1 || containing_document(node));
    return leaves ? _x_NsBeforeUnlinkNodeRec(node) : 1;
}

int _x_NsBeforeUnlinkNodeRec(xmlNode* root) {
    if (!root) return 1;
    Departure leaving;
    if (!leaving.prepare(root)) return 0;
    leaving.complete();
    return 1;
}

void _x_NsAfterLinkNode(xmlNode* node, std::int16_t mode) {
    if (!node || !may_have_namespaces(node)) return;
    if (mode == 1 || containing_document(node)) _x_NsAfterLinkNodeRec(node);
}

void _x_NsAfterLinkNodeRec(xmlNode* root) {
    if (!root || !may_have_namespaces(root)) return;
    xmlDoc* const doc = document_for_lookup(root);
    walk_in_scope(root, [doc](xmlNode* element, Scope& scope) {
        scope.enter(element);
        resolve(element->ns, element, scope, doc);
        for (xmlAttr* attr = element->properties; attr; attr = attr->next)
            resolve(attr->ns, element, scope, doc);
    });
}

int _x_NsNormalize(xmlNode* node) { return _x_NsNormalizeRec(node); }

int _x_NsNormalizeRec(xmlNode* root) {
    if (!root) return 0;
    xmlDoc* const doc = document_for_lookup(root);

    // Removed declarations wait in a list until the end of the walk, each marked and naming the outer
    // declaration: their users below are met later in the same walk, which keeps it linear.
    xmlNs* removed = nullptr;
    const auto follow = [](xmlNs*& ns) {
        if (ns && mark_of(ns) == removed_declaration) ns = static_cast<xmlNs*>(ns->_private);
    };
    walk_in_scope(root, [&](xmlNode* element, Scope& scope) {
        xmlNs** link = &element->nsDef;
        while (xmlNs* ns = *link) {
            xmlNs* outer = nullptr;
            if (element->parent)
                outer = xmlStrEqual(ns->prefix, xml_prefix)
                            ? xml_declaration(doc)
                            : scope.find(element->parent, ns->prefix);
            if (!outer) {
                link = &ns->next;
                continue;
            }
            *link = ns->next;
            set_mark(ns, removed_declaration);
            ns->_private = outer;
            ns->next = removed;
            removed = ns;
        }
        scope.enter(element);
        if (!removed) return;
        follow(element->ns);
        for (xmlAttr* attr = element->properties; attr; attr = attr->next) follow(attr->ns);
    });
    const bool changed = removed != nullptr;
    xmlFreeNsList(removed);
    return changed;
}

void _x_NsReplaceRec(xmlNode* root, const xmlNs* from, xmlNs* to) {
    if (!root || !from || !to) return;
    for (xmlNode* node = root; node; node = next_in_subtree(node, root)) {
        if (!is_element(node)) continue;
        if (node->ns == from) node->ns = to;
        for (xmlAttr* attr = node->properties; attr; attr = attr->next)
            if (attr->ns == from) attr->ns = to;
    }
}

bool valtrosse::declare_namespace(xmlNode* element, const xmlChar* uri, const xmlChar* prefix) {
    if (xmlStrEqual(prefix, xml_prefix) && xmlStrEqual(uri, XML_XML_NAMESPACE)) return true;
    for (const xmlNs* ns = element->nsDef; ns; ns = ns->next)
        if (xmlStrEqual(ns->prefix, prefix)) return true;
    xmlNs* const record = _x_xmlNewNsPriv(uri, prefix);
    if (record) declare_record(element, record);
    return record != nullptr;
}
