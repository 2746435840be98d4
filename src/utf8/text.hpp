// Text of one call on its way into libxml2 and back: a buffer in the frame, the host's memory only for
// what does not fit, released with its owner.
#pragma once

#include <libxml/xmlstring.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "plugin/frame.hpp"
#include "plugin/memory.hpp"
#include "utf8/conversion.hpp"

namespace valtrosse {

/// A buffer of `size` elements in the frame that a conversion may replace by a block of the host.
template <typename Element, std::size_t size>
class FrameBuffer {
public:
    FrameBuffer() = default;
    ~FrameBuffer() {
        if (data_ && data_ != local_) Mem_Free(data_);
    }
    FrameBuffer(const FrameBuffer&) = delete;
    FrameBuffer& operator=(const FrameBuffer&) = delete;

    static constexpr std::uint32_t capacity = size;
    Element** pointer() { return &data_; }
    Element* data() const { return data_; }

private:
    Element local_[size];
    Element* data_ = local_;
};

constexpr std::size_t frame_buffer_size = 200;
/// For values of attributes, properties and identifiers, and for dumps. A host sees an allocation for each
/// text that is longer.
constexpr std::size_t value_frame_size = 100;

/// A string argument as terminated UTF-8.
class Utf8 {
public:
    Utf8(const Call& call, HostText text)
        : status_(TOVIKUTF8_TOVIKToUTF8_New(call.runtime(), text.units, text.count,
                                            buffer_.pointer(), buffer_.capacity, &length_)) {}

    bool failed() const { return status_ != VT_OK; }
    Result failure() const { return valtrosse::failure(status_); }

    const xmlChar* text() const { return buffer_.data(); }
    const char* c_str() const { return reinterpret_cast<const char*>(buffer_.data()); }
    std::uint32_t length() const { return length_; }

private:
    FrameBuffer<std::uint8_t, frame_buffer_size> buffer_;
    std::uint32_t length_ = 0;
    vt_status status_;
};

/// A string argument as terminated 8-bit text, the low byte of each unit: paths, encoding names.
class Text8 {
public:
    Text8(const Call& call, HostText text)
        : status_(TOVIKUTF8_TOVIKToChar_New(call.runtime(), text.units, text.count,
                                            buffer_.pointer(), buffer_.capacity)) {}

    bool failed() const { return status_ != VT_OK; }
    Result failure() const { return valtrosse::failure(status_); }

    const xmlChar* text() const { return buffer_.data(); }
    const char* c_str() const { return reinterpret_cast<const char*>(buffer_.data()); }

private:
    FrameBuffer<std::uint8_t, frame_buffer_size> buffer_;
    vt_status status_;
};

/// A string value from UTF-8, through a frame buffer of `units` units. Malformed text gives 33, a
/// character above U+FFFF 62.
template <std::size_t units = frame_buffer_size>
Result utf8_value(Call& call, const xmlChar* text, std::size_t length) {
    FrameBuffer<char16_t, units> buffer;
    std::uint32_t count = 0;
    const vt_status status =
        TOVIKUTF8_UTF8ToTOVIK_New(call.runtime(), text, static_cast<std::uint32_t>(length),
                                  buffer.pointer(), buffer.capacity, &count);
    return status == VT_OK ? call.text(buffer.data(), count) : failure(status);
}

/// The same for terminated text; null gives no value.
template <std::size_t units = frame_buffer_size>
Result utf8_value(Call& call, const xmlChar* text) {
    if (!text) return no_value;
    return utf8_value<units>(call, text, std::strlen(reinterpret_cast<const char*>(text)));
}

}  // namespace valtrosse
