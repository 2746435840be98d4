#include "cli/reference.hpp"

#include <algorithm>
#include <fstream>

namespace valtrosse::cli {

namespace {

/// A line of text without the marks of code, emphasis and links.
std::string plain(std::string_view line) {
    std::string text;
    for (std::size_t k = 0; k < line.size(); ++k) {
        const std::string_view rest = line.substr(k);
        const std::size_t middle = rest.find("](");
        if (rest.starts_with('[') && middle != rest.npos && middle < rest.find('[', 1)) {
            const std::size_t end = rest.find(')', middle);
            text += plain(rest.substr(1, middle - 1));
            k += std::min(end, rest.size());
        } else if (rest.starts_with("**")) {
            ++k;
        } else if (rest[0] != '`') {
            text += rest[0];
        }
    }
    return text;
}

std::string name_in(std::string_view heading) {
    return std::string(heading.substr(0, heading.find('(')));
}

}  // namespace

Reference Reference::read(const std::string& path) {
    Reference reference;
    Entry* entry = nullptr;
    bool in_example = false;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        const std::string_view text = line;
        if (text.starts_with("```")) {
            in_example = !in_example;
        } else if (in_example) {
            if (entry != nullptr) entry->text += "    " + line + '\n';
        } else if (text.starts_with('#')) {
            const bool of_function = text.starts_with("### ") && text.ends_with(')');
            entry = nullptr;
            if (!of_function) continue;
            const std::string_view heading = text.substr(4);
            entry = &reference.entries_.emplace_back(
                Entry{name_in(heading), std::string(heading) + '\n', ""});
        } else if (entry != nullptr) {
            const std::string shown = plain(line);
            if (shown.starts_with("- Result: ")) entry->result = shown.substr(10);
            entry->text += shown + '\n';
        }
    }
    for (Entry& each : reference.entries_) {
        while (each.text.ends_with("\n\n")) each.text.pop_back();
    }
    return reference;
}

const Reference::Entry* Reference::find(std::string_view name) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.name == name; });
    return found == entries_.end() ? nullptr : &*found;
}

}  // namespace valtrosse::cli
