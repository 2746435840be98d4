#include "cli/leaks.hpp"

#include <algorithm>
#include <map>
#include <ostream>
#include <tuple>

#include "cli/format.hpp"

namespace valtrosse::cli {

namespace {

std::string path_text(const script::CallPath& path) {
    std::string text;
    for (const script::Site& site : path) {
        text += (text.empty() ? " at " : ", called from ") + site.file + ':' +
                std::to_string(site.line);
    }
    return text;
}

/// Trees of one kind that came from one place.
struct Group {
    std::string kind;
    std::string origin;  // "xmlDOMDocCreateNode at titles.js:3"
    std::vector<Handle> trees;
};

std::vector<Group> group(host::Host& host, const Ownership& ownership) {
    std::map<std::size_t, Handle> in_order;
    for (const auto& [tree, origin] : ownership.owned()) in_order.emplace(origin.number, tree);

    std::vector<Group> groups;
    std::map<std::pair<std::string, std::string>, std::size_t> places;
    for (const auto& [number, tree] : in_order) {
        const Ownership::Origin& origin = ownership.owned().at(tree);
        const std::string kind = kind_of(host, tree);
        const std::string place = origin.function + path_text(origin.path);
        const auto [found, is_new] = places.emplace(std::pair(kind, place), groups.size());
        if (is_new) groups.push_back({kind, place, {}});
        groups[found->second].trees.push_back(tree);
    }
    return groups;
}

}  // namespace

std::size_t report_leaks(std::ostream& out, host::Host& host, const Ownership& ownership) {
    const std::size_t count = ownership.owned().size();
    if (count == 0) return 0;
    out << "vtdom: " << counted(count, "handle") << (count == 1 ? " was" : " were")
        << " neither freed nor linked\n";
    for (const Group& leaked : group(host, ownership)) {
        const Handle first = leaked.trees.front();
        out << "  " << leaked.kind << ' ' << markup_of(host, first) << " (" << first;
        if (leaked.trees.size() > 1) out << " and " << leaked.trees.size() - 1 << " more";
        out << ") from " << leaked.origin << '\n';
    }
    return count;
}

}  // namespace valtrosse::cli
