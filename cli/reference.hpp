// The reference of the functions, docs/functions.md, as the shell quotes it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace valtrosse::cli {

class Reference {
public:
    struct Entry {
        std::string name;    ///< "xmlDOMDocFreeDoc", "LIBXMLLife.addInternal"
        std::string text;    ///< its heading and all below it, as plain text
        std::string result;  ///< what its "Result:" says, up to the line's end
    };

    /// Empty when there is no such file.
    static Reference read(const std::string& path);

    const std::vector<Entry>& entries() const { return entries_; }
    /// Null for an unknown name.
    const Entry* find(std::string_view name) const;

private:
    std::vector<Entry> entries_;
};

}  // namespace valtrosse::cli
