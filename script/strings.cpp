#include "script/strings.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>

#include "host/host.hpp"

namespace valtrosse::script {

namespace {

constexpr std::size_t smallest_scratch = 1024;  // units
constexpr std::size_t counted_from = 1 << 16;   // units

constexpr char16_t replacement = 0xFFFD;

/// Widens the leading bytes that are ASCII, 16 at a time, and returns how many; may stop up to 15
/// early.
std::size_t widen_ascii(const unsigned char* bytes, std::size_t count, char16_t* out) {
    const __m128i zero = _mm_setzero_si128();
    std::size_t done = 0;
    for (; done + 16 <= count; done += 16) {
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + done));
        if (_mm_movemask_epi8(chunk) != 0) break;
        auto* to = reinterpret_cast<__m128i*>(out + done);
        _mm_storeu_si128(to, _mm_unpacklo_epi8(chunk, zero));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi8(chunk, zero));
    }
    return done;
}

/// Narrows 16 units to bytes. False when not all of them are ASCII.
bool narrow_if_ascii(const char16_t* units, __m128i& bytes) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + 8));
    const __m128i above = _mm_and_si128(_mm_or_si128(low, high), _mm_set1_epi16(-0x80));
    bytes = _mm_packus_epi16(low, high);
    return _mm_movemask_epi8(_mm_cmpeq_epi16(above, _mm_setzero_si128())) == 0xFFFF;
}

/// As widen_ascii, the other way.
std::size_t narrow_ascii(const char16_t* units, std::size_t count, char* out) {
    std::size_t done = 0;
    for (__m128i bytes; done + 16 <= count && narrow_if_ascii(units + done, bytes); done += 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), bytes);
    }
    return done;
}

/// Room for the engine's form of a text: three bytes a unit, which needs no look at the text, unless
/// that would be much to reserve.
std::size_t room_for(std::u16string_view units) {
    if (units.size() <= counted_from) return 3 * units.size();
    std::size_t size = units.size();
    while (!units.empty()) {
        const std::u16string_view block = units.substr(0, 16);
        units.remove_prefix(block.size());
        __m128i bytes;
        if (block.size() == 16 && narrow_if_ascii(block.data(), bytes)) continue;
        for (const char16_t unit : block) size += (unit >= 0x80) + (unit >= 0x800);
    }
    return size;
}

bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// Reads one sequence at the front of the `left` bytes; returns how many bytes it took.
std::size_t decode_one(const unsigned char* p, std::size_t left, std::uint32_t& character) {
    const unsigned char lead = p[0];
    std::size_t length = 1;
    if (lead < 0x80) {
        character = lead;
        return 1;
    }
    if (lead >= 0xC0 && lead < 0xE0) {
        length = 2;
        character = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead < 0xF0) {
        length = 3;
        character = lead & 0x0Fu;
    } else if (lead >= 0xF0 && lead < 0xF8) {
        length = 4;
        character = lead & 0x07u;
    } else {
        character = replacement;
        return 1;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (i == left || !is_continuation(p[i])) {
            character = replacement;
            return i;
        }
        character = (character << 6) | (p[i] & 0x3Fu);
    }
    if (character > 0x10FFFF) character = replacement;
    return length;
}

}  // namespace

char16_t* decode_units(std::string_view bytes, char16_t* out) {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t left = bytes.size();
    while (left != 0) {
        const std::size_t run = widen_ascii(p, left, out);
        out += run;
        p += run;
        left -= run;
        // Text that is not ASCII seldom changes back within a few characters.
        for (int i = 0; i < 16 && left != 0; ++i) {
            std::uint32_t character;
            const std::size_t taken = decode_one(p, left, character);
            p += taken;
            left -= taken;
            if (character > 0xFFFF) {
                *out++ = static_cast<char16_t>(0xD7C0 + (character >> 10));
                *out++ = static_cast<char16_t>(0xDC00 + (character & 0x3FF));
            } else {
                *out++ = static_cast<char16_t>(character);
            }
        }
    }
    return out;
}

char* encode_units(std::u16string_view units, char* out) {
    const char16_t* p = units.data();
    std::size_t left = units.size();
    while (left != 0) {
        const std::size_t run = narrow_ascii(p, left, out);
        out += run;
        p += run;
        left -= run;
        for (int i = 0; i < 16 && left != 0; ++i, --left) {
            const unsigned unit = *p++;
            if (unit < 0x80) {
                *out++ = static_cast<char>(unit);
                continue;
            }
            if (unit < 0x800) {
                *out++ = static_cast<char>(0xC0 | (unit >> 6));
            } else {
                *out++ = static_cast<char>(0xE0 | (unit >> 12));
                *out++ = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
            }
            *out++ = static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return out;
}

EngineText::EngineText(std::u16string_view units)
    : bytes(std::make_unique_for_overwrite<char[]>(room_for(units))),
      size(static_cast<std::size_t>(encode_units(units, bytes.get()) - bytes.get())) {}

std::string from_units(std::u16string_view units) { return std::string(EngineText(units).view()); }

std::string from_utf8(std::string_view utf8) { return from_units(host::to_units(utf8)); }

std::string to_utf8(std::string_view bytes) {
    std::u16string units(bytes.size(), u'\0');
    units.resize(static_cast<std::size_t>(decode_units(bytes, units.data()) - units.data()));
    return host::to_utf8(units);
}

char16_t* Scratch::room(std::size_t units) {
    if (!units_ || units > capacity_) {
        const std::size_t capacity = std::max({units, capacity_ * 2, smallest_scratch});
        units_ = std::make_unique_for_overwrite<char16_t[]>(capacity);
        capacity_ = capacity;
    }
    return units_.get();
}

void Scratch::give_back() {
    units_.reset();
    capacity_ = 0;
}

}  // namespace valtrosse::script
