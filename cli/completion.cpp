#include "cli/completion.hpp"

#include <algorithm>
#include <cctype>

namespace valtrosse::cli {

namespace {

bool is_word(char byte) {
    const auto unsigned_byte = static_cast<unsigned char>(byte);
    return std::isalnum(unsigned_byte) != 0 || byte == '_' || byte == '$' || unsigned_byte >= 0x80;
}

std::string_view without_blanks(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) {
        text.remove_suffix(1);
    }
    return text;
}

/// The path of names that the text ends with, "a.b" of "f(a.b". Empty after a call or an index.
std::string_view last_path(std::string_view text) {
    std::size_t start = text.size();
    while (start > 0 && (is_word(text[start - 1]) || text[start - 1] == '.')) --start;
    const std::string_view path = text.substr(start);
    const bool after_value = start > 0 && (text[start - 1] == ')' || text[start - 1] == ']' ||
                                           text[start - 1] == '"' || text[start - 1] == '\'');
    return after_value || path.starts_with('.') ? std::string_view() : path;
}

/// Walks over a program text; what is in strings and comments is passed over.
struct Scan {
    explicit Scan(std::string_view text) {
        for (std::size_t k = 0; k < text.size(); ++k) {
            const char byte = text[k];
            if (quote != 0) {
                if (byte == '\\') {
                    ++k;
                } else if (byte == quote || byte == '\n') {
                    quote = 0;
                }
            } else if (byte == '"' || byte == '\'') {
                quote = byte;
            } else if (text.substr(k).starts_with("//")) {
                k = std::min(text.find('\n', k), text.size());
            } else if (byte == '(' || byte == '[' || byte == '{') {
                open.push_back(k);
            } else if ((byte == ')' || byte == ']' || byte == '}') && !open.empty()) {
                open.pop_back();
            }
        }
    }

    char quote = 0;                 // the string that the text ends in
    std::vector<std::size_t> open;  // brackets that are not closed, the innermost last
};

/// The names of the properties given so far, in the text behind an open brace: what stands before a
/// colon. The last is the one being written, when no colon follows yet.
struct Fields {
    explicit Fields(std::string_view text) {
        std::string_view field = text;
        int depth = 0;
        std::size_t start = 0;
        for (std::size_t k = 0; k <= text.size(); ++k) {
            const char byte = k < text.size() ? text[k] : ',';
            depth += byte == '(' || byte == '[' || byte == '{';
            depth -= byte == ')' || byte == ']' || byte == '}';
            if (byte != ',' || depth > 0) continue;
            field = text.substr(start, k - start);
            start = k + 1;
            const std::size_t colon = field.find(':');
            in_value = colon != field.npos;
            if (in_value) names.emplace_back(trimmed(field.substr(0, colon)));
        }
    }
    static std::string_view trimmed(std::string_view text) {
        text = without_blanks(text);
        while (!text.empty() && !is_word(text.front())) text.remove_prefix(1);
        return text;
    }

    std::vector<std::string> names;
    bool in_value = false;
};

}  // namespace

std::string_view Completer::last_word(std::string_view text) {
    std::size_t start = text.size();
    while (start > 0 && is_word(text[start - 1])) --start;
    return text.substr(start);
}

bool Completer::ends_in_string(std::string_view text) { return Scan(text).quote != 0; }

std::vector<std::string> Completer::command_words(std::string_view text) const {
    std::vector<std::string> names;
    if (text.find(' ') == text.npos) {
        for (const std::string& command : commands_) names.push_back(command.substr(1));
        return names;
    }
    if (!text.starts_with(".help ")) return names;
    for (const host::Function& function : functions_) names.push_back(function.name);
    return names;
}

/// In "f({" and "f({a: 1, " the parameters that are left; in "f(" the same with the brace before
/// them. Empty elsewhere.
std::vector<std::string> Completer::parameter_words(std::string_view text) const {
    const std::vector<std::size_t> open = Scan(text).open;
    if (open.empty()) return {};
    const bool named = text[open.back()] == '{';
    if (named && (open.size() < 2 || open[open.size() - 2] + 1 != open.back())) return {};
    const std::size_t call = named ? open[open.size() - 2] : open.back();
    if (text[call] != '(') return {};
    const std::string_view name = last_word(text.substr(0, call));
    const auto function =
        std::find_if(functions_.begin(), functions_.end(),
                     [=](const host::Function& candidate) { return candidate.name == name; });
    if (function == functions_.end()) return {};

    const std::string_view inside = text.substr(open.back() + 1);
    const Fields fields(inside);
    const bool nothing_yet = without_blanks(inside).empty();
    if (named ? fields.in_value : !nothing_yet) return {};
    std::vector<std::string> words;
    for (const std::string& parameter : function->parameters) {
        if (std::find(fields.names.begin(), fields.names.end(), parameter) == fields.names.end()) {
            words.push_back((named ? "" : "{") + parameter + ": ");
        }
    }
    return words;
}

std::vector<std::string> Completer::complete(std::string_view text) const {
    if (ends_in_string(text)) return {};
    const std::string_view word = last_word(text);
    const std::string_view before = text.substr(0, text.size() - word.size());
    std::vector<std::string> words;
    if (text.starts_with('.')) {
        words = command_words(text);
    } else if (before.ends_with('.')) {
        const std::string_view path = last_path(before.substr(0, before.size() - 1));
        if (!path.empty()) words = properties_(path);
    } else {
        words = parameter_words(text);
        if (words.empty() && (!word.empty() || before.empty())) words = properties_("");
    }
    std::erase_if(words, [=](const std::string& each) { return !each.starts_with(word); });
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

}  // namespace valtrosse::cli
