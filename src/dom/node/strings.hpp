// String fields of libxml2's records, which a document's dictionary or the record itself may own.
#pragma once

#include <libxml/tree.h>
// libxml2's dict.h needs what tree.h declares.
#include <libxml/dict.h>

namespace valtrosse {

/// Puts a copy of text into the field and frees what it held, unless the dictionary (null: none) owns
/// that. False without memory; then the field stays as it was.
inline bool replace_string(const xmlChar*& field, const xmlChar* text, xmlDict* dict) {
    const xmlChar* const copy = xmlStrdup(text);
    if (!copy) return false;
    if (field && !(dict && xmlDictOwns(dict, field) == 1)) xmlFree(const_cast<xmlChar*>(field));
    field = copy;
    return true;
}

/// Whether the parser put the text of a text node inside of the node, where libxml2 knows to leave it.
inline bool is_inside(const xmlNode* text) {
    return text->content == reinterpret_cast<const xmlChar*>(&text->properties);
}

}  // namespace valtrosse
