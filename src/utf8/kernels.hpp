// The loops under the conversions: whole characters, as many as fit. ASCII goes through SSE2, 16
// characters a step; other characters in runs of the same length.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "valtrosse/host_abi.h"

namespace valtrosse::utf8 {

/// How far a kernel came: input consumed and output produced.
struct Progress {
    std::size_t in;
    std::size_t out;
};

inline __m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
inline void store(void* to, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

/// Lanes of all ones where a unit is at most `high`, which is one less than a power of two.
inline __m128i at_most(__m128i units, std::int16_t high) {
    const __m128i above = _mm_andnot_si128(_mm_set1_epi16(high), units);
    return _mm_cmpeq_epi16(above, _mm_setzero_si128());
}
constexpr int all_lanes = 0xFFFF;

// ---- Units to UTF-8 ------------------------------------------------------------------------------

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

/// Eight units of one or two bytes each: a pair of bytes is written for every unit, and the next pair
/// begins one or two bytes further.
inline std::uint8_t* encode_short_units(__m128i units, __m128i ascii, std::uint8_t* out) {
    const __m128i lead = _mm_or_si128(_mm_srli_epi16(units, 6), _mm_set1_epi16(0xC0));
    const __m128i trail =
        _mm_or_si128(_mm_and_si128(units, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
    const __m128i both = _mm_or_si128(lead, _mm_slli_epi16(trail, 8));
    alignas(16) std::uint16_t pairs[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(pairs),
                    _mm_or_si128(_mm_and_si128(ascii, units), _mm_andnot_si128(ascii, both)));
    auto two = ~static_cast<unsigned>(_mm_movemask_epi8(ascii));
#pragma GCC unroll 8
    for (const std::uint16_t pair : pairs) {
        std::memcpy(out, &pair, sizeof pair);
        out += 1 + (two & 1);
        two >>= 2;
    }
    return out;
}

/// The three bytes of each of four units, the first one lowest, in 32 bits.
inline __m128i three_bytes(__m128i four) {
    const __m128i lead = _mm_srli_epi32(four, 12);
    const __m128i middle = _mm_and_si128(_mm_slli_epi32(four, 2), _mm_set1_epi32(0x3F00));
    const __m128i trail = _mm_and_si128(_mm_slli_epi32(four, 16), _mm_set1_epi32(0x3F0000));
    return _mm_or_si128(_mm_or_si128(lead, middle), _mm_or_si128(trail, _mm_set1_epi32(0x8080E0)));
}

/// Eight units of three bytes each, two at a time.
inline std::uint8_t* encode_long_units(__m128i units, std::uint8_t* out) {
    const __m128i zero = _mm_setzero_si128();
    for (const __m128i four : {_mm_unpacklo_epi16(units, zero), _mm_unpackhi_epi16(units, zero)}) {
        const __m128i bytes = three_bytes(four);
        // Two units side by side in the lower 48 of 64 bits.
        const __m128i lower = _mm_and_si128(bytes, _mm_set1_epi64x(0xFFFFFF));
        const __m128i upper = _mm_slli_epi64(_mm_srli_epi64(bytes, 32), 24);
        const __m128i pairs = _mm_or_si128(lower, upper);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), pairs);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 6), _mm_unpackhi_epi64(pairs, pairs));
        out += 12;
    }
    return out;
}

/// Eight units of any lengths. Four bytes are written for every unit, and the next four begin one to
/// three bytes further.
inline std::uint8_t* encode_any_units(__m128i units, std::uint8_t* out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i trail = _mm_set1_epi32(0x3F);
    for (const __m128i four : {_mm_unpacklo_epi16(units, zero), _mm_unpackhi_epi16(units, zero)}) {
        const __m128i above_7f = _mm_cmpgt_epi32(four, _mm_set1_epi32(0x7F));
        const __m128i above_7ff = _mm_cmpgt_epi32(four, _mm_set1_epi32(0x7FF));
        const __m128i last = _mm_and_si128(four, trail);
        const __m128i two = _mm_or_si128(
            _mm_or_si128(_mm_srli_epi32(four, 6), _mm_slli_epi32(last, 8)), _mm_set1_epi32(0x80C0));
        const __m128i three = three_bytes(four);
        const __m128i one_or_two =
            _mm_or_si128(_mm_andnot_si128(above_7f, four), _mm_and_si128(above_7f, two));
        const __m128i bytes =
            _mm_or_si128(_mm_andnot_si128(above_7ff, one_or_two), _mm_and_si128(above_7ff, three));
        alignas(16) std::uint32_t sequences[4];
        alignas(16) std::uint32_t minus_more[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(sequences), bytes);
        _mm_store_si128(reinterpret_cast<__m128i*>(minus_more), _mm_add_epi32(above_7f, above_7ff));
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            std::memcpy(out, &sequences[i], sizeof sequences[i]);
            out += 1 - minus_more[i];
        }
    }
    return out;
}

