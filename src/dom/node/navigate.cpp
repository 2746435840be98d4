// From a node to its relatives and its document.
#include <libxml/tree.h>

#include "dom/doc/documents.hpp"
#include "dom/node/tree.hpp"
#include "plugin/frame.hpp"

namespace valtrosse {
namespace {

bool is_navigable(xmlElementType type) {
    return (type >= XML_ELEMENT_NODE && type <= XML_NOTATION_NODE && type != XML_ENTITY_NODE) ||
           type == XML_DTD_NODE;
}

/// The node one step from `node`: 0 parent, 1 next, 2 previous, 3 first child, 4 last child. No value
/// where there is none, for other steps, and from declarations and HTML documents.
Result relative(Call& call, xmlNode* node, std::uint32_t step) {
    if (!is_navigable(node->type)) return no_value;
    switch (step) {
        case 0: return call.handle_or_no_value(node->parent);
        case 1: return call.handle_or_no_value(node->next);
        case 2: return call.handle_or_no_value(node->prev);
        case 3: return call.handle_or_no_value(node->children);
        case 4: return call.handle_or_no_value(node->last);
        default: return no_value;
    }
}

/// The document that `node` names as its own: 0 when it names none. It may be gone.
Result owner_doc(Call& call, xmlNode* node) {
    const xmlDoc* const doc = node->doc;
    const bool alive = is_known_document(doc) || (doc && doc == containing_document(node));
    return alive ? call.handle(doc) : call.integer(number_of_gone(doc));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetRelative, valtrosse::relative)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetOwnerDoc, valtrosse::owner_doc)
