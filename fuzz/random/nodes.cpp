// What the functions on nodes are to give.
#include <algorithm>

#include "fuzz/random/check.hpp"
#include "fuzz/random/session.hpp"

namespace valtrosse::random {

// ---- Identity -----------------------------------------------------------------------------------

Expected Session::type(const Args& args) {
    const xmlElementType type = args.nodes[0]->type;
    if (type == XML_DTD_NODE) return integer(10);
    if (type == XML_ENTITY_DECL) return integer(6);
    return type <= XML_NOTATION_NODE ? integer(type) : none();
}

Expected Session::name(const Args& args) {
    const Node* const node = args.nodes[0];
    switch (node->type) {
        case XML_TEXT_NODE: return text("#text");
        case XML_CDATA_SECTION_NODE: return text("#cdata-section");
        case XML_COMMENT_NODE: return text("#comment");
        case XML_DOCUMENT_NODE:
        case XML_HTML_DOCUMENT_NODE: return text("#document");
        case XML_DOCUMENT_FRAG_NODE: return text("#document-fragment");
        case XML_ELEMENT_NODE:
        case XML_ATTRIBUTE_NODE: return text(node->qualified_name());
        default: return text(node->name);
    }
}

Expected Session::value(const Args& args) {
    Node* const node = args.nodes[0];
    if (node->is_attribute()) return text(forest_.attribute_value(node));
    if (node->is_text()) return text(forest_.joined_text(node));
    return node->is_character_data() ? text(node->content) : none();
}

Expected Session::set_value(const Args& args) {
    if (!args.nodes[0]->is_character_data()) return none();
    forest_.set_content(args.nodes[0], args.texts[1]);
    return node_or_none(args.nodes[0]);
}

Expected Session::is_blank(const Args& args) {
    const Node* const node = args.nodes[0];
    if (!node->has_text()) return none();
    const bool blank = node->content.value_or("").find_first_not_of(" \t\r\n") == std::string::npos;
    return blank ? integer(0) : none();
}

Expected Session::text_length(const Args& args) {
    if (!args.nodes[0]->is_text()) return none();
    return integer(
        static_cast<std::uint32_t>(forest_.joined_text(args.nodes[0]).value_or("").size()));
}

Expected Session::relative(const Args& args) {
    const Node* const node = args.nodes[0];
    if (node->type == XML_HTML_DOCUMENT_NODE || node->is_declaration()) return none();
    const auto& children = node->children;
    const bool notation = node->type == XML_NOTATION_NODE;
    switch (args.integers[1]) {
        case 0: return node_or_none(node->parent);
        case 1: return node_or_none(sibling(node, 1));
        case 2: return node_or_none(sibling(node, -1));
        case 3:
            if (node->entity) return node_or_none(node->entity);
            return node_or_none(children.empty() ? nullptr : children.front());
        case 4:
            if (node->entity) return node_or_none(node->entity);
            return node_or_none(children.empty() || notation ? nullptr : children.back());
        default: return none();
    }
}

Expected Session::owner_doc(const Args& args) {
    const Address owner = args.nodes[0]->owner;
    if (!knows_handles()) return integer(static_cast<Handle>(owner));
    Node* const named = forest_.by_address(owner);
    return named && named->is_document() ? node_or_none(named) : integer(0);
}

// ---- Creating -----------------------------------------------------------------------------------

Expected Session::create_node(const Args& args) {
    const std::string& data = args.texts[2];
    switch (args.integers[1]) {
        case XML_ELEMENT_NODE:
        case XML_ATTRIBUTE_NODE:
        case XML_ENTITY_REF_NODE:
            if (data.find(':') != std::string::npos) return none();
            break;
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_PI_NODE:
        case XML_COMMENT_NODE:
        case XML_DOCUMENT_FRAG_NODE: break;
        default: return none();
    }
    const auto type = static_cast<xmlElementType>(args.integers[1]);
    Node* const node = forest_.make(step_, type);
    node->owner = args.nodes[0] ? args.nodes[0]->address : args.integers[0];
    if (node->is_character_data() && type != XML_PI_NODE)
        node->content = data;
    else
        node->name = data;
    return created(node);
}

Expected Session::create_node_ns(const Args& args) {
    constexpr std::string_view xml_uri = "http://www.w3.org/XML/1998/namespace";
    constexpr std::string_view xmlns_uri = "http://www.w3.org/2000/xmlns/";
    const std::string& qname = args.texts[2];
    const std::string prefix = qname.substr(0, qname.find(':'));
    if ((prefix == "xml" && args.texts[3] != xml_uri) ||
        (prefix == "xmlns" && args.texts[3] != xmlns_uri))
        return none();
    if (args.integers[1] != XML_ELEMENT_NODE && args.integers[1] != XML_ATTRIBUTE_NODE)
        return none();
    Node* const node = forest_.make(step_, static_cast<xmlElementType>(args.integers[1]));
    node->owner = args.nodes[0] ? args.nodes[0]->address : args.integers[0];
    node->name = qname.substr(prefix.size() + 1);
    node->ns = std::make_shared<Namespace>(
        Namespace{prefix.empty() ? Text() : Text(prefix), args.texts[3], true});
    return created(node);
}

// ---- Changing trees -----------------------------------------------------------------------------

bool Session::may_be_linked(const Node* parent, const Node* node) {
    if (!parent) return false;
    const bool content = node->is_element() || node->is_character_data() || node->is_reference();
    const auto has_child = [&](xmlElementType type) {
        return std::any_of(parent->children.begin(), parent->children.end(),
                           [type](const Node* child) { return child->type == type; });
    };
    switch (parent->type) {
        case XML_ELEMENT_NODE:
        case XML_DOCUMENT_FRAG_NODE:
            if (!content) return false;
            break;
        case XML_ENTITY_REF_NODE:
            if (!content || parent->entity) return false;
            if (parent->parent && parent->parent->is_attribute()) return false;
            break;
        case XML_ATTRIBUTE_NODE:
            if (!node->is_text() && !node->is_reference()) return false;
            if (!node->children.empty()) return false;
            break;
        case XML_DOCUMENT_NODE:
        case XML_HTML_DOCUMENT_NODE:
            if (node->is_element() || node->is_dtd()) {
                if (has_child(node->type)) return false;
            } else if (node->type != XML_PI_NODE && node->type != XML_COMMENT_NODE) {
                return false;
            }
            break;
        default: return false;
    }
    if (node->is_dtd() && (node->parent || node->external)) return false;
    return !is_at_or_above(node, parent);
}

Expected Session::add_child(const Args& args) {
    Node* const node = args.nodes[1];
    Node* const newnode = args.nodes[2];
    const std::uint32_t position = args.integers[0];
    if (node == newnode || (position > 0 && node->is_attribute())) return none();
    Node* const parent = position == 0 ? node : node->parent;
    if (!may_be_linked(parent, newnode)) return none();

    forest_.take_out(newnode);
    auto& children = parent->children;
    if (position == 0) {
        Node* const last = children.empty() ? nullptr : children.back();
        return node_or_none(forest_.link(parent, children.size(), newnode, last, false));
    }
    const auto place = std::find(children.begin(), children.end(), node) - children.begin();
    return node_or_none(forest_.link(parent,
                                     static_cast<std::size_t>(position == 1 ? place : place + 1),
                                     newnode, node, position == 1));
}

namespace {

/// Whether a node may leave its place: not the root element or the DTD of a document, and nothing out
/// of a DTD.
bool may_leave(const Node* node) {
    if (!node->parent) return true;
    if (node->parent->is_dtd()) return false;
    return !(node->parent->is_document() && (node->is_element() || node->is_dtd()));
}

}  // namespace

Expected Session::unlink(const Args& args) {
    Node* const node = args.nodes[0];
    if (!may_leave(node) || node->is_document()) return none();
    forest_.take_out(node);
    return node_or_none(node);
}

Expected Session::replace(const Args& args) {
    Node* const node = args.nodes[0];
    Node* const newnode = args.nodes[1];
    if (node == newnode || node->is_attribute() || !may_leave(node)) return none();
    if (!may_be_linked(node->parent, newnode)) return none();
    forest_.replace(node, newnode);
    return node_or_none(node);
}

bool Session::may_be_freed(const Node* node) {
    if (node->is_declaration()) return false;
    if (node->is_dtd()) return !node->parent && !node->external;
    return !node->parent || node->type == XML_NOTATION_NODE;
}

Expected Session::free_node(const Args& args) {
    if (!may_be_freed(args.nodes[0])) return none();
    end_tree(args.nodes[0]);
    return integer(0);
}

// ---- Copying ------------------------------------------------------------------------------------

namespace {

bool can_be_copied(const Node* node) {
    return !node->is_declaration() && !node->is_dtd() && node->type != XML_NOTATION_NODE;
}

}  // namespace

Expected Session::clone(const Args& args) {
    if (args.integers[1] > 1 || !can_be_copied(args.nodes[0])) return none();
    Expected expected = created(forest_.copy(args.nodes[0], args.integers[1] == 1, step_));
    if (expected.node->is_document())
        expected.then = [this, document = expected.node] {
            forest_.name_in_attributes(document, document->address);
        };
    return expected;
}

Expected Session::import(const Args& args) {
    Node* const node = args.nodes[0];
    Node* const document = args.nodes[2];
    if (args.integers[1] > 1 || document->address == node->owner || node->is_document() ||
        !can_be_copied(node) || !document->is_document())
        return none();
    Expected expected = created(forest_.copy(node, args.integers[1] == 1, step_));
    forest_.name_in_attributes(expected.node, document->address);
    return expected;
}

// ---- Serialising --------------------------------------------------------------------------------

/// What XPath and serialising do in a tree outside any document.
void Session::forget_ended_documents(Node* node) {
    if (containing_document(node)) return;
    for_subtree(topmost(node), [this](Node* part) {
        const Node* const named = forest_.by_address(part->owner);
        if (!named || !named->is_document()) part->owner = 0;
    });
}

Expected Session::dump(const Args& args) {
    if (args.integers[1] > 1) return none();
    forget_ended_documents(args.nodes[0]);
    return {.kind = args.integers[1] == 0 ? Expected::Kind::dump : Expected::Kind::anything,
            .node = args.nodes[0]};
}

// ---- XPath --------------------------------------------------------------------------------------

namespace {

struct NodeTest {
    std::string name;  // with a prefix, or a test like node()
    std::string uri;   // of the prefix

