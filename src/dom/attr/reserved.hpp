// The reserved prefixes xml and xmlns and the namespace names that belong to them.
#pragma once

#include <libxml/xmlstring.h>

#include "plugin/export.hpp"

/// 1 when the prefix may stand for the URI: xml and xmlns only for their reserved names, any other
/// prefix for any URI; else 0, also for a null argument.
VALTROSSE_EXPORT int _x_isValidURIPrefix(const xmlChar* uri, const xmlChar* prefix);
/// 1 for the prefix xmlns with its reserved name: an attribute of this namespace is a namespace
/// declaration. Else 0.
VALTROSSE_EXPORT int _x_isNsURIPrefix(const xmlChar* uri, const xmlChar* prefix);
