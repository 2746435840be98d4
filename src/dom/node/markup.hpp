// What XML has no markup for.
//
// A script may give nodes names that are none, an element two attributes that are written with one name,
// and comments and processing instructions text that would end them; what it took from HTML may have such
// things, too. And libxml2 writes the URI of a namespace as it is. Saves look for such things only once this
// process has met any.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// What a node of an XML document has that cannot be written, in words; null for a node that can. The
/// attributes of an element, the children and the characters are not looked at.
const char* markup_fault(const xmlNode* node);

/// Whether the URI of a namespace must be escaped in a file.
bool needs_escape(const xmlChar* uri);

/// Notes what such a node has.
void note_markup(const xmlNode* node);
/// Notes the URI of a namespace.
void note_namespace_uri(const xmlChar* uri);
/// Notes a document that was not parsed as XML.
void note_foreign_document();

/// Whether any node may have a fault, and any URI need an escape.
bool may_have_markup_faults();
bool may_have_uris_to_escape();

}  // namespace valtrosse