/// Encodes eight units, and writes up to three bytes more.
inline std::uint8_t* encode_eight(__m128i units, std::uint8_t* out) {
    const __m128i ascii = at_most(units, 0x7F);
    if (_mm_movemask_epi8(ascii) == all_lanes) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
        return out + 8;
    }
    const int short_lanes = _mm_movemask_epi8(at_most(units, 0x7FF));
    if (short_lanes == all_lanes) return encode_short_units(units, ascii, out);
    if (short_lanes == 0) return encode_long_units(units, out);
    return encode_any_units(units, out);
}

/// Encodes units up to the first whose sequence does not fit.
inline Progress encode(const char16_t* text, std::size_t count, std::uint8_t* out,
                       std::size_t capacity) {
    // Eight units may write up to three bytes too much: three more units, which fit, come over them.
    constexpr std::size_t units_after = 3;
    constexpr std::size_t room_for_eight = 3 * (8 + units_after);
    const std::uint8_t* const start = out;
    const std::uint8_t* const end = out + capacity;
    const auto room = [&] { return static_cast<std::size_t>(end - out); };
    std::size_t i = 0;
    for (;;) {
        for (; count - i >= 16 && room() >= 16; i += 16, out += 16) {
            const __m128i first = load(text + i);
            const __m128i second = load(text + i + 8);
            const __m128i ascii = at_most(_mm_or_si128(first, second), 0x7F);
            if (_mm_movemask_epi8(ascii) != all_lanes) break;
            store(out, _mm_packus_epi16(first, second));
        }
        if (count - i < 8 + units_after || room() < room_for_eight) break;
        out = encode_eight(load(text + i), out);
        i += 8;
    }
    for (; i < count && room() >= sequence_length(text[i]); ++i) out += encode_unit(text[i], out);
    return {i, static_cast<std::size_t>(out - start)};
}

/// The bytes that encoding takes. A unit takes one byte, one more from 0x80 and one more from 0x800.
inline std::uint64_t encoded_length(const char16_t* text, std::size_t count) {
    constexpr std::size_t blocks_at_once = 0x3FFF;  // two for each fit in a signed lane
    std::uint64_t length = count;
    while (count >= 8) {
        const std::size_t blocks = std::min(count / 8, blocks_at_once);
        __m128i missing = _mm_setzero_si128();  // of two more bytes for every unit
        for (std::size_t i = 0; i < blocks; ++i, text += 8) {
            const __m128i units = load(text);
            missing = _mm_sub_epi16(missing, at_most(units, 0x7F));
            missing = _mm_sub_epi16(missing, at_most(units, 0x7FF));
        }
        count -= 8 * blocks;
        length += std::uint64_t{16} * blocks;
        std::uint16_t lanes[8];
        store(lanes, missing);
        for (const std::uint16_t lane : lanes) length -= lane;
    }
    for (; count > 0; --count) length += sequence_length(*text++) - 1;
    return length;
}

// ---- UTF-8 to units ------------------------------------------------------------------------------

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

// Sequences of two and three bytes, the first byte lowest. Overlong ones are taken, as by decode_unit.
constexpr bool is_two(std::uint32_t bytes) { return (bytes & 0xC0E0) == 0x80C0; }
constexpr char16_t unit_of_two(std::uint32_t bytes) {
    return static_cast<char16_t>((bytes & 0x1F) << 6 | (bytes >> 8 & 0x3F));
}
constexpr bool is_three(std::uint32_t bytes) { return (bytes & 0xC0C0F0) == 0x8080E0; }
constexpr char16_t unit_of_three(std::uint32_t bytes) {
    return static_cast<char16_t>((bytes & 0xF) << 12 | (bytes >> 2 & 0xFC0) | (bytes >> 16 & 0x3F));
}

/// A decoder that writes, or one that only counts.
template <bool writes>
struct Decoder {
    const std::uint8_t* in;
    const std::uint8_t* const end;
    char16_t* const out;
    const std::size_t capacity;
    std::size_t count = 0;

