// A script that is typed in piece by piece, and looked at in between.
//
//     script::Console console(engine, reader);
//     auto reply = console.evaluate("1 + 1");   // reply.value holds 2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "script/engine.hpp"

namespace valtrosse::script {

/// Knows what the numbers in a value stand for.
class NumberReader {
public:
    virtual ~NumberReader() = default;
    /// What to show behind the number, or nothing.
    virtual std::string remark(double number) = 0;
};

class Console {
public:
    /// The file that what is typed in counts as.
    static constexpr const char* program_name = "input";

    /// Other kinds of values are only shown, see Reply::text.
    using Value = std::variant<std::monostate, double, std::u16string, std::vector<double>>;

    struct Reply {
        enum class Kind {
            value,
            error,
            incomplete,  ///< the source ends too early, and nothing ran
            exited       ///< the script called exit(): nothing runs any more
        } kind = Kind::value;
        bool defined = false;  ///< the value is not undefined
        Value value{};         ///< a number, a text or an array of numbers
        std::string text;      ///< the value as people read it, or the error; UTF-8
        int exit_code = 0;
    };

    /// The engine and the reader outlive the console.
    Console(Engine& engine, NumberReader& numbers);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Runs UTF-8 source as a script of its own among the globals, where what it declares stays; it may also
    /// import, and await outside of functions. The global `_` is then the value, unless that is undefined.
    Reply evaluate(std::string_view source);
    /// Whether the source ends before the program does.
    bool is_incomplete(std::string_view source);

    /// The names of all properties of an object, named as in "a.b.c"; of the globals for "". Those of
    /// functions end in "(". Empty for something that has none.
    std::vector<std::string> properties(std::string_view path);

private:
    Runtime& runtime_;
};

}  // namespace valtrosse::script
