// xmlUTF8Encode, xmlUTF8Decode: host text to UTF-8 bytes and back.
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The UTF-8 bytes of `string`, as a blob without terminator.
Result encode(Call& call, HostText string) {
    const Utf8 utf8(call, string);
    if (utf8.failed()) return utf8.failure();
    return call.blob(utf8.text(), utf8.length());
}

/// The text of the UTF-8 bytes `blob`; no value when they are malformed, 62 for a character above
/// U+FFFF.
Result decode(Call& call, Blob blob) {
    const Result result = utf8_value(call, blob.data, blob.length);
    return result.status == VT_MALFORMED ? no_value : result;
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKUTF8_, xmlUTF8Encode, valtrosse::encode)
SCRIPT_FUNCTION(TOVIKUTF8_, xmlUTF8Decode, valtrosse::decode)
