// xmlUTF8Encode, xmlUTF8Decode: host text to UTF-8 bytes and back.
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The UTF-8 bytes of `string`, as a blob without terminator. 62 for more than 0x40000000 bytes.
Result encode(Call& call, HostText string) {
    const Utf8 utf8(call, string);
    if (!utf8.failed()) return call.blob(utf8.text(), utf8.length());
    // The largest blob is allowed. Its terminator makes it larger than any block.
    std::uint32_t length = 0;
    if (utf8.failure().status == VT_TOO_LARGE)
        TOVIKUTF8_ToUTF8(string.units, string.count, nullptr, 0, &length);
    return length == 0x40000000 ? failure(VT_OUT_OF_MEMORY) : utf8.failure();
}

/// The text of the UTF-8 bytes `blob`; no value when they are malformed, 62 for a character above
/// U+FFFF. A 33 of the host, too, is no value.
Result decode(Call& call, Deferred<Blob> argument) {
    Blob blob{};
    const vt_status status = argument.read(call, blob);
    const Result result =
        status == VT_OK ? utf8_value(call, blob.data, blob.length) : failure(status);
    return result.status == VT_MALFORMED ? no_value : result;
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKUTF8_, xmlUTF8Encode, valtrosse::encode)
SCRIPT_FUNCTION(TOVIKUTF8_, xmlUTF8Decode, valtrosse::decode)
