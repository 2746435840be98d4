// Names in namespaces, and attributes by local name and namespace URI.
#include "dom/attr/declaration.hpp"
#include "dom/attr/list.hpp"
#include "dom/attr/reserved.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"
#include "util/names.hpp"

namespace valtrosse {
namespace {

/// Of an element or attribute in a namespace: 0 its local name, 1 its namespace URI, 2 its prefix. No
/// value for other nodes, other codes, and where there is none.
Result property(Call& call, xmlNode* node, std::uint32_t code) {
    if ((!is_element(node) && !is_attribute(node)) || !node->ns) return no_value;
    switch (code) {
        case 0: return utf8_value(call, node->name);
        case 1: return utf8_value(call, node->ns->href);
        case 2: return utf8_value(call, node->ns->prefix);
        default: return no_value;
    }
}

/// Looks the attribute up, or the DTD's declaration that gives it a default, and hands what was found
/// (or null) to result(). No value for a name with a colon and for a node that is no element.
template <typename Found>
Result find(Call& call, xmlNode* node, HostText name, HostText uri, Found result) {
    if (!is_element(node) || name.absent() || uri.absent()) return no_value;
    const Utf8 local(call, name);
    if (local.failed()) return local.failure();
    if (_x_isLevel1Name(local.text()) != 1) return no_value;
    const Utf8 href(call, uri);
    if (href.failed()) return href.failure();
    const LookupDoc lookup(node);
    return result(xmlHasNsProp(node, local.text(), href.text()));
}

/// The value of the attribute of this local name and namespace URI, or the DTD's default for it.
Result get(Call& call, xmlNode* node, HostText name, HostText uri) {
    return find(call, node, name, uri,
                [&](const xmlAttr* found) { return attribute_or_default_value(call, found); });
}

/// The attribute of this local name and namespace URI, or its declaration where it is defaulted.
Result get_node(Call& call, xmlNode* node, HostText name, HostText uri) {
    return find(call, node, name, uri,
                [&](const xmlAttr* found) { return call.handle_or_no_value(found); });
}

/// An attribute xmlns:p="uri" becomes a declaration of the element, unless it declares that prefix
/// already; the attribute itself stays detached. Gives 0. No value for an attribute without a value, and
/// for an empty URI of a prefix, which no file can hold.
Result declare(Call& call, xmlNode* element, const xmlAttr* attr) {
    const XmlString uri = attribute_value(attr);
    if (!attr->children || !uri) return no_value;
    // No local name: the default namespace, as xmlns:="" is no XML.
    const xmlChar* const prefix = attr->name && *attr->name ? attr->name : nullptr;
    if (prefix && !*uri.get()) return no_value;
    if (!declare_namespace(element, uri.get(), prefix)) return failure(VT_OUT_OF_MEMORY);
    _x_NsNormalize(element);
    return call.integer(0);
}

/// Links the detached attribute `newnode`, which must be in a namespace, into the element: in the place
/// of the attribute of the same local name and namespace URI, else at the end. Gives the replaced
/// attribute, with its namespace, or `newnode`; 0 for a namespace declaration.
Result set_node(Call& call, xmlNode* node, xmlNode* newnode) {
    if (!is_element(node) || !is_attribute(newnode) || newnode->parent || !newnode->ns)
        return no_value;
    auto* const attr = reinterpret_cast<xmlAttr*>(newnode);
    if (_x_isNsURIPrefix(attr->ns->href, attr->ns->prefix) == 1) return declare(call, node, attr);

    const ListPlace place = find_in_list(node, [attr](const xmlAttr* other) {
        return other->ns && xmlStrEqual(other->name, attr->name) &&
               xmlStrEqual(other->ns->href, attr->ns->href);
    });
    const xmlAttr* const result = put_in_list(node, place, attr);
    if (!result) return failure(VT_OUT_OF_MEMORY);
    _x_NsAfterLinkNode(node, 0);
    return call.handle(result);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetPropertyNS, valtrosse::property)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementGetAttributeNS, valtrosse::get)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementGetAttributeNodeNS, valtrosse::get_node)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMElementSetAttributeNodeNS, valtrosse::set_node)
