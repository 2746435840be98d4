// Doctype properties: the identifiers and the name of a DTD.
#include "dom/node/markup.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/strings.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

enum Property : std::uint32_t { public_id, system_id, name };

/// Property 0 the public, 1 the system identifier of a DTD. No value where it has none, for other codes
/// (its name is what xmlDOMNodeGetName gives) and for another node.
Result get(Call& call, xmlNode* node, std::uint32_t property) {
    if (node->type != XML_DTD_NODE) return no_value;
    const auto* const dtd = reinterpret_cast<const xmlDtd*>(node);
    switch (property) {
        case public_id: return utf8_value<value_frame_size>(call, dtd->ExternalID);
        case system_id: return utf8_value<value_frame_size>(call, dtd->SystemID);
        default: return no_value;
    }
}

/// Sets property 0, 1 or 2 (the name) of a DTD; gives 0.
Result set(Call& call, xmlNode* node, std::uint32_t property, HostText value) {
    if (value.absent() || node->type != XML_DTD_NODE) return no_value;
    const Utf8 text(call, value);
    if (text.failed()) return text.failure();
    auto* const dtd = reinterpret_cast<xmlDtd*>(node);
    const xmlChar** field = nullptr;
    switch (property) {
        case public_id: field = &dtd->ExternalID; break;
        case system_id: field = &dtd->SystemID; break;
        case name: field = &dtd->name; break;
        default: return no_value;
    }
    const xmlDoc* const doc = document_for_lookup(node);
    if (!replace_string(*field, text.text(), doc ? doc->dict : nullptr)) return no_value;
    note_markup(node);
    return call.integer(0);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDoctypeGetProperty, valtrosse::get)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDoctypeSetProperty, valtrosse::set)
