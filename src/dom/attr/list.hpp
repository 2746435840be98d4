// The attribute list of an element, changed by hand: the attribute that a script holds is itself linked
// in. An attribute is in at most one list; next and prev agree all along it.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// The attribute after which, or in whose place, another is put.
struct ListPlace {
    xmlAttr* found;  ///< the first attribute that matched, or null
    xmlAttr* last;   ///< the last attribute, when none matched
};

template <typename Matches>
ListPlace find_in_list(const xmlNode* element, Matches matches) {
    xmlAttr* last = nullptr;
    for (xmlAttr* attr = element->properties; attr; attr = attr->next) {
        if (matches(attr)) return {attr, last};
        last = attr;
    }
    return {nullptr, last};
}

/// Puts newattr, which is in no list, in the place of the attribute found, or at the end. It takes the
/// element's document, with its text and its entry in the table of IDs. Returns the attribute that was
/// replaced, detached and owning what it points at, or newattr; null without memory, with the list as it
/// was.
xmlAttr* put_in_list(xmlNode* element, ListPlace place, xmlAttr* newattr);

}  // namespace valtrosse
