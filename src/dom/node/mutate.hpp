// Which nodes may be moved, and which parent takes which child.
#pragma once

#include <libxml/tree.h>

#include "plugin/export.hpp"

/// 1 when the node may be taken out of its place: not null, no root element or DTD of a document, and
/// nothing inside a DTD; else 0.
VALTROSSE_EXPORT int _x_isWriteNode(const xmlNode* node);
/// 1 when a parent of this type takes a child of that type; a document takes one element and one DTD.
/// 0 for null.
VALTROSSE_EXPORT int _x_isValidChild(const xmlNode* parent, const xmlNode* child);
