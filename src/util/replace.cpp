#include "util/replace.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "plugin/frame.hpp"
#include "plugin/memory.hpp"

namespace valtrosse {
namespace {

constexpr std::uint32_t lane = 8;  // units in a vector

bool equal(const char16_t* a, const char16_t* b, std::uint32_t n) {
    for (std::uint32_t i = 0; i < n; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

struct Units {
    const char16_t* data;
    std::uint32_t count;
};

/// Calls found(position) for the occurrences of the pattern (not empty), left to right and without
/// overlaps, until it returns false. Eight positions at a time are tested for the pattern's first unit.
template <typename Found>
void for_each_match(Units text, Units pattern, Found found) {
    if (pattern.count > text.count) return;
    const std::uint32_t end = text.count - pattern.count + 1;  // of the candidate positions
    const char16_t first = *pattern.data;
    const __m128i wanted = _mm_set1_epi16(static_cast<short>(first));
    std::uint32_t next = 0;  // positions before it belong to a match
    const auto test = [&](std::uint32_t at) {
        if (at < next || !equal(text.data + at, pattern.data, pattern.count)) return true;
        next = at + pattern.count;
        return found(at);
    };

    std::uint32_t block = 0;
    while (end - block >= lane) {
        const __m128i units =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data + block));
        const __m128i hits = _mm_cmpeq_epi16(units, wanted);
        // One bit a position.
        auto mask = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_packs_epi16(hits, _mm_setzero_si128())));
        for (; mask != 0; mask &= mask - 1)
            if (!test(block + static_cast<std::uint32_t>(std::countr_zero(mask)))) return;
        block = std::max(block + lane, std::min(next, end));
    }
    for (; block < end; ++block)
        if (text.data[block] == first && !test(block)) return;
}

/// Writes pieces one after the other into a block that they fill exactly.
class Writer {
public:
    Writer(char16_t* at, std::uint32_t room) : at_(at), end_(at + room) {}

    /// readable_end: how far the memory behind the piece may be read.
    void add(Units piece, const char16_t* readable_end) {
        const bool one_move = piece.count <= lane &&
                              static_cast<std::size_t>(readable_end - piece.data) >= lane &&
                              static_cast<std::size_t>(end_ - at_) >= lane;
        if (one_move)  // what it writes too much is overwritten by the next piece
            std::memcpy(at_, piece.data, lane * sizeof(char16_t));
        else
            std::memcpy(at_, piece.data, piece.count * sizeof(char16_t));
        at_ += piece.count;
    }

private:
    char16_t* at_;
    char16_t* end_;
};

/// Replaces every occurrence of `str2` in `str1` by `str3`. 33 when there is none.
Result replace(Call& call, HostText str1, HostText str2, HostText str3) {
    if (str1.absent() || str2.absent() || str3.absent()) return no_value;
    char16_t* text = nullptr;
    std::uint32_t count = 0;
    const vt_status status =
        _x_ReplaceWordInBuffer(call.runtime(), str1.units, str1.count, str2.units, str2.count,
                               str3.units, str3.count, &text, &count);
    if (status != VT_OK) return failure(status);
    const HostMemory<char16_t> owned(text);
    return call.text(text, count);
}

}  // namespace
}  // namespace valtrosse

using namespace valtrosse;

int _x_memcmp(const char16_t* a, const char16_t* b, std::uint32_t n) {
    return !a || !b || !equal(a, b, n);
}

void _x_memcpy(char16_t* destination, const char16_t* source, std::uint32_t n) {
    if (destination && source) std::memcpy(destination, source, n * sizeof(char16_t));
}

const char16_t* _x_FindBufferInBuffer(const char16_t* text, std::uint32_t count,
                                      const char16_t* pattern, std::uint32_t pattern_count) {
    if (!text || !pattern || pattern_count == 0) return nullptr;
    const char16_t* match = nullptr;
    for_each_match({text, count}, {pattern, pattern_count}, [&](std::uint32_t at) {
        match = text + at;
        return false;
    });
    return match;
}

vt_status _x_ReplaceWordInBuffer(vt_host_runtime* runtime, const char16_t* text,
                                 std::uint32_t count, const char16_t* pattern,
                                 std::uint32_t pattern_count, const char16_t* replacement,
                                 std::uint32_t replacement_count, char16_t** result,
                                 std::uint32_t* result_count) {
    constexpr std::uint64_t max_units = 0x20000000;
    if (result) *result = nullptr;
    if (result_count) *result_count = 0;
    if (!text || !pattern || !replacement || pattern_count == 0 || !result || !result_count)
        return VT_MALFORMED;

    const Units whole{text, count};
    const Units wanted{pattern, pattern_count};
    std::uint64_t matches = 0;
    for_each_match(whole, wanted, [&](std::uint32_t) {
        ++matches;
        return true;
    });
    if (matches == 0) return VT_MALFORMED;
    const std::uint64_t total = count - matches * pattern_count + matches * replacement_count;
    if (total > max_units) return VT_TOO_LARGE;
    // An allocator need not know blocks of no bytes.
    const auto bytes = static_cast<std::uint32_t>(std::max<std::uint64_t>(total, 1) * sizeof(char16_t));
    auto* const block = static_cast<char16_t*>(Mem_Alloc(runtime->allocator, bytes));
    if (!block) return VT_OUT_OF_MEMORY;

    Writer writer(block, static_cast<std::uint32_t>(total));
    std::uint32_t copied = 0;
    for_each_match(whole, wanted, [&](std::uint32_t at) {
        writer.add({text + copied, at - copied}, text + count);
        writer.add({replacement, replacement_count}, replacement + replacement_count);
        copied = at + pattern_count;
        return true;
    });
    writer.add({text + copied, count - copied}, text + count);
    *result = block;
    *result_count = static_cast<std::uint32_t>(total);
    return VT_OK;
}

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilStrReplace, valtrosse::replace)
