// Namespace prefixes of XPath expressions.
#pragma once

#include <libxml/xpath.h>

#include "plugin/export.hpp"

/// Registers the prefixes that elements of the node's subtree use, each with the first URI met in
/// document order. Attributes and unused declarations do not count. Nothing for a null argument.
VALTROSSE_EXPORT void _x_RegisterNamespaces(xmlXPathContext* context, const xmlNode* node);
