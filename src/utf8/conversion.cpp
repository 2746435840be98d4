#include "utf8/conversion.hpp"

#include <limits>

#include "plugin/memory.hpp"
#include "utf8/kernels.hpp"

using namespace valtrosse;

namespace {

constexpr std::uint32_t max_bytes = 0x40000000;

/// Replaces *buffer by a block of count elements from the host. 62 over the limit, 1 without memory;
/// then *buffer stays as it was.
template <typename Element>
vt_status move_to_heap(vt_host_runtime* runtime, std::uint64_t count, Element** buffer) {
    if (count > max_bytes / sizeof(Element)) return VT_TOO_LARGE;
    void* block =
        Mem_Alloc(runtime->allocator, static_cast<std::uint32_t>(count * sizeof(Element)));
    if (!block) return VT_OUT_OF_MEMORY;
    *buffer = static_cast<Element*>(block);
    return VT_OK;
}

/// Copies text that is short and ASCII, as most names are: setting the kernels up costs more than that.
/// False for other text; then what is in `out` is of no meaning.
template <typename From, typename To>
bool copy_short_ascii(const From* text, std::uint32_t count, To* out, std::uint32_t capacity) {
    constexpr std::uint32_t longest = 16;
    if (!text || !out || count > longest || count > capacity) return false;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (text[i] > 0x7F) return false;
        out[i] = static_cast<To>(text[i]);
    }
    return true;
}

}  // namespace

vt_status TOVIKUTF8_ToUTF8(const char16_t* text, std::uint32_t count, std::uint8_t* out,
                           std::uint32_t capacity, std::uint32_t* length_out) {
    if (!text) count = 0;
    utf8::Progress written{0, 0};
    if (out) written = utf8::encode(text, count, out, capacity);
    const std::uint64_t length =
        written.out + utf8::encoded_length(text + written.in, count - written.in);
    if (length >= std::numeric_limits<std::uint32_t>::max()) return VT_TOO_LARGE;
    if (length_out) *length_out = static_cast<std::uint32_t>(length);
    if (!out) return VT_OK;
    if (capacity <= length) return VT_BUFFER_TOO_SMALL;
    out[length] = 0;
    return VT_OK;
}

vt_status TOVIKUTF8_FromUTF8(const std::uint8_t* utf8, std::uint32_t length, char16_t* out,
                             std::uint32_t capacity, std::uint32_t* count_out) {
    if (!utf8) length = 0;
    vt_status status = VT_OK;
    utf8::Progress done{0, 0};
    if (out) done = utf8::decode(utf8, length, out, capacity, status);
    if (status == VT_OK && done.in < length)
        done.out += utf8::decode(utf8 + done.in, length - done.in, nullptr, 0, status).out;
    if (status != VT_OK) return status;
    const auto count = static_cast<std::uint32_t>(done.out);
    if (count_out) *count_out = count;
    return capacity < count ? VT_BUFFER_TOO_SMALL : VT_OK;
}

vt_status TOVIKUTF8_TOVIKToUTF8_New(vt_host_runtime* runtime, const char16_t* text,
                                    std::uint32_t count, std::uint8_t** buffer,
                                    std::uint32_t capacity, std::uint32_t* length_out) {
    if (!buffer) return VT_MALFORMED;
    if (count < capacity && copy_short_ascii(text, count, *buffer, capacity)) {
        (*buffer)[count] = 0;
        if (length_out) *length_out = count;
        return VT_OK;
    }
    std::uint32_t length = 0;
    vt_status status = TOVIKUTF8_ToUTF8(text, count, *buffer, capacity, &length);
    if (status == VT_BUFFER_TOO_SMALL) {
        const std::uint32_t need = length + 1;  // does not wrap: the encoder would have given 62
        status = move_to_heap(runtime, need, buffer);
        if (status == VT_OK) status = TOVIKUTF8_ToUTF8(text, count, *buffer, need, &length);
    }
    if (status == VT_OK && length_out) *length_out = length;
    return status;
}

vt_status TOVIKUTF8_UTF8ToTOVIK_New(vt_host_runtime* runtime, const std::uint8_t* utf8,
                                    std::uint32_t length, char16_t** buffer, std::uint32_t capacity,
                                    std::uint32_t* count_out) {
    if (!buffer) return VT_MALFORMED;
    if (copy_short_ascii(utf8, length, *buffer, capacity)) {
        if (count_out) *count_out = length;
        return VT_OK;
    }
    std::uint32_t count = 0;
    vt_status status = TOVIKUTF8_FromUTF8(utf8, length, *buffer, capacity, &count);
    if (status == VT_BUFFER_TOO_SMALL) {
        status = move_to_heap(runtime, count, buffer);
        if (status == VT_OK) status = TOVIKUTF8_FromUTF8(utf8, length, *buffer, count, &count);
    }
    if (status == VT_OK && count_out) *count_out = count;
    return status;
}

vt_status TOVIKUTF8_TOVIKToChar_New(vt_host_runtime* runtime, const char16_t* text,
                                    std::uint32_t count, std::uint8_t** buffer,
                                    std::uint32_t capacity) {
    if (!buffer) return VT_MALFORMED;
    if (!text) count = 0;
    const std::uint64_t need = std::uint64_t{count} + 1;
    if (need > capacity)
        if (vt_status status = move_to_heap(runtime, need, buffer)) return status;
    std::uint8_t* out = *buffer;
    for (std::uint32_t i = 0; i < count; ++i) out[i] = static_cast<std::uint8_t>(text[i]);
    out[count] = 0;
    return VT_OK;
}

vt_status TOVIKUTF8_CharToTOVIK_New(vt_host_runtime* runtime, const std::uint8_t* text,
                                    std::uint32_t count, char16_t** buffer,
                                    std::uint32_t capacity) {
    if (!buffer) return VT_MALFORMED;
    if (count > capacity)
        if (vt_status status = move_to_heap(runtime, count, buffer)) return status;
    if (!text) return VT_OK;
    for (std::uint32_t i = 0; i + 1 < count; ++i) (*buffer)[i] = text[i];
    return VT_OK;
}
