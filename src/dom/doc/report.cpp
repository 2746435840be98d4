#include "dom/doc/report.hpp"

#include "dom/owned.hpp"
#include "utf8/kernels.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// The value with U+FFFD in place of whatever cannot cross: libxml2 quotes raw bytes of its input, and
/// cuts characters in the middle.
Result value_with_replacements(Call& call, const xmlChar* text, std::size_t length) {
    // U+FFFD is 3 bytes and stands for at least one.
    const XmlString out(static_cast<xmlChar*>(xmlMalloc(3 * length)));
    if (!out) return failure(VT_OUT_OF_MEMORY);
    xmlChar* to = out.get();
    const xmlChar* const end = text + length;
    while (text != end) {
        const xmlChar* const start = text;
        char16_t unit;
        if (utf8::decode_unit(text, end, unit) == VT_OK) {
            to += utf8::encode_unit(unit, to);
            continue;
        }
        // The rest of a broken or too large sequence goes with its lead byte.
        text = start + 1;
        while (*start >= 0xC0 && text != end && (*text & 0xC0) == 0x80) ++text;
        to += utf8::encode_unit(0xFFFD, to);
    }
    return utf8_value(call, out.get(), static_cast<std::size_t>(to - out.get()));
}

}  // namespace

Result report_value(Call& call, const xmlChar* text) {
    if (!text) text = reinterpret_cast<const xmlChar*>("");
    const Result result = utf8_value(call, text);
    if (result.status != VT_MALFORMED && result.status != VT_TOO_LARGE) return result;
    const auto length = static_cast<std::size_t>(xmlStrlen(text));
    return value_with_replacements(call, text, length);
}

}  // namespace valtrosse
