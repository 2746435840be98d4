#include "dom/node/held.hpp"

#include <atomic>

#include "dom/node/tree.hpp"
#include "lock.hpp"
#include "util/address_table.hpp"

namespace valtrosse {
namespace {

/// A tree that is held.
struct HeldTree {
    std::uint32_t number;
    std::uint32_t holders;
    bool is_document;
};

constinit AddressTable<HeldTree> trees;
std::uint32_t last_number = 0;
std::atomic<unsigned> held_nodes = 0;  // that are no documents

// All of these are called under the lock.

/// The entry of what is held; null when nothing is, or when it has ended.
HeldTree* entry_of(const Hold& held) {
    HeldTree* const entry = trees.find(held.tree);
    return entry && entry->number == held.number ? entry : nullptr;
}

/// One more holder of a tree, which must be alive.
bool enter(xmlNode* tree, Hold& held) {
    HeldTree* entry = trees.find(tree);
    if (!entry) {
        entry = trees.enter(tree, {last_number + 1, 0, is_document(tree)});
        if (!entry) return false;
        ++last_number;
        if (!entry->is_document) ++held_nodes;
    }
    ++entry->holders;
    held = {tree, entry->number};
    return true;
}

void remove(const xmlNode* tree, const HeldTree& entry) {
    if (!entry.is_document) --held_nodes;
    trees.remove(tree);
}

/// One holder less. False when what was held has ended.
bool leave(const Hold& held) {
    HeldTree* const entry = entry_of(held);
    if (!entry) return false;
    if (--entry->holders == 0) remove(held.tree, *entry);
    return true;
}

}  // namespace

bool hold(Hold& held, xmlNode* tree) {
    if (is_declaration(tree)) tree = nullptr;  // its DTD's for good
    SharedStateLock lock;
    if (held.tree == tree && entry_of(held)) return true;
    Hold next{};
    if (tree && !enter(tree, next)) return false;
    leave(held);
    held = next;
    return true;
}

xmlNode* release(const Hold& held) {
    SharedStateLock lock;
    return leave(held) ? held.tree : nullptr;
}

void forget_held(const xmlNode* node) {
    SharedStateLock lock;
    if (const HeldTree* const entry = trees.find(node)) remove(node, *entry);
}

bool any_held_nodes() { return held_nodes.load() != 0; }

void forget_held_subtree(xmlNode* root) {
    if (any_held_nodes()) visit_subtree(root, [](xmlNode* node) { forget_held(node); });
}

}  // namespace valtrosse
