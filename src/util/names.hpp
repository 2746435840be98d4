// Plain and qualified names.
#pragma once

#include <libxml/xmlstring.h>

#include "plugin/export.hpp"

/// 1 for a text without a colon, else 0; 0 for null. Nothing else of a name is looked at.
VALTROSSE_EXPORT int _x_isLevel1Name(const xmlChar* text);
/// 1 for a text with exactly one colon, else 0; 0 for null.
VALTROSSE_EXPORT int _x_isLevel2Name(const xmlChar* text);
