// The library's version as scripts see it.
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

Result version(Call& call) {
    return utf8_value<100>(call, reinterpret_cast<const xmlChar*>("1.6.0.6"));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION_WITHOUT_PARAMETERS(TOVIKDOM_, xmlDOMUtilGetVersion, valtrosse::version)
