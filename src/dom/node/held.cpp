#include "dom/node/held.hpp"

#include <libxml/hash.h>

#include <atomic>
#include <memory>

#include "dom/address_key.hpp"
#include "dom/node/tree.hpp"
#include "lock.hpp"

namespace valtrosse {
namespace {

/// The slots that hold one tree, chained in its entry of the table.
struct Holder {
    HeldSlot* slot;
    Holder* next;
    bool of_document;
};

struct HolderRelease {
    void operator()(Holder* holder) const { xmlFree(holder); }
};
using OwnedHolder = std::unique_ptr<Holder, HolderRelease>;

xmlHashTable* holders = nullptr;
std::atomic<unsigned> held_nodes = 0;  // that are no documents

Holder* holders_of(const AddressKey& key) {
    return static_cast<Holder*>(xmlHashLookup(holders, key.text));
}

/// Call under the lock. tree must be alive.
bool enter(HeldSlot* slot, xmlNode* tree) {
    if (!holders) holders = xmlHashCreate(0);
    const AddressKey key(tree);
    OwnedHolder holder(static_cast<Holder*>(xmlMalloc(sizeof(Holder))));
    if (!holders || !holder) return false;
    *holder = {slot, holders_of(key), is_document(tree)};
    if (xmlHashUpdateEntry(holders, key.text, holder.get(), nullptr) != 0) return false;
    // Without memory for its key the entry is there all the same, out of reach.
    if (holders_of(key) != holder.get()) return false;
    if (!holder->of_document) ++held_nodes;
    holder.release();
    return true;
}

/// Call under the lock, with the tree that the slot holds.
void leave(HeldSlot* slot, const xmlNode* tree) {
    const AddressKey key(tree);
    Holder* first = holders_of(key);
    Holder** link = &first;
    while (*link && (*link)->slot != slot) link = &(*link)->next;
    if (!*link) return;
    const OwnedHolder holder(*link);
    *link = holder->next;
    if (first)
        xmlHashUpdateEntry(holders, key.text, first, nullptr);
    else
        xmlHashRemoveEntry(holders, key.text, nullptr);
    if (!holder->of_document) --held_nodes;
}

}  // namespace

bool hold(HeldSlot* slot, xmlNode* tree) {
    if (is_declaration(tree)) tree = nullptr;  // its DTD's for good
    SharedStateLock lock;
    if (*slot == tree) return true;
    if (tree && !enter(slot, tree)) return false;
    if (*slot) leave(slot, *slot);
    *slot = tree;
    return true;
}

xmlNode* release_held(HeldSlot* slot) {
    SharedStateLock lock;
    xmlNode* const tree = *slot;
    if (tree) leave(slot, tree);
    *slot = nullptr;
    return tree;
}

void forget_held(const xmlNode* node) {
    SharedStateLock lock;
    const AddressKey key(node);
    OwnedHolder holder(holders_of(key));
    if (!holder) return;
    xmlHashRemoveEntry(holders, key.text, nullptr);
    while (holder) {
        *holder->slot = nullptr;
        if (!holder->of_document) --held_nodes;
        holder.reset(holder->next);
    }
}

bool any_held_nodes() { return held_nodes.load() != 0; }

void forget_held_subtree(xmlNode* root) {
    if (any_held_nodes()) visit_subtree(root, [](xmlNode* node) { forget_held(node); });
}

}  // namespace valtrosse
