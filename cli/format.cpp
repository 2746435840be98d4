#include "cli/format.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

#include "host/host.hpp"

namespace valtrosse::cli {

namespace {

bool is_high_surrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }

std::string blanks(const std::string& text, std::size_t width) {
    const auto is_first_byte = [](char byte) { return (byte & 0xC0) != 0x80; };
    const auto length =
        static_cast<std::size_t>(std::count_if(text.begin(), text.end(), is_first_byte));
    return std::string(length < width ? width - length : 0, ' ');
}

}  // namespace

std::string escaped(std::u16string_view text, std::size_t limit) {
    std::u16string_view shown = text.substr(0, limit);
    if (shown.size() < text.size() && !shown.empty() && is_high_surrogate(shown.back())) {
        shown.remove_suffix(1);
    }
    std::u16string written;
    for (const char16_t unit : shown) {
        switch (unit) {
            case u'\n': written += u"\\n"; break;
            case u'\r': written += u"\\r"; break;
            case u'\t': written += u"\\t"; break;
            case u'"': written += u"\\\""; break;
            case u'\\': written += u"\\\\"; break;
            default:
                // Control characters of both sets would reach the terminal.
                if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0)) {
                    std::array<char, 8> code{};
                    std::snprintf(code.data(), code.size(), "\\x%02x", unit);
                    written += host::to_units(code.data());
                } else {
                    written += unit;
                }
        }
    }
    return host::to_utf8(written) + (shown.size() < text.size() ? "…" : "");
}

std::string quoted(std::u16string_view text, std::size_t limit) {
    std::string shown = '"' + escaped(text, limit) + '"';
    if (text.size() > limit) shown += " (" + counted(text.size(), "character") + ")";
    return shown;
}

std::string counted(std::uint64_t count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

std::string duration(std::chrono::nanoseconds time) {
    struct Unit {
        double nanoseconds;
        const char* name;
    };
    constexpr std::array<Unit, 4> units = {{{1, "ns"}, {1e3, "µs"}, {1e6, "ms"}, {1e9, "s"}}};
    const auto count = static_cast<double>(time.count());
    std::size_t k = 0;
    // 999.5 would be written as 1000 of the smaller unit.
    while (k + 1 < units.size() && count / units[k].nanoseconds >= 999.5) ++k;
    const double value = count / units[k].nanoseconds;
    const int decimals = k == 0 ? 0 : value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f %s", decimals, value, units[k].name);
    return text.data();
}

std::string right_aligned(const std::string& text, std::size_t width) {
    return blanks(text, width) + text;
}

std::string left_aligned(const std::string& text, std::size_t width) {
    return text + blanks(text, width);
}

}  // namespace valtrosse::cli
