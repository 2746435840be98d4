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

/// A pattern, not empty, as the search sees it: eight positions at a time are tested for its first and
/// last unit, and what stands between is compared where both fit.
class Pattern {
public:
    explicit Pattern(Units units)
        : units_(units),
          first_(_mm_set1_epi16(static_cast<short>(units.data[0]))),
          last_(_mm_set1_epi16(static_cast<short>(units.data[units.count - 1]))) {}

    std::uint32_t count() const { return units_.count; }
    /// One unit, or two different ones: the ends are all there is, and matches cannot overlap.
    bool is_plain() const {
        return count() == 1 || (count() == 2 && units_.data[0] != units_.data[1]);
    }
    /// All bits of a lane set where the ends fit.
    __m128i ends_at_lane(const char16_t* text) const {
        return _mm_and_si128(_mm_cmpeq_epi16(load(text), first_),
                             _mm_cmpeq_epi16(load(text + count() - 1), last_));
    }
    bool ends_at(const char16_t* text) const {
        return text[0] == units_.data[0] && text[count() - 1] == units_.data[count() - 1];
    }
    bool inner_at(const char16_t* text) const {
        return count() <= 2 || equal(text + 1, units_.data + 1, count() - 2);
    }

private:
    static __m128i load(const char16_t* text) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    }

    Units units_;
    __m128i first_;
    __m128i last_;
};

/// The occurrences of a pattern, left to right and without overlaps, in batches.
class Matches {
public:
    static constexpr std::uint32_t batch = 64;
    using Positions = std::uint32_t[batch + lane];

    Matches(Units text, const Pattern& pattern)
        : text_(text.data),
          end_(pattern.count() > text.count ? 0 : text.count - pattern.count() + 1),
          pattern_(pattern) {}

    /// Puts the next `enough` (1 to batch) occurrences or a few more into `positions`. Their number;
    /// less than `enough` at the end.
    std::uint32_t next(Positions& positions, std::uint32_t enough) {
        return pattern_.is_plain() ? gather<true>(positions, enough)
                                   : gather<false>(positions, enough);
    }

private:
    template <bool plain>
    std::uint32_t gather(Positions& positions, std::uint32_t enough) {
        std::uint32_t found = 0;
        const Pattern pattern = pattern_;  // in registers
        for (; found < enough && block_ < end_; block_ += lane) {
            for (unsigned mask = candidates(pattern); mask != 0; mask &= mask - 1) {
                const std::uint32_t at =
                    block_ + static_cast<std::uint32_t>(std::countr_zero(mask));
                if constexpr (!plain) {
                    if (at < resume_ || !pattern.inner_at(text_ + at)) continue;
                    resume_ = at + pattern.count();
                }
                positions[found++] = at;
            }
        }
        return found;
    }

    /// One bit for each of the eight positions from block_ on.
    unsigned candidates(const Pattern& pattern) const {
        if (end_ - block_ >= lane) {
            const __m128i bytes =
                _mm_packs_epi16(pattern.ends_at_lane(text_ + block_), _mm_setzero_si128());
            return static_cast<unsigned>(_mm_movemask_epi8(bytes));
        }
        unsigned mask = 0;
        for (std::uint32_t i = 0; i < end_ - block_; ++i)
            mask |= static_cast<unsigned>(pattern.ends_at(text_ + block_ + i)) << i;
        return mask;
    }

    const char16_t* text_;
    std::uint32_t end_;  // of the positions where the pattern may stand
    const Pattern& pattern_;
    std::uint32_t block_ = 0;
    std::uint32_t resume_ = 0;  // positions before it belong to a match
};

