// The output encodings that a save accepts.
#pragma once

#include <libxml/xmlstring.h>

#include "plugin/export.hpp"

/// The name itself when it is one of UTF-8, UTF-16LE, UTF-16BE, ISO-8859-1, ASCII, US-ASCII and HTML,
/// written exactly so; else null. Null gives null.
VALTROSSE_EXPORT const xmlChar* _x_getValidEncoding(const xmlChar* name);

VALTROSSE_EXPORT const int iTemp;  ///< 1, for the look at its first byte
/// 1 when the machine stores the least significant byte first, else 0.
VALTROSSE_EXPORT int _x_isLittleEndian();
