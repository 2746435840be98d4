// Handle lists: sets of nodes as one host string, "4" (the bytes of a handle) and 8 upper-case
// hexadecimal digits for each handle.
#pragma once

#include <cstdint>

#include "dom/address_key.hpp"
#include "plugin/frame.hpp"
#include "plugin/memory.hpp"

/// Writes the lowest `digits` (1 to 8) hexadecimal digits of value as 16-bit units, most significant
/// first. 33, with nothing written, for a null out or another width.
VALTROSSE_EXPORT vt_status _x_pointersizeToHexString(std::uint32_t value, std::uint32_t digits,
                                                     char16_t* out);

namespace valtrosse {

/// A handle list under construction: the room for `count` handles is taken at once, in the frame for up
/// to 12 of them.
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

    void add(const void* handle) {
        if constexpr (checked_handles)
            if (vt_status status = handle_given(handle)) status_ = status;
        _x_pointersizeToHexString(address_of(handle), digits, next_);
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
