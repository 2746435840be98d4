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
        return pattern_.count <= 2 || equal(text_ + at + 1, pattern_.data + 1, pattern_.count - 2);
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

/// One unit, or two different ones: the test of the first and last unit is all there is to a match, and
/// matches cannot overlap.
bool is_plain(Units pattern) {
    return pattern.count == 1 || (pattern.count == 2 && pattern.data[0] != pattern.data[1]);
}

/// The number of occurrences, without overlaps. For a plain pattern the tests of eight positions are
/// summed as they are, which takes a fifth of the time of going from one match to the next.
std::uint64_t count_matches(Units text, Units pattern) {
    std::uint64_t count = 0;
    if (is_plain(pattern)) {
        const std::uint32_t to_last = pattern.count - 1;
        const __m128i first = _mm_set1_epi16(static_cast<short>(pattern.data[0]));
        const __m128i last = _mm_set1_epi16(static_cast<short>(pattern.data[to_last]));
        constexpr std::uint32_t blocks_at_once = 0x7FFF;  // what a lane of 16 bits can count
        while (text.count > lane) {
            const std::uint32_t blocks = std::min((text.count - 1) / lane, blocks_at_once);
            __m128i sums = _mm_setzero_si128();
            for (std::uint32_t i = 0; i < blocks; ++i, text.data += lane) {
                const auto* at = reinterpret_cast<const __m128i*>(text.data);
                const auto* at_last = reinterpret_cast<const __m128i*>(text.data + to_last);
                const __m128i hits = _mm_and_si128(_mm_cmpeq_epi16(_mm_loadu_si128(at), first),
                                                   _mm_cmpeq_epi16(_mm_loadu_si128(at_last), last));
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

void move_lane(char16_t* to, const char16_t* from) { std::memcpy(to, from, lane * sizeof *to); }

/// The copy with replacements, into a block that it fills exactly.
class Writer {
public:
    Writer(Units text, Units pattern, Units replacement, char16_t* block, std::uint32_t total)
        : text_(text),
          pattern_(pattern),
          replacement_(replacement),
          out_(block),
          end_(block + total) {}

    void run() {
        if (is_plain(pattern_) && replacement_.count <= lane) write_dense_part();
        const Units rest{text_.data + copied_, text_.count - copied_};
        const std::uint32_t base = copied_;
        Matches matches(rest, pattern_);
        for (std::uint32_t at; (at = matches.next()) != Matches::none;) {
            add({text_.data + copied_, base + at - copied_});
            add(replacement_);
            copied_ = base + at + pattern_.count;
        }
        add({text_.data + copied_, text_.count - copied_});
    }

private:
    void add(Units piece) {
        std::memcpy(out_, piece.data, piece.count * sizeof(char16_t));
        out_ += piece.count;
    }

    /// For plain patterns and short replacements, as far as there is room on both sides to move eight
    /// units for any shorter piece: what a move writes too much the next one overwrites. Three times
    /// as fast as piece by piece where matches stand close together.
    void write_dense_part() {
        // A block gives at most a piece and a replacement for each of its units, and one move more.
        constexpr std::ptrdiff_t room_for_block = (2 * lane + 1) * lane;
        char16_t replacement[lane] = {};
        std::copy_n(replacement_.data, replacement_.count, replacement);
        const __m128i first = _mm_set1_epi16(static_cast<short>(pattern_.data[0]));
        const __m128i last = _mm_set1_epi16(static_cast<short>(pattern_.data[pattern_.count - 1]));
        const char16_t* from = text_.data;
        char16_t* out = out_;
        for (std::uint32_t block = 0; text_.count - block >= 3 * lane; block += lane) {
            const char16_t* const at = text_.data + block;
            unsigned mask = equal_units(at, first) & equal_units(at + pattern_.count - 1, last);
            if (mask == 0) continue;
            // What waits from earlier blocks; negative where a match reaches into this one.
            const std::ptrdiff_t waiting = at - from;
            if (end_ - out < waiting + room_for_block) break;
            if (waiting > 0) {
                if (waiting <= static_cast<std::ptrdiff_t>(lane))
                    move_lane(out, from);
                else
                    std::memcpy(out, from, static_cast<std::size_t>(waiting) * sizeof *out);
                out += waiting;
                from = at;
            }
            for (; mask != 0; mask &= mask - 1) {
                const char16_t* const match = at + std::countr_zero(mask);
                move_lane(out, from);
                out += match - from;
                move_lane(out, replacement);
                out += replacement_.count;
                from = match + pattern_.count;
            }
        }
        copied_ = static_cast<std::uint32_t>(from - text_.data);
        out_ = out;
    }

    Units text_;
    Units pattern_;
    Units replacement_;
    char16_t* out_;
    char16_t* end_;
    std::uint32_t copied_ = 0;  // of the text: what stands before is done
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
    const auto bytes =
        static_cast<std::uint32_t>(std::max<std::uint64_t>(total, 1) * sizeof(char16_t));
    auto* const block = static_cast<char16_t*>(Mem_Alloc(runtime->allocator, bytes));
    if (!block) return VT_OUT_OF_MEMORY;

    Writer(whole, wanted, {replacement, replacement_count}, block,
           static_cast<std::uint32_t>(total))
        .run();
    *result = block;
    *result_count = static_cast<std::uint32_t>(total);
    return VT_OK;
}

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilStrReplace, valtrosse::replace)
