// The end of trees and documents.
#pragma once

#include <libxml/tree.h>

#include "plugin/export.hpp"

/// Frees a node that no tree refers to, by its kind: an element or another node with its subtree, an
/// attribute, a DTD, a whole document, or a notation record with all that follow it in its chain, which
/// then ends before it. Private namespace records go with their nodes. Null and declarations stay.
VALTROSSE_EXPORT void _x_freeNode(xmlNode* node);

namespace valtrosse {

/// Whether freeing the node leaves nothing behind that refers to it: it hangs under no other node and
/// is no declaration.
bool may_be_freed(const xmlNode* node);

/// Frees a document with all that libxml2 would leave behind, and its last message.
void free_document(xmlDoc* doc);

}  // namespace valtrosse
