// Document properties: version, encoding, standalone, URL.
#include "dom/node/markup.hpp"
#include "dom/node/strings.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

enum Property : std::uint32_t { version, encoding, standalone, url };

/// The field of a text property; null for another code.
const xmlChar** text_field(xmlDoc* doc, std::uint32_t property) {
    switch (property) {
        case version: return &doc->version;
        case encoding: return &doc->encoding;
        case url: return &doc->URL;
        default: return nullptr;
    }
}

const xmlChar* standalone_text(const xmlDoc* doc) {
    const char* const text = doc->standalone == 0 ? "0" : doc->standalone == 1 ? "1" : nullptr;
    return reinterpret_cast<const xmlChar*>(text);
}

/// Property 0 version, 1 encoding, 2 standalone ("0" or "1"), 3 URL of a document. No value where it
/// has none, for other codes and for a node that is no document.
Result get(Call& call, xmlNode* node, std::uint32_t property) {
    if (!is_document(node)) return no_value;
    auto* const doc = reinterpret_cast<xmlDoc*>(node);
    if (property == standalone) return utf8_value<value_frame_size>(call, standalone_text(doc));
    const xmlChar** const field = text_field(doc, property);
    return field ? utf8_value<value_frame_size>(call, *field) : no_value;
}

/// Sets a property; gives 0. Standalone is "1" or, with any other text, "0".
Result set(Call& call, xmlNode* node, std::uint32_t property, HostText value) {
    if (value.absent() || !is_document(node)) return no_value;
    const Utf8 text(call, value);
    if (text.failed()) return text.failure();
    auto* const doc = reinterpret_cast<xmlDoc*>(node);
    if (property == standalone) {
        doc->standalone = xmlStrEqual(text.text(), reinterpret_cast<const xmlChar*>("1"));
        return call.integer(0);
    }
    const xmlChar** const field = text_field(doc, property);
    if (!field || !replace_string(*field, text.text(), doc->dict)) return no_value;
    note_markup(node);
    return call.integer(0);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocGetProperty, valtrosse::get)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocSetProperty, valtrosse::set)
