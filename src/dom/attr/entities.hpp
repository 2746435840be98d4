// Scans over the declarations of a DTD.
#pragma once

#include <libxml/entities.h>
#include <libxml/tree.h>

#include "plugin/export.hpp"

/// Appends the names of all entities of the table to the buffer, each followed by a space.
VALTROSSE_EXPORT void _x_xmlDumpDtdEntities(xmlBuffer* buffer, xmlEntitiesTable* table);
/// One step of it, an xmlHashScanner: the entry, the buffer, the entry's name.
VALTROSSE_EXPORT void _x_xmlDumpEntity(void* entity, void* buffer, const xmlChar* name);
/// An xmlHashScanner for a table of notations: makes a record of the notation and puts it at the head
/// of the chain whose head pointer is data. A record that cannot be made is left out.
VALTROSSE_EXPORT void _x_xmlDumpNotation(void* notation, void* head, const xmlChar* name);
