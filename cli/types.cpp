#include "cli/types.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

namespace valtrosse::cli {

namespace {

/// The type of a parameter. Names mean one thing in all functions, but for `value`.
std::string type_of_parameter(const std::string& name, const std::string& function) {
    constexpr std::array handles = {"node", "newnode", "oldnode", "doc", "document", "dtd", "attr"};
    constexpr std::array numbers = {"keepBlanks", "relative", "type",    "deep",
                                    "format",     "position", "property"};
    const auto is_in = [&name](const auto& names) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    if (is_in(handles)) return "Handle";
    if (is_in(numbers) || function == "xmlDOMDocKeepBlanksDefault") return "number";
    return name == "blob" ? "ArrayBuffer | ArrayBufferView" : "string";
}

/// The type of a result, from how the reference describes it.
std::string type_of_result(const Reference::Entry& entry) {
    constexpr std::pair<std::string_view, std::string_view> kinds[] = {
        {"handle list", "HandleList"}, {"the handle", "Handle"}, {"handle of", "Handle"},
        {"true", "boolean"},           {"bytes", "Uint8Array"},  {"number of", "number"},
        {"type code", "number"},       {"0", "number"},          {"text", "string"},
        {"the report", "string"},      {"of elements", "string"}};
    for (const auto& [words, type] : kinds)
        if (entry.result.starts_with(words)) return std::string(type);
    throw std::runtime_error("the reference does not tell what " + entry.name +
                             " gives: " + entry.result);
}

void write_comment(std::ostream& out, std::string_view text) {
    text.remove_prefix(std::min(text.size(), text.find('\n') + 1));  // the heading
    out << "/**\n";
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string line(text.substr(0, end));
        for (std::size_t at; (at = line.find("*/")) != line.npos;) line.replace(at, 2, "* /");
        out << (line.empty() ? " *" : " * ") << line << '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    out << " */\n";
}

}  // namespace

void write_types(std::ostream& out, const host::Host& host, const Reference& reference,
                 const std::string& other_declarations) {
    out << "/** A document, node, attribute, DTD or declaration. */\ntype Handle = number;\n"
           "/** \"4\" and eight hexadecimal digits for each handle. */\ntype HandleList = "
           "string;\n";
    for (const host::Function& function : host.functions()) {
        const Reference::Entry* const entry = reference.find(function.name);
        if (entry == nullptr) throw std::runtime_error("the reference lacks " + function.name);
        out << '\n';
        write_comment(out, entry->text);
        out << "declare function " << function.name << '(';
        const char* separator = "";
        for (const std::string& parameter : function.parameters) {
            out << separator << parameter << ": " << type_of_parameter(parameter, function.name);
            separator = ", ";
        }
        out << "): " << type_of_result(*entry) << " | undefined;\n";
    }
    std::ifstream others(other_declarations, std::ios::binary);
    if (!others) throw std::runtime_error("cannot read " + other_declarations);
    out << '\n' << others.rdbuf();
}

}  // namespace valtrosse::cli
