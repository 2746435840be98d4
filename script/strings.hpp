// The crossing between the engine's strings and 16-bit text.
//
// The engine keeps a string as the UTF-8 form of each 16-bit unit by itself: a character above
// U+FFFF is two surrogates of three bytes each, a lone surrogate is three bytes like any other
// unit. Both directions are exact. Only String.fromCharCode with a number above 0xFFFF makes longer
// sequences.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace valtrosse::script {

/// Writes the units of an engine string and returns the end; `out` has room for bytes.size() units.
char16_t* decode_units(std::string_view bytes, char16_t* out);

/// Writes the engine's form of the text and returns the end; `out` has room for 3 bytes per unit.
char* encode_units(std::u16string_view units, char* out);

/// The engine's form of 16-bit text, in memory of its own.
struct EngineText {
    explicit EngineText(std::u16string_view units);
    std::string_view view() const { return {bytes.get(), size}; }

    std::unique_ptr<char[]> bytes;
    std::size_t size;
};

/// The engine's form of 16-bit text.
std::string from_units(std::u16string_view units);
/// The engine's form of UTF-8; malformed bytes become U+FFFD.
std::string from_utf8(std::string_view utf8);
/// UTF-8 from an engine string; lone surrogates become U+FFFD.
std::string to_utf8(std::string_view bytes);

/// A buffer for the texts of one call, used again by the next one.
class Scratch {
public:
    /// Room for that many units; never null.
    char16_t* room(std::size_t units);
    /// Gives a large buffer back to the system.
    void trim() {
        if (capacity_ > largest_kept) give_back();
    }

private:
    static constexpr std::size_t largest_kept = 1 << 20;  // units
    void give_back();

    std::unique_ptr<char16_t[]> units_;
    std::size_t capacity_ = 0;
};

}  // namespace valtrosse::script
