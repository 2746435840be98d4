// Linking, unlinking, replacing and freeing nodes.
#include "dom/node/mutate.hpp"

#include <cstring>

#include "dom/node/departure.hpp"
#include "dom/node/free.hpp"
#include "dom/node/held.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/namespaces.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/strings.hpp"
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

/// What a node needs before it is taken out of its place, from where it goes on to `new_parent` (null:
/// nowhere). False without memory.
bool prepare_to_leave(Departure& leaving, xmlNode* node, const xmlNode* new_parent = nullptr) {
    // A node that hangs nowhere asks for no walk up, so a script may build downwards without end.
    const xmlDoc* const doc = node->parent ? containing_document(node) : nullptr;
    return !doc || leaving.prepare(node, new_parent && doc == containing_document(new_parent));
}

/// Takes a node that is prepared out of its place; nothing happens to a node that hangs nowhere.
void take_out(Departure& leaving, xmlNode* node) {
    if (!node->parent) return;
    leaving.complete();
    const AttributeTextChange change(is_attribute(node) ? nullptr : node->parent);
    xmlUnlinkNode(node);
}

/// Links a node that hangs nowhere under parent, just before `next`, or as the last child for null.
void link_under(xmlNode* parent, xmlNode* node, xmlNode* next) {
    adopt(node, parent);
    {
        const AttributeTextChange change(parent);
        link_before(parent, node, next);
    }
    _x_NsAfterLinkNode(node, 0);
}

/// A text node that is merged into another one instead of being linked, in two steps as a departure.
class TextMerge {
public:
    /// The text node, if any, that takes the text of newnode when that is placed at this position.
    static xmlNode* target(std::uint32_t position, xmlNode* node, const xmlNode* newnode) {
        if (newnode->type != XML_TEXT_NODE) return nullptr;
        if (position > 0) return node->type == XML_TEXT_NODE ? node : nullptr;
        xmlNode* const last = node->last == newnode ? newnode->prev : node->last;
        const bool same = last && last->type == XML_TEXT_NODE && last->name == newnode->name;
        return same ? last : nullptr;
    }

    /// Makes room in the text. False without memory.
    bool prepare(xmlNode* text, const xmlNode* newnode) {
        if (!own_strings(text, document_for_lookup(text))) return false;
        old_length_ = length_of(text);
        new_length_ = length_of(newnode);
        const std::size_t bytes = old_length_ + new_length_ + 1;
        const bool inside = is_inside(text);
        auto* const content =
            static_cast<xmlChar*>(inside ? xmlMalloc(bytes) : xmlRealloc(text->content, bytes));
        if (!content) return false;
        if (inside) std::memcpy(content, text->content, old_length_);
        content[old_length_] = 0;
        text->content = content;
        return true;
    }

    /// Puts the text of newnode, which hangs nowhere, before what is there or after it; newnode ends.
    void complete(xmlNode* text, xmlNode* newnode, bool before) {
        const AttributeTextChange change(text->parent);
        xmlChar* const content = text->content;
        if (before) std::memmove(content + new_length_, content, old_length_ + 1);
        xmlChar* const place = before ? content : content + old_length_;
        if (new_length_ > 0) std::memcpy(place, newnode->content, new_length_);
        content[old_length_ + new_length_] = 0;
        _x_freeNode(newnode);
    }

private:
    static std::size_t length_of(const xmlNode* text) {
        return text->content ? std::strlen(reinterpret_cast<const char*>(text->content)) : 0;
    }

    std::size_t old_length_ = 0;
    std::size_t new_length_ = 0;
};

/// Places `newnode` as the last child of `node` (position 0), just before it (1) or just after it (2).
/// Gives the node that is now in the tree: the neighbour when a text was merged into it. No value for
/// another position, a node that the parent does not take, and an attribute as the neighbour.
Result add_child(Call& call, std::uint32_t position, Deferred<xmlNode*> node_argument,
                 Deferred<xmlNode*> newnode_argument) {
    enum : std::uint32_t { last_child, before, after };
    if (position > after) return no_value;
    xmlNode* node = nullptr;
    xmlNode* newnode = nullptr;
    if (vt_status status = node_argument.read(call, node)) return failure(status);
    if (vt_status status = newnode_argument.read(call, newnode)) return failure(status);

    if (node == newnode) return no_value;
    if (position != last_child && is_attribute(node)) return no_value;
    xmlNode* const parent = position == last_child ? node : node->parent;
    if (!may_be_linked(parent, newnode)) return no_value;

    Departure leaving;
    if (xmlNode* const text = TextMerge::target(position, node, newnode)) {
        if (!prepare_to_leave(leaving, newnode)) return failure(VT_OUT_OF_MEMORY);
        TextMerge merge;
        if (!merge.prepare(text, newnode)) return failure(VT_OUT_OF_MEMORY);
        take_out(leaving, newnode);
        merge.complete(text, newnode, position == before);
        return call.handle(text);
    }
    if (!prepare_to_leave(leaving, newnode, parent)) return failure(VT_OUT_OF_MEMORY);
    take_out(leaving, newnode);
    xmlNode* const next = position == before ? node : position == after ? node->next : nullptr;
    link_under(parent, newnode, next);
    return call.handle(newnode);
}

/// Takes `node` with its subtree out of its place; gives the node, which is the script's from then on.
/// No value for a document, the root element or DTD of one, and what is inside a DTD.
Result unlink(Call& call, xmlNode* node) {
    if (_x_isWriteNode(node) != 1 || is_document(node)) return no_value;
    Departure leaving;
    if (!prepare_to_leave(leaving, node)) return failure(VT_OUT_OF_MEMORY);
    take_out(leaving, node);
    return call.handle(node);
}

/// Puts `newnode` in the place of `node`; gives `node`, which is the script's from then on.
Result replace(Call& call, xmlNode* node, xmlNode* newnode) {
    if (node == newnode || is_attribute(node)) return no_value;
    xmlNode* const parent = node->parent;
    if (!may_be_linked(parent, newnode) || _x_isWriteNode(node) != 1) return no_value;

    // The new node may hang below the one that it replaces: its records are made, and given back, within
    // the time of the other's.
    Departure of_node;
    Departure of_newnode;
    if (!prepare_to_leave(of_node, node) || !prepare_to_leave(of_newnode, newnode, parent))
        return failure(VT_OUT_OF_MEMORY);
    take_out(of_newnode, newnode);
    xmlNode* const next = node->next;
    take_out(of_node, node);
    link_under(parent, newnode, next);
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
