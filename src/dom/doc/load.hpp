// A parse as every loader runs it: libxml2's messages captured, its keep-blanks default set for the
// length of the parse.
#pragma once

#include <libxml/globals.h>
#include <libxml/parser.h>

#include "dom/doc/capture.hpp"
#include "dom/doc/documents.hpp"
#include "dom/doc/messages.hpp"
#include "dom/doc/parse.hpp"
#include "utf8/text.hpp"

namespace valtrosse {

/// The handle of a new document, or no value for null. A document whose handle cannot be handed over
/// is freed.
Result document_value(Call& call, xmlDoc* doc);

/// The captured text (null: none) with the reason why there is no document (null: none).
inline XmlString with_reason(XmlString text, const char* reason) {
    const auto* const line = reinterpret_cast<const xmlChar*>(reason);
    return reason ? XmlString(xmlStrcat(text.release(), line)) : std::move(text);
}

/// Converts the source, runs parse(source) and returns its document's handle, or no value. What libxml2
/// had to say, and why there is no document, becomes the last message of the document or, without one,
/// of the thread and call context.
/// Source: Text8 for a path, Utf8 for text. keep_blanks: 0 drops text of white space between elements,
/// 1 keeps it; with another number nothing is parsed.
template <typename Source, typename Parse>
Result load_document(Call& call, HostText source, std::uint32_t keep_blanks, Parse parse) {
    if (keep_blanks > 1) return no_value;
    const Source converted(call, source);
    if (converted.failed()) return converted.failure();

    Capture capture;
    const int keep_blanks_before = xmlKeepBlanksDefaultValue;
    xmlKeepBlanksDefault(static_cast<int>(keep_blanks));
    const Parsed parsed = parse(converted);
    xmlKeepBlanksDefault(keep_blanks_before);
    if (const XmlString text = with_reason(capture.finish(), parsed.reason))
        _x_addMsgCopy(reinterpret_cast<xmlNode*>(parsed.doc), call.context(), text.get());
    document_loaded(parsed.doc);
    return document_value(call, parsed.doc);
}

}  // namespace valtrosse
