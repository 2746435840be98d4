#include "dom/node/scope.hpp"

#include <algorithm>

#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

// Nothing outside an entity reference is in scope in it.
bool is_barrier(const xmlNode* node) {
    return node->type == XML_ENTITY_REF_NODE || node->type == XML_ENTITY_NODE ||
           node->type == XML_ENTITY_DECL;
}

xmlNs* declared_on(const xmlNode* element, const xmlChar* prefix) {
    xmlNs* ns = element->nsDef;
    while (ns && !(ns->href && xmlStrEqual(ns->prefix, prefix))) ns = ns->next;
    return ns;
}

xmlNs* find_by_climbing(const xmlNode* node, const xmlChar* prefix) {
    for (; node && !is_barrier(node); node = node->parent)
        if (is_element(node))
            if (xmlNs* ns = declared_on(node, prefix)) return ns;
    return nullptr;
}

}  // namespace

Scope::Scope(const xmlNode* parent) {
    for (; parent && !is_barrier(parent); parent = parent->parent) enter(parent);
    std::reverse(levels_, levels_ + count_);
}

void Scope::enter(const xmlNode* node) {
    if (!is_barrier(node) && !(is_element(node) && node->nsDef)) return;
    if (count_ == capacity_ && !grow()) return;
    levels_[count_++] = node;
}

xmlNs* Scope::find(const xmlNode* at, const xmlChar* prefix) const {
    if (incomplete_) return find_by_climbing(at, prefix);
    for (std::size_t i = count_; i-- > 0;) {
        if (is_barrier(levels_[i])) return nullptr;
        if (xmlNs* ns = declared_on(levels_[i], prefix)) return ns;
    }
    return nullptr;
}

bool Scope::declares(const xmlChar* prefix, const xmlChar* uri) const {
    for (std::size_t i = 0; i < count_; ++i)
        for (const xmlNs* ns = is_element(levels_[i]) ? levels_[i]->nsDef : nullptr; ns;
             ns = ns->next)
            if (xmlStrEqual(ns->prefix, prefix) && xmlStrEqual(ns->href, uri)) return true;
    return false;
}

// Without memory the look-ups climb: slower, with the same answers.
bool Scope::grow() {
    const std::size_t wanted = capacity_ ? 2 * capacity_ : 16;
    void* more = incomplete_ ? nullptr : xmlRealloc(levels_, wanted * sizeof *levels_);
    if (!more) {
        incomplete_ = true;
        return false;
    }
    levels_ = static_cast<const xmlNode**>(more);
    capacity_ = wanted;
    return true;
}

}  // namespace valtrosse
