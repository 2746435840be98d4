// The text of nodes as libxml2 computes it, in time linear in its length, and without reading through
// a doc field that may be stale.
#pragma once

#include <libxml/tree.h>

#include "dom/owned.hpp"
#include "valtrosse/host_abi.h"

namespace valtrosse {

/// The text of a node and of its later siblings: text and CDATA sections, and entity references
/// replaced by their entity's text. Null when there is none of them, no memory (VT_OUT_OF_MEMORY), or over
/// 10,000,000 bytes and ten times what is written there and in the entities (VT_TOO_LARGE).
XmlString sibling_text(const xmlNode* node, vt_status* status = nullptr);

/// An attribute's value, empty for one without text; null only without memory and when it is too large,
/// as above.
XmlString attribute_value(const xmlAttr* attr, vt_status* status = nullptr);

}  // namespace valtrosse
