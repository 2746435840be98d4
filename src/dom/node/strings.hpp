// String fields of libxml2's records, which a document's dictionary may own.
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

}  // namespace valtrosse
