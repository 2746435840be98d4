// libxml2's diagnostic text as a result.
#pragma once

#include <libxml/xmlstring.h>

#include "plugin/frame.hpp"

namespace valtrosse {

/// A string value from diagnostic text, with U+FFFD in place of whatever cannot cross: libxml2 quotes
/// raw bytes of its input, and cuts characters in the middle. Null is the empty string.
Result report_value(Call& call, const xmlChar* text);

}  // namespace valtrosse
