#include "util/names.hpp"

#include <libxml/tree.h>

#include "utf8/text.hpp"

int _x_isLevel1Name(const xmlChar* text) { return text && !xmlStrchr(text, ':'); }

int _x_isLevel2Name(const xmlChar* text) {
    const xmlChar* colon = text ? xmlStrchr(text, ':') : nullptr;
    return colon && !xmlStrchr(colon + 1, ':');
}

namespace valtrosse {
namespace {

template <typename Test>
Result test_name(Call& call, HostText name, Test test) {
    const Utf8 text(call, name);
    if (text.failed()) return text.failure();
    return call.boolean(test(text.text()));
}

/// Whether `name` has no colon.
Result is_level1(Call& call, HostText name) {
    return test_name(call, name, [](auto* text) { return _x_isLevel1Name(text) == 1; });
}

/// Whether `name` has exactly one colon.
Result is_level2(Call& call, HostText name) {
    return test_name(call, name, [](auto* text) { return _x_isLevel2Name(text) == 1; });
}

/// Whether `name` is an XML Name, colons included; blanks around it are not allowed.
Result is_valid(Call& call, HostText name) {
    return test_name(call, name, [](auto* text) { return xmlValidateName(text, 0) == 0; });
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilIsLevel1Name, valtrosse::is_level1)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilIsLevel2Name, valtrosse::is_level2)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilIsValidXMLName, valtrosse::is_valid)
