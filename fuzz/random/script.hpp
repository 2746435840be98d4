// A script: calls with their arguments, and its text form, which is what a found fault is kept as.
//
//     3 xmlDOMDocLoadXMLString "<a><b/></a>" 1
//     7 xmlDOMNodeUnlinkNode @3.2
//
// Objects are referred to by the step that made them and their place among what it made (@3.2: the
// third object of step 3), so that a script with steps left out still makes sense: a step that needs
// what is not there is passed over.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace valtrosse::random {

/// The index-th object, from 0, that the step of this number made.
struct Ref {
    std::uint32_t step = 0;
    std::uint32_t index = 0;

    auto operator<=>(const Ref&) const = default;
};

/// One argument.
struct Value {
    enum class Kind : std::uint8_t { missing, null, boolean, integer, text, bytes, object };

    Kind kind = Kind::missing;
    std::uint32_t integer = 0;  // or boolean
    std::u16string text{};      // "$/" at its start is the folder of the run
    std::vector<std::uint8_t> bytes{};
    Ref object{};

    bool operator==(const Value&) const = default;
};

struct Step {
    std::uint32_t number = 0;
    std::string function{};  // a script function, or one of the methods of LIBXMLLife, or "release"
    std::vector<Value> args{};
};

using Script = std::vector<Step>;

/// The name of the step that lets go of a LIBXMLLife object.
inline constexpr std::string_view release_step = "release";

std::string to_text(const Step& step);
/// Nothing for a blank line, and for a comment ("# ..."). Throws std::invalid_argument.
std::optional<Step> parse_step(std::string_view line);
/// Throws std::invalid_argument with the number of the line.
Script parse_script(std::string_view text);

}  // namespace valtrosse::random
