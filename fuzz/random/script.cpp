#include "fuzz/random/script.hpp"

#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace valtrosse::random {

namespace {

std::string quoted(std::u16string_view text) {
    std::string out = "\"";
    for (const char16_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F && unit != '"' && unit != '\\') {
            out += static_cast<char>(unit);
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
        out += escape;
    }
    return out + '"';
}

std::string to_text(const Value& value) {
    switch (value.kind) {
        case Value::Kind::missing: return "missing";
        case Value::Kind::null: return "null";
        case Value::Kind::boolean: return value.integer ? "true" : "false";
        case Value::Kind::integer: return std::to_string(value.integer);
        case Value::Kind::text: return quoted(value.text);
        case Value::Kind::object: {
            std::string out = "@" + std::to_string(value.object.step);
            if (value.object.index > 0) out += "." + std::to_string(value.object.index);
            return out;
        }
        case Value::Kind::bytes: break;
    }
    std::string out = "bytes:";
    for (const std::uint8_t byte : value.bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        out += digits;
    }
    return out;
}

class LineReader {
public:
    explicit LineReader(std::string_view line) : rest_(line) {}

    bool at_end() {
        while (!rest_.empty() && rest_.front() == ' ') rest_.remove_prefix(1);
        return rest_.empty();
    }
    std::string_view word() {
        at_end();
        return take(std::min(rest_.find(' '), rest_.size()));
    }
    Value value() {
        at_end();
        if (rest_.front() == '"') return {.kind = Value::Kind::text, .text = quoted_text()};
        const std::string_view token = word();
        if (token == "missing") return {};
        if (token == "null") return {.kind = Value::Kind::null};
        if (token == "true" || token == "false")
            return {.kind = Value::Kind::boolean, .integer = token == "true"};
        if (token.starts_with("bytes:")) {
            Value value{.kind = Value::Kind::bytes};
            for (std::size_t i = 6; i + 1 < token.size(); i += 2)
                value.bytes.push_back(static_cast<std::uint8_t>(number(token.substr(i, 2), 16)));
            return value;
        }
        if (!token.starts_with('@'))
            return {.kind = Value::Kind::integer, .integer = number(token, 10)};
        const std::string_view name = token.substr(1);
        const std::size_t dot = name.find('.');
        Value value{.kind = Value::Kind::object};
        value.object.step = number(name.substr(0, dot), 10);
        if (dot != std::string_view::npos) value.object.index = number(name.substr(dot + 1), 10);
        return value;
    }
    static std::uint32_t number(std::string_view digits, int base) {
        std::uint32_t value = 0;
        const char* const end = digits.data() + digits.size();
        const auto [stop, error] = std::from_chars(digits.data(), end, value, base);
        if (error != std::errc{} || stop != end)
            throw std::invalid_argument("no number: " + std::string(digits));
        return value;
    }

private:
    std::string_view take(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }
    std::u16string quoted_text() {
        std::u16string text;
        take(1);
        while (!rest_.empty() && rest_.front() != '"') {
            if (rest_.starts_with("\\u") && rest_.size() >= 6) {
                take(2);
                text += static_cast<char16_t>(number(take(4), 16));
            } else {
                text += static_cast<unsigned char>(take(1).front());
            }
        }
        if (rest_.empty()) throw std::invalid_argument("a text without an end");
        take(1);
        return text;
    }

    std::string_view rest_;
};

}  // namespace

std::string to_text(const Step& step) {
    std::string line = std::to_string(step.number) + " " + step.function;
    for (const Value& value : step.args) line += " " + to_text(value);
    return line;
}

std::optional<Step> parse_step(std::string_view line) {
    LineReader reader(line);
    if (reader.at_end() || line.starts_with('#')) return std::nullopt;
    Step step{.number = LineReader::number(reader.word(), 10)};
    step.function = reader.word();
    while (!reader.at_end()) step.args.push_back(reader.value());
    return step;
}

Script parse_script(std::string_view text) {
    Script script;
    for (std::size_t line_number = 1; !text.empty(); ++line_number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        try {
            if (auto step = parse_step(text.substr(0, end))) script.push_back(std::move(*step));
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("line " + std::to_string(line_number) + ": " +
                                        error.what());
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return script;
}

}  // namespace valtrosse::random
