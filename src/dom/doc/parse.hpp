// A parse that gives all of its input or nothing: libxml2 also hands out what it had when memory or the
// input ended too early.
#pragma once

#include <libxml/parser.h>

#include "dom/owned.hpp"

namespace valtrosse {

/// What a parse gave: a document or, in some cases where that is null, a line for the last message that
/// says why, for what libxml2 itself says only where there is room, or not at all.
struct Parsed {
    xmlDoc* doc = nullptr;
    const char* reason = nullptr;
};

/// The document parsed from a file or URL (8-bit text), from XML or HTML text (UTF-8). None when the
/// input cannot be read to its end, memory ends, XML is not well-formed, or HTML has elements nested
/// deeper than 10,000 levels.
Parsed parse_file(const char* path);
Parsed parse_text(const xmlChar* text, std::size_t length);
Parsed parse_html_file(const char* path);
Parsed parse_html_text(const xmlChar* text, std::size_t length);

/// The DTD that these identifiers name, as xmlParseDTD reads it; null too when memory ends on the way.
xmlDtd* parse_external_subset(const xmlChar* external_id, const xmlChar* system_id);

}  // namespace valtrosse
