// The loops under the conversions: whole characters, as many as fit. ASCII goes through SSE2, 16
// characters a step; the rest one character at a time.
#pragma once

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#include "valtrosse/host_abi.h"

namespace valtrosse::utf8 {

/// How far a kernel came: input consumed and output produced.
struct Progress {
    std::size_t in;
    std::size_t out;
};

inline __m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
inline void store(void* to, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

/// True when no unit of the two vectors is above 0x7F.
inline bool all_ascii(__m128i a, __m128i b) {
    const __m128i high = _mm_and_si128(_mm_or_si128(a, b), _mm_set1_epi16(~0x7F));
    return _mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) == 0xFFFF;
}

constexpr std::size_t sequence_length(char16_t unit) {
    return unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
}

/// Writes one unit as UTF-8. Returns the number of bytes.
inline std::size_t encode_unit(char16_t unit, std::uint8_t* out) {
    if (unit < 0x80) {
        out[0] = static_cast<std::uint8_t>(unit);
        return 1;
    }
    if (unit < 0x800) {
        out[0] = static_cast<std::uint8_t>(0xC0 | unit >> 6);
        out[1] = static_cast<std::uint8_t>(0x80 | (unit & 0x3F));
        return 2;
    }
    out[0] = static_cast<std::uint8_t>(0xE0 | unit >> 12);
    out[1] = static_cast<std::uint8_t>(0x80 | (unit >> 6 & 0x3F));
    out[2] = static_cast<std::uint8_t>(0x80 | (unit & 0x3F));
    return 3;
}

/// Encodes units up to the first whose sequence does not fit.
inline Progress encode(const char16_t* text, std::size_t count, std::uint8_t* out,
                       std::size_t capacity) {
    constexpr std::size_t step = 16;
    Progress at{0, 0};
    while (at.in < count) {
        if (count - at.in >= step && capacity - at.out >= 3 * step) {
            const __m128i low = load(text + at.in);
            const __m128i high = load(text + at.in + 8);
            if (all_ascii(low, high)) {
                store(out + at.out, _mm_packus_epi16(low, high));
                at.in += step;
                at.out += step;
            } else {  // 48 bytes hold any 16 units: no test per unit
                for (std::size_t end = at.in + step; at.in < end; ++at.in)
                    at.out += encode_unit(text[at.in], out + at.out);
            }
            continue;
        }
        if (capacity - at.out < sequence_length(text[at.in])) break;
        at.out += encode_unit(text[at.in++], out + at.out);
    }
    return at;
}

/// The bytes that encoding takes. A unit takes one byte, one more from 0x80 and one more from 0x800.
inline std::uint64_t encoded_length(const char16_t* text, std::size_t count) {
    std::uint64_t length = count;
    std::size_t i = 0;
    for (; count - i >= 8; i += 8) {
        const __m128i units = load(text + i);
        const __m128i zero = _mm_setzero_si128();
        const __m128i below_80 = _mm_cmpeq_epi16(_mm_srli_epi16(units, 7), zero);
        const __m128i below_800 = _mm_cmpeq_epi16(_mm_srli_epi16(units, 11), zero);
        const int fits = _mm_movemask_epi8(_mm_packs_epi16(below_80, below_800));
        length += 16 - static_cast<unsigned>(std::popcount(static_cast<unsigned>(fits)));
    }
    for (; i < count; ++i) length += sequence_length(text[i]) - 1;
    return length;
}

/// Decodes the sequence at in (in < end), of 1 to 6 bytes and any value up to 0xFFFF, and moves in
/// behind it. 33 when it is malformed or cut off, 62 when its value does not fit.
inline vt_status decode_unit(const std::uint8_t*& in, const std::uint8_t* end, char16_t& unit) {
    const std::uint8_t lead = *in++;
    if (lead < 0x80) {
        unit = lead;
        return VT_OK;
    }
    const int length = std::countl_one(lead);
    if (length == 1 || length >= 7) return VT_MALFORMED;
    unsigned value = lead & (0x7Fu >> length);
    for (int i = 1; i < length; ++i) {
        if (in == end || (*in & 0xC0) != 0x80) return VT_MALFORMED;
        if (value >= 0x400) return VT_TOO_LARGE;
        value = value << 6 | (*in++ & 0x3Fu);
    }
    unit = static_cast<char16_t>(value);
    return VT_OK;
}

/// Decodes up to the end of the input, up to the first unit over capacity, or up to a fault, which
/// status tells. With out null it only counts, and capacity does not matter.
inline Progress decode(const std::uint8_t* utf8, std::size_t length, char16_t* out,
                       std::size_t capacity, vt_status& status) {
    constexpr std::size_t step = 16;
    const std::uint8_t* in = utf8;
    const std::uint8_t* const end = utf8 + length;
    std::size_t count = 0;
    status = VT_OK;
    while (in != end) {
        while (static_cast<std::size_t>(end - in) >= step && (!out || capacity - count >= step)) {
            const __m128i bytes = load(in);
            if (_mm_movemask_epi8(bytes) != 0) break;
            if (out) {
                const __m128i zero = _mm_setzero_si128();
                store(out + count, _mm_unpacklo_epi8(bytes, zero));
                store(out + count + 8, _mm_unpackhi_epi8(bytes, zero));
            }
            in += step;
            count += step;
        }
        // A run of other characters, before the next look for ASCII.
        for (std::size_t i = 0; i < step && in != end; ++i) {
            if (out && count == capacity) return {static_cast<std::size_t>(in - utf8), count};
            char16_t unit;
            status = decode_unit(in, end, unit);
            if (status != VT_OK) return {static_cast<std::size_t>(in - utf8), count};
            if (out) out[count] = unit;
            ++count;
        }
    }
    return {length, count};
}

}  // namespace valtrosse::utf8
