#include "dom/node/handle_list.hpp"

#include <cstring>

vt_status _x_pointersizeToHexString(std::uint32_t value, std::uint32_t digits, char16_t* out) {
    if (!out || digits == 0 || digits > 8) return VT_MALFORMED;
    char16_t all[8];
    valtrosse::write_hexadecimal(value, all);
    std::memcpy(out, all + (8 - digits), digits * sizeof *out);
    return VT_OK;
}
