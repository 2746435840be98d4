// Saving XML documents.
#include "dom/doc/save.hpp"

#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

/// Writes the document as it is, in the encoding that it names itself. Gives the document's handle;
/// no value when the file cannot be written or `doc` is no XML document.
Result save(Call& call, xmlDoc* doc, HostText filepath) {
    if (filepath.absent() || doc->type != XML_DOCUMENT_NODE) return no_value;
    const Utf8 path(call, filepath);
    if (path.failed()) return path.failure();
    const WholeFiles whole;
    return xmlSaveFile(path.c_str(), doc) != -1 ? call.handle(doc) : no_value;
}

/// Writes the document, indented when `format` is set, in one of the accepted encodings; with another
/// name without an encoding declaration, as UTF-8 whose characters above U+007F are all written as
/// references. Gives 0.
Result save_format(Call& call, xmlDoc* doc, HostText filepath, HostText encoding, Flag format) {
    if (filepath.absent() || encoding.absent() || doc->type != XML_DOCUMENT_NODE) return no_value;
    return save_formatted(call, doc, filepath, encoding, [&](const char* path, const char* name) {
        return xmlSaveFormatFileEnc(path, doc, name, format.set) != -1;
    });
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSaveXMLFile, valtrosse::save)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSaveXMLFormatFile, valtrosse::save_format)
