// Attributes by plain name and by node.

#include "dom/attr/declaration.hpp"
#include "dom/attr/list.hpp"
#include "dom/node/identity.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"
#include "util/names.hpp"

namespace valtrosse {
namespace {

/// Looks the attribute up, or the DTD's declaration that gives it a default, and hands what was found
/// (or null) to result(). No value for a name with a colon and for a node that is no element.
template <typename Found>
Result find(Call& call, xmlNode* node, HostText name, Found result) {
    if (!is_element(node) || name.absent()) return no_value;
    const Utf8 local(call, name);
    if (local.failed()) return local.failure();
    if (_x_isLevel1Name(local.text()) != 1) return no_value;
    const LookupDoc lookup(node);
    return result(xmlHasProp(node, local.text()));
}

/// The value of the attribute of this local name, or the DTD's default for it.
Result get(Call& call, xmlNode* node, HostText name) {
    return find(call, node, name,
                [&](const xmlAttr* found) { return attribute_or_default_value(call, found); });
}

/// The attribute of this local name or, where the DTD gives it a default, its declaration.
Result get_node(Call& call, xmlNode* node, HostText name) {
    return find(call, node, name,
                [&](const xmlAttr* found) { return call.handle_or_no_value(found); });
}

/// Links the detached attribute `newnode` into the element, in the place of the attribute in no
/// namespace of the same local name, else at the end. Gives the replaced attribute, or `newnode`.
Result set_node(Call& call, xmlNode* node, xmlNode* newnode) {
    if (!is_element(node) || !is_attribute(newnode) || newnode->parent) return no_value;
    auto* const attr = reinterpret_cast<xmlAttr*>(newnode);
    const ListPlace place = find_in_list(node, [attr](const xmlAttr* other) {
        return !other->ns && xmlStrEqual(other->name, attr->name);
    });
    const xmlAttr* const result = put_in_list(node, place, attr);
    return result ? call.handle(result) : failure(VT_OUT_OF_MEMORY);
}

/// Takes the attribute `oldnode` out of its element `node`; gives it, detached and with its namespace.
Result remove_node(Call& call, xmlNode* node, xmlNode* oldnode) {
    if (!is_element(node) || !is_attribute(oldnode) || oldnode->parent != node) return no_value;
    if (!_x_NsBeforeUnlinkNode(oldnode, 1)) return failure(VT_OUT_OF_MEMORY);
    xmlUnlinkNode(oldnode);
    return call.handle(oldnode);
}

/// The first attribute of an element.
Result first(Call& call, xmlNode* node) { return call.handle_or_no_value(first_attribute(node)); }

/// The attribute after `attr`, which must be one of the element `node`.
Result next(Call& call, xmlNode* node, xmlNode* attr) {
    if (!is_element(node) || !is_attribute(attr) || attr->parent != node) return no_value;
    return call.handle_or_no_value(attr->next);
}

/// True for an attribute, false for the declaration that stands for a defaulted one.
Result specified(Call& call, xmlNode* node) {
    switch (node->type) {
        case XML_ATTRIBUTE_NODE: return call.boolean(true);
        case XML_ATTRIBUTE_DECL: return call.boolean(false);
        default: return no_value;
    }
}

/// Whether the document's internal subset declares this attribute of an element as an ID. No value for
/// a detached attribute.
Result is_id(Call& call, xmlNode* node) {
    if (!is_attribute(node) || !node->doc || !node->parent || !is_element(node->parent))
        return no_value;
    const xmlDoc* const doc = document_for_lookup(node);
    const XmlString element_name(_x_nodeName(node->parent));
    return call.boolean(is_declared_id(doc ? doc->intSubset : nullptr, element_name.get(),
                                       reinterpret_cast<const xmlAttr*>(node)));
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementGetAttribute, valtrosse::get)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementGetAttributeNode, valtrosse::get_node)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementSetAttributeNode, valtrosse::set_node)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementRemoveAttributeNode, valtrosse::remove_node)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetFirstAttribute, valtrosse::first)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetNextAttribute, valtrosse::next)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMAttrGetSpecified, valtrosse::specified)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMAttrIsId, valtrosse::is_id)
