#include "dom/doc/output_check.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace valtrosse {
namespace {

constexpr std::size_t lane = 16;

bool is_control(std::uint8_t byte) {
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

/// Whether three bytes begin with a character that XML does not have; the lead bytes of surrogates are
/// ED, and of U+FFFE and U+FFFF EF.
bool is_no_character(const std::uint8_t* bytes) {
    return (bytes[0] == 0xED && bytes[1] >= 0xA0) ||
           (bytes[0] == 0xEF && bytes[1] == 0xBF && bytes[2] >= 0xBE);
}

__m128i load(const std::uint8_t* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}
__m128i all(std::uint8_t byte) { return _mm_set1_epi8(static_cast<char>(byte)); }
__m128i is(__m128i bytes, std::uint8_t value) { return _mm_cmpeq_epi8(bytes, all(value)); }
__m128i is_at_least(__m128i bytes, std::uint8_t value) {
    return _mm_cmpeq_epi8(_mm_max_epu8(bytes, all(value)), bytes);
}
__m128i are_controls(__m128i bytes) {
    const __m128i allowed =
        _mm_or_si128(_mm_or_si128(is(bytes, '\t'), is(bytes, '\n')), is(bytes, '\r'));
    return _mm_andnot_si128(_mm_or_si128(allowed, is_at_least(bytes, 0x20)), all(0xFF));
}
bool any(__m128i bytes) { return _mm_movemask_epi8(bytes) != 0; }

/// Whether eight units are neither control characters nor surrogates, nor after these.
bool are_usual(__m128i units) {
    const auto is_unit = [units](short value) {
        return _mm_cmpeq_epi16(units, _mm_set1_epi16(value));
    };
    const auto is_at_most = [units](unsigned limit) {
        const __m128i above = _mm_subs_epu16(units, _mm_set1_epi16(static_cast<short>(limit)));
        return _mm_cmpeq_epi16(above, _mm_setzero_si128());
    };
    const __m128i allowed = _mm_or_si128(_mm_or_si128(is_unit('\t'), is_unit('\n')), is_unit('\r'));
    const __m128i controls = _mm_andnot_si128(allowed, is_at_most(0x1F));
    return _mm_movemask_epi8(_mm_andnot_si128(controls, is_at_most(0xD7FF))) == 0xFFFF;
}

bool has_control(const std::uint8_t* bytes, std::size_t count) {
    for (; count >= lane; bytes += lane, count -= lane)
        if (any(are_controls(load(bytes)))) return true;
    while (count > 0)
        if (is_control(bytes[--count])) return true;
    return false;
}

}  // namespace

void OutputCheck::look_at(const char* bytes, std::size_t count) {
    const auto* const unsigned_bytes = reinterpret_cast<const std::uint8_t*>(bytes);
    if (found_) return;
    switch (kind_) {
        case Kind::none: break;
        case Kind::utf8: look_at_utf8(unsigned_bytes, count); break;
        case Kind::utf16_little_end:
        case Kind::utf16_big_end: look_at_utf16(unsigned_bytes, count); break;
        case Kind::references: look_for_references(unsigned_bytes, count); break;
    }
}

void OutputCheck::look_at_utf8(const std::uint8_t* bytes, std::size_t count) {
    // What began in the last piece.
    std::uint8_t across[4] = {last_[0], last_[1]};
    for (std::size_t i = 0; i < 2 && i < count; ++i) across[2 + i] = bytes[i];
    found_ = is_no_character(across) || is_no_character(across + 1);
    if (count >= 2)
        std::memcpy(last_, bytes + count - 2, 2);
    else if (count == 1)
        last_[0] = last_[1], last_[1] = bytes[0];

    for (; !found_ && count >= lane + 2; bytes += lane, count -= lane) {
        const __m128i first = load(bytes);
        __m128i bad = are_controls(first);
        if (any(first)) {  // not all of it is ASCII
            const __m128i second = load(bytes + 1), third = load(bytes + 2);
            const __m128i surrogates = _mm_and_si128(is(first, 0xED), is_at_least(second, 0xA0));
            const __m128i others = _mm_and_si128(_mm_and_si128(is(first, 0xEF), is(second, 0xBF)),
                                                 is_at_least(third, 0xBE));
            bad = _mm_or_si128(bad, _mm_or_si128(surrogates, others));
        }
        found_ = any(bad);
    }
    for (; !found_ && count > 0; ++bytes, --count)
        found_ = is_control(*bytes) || (count > 2 && is_no_character(bytes));
}

void OutputCheck::look_at_utf16(const std::uint8_t* bytes, std::size_t count) {
    const bool is_big = kind_ == Kind::utf16_big_end;
    found_ = count % 2 != 0;  // it comes in whole units
    while (!found_ && count > 0) {
        if (count >= lane && !is_second_due_) {
            const __m128i units = load(bytes);
            const __m128i turned = _mm_or_si128(_mm_slli_epi16(units, 8), _mm_srli_epi16(units, 8));
            if (are_usual(is_big ? turned : units)) {
                bytes += lane;
                count -= lane;
                continue;
            }
        }
        const unsigned first = bytes[0], second = bytes[1];
        const unsigned unit = is_big ? first << 8 | second : second << 8 | first;
        const bool is_second = unit >= 0xDC00 && unit < 0xE000;
        found_ = is_second != is_second_due_ || unit >= 0xFFFE ||
                 (unit < 0x20 && is_control(static_cast<std::uint8_t>(unit)));
        is_second_due_ = unit >= 0xD800 && unit < 0xDC00;
        bytes += 2;
        count -= 2;
    }
}

/// Whether the byte ends the reference, of whose name or number the rest is kept.
bool OutputCheck::ends_reference(std::uint8_t byte) {
    const bool is_part = byte == '#' || (byte >= '0' && byte <= '9') ||
                         ((byte | 0x20) >= 'a' && (byte | 0x20) <= 'z');
    if (is_part && reference_length_ < sizeof reference_) {
        reference_[reference_length_++] = static_cast<char>(byte);
        return false;
    }
    const std::string_view name(reference_, reference_length_);
    const std::string_view usual[] = {"amp", "lt", "gt", "quot", "#9", "#10", "#13"};
    // "&" alone stands in scripts.
    found_ = !name.empty() && (is_part || byte == ';') &&
             std::find(std::begin(usual), std::end(usual), name) == std::end(usual);
    return true;
}

void OutputCheck::look_for_references(const std::uint8_t* bytes, std::size_t count) {
    found_ = has_control(bytes, count);
    const std::uint8_t* const end = bytes + count;
    while (!found_ && bytes != end) {
        if (is_in_reference_) {
            if (!ends_reference(*bytes)) {
                ++bytes;
                continue;
            }
            is_in_reference_ = false;
        }
        const void* const place = std::memchr(bytes, '&', static_cast<std::size_t>(end - bytes));
        if (!place) return;
        bytes = static_cast<const std::uint8_t*>(place) + 1;
        is_in_reference_ = true;
        reference_length_ = 0;
    }
}

}  // namespace valtrosse
