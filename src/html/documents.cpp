// Loading and saving HTML documents.
#include <libxml/HTMLtree.h>

#include "dom/doc/load.hpp"
#include "dom/doc/save.hpp"
#include "html/meta.hpp"

namespace valtrosse {
namespace {

/// Parses the HTML file at `filepath` (8-bit text), whose encoding libxml2 detects.
Result load_file(Call& call, HostText filepath, std::uint32_t keep_blanks) {
    return load_document<Text8>(call, filepath, keep_blanks,
                                [](const Text8& path) { return parse_html_file(path.c_str()); });
}

/// Parses HTML text. It reaches libxml2 as UTF-8, which is detected as it would be in a file.
Result load_string(Call& call, HostText string, std::uint32_t keep_blanks) {
    return load_document<Utf8>(call, string, keep_blanks, [](const Utf8& text) {
        return parse_html_text(text.text(), text.length());
    });
}

/// Writes an HTML document, in one of the accepted encodings or, with another name, as libxml2 chooses.
/// Gives 0; no value when the file cannot be written or `doc` is no HTML document.
Result save_format(Call& call, xmlDoc* doc, HostText filepath, HostText encoding, Flag format) {
    if (filepath.absent() || encoding.absent() || doc->type != XML_HTML_DOCUMENT_NODE)
        return no_value;
    return save_formatted(
        call, doc, filepath, encoding, Syntax::html, [&](const char* path, const char* name) {
            KeptMetaContent kept(doc);
            // 0, not -1, when the target cannot be opened: a written document has at least a line break.
            const bool written =
                kept.ready() && htmlSaveFileFormat(path, doc, name, format.set) > 0;
            if (!written) kept.take_back();
            return written;
        });
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKHTML_, xmlHTMLDocLoadFile, valtrosse::load_file)
SCRIPT_FUNCTION(TOVIKHTML_, xmlHTMLDocLoadString, valtrosse::load_string)
SCRIPT_FUNCTION(TOVIKHTML_, xmlHTMLDocSaveFormatFile, valtrosse::save_format)
