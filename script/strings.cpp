#include "script/strings.hpp"

#include <emmintrin.h>

#include <algorithm>

#include "host/host.hpp"
#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

constexpr std::size_t smallest_scratch = 1024;  // units
constexpr std::size_t longest_character = 4;    // bytes
constexpr char16_t first_byte_mark = 0xDC00;    // what a byte that is no UTF-8 is added to

bool is_ascii(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

bool is_byte_mark(char16_t unit) { return unit >= first_byte_mark + 0x80 && unit <= 0xDCFF; }
bool is_high_surrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }

}  // namespace

void widen(const JS::Latin1Char* bytes, std::size_t count, char16_t* out) {
    const __m128i zero = _mm_setzero_si128();
    std::size_t done = 0;
    for (; done + 16 <= count; done += 16) {
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + done));
        auto* to = reinterpret_cast<__m128i*>(out + done);
        _mm_storeu_si128(to, _mm_unpacklo_epi8(chunk, zero));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi8(chunk, zero));
    }
    for (; done < count; ++done) out[done] = bytes[done];
}

JSString* new_string(JSContext* cx, std::u16string_view units) {
    return JS_NewUCStringCopyN(cx, units.data(), units.size());
}

JSString* new_string(JSContext* cx, std::string_view utf8) {
    if (is_ascii(utf8)) return JS_NewStringCopyN(cx, utf8.data(), utf8.size());
    return new_string(cx, host::to_units(utf8));
}

std::u16string to_units(JSContext* cx, JS::HandleString string) {
    std::u16string units(JS_GetStringLength(string), u'\0');
    check(JS_CopyStringChars(cx, mozilla::Range<char16_t>(units.data(), units.size()), string));
    return units;
}

std::string to_utf8(JSContext* cx, JS::HandleString string) {
    JSLinearString* const linear = check(JS_EnsureLinearString(cx, string));
    if (JS::LinearStringHasLatin1Chars(linear)) {
        const JS::AutoCheckCannotGC nogc;
        const auto* bytes =
            reinterpret_cast<const char*>(JS::GetLatin1LinearStringChars(nogc, linear));
        const std::string_view text(bytes, JS::GetLinearStringLength(linear));
        if (is_ascii(text)) return std::string(text);
    }
    return host::to_utf8(to_units(cx, string));
}

std::string to_path(JSContext* cx, JS::HandleString string) {
    const std::u16string units = to_units(cx, string);
    std::string path;
    std::size_t start = 0;
    for (std::size_t k = 0; k < units.size(); ++k) {
        const bool is_mark = is_byte_mark(units[k]) && !(k > 0 && is_high_surrogate(units[k - 1]));
        if (!is_mark) continue;
        path += host::to_utf8(std::u16string_view(units).substr(start, k - start));
        path += static_cast<char>(units[k] - first_byte_mark);
        start = k + 1;
    }
    return path + host::to_utf8(std::u16string_view(units).substr(start));
}

JSString* path_string(JSContext* cx, std::string_view path) {
    std::u16string units = host::to_units(path);
    if (host::to_utf8(units) == path) return new_string(cx, units);
    units.clear();
    while (!path.empty()) {
        std::size_t length = 1;  // of one character
        const auto is_character = [&] {
            return host::to_utf8(host::to_units(path.substr(0, length))) == path.substr(0, length);
        };
        while (length <= longest_character && length <= path.size() && !is_character()) ++length;
        if (length > longest_character || length > path.size()) {
            units += static_cast<char16_t>(first_byte_mark + static_cast<unsigned char>(path[0]));
            length = 1;
        } else {
            units += host::to_units(path.substr(0, length));
        }
        path.remove_prefix(length);
    }
    return new_string(cx, units);
}

char16_t* Scratch::grow(std::size_t units) {
    const std::size_t capacity = std::max({units, capacity_ * 2, smallest_scratch});
    units_ = std::make_unique_for_overwrite<char16_t[]>(capacity);
    capacity_ = capacity;
    return units_.get();
}

void Scratch::give_back() {
    units_.reset();
    capacity_ = 0;
}

}  // namespace valtrosse::script
