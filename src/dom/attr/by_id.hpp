// Elements by ID.
#pragma once

#include <libxml/tree.h>

#include "plugin/export.hpp"

/// The first element at or below the node, in document order, that has an attribute which its
/// document's internal subset declares as an ID and whose value is exactly id (UTF-8); null without.
/// The node must not be null.
VALTROSSE_EXPORT xmlNode* _x_getElementById(xmlNode* node, const xmlChar* id);
