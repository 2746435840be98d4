// Linking, unlinking, replacing and freeing nodes.
#include "dom/node/mutate.hpp"

#include "dom/node/free.hpp"
#include "dom/node/held.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "plugin/frame.hpp"

int _x_isWriteNode(const xmlNode* node) {
    if (!node) return 0;
    const xmlNode* parent = node->parent;
    if (!parent) return 1;
    if (parent->type == XML_DTD_NODE) return 0;
    const bool part_of_document = node->type == XML_ELEMENT_NODE || node->type == XML_DTD_NODE;
    return !(part_of_document && valtrosse::is_document(parent));
}

namespace {

bool is_content(xmlElementType type) {
    switch (type) {
        case XML_ELEMENT_NODE:
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_ENTITY_REF_NODE:
        case XML_PI_NODE:
        case XML_COMMENT_NODE: return true;
        default: return false;
    }
}

bool has_child_of_type(const xmlNode* parent, xmlElementType type) {
    for (const xmlNode* child = parent->children; child; child = child->next)
        if (child->type == type) return true;
    return false;
}

}  // namespace

int _x_isValidChild(const xmlNode* parent, const xmlNode* child) {
    if (!parent || !child) return 0;
    const xmlElementType type = child->type;
    switch (parent->type) {
        case XML_ELEMENT_NODE:
        case XML_ENTITY_REF_NODE:
        case XML_ENTITY_NODE:
        case XML_DOCUMENT_FRAG_NODE: return is_content(type);
        case XML_ATTRIBUTE_NODE: return type == XML_TEXT_NODE || type == XML_ENTITY_REF_NODE;
        case XML_DOCUMENT_NODE:
        case XML_HTML_DOCUMENT_NODE:
            if (type == XML_ELEMENT_NODE || type == XML_DTD_NODE)
                return !has_child_of_type(parent, type);
            return type == XML_PI_NODE || type == XML_COMMENT_NODE;
        default: return 0;
    }
}

namespace valtrosse {
namespace {

bool is_at_or_above(const xmlNode* ancestor, const xmlNode* node) {
    while (node && node != ancestor) node = node->parent;
    return node != nullptr;
}

bool is_reference(const xmlNode* node) { return node->type == XML_ENTITY_REF_NODE; }

/// Whether newnode may be linked under parent: the types fit, no cycle, not below the DTD's own
/// declaration of an entity, nothing below a reference in an attribute, and no DTD that belongs to a
/// document already.
bool may_be_linked(const xmlNode* parent, const xmlNode* newnode) {
    if (_x_isValidChild(parent, newnode) != 1) return false;
    if (is_reference(parent) && parent->children && !first_child(parent)) return false;
    // Such nodes show in no value and no file, but would nest elements in attributes without end.
    if (is_reference(parent) && parent->parent && is_attribute(parent->parent)) return false;
    if (is_attribute(parent) && first_child(newnode)) return false;
    if (newnode->type == XML_DTD_NODE &&
        belongs_to_document(reinterpret_cast<const xmlDtd*>(newnode)))
        return false;
    return !newnode->children || !is_at_or_above(newnode, parent);
}

/// Takes a node out of its place; nothing happens to a node that hangs nowhere.
void take_out(xmlNode* node) {
    if (!node->parent) return;
    _x_NsBeforeUnlinkNode(node, 0);
    const AttributeTextChange change(is_attribute(node) ? nullptr : node->parent);
    xmlUnlinkNode(node);
}

/// What libxml2 does with a node that it is given to link: one of xmlAddChild, xmlAddPrevSibling,
/// xmlAddNextSibling. The result is the node now in the tree: another one where it merged text.
using Linker = xmlNode* (*)(xmlNode* reference, xmlNode* newnode);

/// Links newnode, which hangs nowhere, under parent with the help of libxml2.
xmlNode* link_under(xmlNode* parent, xmlNode* reference, xmlNode* newnode, Linker linker) {
    // libxml2 merges text into its neighbours and reads their doc fields for it; equal doc fields keep
    // it from walking the subtree by recursion.
    adopt(newnode, parent);
    xmlNode* linked;
    {
        const AttributeTextChange change(parent);
        xmlNode* const before = linker == xmlAddChild ? parent->last : reference->prev;
        xmlNode* const after = linker == xmlAddChild ? nullptr : reference->next;
        const LookupDoc lookup_parent(parent);
        const LookupDoc lookup_reference(reference);
        const LookupDoc lookup_before(before);
        const LookupDoc lookup_after(after);
        xmlDoc* const named = newnode->doc;
        newnode->doc = reference->doc;
        linked = linker(reference, newnode);
        if (linked == newnode) newnode->doc = named;
    }
    if (linked != newnode) forget_held(newnode);
    _x_NsAfterLinkNode(linked, 0);
    return linked;
}

/// Places `newnode` as the last child of `node` (position 0), just before it (1) or just after it (2).
/// Gives the node that is now in the tree: the neighbour when a text was merged into it. No value for
/// another position, a node that the parent does not take, and an attribute as the neighbour.
Result add_child(Call& call, std::uint32_t position, Deferred<xmlNode*> node_argument,
                 Deferred<xmlNode*> newnode_argument) {
    static constexpr Linker linkers[] = {xmlAddChild, xmlAddPrevSibling, xmlAddNextSibling};
    if (position >= std::size(linkers)) return no_value;
    xmlNode* node = nullptr;
    xmlNode* newnode = nullptr;
    if (vt_status status = node_argument.read(call, node)) return failure(status);
    if (vt_status status = newnode_argument.read(call, newnode)) return failure(status);

    if (node == newnode) return no_value;
    if (position > 0 && is_attribute(node)) return no_value;
    xmlNode* const parent = position == 0 ? node : node->parent;
    if (!may_be_linked(parent, newnode)) return no_value;

    take_out(newnode);
    return call.handle_or_no_value(link_under(parent, node, newnode, linkers[position]));
}

/// Takes `node` with its subtree out of its place; gives the node, which is the script's from then on.
/// No value for a document, the root element or DTD of one, and what is inside a DTD.
Result unlink(Call& call, xmlNode* node) {
    if (_x_isWriteNode(node) != 1 || is_document(node)) return no_value;
    take_out(node);
    return call.handle(node);
}

/// Puts `newnode` in the place of `node`; gives `node`, which is the script's from then on.
Result replace(Call& call, xmlNode* node, xmlNode* newnode) {
    if (node == newnode || is_attribute(node)) return no_value;
    if (!may_be_linked(node->parent, newnode) || _x_isWriteNode(node) != 1) return no_value;

    take_out(newnode);
    xmlNode* const parent = node->parent;
    _x_NsBeforeUnlinkNode(node, 0);
    adopt(newnode, parent);
    {
        const AttributeTextChange change(parent);
        // xmlReplaceNode sets the new node's document from the old node's: equal, it has nothing to do.
        xmlDoc* const named = node->doc;
        node->doc = newnode->doc;
        xmlReplaceNode(node, newnode);
        node->doc = named;
    }
    _x_NsAfterLinkNode(newnode, 0);
    return call.handle(node);
}

/// Frees a node that hangs nowhere, with its subtree, or a whole document; gives 0. No value for a
/// node that is still linked under another one, and for declarations.
Result free_node(Call& call, xmlNode* node) {
    if (!may_be_freed(node)) return no_value;
    _x_freeNode(node);
    return call.integer(0);
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeAddChild, valtrosse::add_child)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeUnlinkNode, valtrosse::unlink)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeReplaceNode, valtrosse::replace)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeFreeNode, valtrosse::free_node)
