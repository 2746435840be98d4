// Handle lists: sets of nodes as one host string, "4" (the bytes of a handle) and 8 upper-case
// hexadecimal digits for each handle.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "handles/handle.hpp"
#include "plugin/frame.hpp"
#include "plugin/memory.hpp"

/// Writes the lowest `digits` (1 to 8) hexadecimal digits of value as 16-bit units, most significant
/// first. 33, with nothing written, for a null out or another width.
VALTROSSE_EXPORT vt_status _x_pointersizeToHexString(std::uint32_t value, std::uint32_t digits,
                                                     char16_t* out);

namespace valtrosse {

/// Writes all eight digits, in a vector of them: a third of the time of writing them by a table.
inline void write_hexadecimal(std::uint32_t value, char16_t* out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i bytes = _mm_cvtsi32_si128(static_cast<int>(__builtin_bswap32(value)));
    const __m128i halves = _mm_unpacklo_epi8(_mm_srli_epi16(bytes, 4), bytes);
    const __m128i digits = _mm_unpacklo_epi8(_mm_and_si128(halves, _mm_set1_epi8(0xF)), zero);
    const __m128i letters = _mm_cmpgt_epi16(digits, _mm_set1_epi16(9));
    const __m128i to_letters = _mm_and_si128(letters, _mm_set1_epi16('A' - '0' - 10));
    const __m128i units = _mm_add_epi16(_mm_add_epi16(digits, _mm_set1_epi16('0')), to_letters);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), units);
}

/// A handle list under construction: the room for up to `count` handles is taken at once, in the frame
/// for up to 12 of them.
class HandleList {
public:
    HandleList(const Call& call, std::uint32_t count) {
        if (count > max_handles) {
            status_ = VT_TOO_LARGE;
            return;
        }
        const std::uint32_t bytes = 2 * (1 + digits * count);
        if (bytes > sizeof local_) {
            heap_.reset(static_cast<char16_t*>(Mem_Alloc(call.runtime()->allocator, bytes)));
            units_ = heap_.get();
        }
        if (!units_) {
            status_ = VT_OUT_OF_MEMORY;
            return;
        }
        _x_pointersizeToHexString(sizeof(std::uint32_t), 1, units_);
        next_ = units_ + 1;
    }

    bool failed() const { return status_ != VT_OK; }
    Result failure() const { return valtrosse::failure(status_); }

    void add(const void* object) {
        Handle handle = 0;
        if (vt_status status = give_handle(object, handle)) status_ = status;
        write_hexadecimal(handle, next_);
        next_ += digits;
    }

    Result value(Call& call) const {
        if (failed()) return failure();
        return call.text(units_, static_cast<std::uint32_t>(next_ - units_));
    }

private:
    static constexpr std::uint32_t digits = 8;
    static constexpr std::uint32_t max_handles = (0x20000000 - 1) / digits;

    vt_status status_ = VT_OK;
    char16_t local_[100];
    HostMemory<char16_t> heap_;
    char16_t* units_ = local_;
    char16_t* next_ = nullptr;
};

}  // namespace valtrosse
