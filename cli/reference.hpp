// The references of the functions and of DOM objects, docs/functions.md and docs/dom.md, as the shell quotes
// them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace valtrosse::cli {

class Reference {
public:
    struct Entry {
        std::string name;    ///< "xmlDOMDocFreeDoc", "LIBXMLLife.addInternal"; "dom", "dom nodes"
        std::string text;    ///< its heading and all below it, as plain text
        std::string result;  ///< what its "Result:" says, up to the line's end
    };

    /// Reads functions.md, and dom.md beside it. Empty when there is no such file.
    static Reference read(const std::string& path);

    const std::vector<Entry>& entries() const { return entries_; }
    /// Null for an unknown name.
    const Entry* find(std::string_view name) const;

private:
    void add(const std::string& path, std::string (*name_of_heading)(std::string_view heading));

    std::vector<Entry> entries_;
};

}  // namespace valtrosse::cli
