// How values and numbers are written for people.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace valtrosse::cli {

/// Text in double quotes, as JavaScript would write it; beyond `limit` units it is cut and its whole
/// length is named.
std::string quoted(std::u16string_view text, std::size_t limit);
/// The same inside the quotes only.
std::string escaped(std::u16string_view text, std::size_t limit);

/// "1 byte", "2 bytes".
std::string counted(std::uint64_t count, std::string_view noun);

/// In the unit that fits: "412 ns", "41.3 µs", "2.50 ms", "12.0 s".
std::string duration(std::chrono::nanoseconds time);

/// The text with blanks before it (or after it) up to a width in characters.
std::string right_aligned(const std::string& text, std::size_t width);
std::string left_aligned(const std::string& text, std::size_t width);

}  // namespace valtrosse::cli
