// Trees that LIBXMLLife objects hold. A tree that a script frees by hand, or that ends with another, is
// forgotten here, so that the object does not free it a second time.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// An object's word that names the tree it holds, or null.
using HeldSlot = xmlNode*;

/// Makes the slot hold the tree instead of what it held; a declaration is nothing to hold. False without
/// memory; then nothing changes.
bool hold(HeldSlot* slot, xmlNode* tree);
/// Empties the slot. Returns what it held, or null.
xmlNode* release_held(HeldSlot* slot);
/// Empties every slot that holds exactly this node, which is about to end or has ended.
void forget_held(const xmlNode* node);
/// Whether any slot holds a node that is no document, so that a subtree may contain one.
bool any_held_nodes();
/// Forgets the node and, where any may be held, everything below it.
void forget_held_subtree(xmlNode* root);

}  // namespace valtrosse
