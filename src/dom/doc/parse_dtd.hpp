// DTDs from files.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// The DTD parsed from an external subset; null when it cannot be read or parsed. system_id: a URI, or a
/// path. libxml2 takes no path that is no URI, such as one with a blank or a letter outside of ASCII: it
/// gets it escaped.
xmlDtd* parse_dtd(const xmlChar* public_id, const xmlChar* system_id);

}  // namespace valtrosse
