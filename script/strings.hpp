// The crossing between the engine's strings and text of the host. The engine keeps a string as 16-bit
// units or, where none of them is above U+00FF, as single bytes (Latin-1).
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "script/mozjs.hpp"

namespace valtrosse::script {

/// Writes a unit for each byte.
void widen(const JS::Latin1Char* bytes, std::size_t count, char16_t* out);

/// The text of a string; null, with an exception in the engine, when there is no memory.
JSString* new_string(JSContext* cx, std::u16string_view units);
/// The same of UTF-8; malformed bytes become U+FFFD.
JSString* new_string(JSContext* cx, std::string_view utf8);

/// The units of a string, and its text as UTF-8, in which lone surrogates are U+FFFD. Each throws Pending.
std::u16string to_units(JSContext* cx, JS::HandleString string);
std::string to_utf8(JSContext* cx, JS::HandleString string);

/// A path: UTF-8 in which a byte that was none (see path_string) is itself again.
std::string to_path(JSContext* cx, JS::HandleString string);
/// The string of a path that came from outside. Bytes that are no UTF-8 become U+DC80 to U+DCFF, which are
/// in no text.
JSString* path_string(JSContext* cx, std::string_view path);

/// A buffer for the texts of one call, used again by the next one.
class Scratch {
public:
    /// Room for that many units; never null.
    char16_t* room(std::size_t units) {
        if (units <= capacity_) return units_.get();
        return grow(units);
    }
    /// Gives a large buffer back to the system.
    void trim() {
        if (capacity_ > largest_kept) give_back();
    }

private:
    static constexpr std::size_t largest_kept = 1 << 20;  // units
    char16_t* grow(std::size_t units);
    void give_back();

    std::unique_ptr<char16_t[]> units_;
    std::size_t capacity_ = 0;
};

}  // namespace valtrosse::script
