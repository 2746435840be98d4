// The namespace declarations in scope.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

namespace valtrosse {

/// The declarations in scope while a subtree is walked: the elements that declare anything, from the
/// outermost to the present one, so that a look-up does not climb through elements that declare
/// nothing. Private records are never found (xmlSearchNs would, through an ancestor's ns).
class Scope {
public:
    /// Starts with what is in scope inside `parent`, which may be null.
    explicit Scope(const xmlNode* parent);
    ~Scope() { xmlFree(levels_); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

    void enter(const xmlNode* node);
    void leave(const xmlNode* node) {
        if (count_ > 0 && levels_[count_ - 1] == node) --count_;
    }

    /// The nearest declaration of the prefix (null: of the default namespace) inside `at`, the node
    /// that the walk has reached; null when there is none.
    xmlNs* find(const xmlNode* at, const xmlChar* prefix) const;
    /// Whether any element in it declares the prefix with this URI, be it hidden or not.
    bool declares(const xmlChar* prefix, const xmlChar* uri) const;
    /// Whether memory ran out: then declares() knows nothing, and find() climbs to the top of the tree.
    bool incomplete() const { return incomplete_; }

private:
    bool grow();

    const xmlNode** levels_ = nullptr;
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
    bool incomplete_ = false;
};

}  // namespace valtrosse
