// Copies of DTDs. libxml2's own copier cuts content models after the second particle, leaves an element's
// list of attributes empty, and drops processing instructions.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// A copy of a DTD with all its declarations, comments and processing instructions. It owns its strings
/// and names no document. What the text of its entities was parsed into is left out: that may refer to
/// entities of another DTD. Null without memory.
xmlDtd* copy_dtd(const xmlDtd* source);

}  // namespace valtrosse
