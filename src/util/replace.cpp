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

/// One bit for each of eight units from `text` on that equals `wanted`.
unsigned equal_units(const char16_t* text, __m128i wanted) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i hits = _mm_cmpeq_epi16(units, wanted);
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(hits, _mm_setzero_si128())));
}

/// The occurrences of a pattern, left to right and without overlaps. Eight positions at a time are
/// tested for the pattern's first and last unit; what stands between is compared where both fit.
class Matches {
public:
    /// The pattern is not empty.
    Matches(Units text, Units pattern)
        : text_(text.data),
          end_(pattern.count > text.count ? 0 : text.count - pattern.count + 1),
          pattern_(pattern),
          first_(_mm_set1_epi16(static_cast<short>(pattern.data[0]))),
          last_(_mm_set1_epi16(static_cast<short>(pattern.data[pattern.count - 1]))) {
        if (end_ > 0) candidates_ = candidates_from(0);
    }

    static constexpr std::uint32_t none = 0xFFFFFFFF;

    /// The position of the next occurrence, or none. Inlined: with its state in registers a loop over
    /// many occurrences takes two thirds of the time.
    [[gnu::always_inline]] std::uint32_t next() {
        for (;;) {
            for (; candidates_ != 0; candidates_ &= candidates_ - 1) {
                const auto bit = static_cast<std::uint32_t>(std::countr_zero(candidates_));
                if (block_ + bit < resume_ || !inner_fits(block_ + bit)) continue;
                candidates_ &= candidates_ - 1;
                resume_ = block_ + bit + pattern_.count;
                return block_ + bit;
            }
            if (end_ - block_ <= lane) return none;
            block_ += lane;
            if (resume_ > block_) {
                if (resume_ >= end_) return none;
                block_ = resume_;
            }
            candidates_ = candidates_from(block_);
        }
    }

private:
    unsigned candidates_from(std::uint32_t block) const {
        const char16_t* const at = text_ + block;
        const std::uint32_t to_last = pattern_.count - 1;
        if (end_ - block >= lane) return equal_units(at, first_) & equal_units(at + to_last, last_);
        unsigned found = 0;
        for (std::uint32_t i = 0; i < end_ - block; ++i)
            if (at[i] == pattern_.data[0] && at[i + to_last] == pattern_.data[to_last])
                found |= 1u << i;
        return found;
    }
    bool inner_fits(std::uint32_t at) const {
        return pattern_.count <= 2 ||
               equal(text_ + at + 1, pattern_.data + 1, pattern_.count - 2);
    }

    const char16_t* text_;
    std::uint32_t end_;  // of the positions where the pattern may stand
    Units pattern_;
    __m128i first_;
    __m128i last_;
    std::uint32_t block_ = 0;
    unsigned candidates_ = 0;   // of the block, still to be looked at
    std::uint32_t resume_ = 0;  // positions before it belong to a match
};

/// The number of occurrences, without overlaps. Two different units cannot overlap: then the tests of
/// eight positions are summed as they are, which takes a fifth of the time of going from one to the
/// next.
std::uint64_t count_matches(Units text, Units pattern) {
    std::uint64_t count = 0;
    const bool two_units = pattern.count == 2 && pattern.data[0] != pattern.data[1];
    if (two_units && text.count > lane) {
        const __m128i first = _mm_set1_epi16(static_cast<short>(pattern.data[0]));
        const __m128i last = _mm_set1_epi16(static_cast<short>(pattern.data[1]));
        constexpr std::uint32_t blocks_at_once = 0x7FFF;  // what a lane of 16 bits can count
        while (text.count > lane) {
            const std::uint32_t blocks = std::min((text.count - 1) / lane, blocks_at_once);
            __m128i sums = _mm_setzero_si128();
            for (std::uint32_t i = 0; i < blocks; ++i, text.data += lane) {
                const auto* at = reinterpret_cast<const __m128i*>(text.data);
                const auto* next = reinterpret_cast<const __m128i*>(text.data + 1);
                const __m128i hits = _mm_and_si128(_mm_cmpeq_epi16(_mm_loadu_si128(at), first),
                                                   _mm_cmpeq_epi16(_mm_loadu_si128(next), last));
                sums = _mm_sub_epi16(sums, hits);
            }
            text.count -= blocks * lane;
            std::uint16_t lanes[lane];
            std::memcpy(lanes, &sums, sizeof lanes);
            for (std::uint16_t sum : lanes) count += sum;
        }
    }
    for (Matches matches(text, pattern); matches.next() != Matches::none;) ++count;
    return count;
}

/// Writes pieces one after the other into a block that they fill exactly. Where there is room on both
/// sides a short piece is one move of eight units; what it writes too much the next piece overwrites.
class Writer {
public:
    Writer(char16_t* at, std::uint32_t room) : at_(at), room_for_lane_(last_lane(at, room)) {}

    /// The last place in a text from which eight units may be read; null when there is none.
    static const char16_t* last_lane(const char16_t* text, std::uint32_t count) {
        return count < lane ? nullptr : text + (count - lane);
    }

    void add(Units piece, const char16_t* piece_last_lane) {
        if (piece.count <= lane && piece.data <= piece_last_lane && at_ <= room_for_lane_)
            std::memcpy(at_, piece.data, lane * sizeof(char16_t));
        else
            std::memcpy(at_, piece.data, piece.count * sizeof(char16_t));
        at_ += piece.count;
    }

private:
    char16_t* at_;
    const char16_t* room_for_lane_;
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
    const std::uint32_t at = Matches({text, count}, {pattern, pattern_count}).next();
    return at != Matches::none ? text + at : nullptr;
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
    const std::uint64_t matches = count_matches(whole, wanted);
    if (matches == 0) return VT_MALFORMED;
    const std::uint64_t total = count - matches * pattern_count + matches * replacement_count;
    if (total > max_units) return VT_TOO_LARGE;
    // An allocator need not know blocks of no bytes.
    const auto bytes = static_cast<std::uint32_t>(std::max<std::uint64_t>(total, 1) * sizeof(char16_t));
    auto* const block = static_cast<char16_t*>(Mem_Alloc(runtime->allocator, bytes));
    if (!block) return VT_OUT_OF_MEMORY;

    // With room to read eight units behind it, a short replacement is one move.
    char16_t padded[lane] = {};
    const bool is_short = replacement_count <= lane;
    if (is_short) std::copy_n(replacement, replacement_count, padded);
    const Units piece{is_short ? padded : replacement, replacement_count};

    const char16_t* const last_lane = Writer::last_lane(text, count);
    Writer writer(block, static_cast<std::uint32_t>(total));
    std::uint32_t copied = 0;
    Matches found(whole, wanted);
    for (std::uint32_t at; (at = found.next()) != Matches::none; copied = at + pattern_count) {
        writer.add({text + copied, at - copied}, last_lane);
        writer.add(piece, piece.data);
    }
    writer.add({text + copied, count - copied}, last_lane);
    *result = block;
    *result_count = static_cast<std::uint32_t>(total);
    return VT_OK;
}

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilStrReplace, valtrosse::replace)