/// The number of occurrences, without overlaps. For a plain pattern the tests of eight positions are
/// summed as they are, which takes a fifth of the time of going from one match to the next.
std::uint64_t count_matches(Units text, const Pattern& pattern) {
    std::uint64_t count = 0;
    if (pattern.is_plain()) {
        constexpr std::uint32_t blocks_at_once = 0x7FFF;  // what a lane of 16 bits can count
        while (text.count > lane) {
            const std::uint32_t blocks = std::min((text.count - 1) / lane, blocks_at_once);
            __m128i sums = _mm_setzero_si128();
            for (std::uint32_t i = 0; i < blocks; ++i, text.data += lane)
                sums = _mm_sub_epi16(sums, pattern.ends_at_lane(text.data));
            text.count -= blocks * lane;
            std::uint16_t lanes[lane];
            std::memcpy(lanes, &sums, sizeof lanes);
            for (std::uint16_t sum : lanes) count += sum;
        }
    }
    Matches matches(text, pattern);
    Matches::Positions positions;
    while (const std::uint32_t found = matches.next(positions, Matches::batch)) count += found;
    return count;
}

/// The copy with replacements, into a block that it fills exactly.
class Writer {
public:
    Writer(Units text, Units replacement, char16_t* block, std::uint32_t total)
        : text_(text),
          replacement_(replacement),
          out_(block),
          end_(block + total) {
        std::copy_n(replacement.data, std::min(replacement.count, lane), lane_of_replacement_);
    }

    void run(const Pattern& pattern) {
        Matches matches(text_, pattern);
        Matches::Positions positions;
        while (const std::uint32_t found = matches.next(positions, Matches::batch)) {
            if (has_room_for_lanes(positions[found - 1], found))
                write<true>(positions, found, pattern.count());
            else
                write<false>(positions, found, pattern.count());
        }
        add<false>({text_.data + copied_, text_.count - copied_});
    }

private:
    /// Whether up to the match at `last` a piece of less than eight units may be moved as eight: what is
    /// written too much, the next piece overwrites.
    bool has_room_for_lanes(std::uint32_t last, std::uint32_t found) const {
        const std::uint64_t size = last - copied_ + std::uint64_t{found} * replacement_.count;
        return replacement_.count <= lane && text_.count - last >= lane &&
               static_cast<std::uint64_t>(end_ - out_) >= size + lane;
    }

    template <bool lanes>
    void write(const std::uint32_t* positions, std::uint32_t found, std::uint32_t pattern_count) {
        for (std::uint32_t i = 0; i < found; ++i) {
            add<lanes>({text_.data + copied_, positions[i] - copied_});
            if constexpr (lanes) {
                std::memcpy(out_, lane_of_replacement_, sizeof lane_of_replacement_);
                out_ += replacement_.count;
            } else {
                add<false>(replacement_);
            }
            copied_ = positions[i] + pattern_count;
        }
    }

    template <bool lanes>
    void add(Units piece) {
        if (lanes && piece.count <= lane)
            std::memcpy(out_, piece.data, lane * sizeof *out_);
        else
            std::memcpy(out_, piece.data, piece.count * sizeof *out_);
        out_ += piece.count;
    }

    Units text_;
    Units replacement_;
    char16_t lane_of_replacement_[lane] = {};
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
    Matches::Positions positions;
    const Pattern wanted({pattern, pattern_count});
    return Matches({text, count}, wanted).next(positions, 1) != 0 ? text + positions[0] : nullptr;
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
    const Pattern wanted({pattern, pattern_count});
    const std::uint64_t matches = count_matches(whole, wanted);
    if (matches == 0) return VT_MALFORMED;
    const std::uint64_t total = count - matches * pattern_count + matches * replacement_count;
    if (total > max_units) return VT_TOO_LARGE;
    // An allocator need not know blocks of no bytes.
    const auto bytes =
        static_cast<std::uint32_t>(std::max<std::uint64_t>(total, 1) * sizeof(char16_t));
    auto* const block = static_cast<char16_t*>(Mem_Alloc(runtime->allocator, bytes));
    if (!block) return VT_OUT_OF_MEMORY;

    Writer(whole, {replacement, replacement_count}, block, static_cast<std::uint32_t>(total))
        .run(wanted);
    *result = block;
    *result_count = static_cast<std::uint32_t>(total);
    return VT_OK;
}

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMUtilStrReplace, valtrosse::replace)
