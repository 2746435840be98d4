#include <cstdint>

#include "host/host.hpp"

namespace valtrosse::host {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool is_high_surrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool is_low_surrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

/// The character at the front of utf8, which it takes off. Of a malformed sequence it takes the
/// longest part that could begin a character, at least one byte, and gives U+FFFD.
char32_t take_character(std::string_view& utf8) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(utf8[i]); };
    const std::uint8_t lead = byte(0);
    std::size_t length = 0;
    char32_t value = 0;
    // The second byte's range keeps out overlong forms, surrogates and values above U+10FFFF.
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;
    if (lead < 0x80) {
        length = 1;
        value = lead;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0FU;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07U;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    }
    std::size_t taken = 1;
    while (taken < length && taken < utf8.size() && byte(taken) >= low && byte(taken) <= high) {
        value = value << 6U | (byte(taken) & 0x3FU);
        low = 0x80;
        high = 0xBF;
        ++taken;
    }
    utf8.remove_prefix(taken);
    return taken == length ? value : kReplacement;
}

void append_utf8(std::string& utf8, char32_t c) {
    const auto append = [&](char32_t byte) { utf8.push_back(static_cast<char>(byte)); };
    const auto append_continuation = [&](unsigned shift) { append(0x80U | (c >> shift & 0x3FU)); };
    if (c < 0x80) {
        append(c);
    } else if (c < 0x800) {
        append(0xC0U | c >> 6U);
        append_continuation(0);
    } else if (c < 0x10000) {
        append(0xE0U | c >> 12U);
        append_continuation(6);
        append_continuation(0);
    } else {
        append(0xF0U | c >> 18U);
        append_continuation(12);
        append_continuation(6);
        append_continuation(0);
    }
}

}  // namespace

std::u16string to_units(std::string_view utf8) {
    std::u16string units(utf8.size(), u'\0');  // never fewer bytes than units
    char16_t* out = units.data();
    while (!utf8.empty()) {
        std::size_t ascii = 0;
        while (ascii < utf8.size() && static_cast<std::uint8_t>(utf8[ascii]) < 0x80) {
            *out++ = static_cast<char16_t>(utf8[ascii++]);
        }
        utf8.remove_prefix(ascii);
        if (utf8.empty()) break;
        const char32_t c = take_character(utf8);
        if (c < 0x10000) {
            *out++ = static_cast<char16_t>(c);
        } else {
            *out++ = static_cast<char16_t>(0xD800U + ((c - 0x10000U) >> 10U));
            *out++ = static_cast<char16_t>(0xDC00U + ((c - 0x10000U) & 0x3FFU));
        }
    }
    units.resize(static_cast<std::size_t>(out - units.data()));
    return units;
}

std::string to_utf8(std::u16string_view units) {
    std::string utf8;
    utf8.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char32_t unit = units[i];
        if (is_high_surrogate(unit) && i + 1 < units.size() && is_low_surrogate(units[i + 1])) {
            append_utf8(utf8, 0x10000U + ((unit - 0xD800U) << 10U) + (units[i + 1] - 0xDC00U));
            ++i;
        } else if (is_high_surrogate(unit) || is_low_surrogate(unit)) {
            append_utf8(utf8, kReplacement);
        } else {
            append_utf8(utf8, unit);
        }
    }
    return utf8;
}

}  // namespace valtrosse::host
