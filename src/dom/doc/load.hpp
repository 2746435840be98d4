// A parse as every loader runs it: libxml2's messages captured, its keep-blanks default set for the
// length of the parse.
#pragma once

#include <libxml/globals.h>
#include <libxml/parser.h>

#include "dom/doc/capture.hpp"
#include "dom/doc/documents.hpp"
#include "dom/doc/messages.hpp"
#include "plugin/frame.hpp"

namespace valtrosse {

/// The handle of a new document, or no value for null. A document whose handle cannot be handed over
/// is freed.
Result document_value(Call& call, xmlDoc* doc);

/// Runs parse() and returns its document's handle, or no value. What libxml2 had to say becomes the
/// last message of the document or, without one, of the thread and call context.
/// keep_blanks: 0 drops text of white space between elements, 1 keeps it.
template <typename Parse>
Result load_document(Call& call, std::uint32_t keep_blanks, Parse parse) {
    Capture capture;
    const int keep_blanks_before = xmlKeepBlanksDefaultValue;
    xmlKeepBlanksDefault(static_cast<int>(keep_blanks));
    xmlDoc* doc = parse();
    xmlKeepBlanksDefault(keep_blanks_before);
    if (const XmlString text = capture.finish())
        _x_addMsgCopy(reinterpret_cast<xmlNode*>(doc), call.context(), text.get());
    document_made(doc);
    return document_value(call, doc);
}

}  // namespace valtrosse
