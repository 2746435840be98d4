#include "dom/node/handle_list.hpp"

#include <array>

namespace {

/// The two digits of every byte.
constexpr auto digit_pairs = [] {
    std::array<std::array<char16_t, 2>, 256> pairs{};
    for (std::size_t byte = 0; byte < pairs.size(); ++byte)
        pairs[byte] = {u"0123456789ABCDEF"[byte >> 4], u"0123456789ABCDEF"[byte & 0xF]};
    return pairs;
}();

}  // namespace

vt_status _x_pointersizeToHexString(std::uint32_t value, std::uint32_t digits, char16_t* out) {
    if (!out || digits == 0 || digits > 8) return VT_MALFORMED;
    char16_t* unit = out + digits;
    for (; unit - out >= 2; value >>= 8) {
        unit -= 2;
        unit[0] = digit_pairs[value & 0xFF][0];
        unit[1] = digit_pairs[value & 0xFF][1];
    }
    if (unit != out) *out = digit_pairs[value & 0xFF][1];
    return VT_OK;
}