    std::size_t left() const { return static_cast<std::size_t>(end - in); }
    std::size_t room() const { return writes ? capacity - count : static_cast<std::size_t>(-1); }
    void put(std::size_t place, char16_t unit) {
        if constexpr (writes) out[count + place] = unit;
    }
    void put(std::size_t place, __m128i units) {
        if constexpr (writes) store(out + count + place, units);
    }
    void advance(std::size_t bytes, std::size_t units) {
        in += bytes;
        count += units;
    }

    /// Whether so much input follows that 16 units at least are yet to come, whatever forms it has: then
    /// a step may write up to 16 units that count for less.
    bool far_from_end() const { return left() >= 6 * 16 + 18; }

    std::uint32_t pair_here() const { return static_cast<std::uint32_t>(in[0] | in[1] << 8); }

    /// ASCII characters from here on, 16 at a time.
    [[gnu::always_inline]] void decode_ascii() {
        while (left() >= 16 && room() >= 16) {
            const __m128i bytes = load(in);
            const auto others = static_cast<unsigned>(_mm_movemask_epi8(bytes));
            if (others != 0 && !far_from_end()) return;
            put(0, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
            put(8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
            if (others == 0) {
                advance(16, 16);
                continue;
            }
            const auto ascii = static_cast<std::size_t>(std::countr_zero(others));
            advance(ascii, ascii);
            // A single letter with an accent, often.
            if (!is_two(pair_here()) || in[2] >= 0x80) return;
            put(0, unit_of_two(pair_here()));
            advance(2, 1);
        }
    }

    /// Sequences of two bytes from here on, eight at a time.
    [[gnu::always_inline]] void decode_twos() {
        while (far_from_end() && room() >= 9) {
            const __m128i pairs = load(in);
            const __m128i marks = _mm_and_si128(pairs, _mm_set1_epi16(-0x3F20));    // 0xC0E0
            const __m128i right = _mm_cmpeq_epi16(marks, _mm_set1_epi16(-0x7F40));  // 0x80C0
            const auto others = ~static_cast<unsigned>(_mm_movemask_epi8(right)) & 0xFFFF;
            const __m128i lead = _mm_and_si128(pairs, _mm_set1_epi16(0x1F));
            const __m128i trail = _mm_and_si128(_mm_srli_epi16(pairs, 8), _mm_set1_epi16(0x3F));
            put(0, _mm_or_si128(_mm_slli_epi16(lead, 6), trail));
            if (others == 0) {
                advance(16, 8);
                continue;
            }
            const auto bytes = static_cast<std::size_t>(std::countr_zero(others));
            advance(bytes, bytes / 2);
            // A blank between two words, mostly.
            if (in[0] >= 0x80 || in[1] < 0x80) return;
            put(0, in[0]);
            advance(1, 1);
        }
    }

    /// Sequences of three bytes from here on.
    [[gnu::always_inline]] void decode_threes() {
        while (left() >= 8 && room() >= 2) {
            std::uint32_t first;
            std::uint32_t second;
            std::memcpy(&first, in, sizeof first);
            std::memcpy(&second, in + 3, sizeof second);
            if (!is_three(first)) return;
            put(0, unit_of_three(first));
            if (!is_three(second)) return advance(3, 1);
            put(1, unit_of_three(second));
            advance(6, 2);
        }
    }

    [[gnu::always_inline]] vt_status decode_one() {
        char16_t unit;
        if (const vt_status status = decode_unit(in, end, unit)) return status;
        put(0, unit);
        ++count;
        return VT_OK;
    }

    /// Up to the end of the input, the end of the room, or a fault.
    [[gnu::always_inline]] vt_status run() {
        while (far_from_end() && room() > 0) {
            const std::uint8_t* const before = in;
            decode_ascii();
            decode_twos();
            decode_threes();
            if (in == before)
                if (const vt_status status = decode_one()) return status;
        }
        while (in != end) {
            decode_ascii();
            for (int i = 0; i < 16 && in != end; ++i) {
                if (room() == 0) return VT_OK;
                if (const vt_status status = decode_one()) return status;
            }
        }
        return VT_OK;
    }
};

/// Decodes up to the end of the input, up to the first unit over capacity, or up to a fault, which
/// status tells. With out null it only counts, and capacity does not matter.
inline Progress decode(const std::uint8_t* utf8, std::size_t length, char16_t* out,
                       std::size_t capacity, vt_status& status) {
    const auto run = [&](auto decoder) {
        status = decoder.run();
        return Progress{static_cast<std::size_t>(decoder.in - utf8), decoder.count};
    };
    if (out) return run(Decoder<true>{utf8, utf8 + length, out, capacity});
    return run(Decoder<false>{utf8, utf8 + length, nullptr, 0});
}

}  // namespace valtrosse::utf8
