// Names of nodes.
#pragma once

#include <libxml/tree.h>

#include "plugin/export.hpp"

/// The DOM name of a node, to be freed with xmlFree: "#text" and the like for nodes without a name of
/// their own, prefix:local for elements and attributes in a prefixed namespace, else the node's name.
/// Null for null and without memory.
VALTROSSE_EXPORT xmlChar* _x_nodeName(const xmlNode* node);