    bool operator()(const Node* node, bool on_attribute_axis) const {
        if (name == "node()")
            return node->is_element() || node->is_attribute() || node->is_character_data() ||
                   node->is_document();
        if (name == "text()") return node->has_text();
        if (name == "comment()") return node->type == XML_COMMENT_NODE;
        if (name == "processing-instruction()") return node->type == XML_PI_NODE;
        if (on_attribute_axis ? !node->is_attribute() : !node->is_element()) return false;
        if (name == "*") return true;
        const std::size_t colon = name.find(':');
        const bool no_namespace = !node->ns || (on_attribute_axis && !node->ns->prefix);
        if (colon == std::string::npos) return node->name == name && no_namespace;
        return node->name == name.substr(colon + 1) && node->ns && node->ns->uri == uri;
    }
};

/// The nodes on an axis in document order, by the tree's own structure.
std::vector<Node*> on_axis(Node* node, const std::string& axis, Node* lookup_document) {
    std::vector<Node*> nodes;
    const auto& children = node->children;
    const auto below = [&](Node* top) {
        const std::function<void(Node*)> visit = [&](Node* at) {
            for (Node* child : at->children) {
                if (child->is_dtd()) continue;
                nodes.push_back(child);
                visit(child);
            }
        };
        visit(top);
    };
    if (axis == "self") return {node};
    if (axis == "attribute") return node->attributes;
    if (axis == "parent" || axis == "ancestor") {
        if (!node->parent) {
            const bool has_none =
                node->is_attribute() || node->is_document() || node->type == XML_DOCUMENT_FRAG_NODE;
            if (!has_none && lookup_document) nodes.push_back(lookup_document);
            return nodes;
        }
        for (Node* up = node->parent; up; up = up->parent) {
            nodes.insert(nodes.begin(), up);
            if (axis == "parent") break;
        }
        return nodes;
    }
    if (axis == "child" && !node->is_attribute()) nodes = children;
    if (axis == "descendant" && !node->is_attribute()) below(node);
    const bool following = axis == "following-sibling";
    if ((following || axis == "preceding-sibling") && node->parent && !node->is_attribute()) {
        const auto& all = siblings_of(node);
        const auto place = std::find(all.begin(), all.end(), node);
        nodes = following ? std::vector(place + 1, all.end()) : std::vector(all.begin(), place);
    }
    return nodes;
}

/// The URI of the first element at or below the node whose name has the prefix.
Text uri_of_prefix(Node* root, const std::string& prefix) {
    Text uri;
    for_subtree(root, [&](Node* node) {
        if (!uri && node->is_element() && node->ns && node->ns->prefix == prefix)
            uri = node->ns->uri;
    });
    return uri;
}

}  // namespace

Expected Session::select(const Args& args) {
    Node* const node = args.nodes[0];
    const std::string& expression = args.texts[1];
    forget_ended_documents(node);
    if (node->is_declaration() || node->type == XML_NOTATION_NODE || node->is_dtd()) {
        forest_.enter_missing_ids(forest_.lookup_document(node));
        return {.kind = Expected::Kind::anything};
    }
    Node* const document = forest_.lookup_document(node);
    forest_.enter_missing_ids(document);

    if (expression.starts_with("id('") && expression.ends_with("')")) {
        const std::string id = expression.substr(4, expression.size() - 6);
        if (!document) return list({});
        const auto found = document->ids.find(id);
        return list(found == document->ids.end() ? std::vector<Node*>()
                                                 : std::vector{found->second->parent});
    }
    const std::size_t axis_end = expression.find("::");
    if (axis_end == std::string::npos) {
        static constexpr std::string_view wrong[]{"count(*)", "1 + 1", "((",
                                                  "''",       "no(",   "string()"};
        if (std::find(std::begin(wrong), std::end(wrong), expression) != std::end(wrong))
            return none();
        return {.kind = Expected::Kind::anything};
    }
    NodeTest test{expression.substr(axis_end + 2), ""};
    if (const std::size_t colon = test.name.find(':'); colon != std::string::npos) {
        const Text uri = uri_of_prefix(node, test.name.substr(0, colon));
        if (!uri) return none();
        test.uri = *uri;
    }
    const std::string axis = expression.substr(0, axis_end);
    std::vector<Node*> nodes = on_axis(node, axis, document);
    std::erase_if(nodes, [&](Node* found) { return !test(found, axis == "attribute"); });
    return list(nodes);
}

}  // namespace valtrosse::random
