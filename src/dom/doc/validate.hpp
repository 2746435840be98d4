// DTD validation.
#pragma once

#include <libxml/xmlstring.h>

#include "plugin/export.hpp"

/// Where a document's external DTD is looked for: the system identifier itself when it has both a "."
/// and a "/" in it or the document's URL has no "/"; else the system identifier in the directory of
/// the document's URL. To be freed with xmlFree; null for a null identifier, for a null URL where one
/// is needed, and without memory.
VALTROSSE_EXPORT xmlChar* _x_pathFromDocDtdPaths(const xmlChar* document_url,
                                                 const xmlChar* system_id);
