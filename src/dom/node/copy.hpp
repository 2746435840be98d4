// Copies of trees.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// A detached copy of a node: deep with its whole subtree, shallow an element with its attributes and
/// namespace declarations but no children, another node with its text alone. It owns all it points at,
/// each namespace as a private record, and names no document; a document is copied as a document.
/// attribute_doc: what the doc fields of copied attributes and of their text name, or null.
/// Null for a node that cannot be copied (a DTD, a declaration, a notation) and without memory.
/// libxml2's own copiers lose private namespace records and go as deep as the tree by recursion.
xmlNode* copy_tree(xmlNode* source, bool deep, xmlDoc* attribute_doc);

}  // namespace valtrosse
