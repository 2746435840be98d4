// Trees that LIBXMLLife objects hold. A tree that a script frees by hand, or that ends with another, is
// forgotten here, so that the object does not free it a second time.
#pragma once

#include <libxml/tree.h>

#include <cstdint>

namespace valtrosse {

/// What an object knows of the tree that it holds: where it is, and the number under which it is held.
/// A later tree at the same address has another number. Nobody else keeps the address of this record,
/// so a host may move it.
struct Hold {
    xmlNode* tree;  ///< null for none
    std::uint32_t number;
};

/// Holds the tree instead of what was held; a declaration is nothing to hold. False without memory; then
/// nothing changes.
bool hold(Hold& held, xmlNode* tree);
/// Ends a hold. Returns the tree, or null when there was none or it has ended.
xmlNode* release(const Hold& held);

/// Forgets that this node is held, if it is; it is about to end or has ended.
void forget_held(const xmlNode* node);
/// Whether any node is held that is no document, so that a subtree may contain one.
bool any_held_nodes();
/// Forgets the node and, where any may be held, everything below it.
void forget_held_subtree(xmlNode* root);

}  // namespace valtrosse
