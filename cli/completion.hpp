// What could stand where somebody presses Tab.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.hpp"

namespace valtrosse::cli {

class Completer {
public:
    /// Gives the names of the properties of the object that a path ("a.b") leads to, of the globals
    /// for an empty path.
    using Properties = std::function<std::vector<std::string>(std::string_view path)>;

    Completer(const std::vector<host::Function>& functions, std::vector<std::string> commands,
              Properties properties)
        : functions_(functions),
          commands_(std::move(commands)),
          properties_(std::move(properties)) {}

    /// Sorted words, each of which can replace the word that the text ends with. None inside a string:
    /// that is left to names of files.
    std::vector<std::string> complete(std::string_view text) const;

    /// The part of the text that a word replaces.
    static std::string_view last_word(std::string_view text);
    /// Whether the text ends inside a string.
    static bool ends_in_string(std::string_view text);

private:
    std::vector<std::string> command_words(std::string_view text) const;
    std::vector<std::string> parameter_words(std::string_view text) const;

    const std::vector<host::Function>& functions_;
    std::vector<std::string> commands_;
    Properties properties_;
};

}  // namespace valtrosse::cli
