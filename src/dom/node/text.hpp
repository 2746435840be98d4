// The text of nodes as libxml2 computes it, in time linear in its length, and without reading through
// a doc field that may be stale.
#pragma once

#include <libxml/tree.h>

#include "dom/owned.hpp"

namespace valtrosse {

/// The text of a node and of its later siblings: text and CDATA sections, and entity references
/// replaced by their entity's text. Null when there is none of them, or no memory.
XmlString sibling_text(const xmlNode* node);

/// An attribute's value, empty for one without text; null only without memory.
XmlString attribute_value(const xmlAttr* attr);

}  // namespace valtrosse
