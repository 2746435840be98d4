// Loading, creating and freeing XML documents.
#include "dom/doc/load.hpp"

#include "dom/node/free.hpp"
#include "dom/node/markup.hpp"
#include "dom/node/tree.hpp"

namespace valtrosse {

Result document_value(Call& call, xmlDoc* doc) {
    const Result result = call.handle_or_no_value(doc);
    if (result.failed() && doc) free_document(doc);
    return result;
}

namespace {

/// Parses the file at `filepath` (8-bit text). No value when it cannot be read or is not well-formed,
/// or when `keep_blanks` is neither 0 nor 1.
Result load_file(Call& call, HostText filepath, std::uint32_t keep_blanks) {
    return load_document<Text8>(call, filepath, keep_blanks,
                                [](const Text8& path) { return parse_file(path.c_str()); });
}

/// Parses XML text. It reaches libxml2 as UTF-8, whatever encoding its declaration names.
Result load_string(Call& call, HostText string, std::uint32_t keep_blanks) {
    return load_document<Utf8>(call, string, keep_blanks, [](const Utf8& text) {
        return parse_text(text.text(), text.length());
    });
}

/// A new, empty document with this version text.
Result create(Call& call, HostText version) {
    const Text8 text(call, version);
    if (text.failed()) return text.failure();
    xmlDoc* doc = xmlNewDoc(text.text());
    document_made(doc);
    if (doc) note_markup(reinterpret_cast<xmlNode*>(doc));
    return document_value(call, doc);
}

/// The root element of a document; no value for an empty document or another node.
Result root_node(Call& call, xmlNode* node) {
    if (!is_document(node)) return no_value;
    return call.handle_or_no_value(xmlDocGetRootElement(reinterpret_cast<xmlDoc*>(node)));
}

/// Frees a document with all its nodes and its last message; gives 0. Changes nothing and gives no
/// value for a handle of another kind.
Result free_doc(Call& call, xmlNode* node) {
    if (!is_document(node)) return no_value;
    free_document(reinterpret_cast<xmlDoc*>(node));
    return call.integer(0);
}

/// Sets libxml2's keep-blanks default for parses that do not set their own; gives 0. No value, and no
/// change, for a number other than 0 and 1.
Result keep_blanks_default(Call& call, std::uint32_t value) {
    if (value > 1) return no_value;
    xmlKeepBlanksDefault(static_cast<int>(value));
    return call.integer(0);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocLoadXMLFile, valtrosse::load_file)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocLoadXMLString, valtrosse::load_string)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocCreateDoc, valtrosse::create)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocGetRootNode, valtrosse::root_node)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocFreeDoc, valtrosse::free_doc)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocKeepBlanksDefault, valtrosse::keep_blanks_default)
