#include "cli/reference.hpp"

#include <algorithm>
#include <cctype>
#include <filesystem>
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

/// The name of what a heading begins; empty where that is nothing to be looked up.
std::string function_in(std::string_view heading) {
    const bool of_function = heading.starts_with("### ") && heading.ends_with(')');
    return of_function ? std::string(heading.substr(4, heading.find('(') - 4)) : "";
}
std::string topic_in(std::string_view heading) {
    if (heading.starts_with("# ")) return "dom";
    if (!heading.starts_with("## ")) return "";
    std::string name = "dom " + std::string(heading.substr(3));
    for (char& letter : name) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return name;
}

}  // namespace

Reference Reference::read(const std::string& path) {
    Reference reference;
    reference.add(path, function_in);
    reference.add(std::filesystem::path(path).replace_filename("dom.md"), topic_in);
    for (Entry& each : reference.entries_) {
        while (each.text.ends_with("\n\n")) each.text.pop_back();
    }
    return reference;
}

void Reference::add(const std::string& path,
                    std::string (*name_of_heading)(std::string_view heading)) {
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
            const std::string name = name_of_heading(text);
            entry = nullptr;
            if (name.empty()) continue;
            const std::string heading(text.substr(text.find(' ') + 1));
            entry = &entries_.emplace_back(Entry{name, heading + '\n', ""});
        } else if (entry != nullptr) {
            const std::string shown = plain(line);
            if (shown.starts_with("- Result: ")) entry->result = shown.substr(10);
            entry->text += shown + '\n';
        }
    }
}

const Reference::Entry* Reference::find(std::string_view name) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return entry.name == name; });
    return found == entries_.end() ? nullptr : &*found;
}

}  // namespace valtrosse::cli
