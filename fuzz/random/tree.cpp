#include "fuzz/random/tree.hpp"

#include <algorithm>
#include <set>

namespace valtrosse::random {

namespace {

bool is_barrier(const Node* node) { return node->is_reference(); }

bool is_predefined(const std::string& entity) {
    return entity == "lt" || entity == "gt" || entity == "amp" || entity == "quot" ||
           entity == "apos";
}

NamespaceRef declared_on(const Node* element, const Text& prefix) {
    for (const NamespaceRef& ns : element->declarations)
        if (ns->prefix == prefix) return ns;
    return nullptr;
}

}  // namespace

// ---- Places -------------------------------------------------------------------------------------

std::vector<Node*>& siblings_of(const Node* node) {
    return node->is_attribute() ? node->parent->attributes : node->parent->children;
}

Node* sibling(const Node* node, int distance) {
    if (!node->parent || node->type == XML_NOTATION_NODE) return nullptr;
    const std::vector<Node*>& all = siblings_of(node);
    const auto place = std::find(all.begin(), all.end(), node) - all.begin() + distance;
    return place >= 0 && place < static_cast<std::ptrdiff_t>(all.size())
               ? all[static_cast<std::size_t>(place)]
               : nullptr;
}

Node* topmost(Node* node) {
    while (node->parent) node = node->parent;
    return node;
}

Node* containing_document(Node* node) {
    Node* const top = topmost(node);
    return top->is_document() ? top : nullptr;
}

bool is_at_or_above(const Node* ancestor, const Node* node) {
    while (node && node != ancestor) node = node->parent;
    return node != nullptr;
}

void for_subtree(Node* root, const std::function<void(Node*)>& visit) {
    visit(root);
    for (std::size_t i = 0; i < root->attributes.size(); ++i)
        for_subtree(root->attributes[i], visit);
    if (root->type == XML_NOTATION_NODE) return;
    for (std::size_t i = 0; i < root->children.size(); ++i) for_subtree(root->children[i], visit);
}

NamespaceRef in_scope(const Node* node, const Text& prefix) {
    for (; node && !is_barrier(node); node = node->parent)
        if (NamespaceRef ns = declared_on(node, prefix)) return ns;
    return nullptr;
}

std::vector<NamespaceRef> all_in_scope(const Node* node) {
    std::vector<NamespaceRef> all;
    for (; node; node = node->parent)
        for (const NamespaceRef& ns : node->declarations)
            if (std::none_of(all.begin(), all.end(), [&](const NamespaceRef& known) {
                    return known->prefix == ns->prefix;
                }))
                all.push_back(ns);
    return all;
}

std::string collapsed(const std::string& text) {
    std::string out;
    for (const char c : text)
        if (c != ' ' || (!out.empty() && out.back() != ' ')) out += c;
    if (out.ends_with(' ')) out.pop_back();
    return out;
}

// ---- The live objects ---------------------------------------------------------------------------

Node* Forest::make(std::uint32_t step, xmlElementType type) {
    if (step != last_step_) next_index_ = 0;
    last_step_ = step;
    auto node = std::make_unique<Node>();
    node->id = {step, next_index_++};
    node->type = type;
    Node* const made = node.get();
    nodes_[made->id] = std::move(node);
    return made;
}

Node* Forest::at(Ref ref) const {
    const auto found = nodes_.find(ref);
    return found == nodes_.end() ? nullptr : found->second.get();
}

Node* Forest::by_address(Address address) const {
    const auto found = by_address_.find(address);
    return found == by_address_.end() ? nullptr : found->second;
}

void Forest::bind(Node* node, Address address) {
    node->address = address;
    by_address_[address] = node;
}

void Forest::forget(Node* node) {
    if (on_end) on_end(node);
    const auto found = by_address_.find(node->address);
    if (found != by_address_.end() && found->second == node) by_address_.erase(found);
    nodes_.erase(node->id);
}

void Forest::end(Node* root) {
    if (root->is_document() && root->external_subset) end(root->external_subset);
    std::vector<Node*> ending;
    for_subtree(root, [&](Node* node) { ending.push_back(node); });
    for (Node* node : ending) forget(node);
}

void Forest::end_notations(Node* first) {
    if (first->parent) first->parent->children.clear();
    while (first) {
        Node* const next = first->children.empty() ? nullptr : first->children.front();
        forget(first);
        first = next;
    }
}

// ---- Look-ups -----------------------------------------------------------------------------------

Node* Forest::lookup_document(Node* node) const {
    Node* const named = by_address(node->owner);
    return named && named->is_document() ? named : containing_document(node);
}

Node* Forest::entity_named(const Node* document, const std::string& name) {
    if (!document) return nullptr;
    for (const Node* dtd : {document->internal_subset,
                            document->standalone != 1 ? document->external_subset : nullptr})
        for (Node* entity : dtd ? dtd->children : std::vector<Node*>())
            if (entity->type == XML_ENTITY_DECL && !entity->parameter_entity &&
                entity->name == name)
                return entity;
    return nullptr;
}

Node* Forest::attribute_declaration(const Node* document, const std::string& element,
                                    const std::string& name, const std::string& prefix,
                                    bool internal_only) const {
    if (!document) return nullptr;
    for (const Node* dtd : {document->internal_subset, document->external_subset}) {
        if (!dtd || (internal_only && dtd == document->external_subset)) continue;
        for (Node* declaration : dtd->children)
            if (declaration->type == XML_ATTRIBUTE_DECL && declaration->declared_for == element &&
                declaration->name == name && declaration->prefix == prefix)
                return declaration;
    }
    return nullptr;
}

bool Forest::is_declared_id(const Node* document, const Node* element, const Node* attr,
                            bool internal_only) const {
    std::string prefix = attr->ns ? attr->ns->prefix.value_or("") : "";
    std::string name = attr->name;
    // An attribute whose prefix no one declares has it in its name.
    if (const std::size_t colon = name.find(':'); prefix.empty() && colon != std::string::npos) {
        prefix = name.substr(0, colon);
        name.erase(0, colon + 1);
    }
    const Node* declaration =
        attribute_declaration(document, element->qualified_name(), name, prefix, internal_only);
    return declaration && declaration->declares_id;
}

Text Forest::joined_text(Node* node) const {
    Text text;
    const auto add = [&](const Text& more) {
        if (more) text = text.value_or("") + *more;
    };
    const Node* document = nullptr;
    bool looked_up = false;
    for (Node* at = node; at; at = sibling(at, 1)) {
        if (at->has_text()) add(at->content);
        if (!at->is_reference()) continue;
        if (!looked_up) document = lookup_document(at);
        looked_up = true;
        const Node* const found = entity_named(document, at->name);
        if (found)
            add(found->replacement);
        else if (!is_predefined(at->name))
            add(at->content);
    }
    return text;
}

std::string Forest::attribute_value(const Node* attr) const {
    return attr->children.empty() ? "" : joined_text(attr->children.front()).value_or("");
}

// ---- IDs ----------------------------------------------------------------------------------------

void Forest::add_id(Node* document, Node* attr) {
    for (const auto& [id, holder] : document->ids)
        if (holder == attr) return;
    Node* const element = attr->parent;
    const bool xml_id = attr->ns && attr->ns->prefix == "xml" && attr->name == "id";
    if (!xml_id) {
        if (document->type == XML_HTML_DOCUMENT_NODE) {
            if (attr->name != "id" && !(attr->name == "name" && element->name == "a")) return;
        } else if (!is_declared_id(document, element, attr, false)) {
            return;
        }
    }
    const std::string value = collapsed(attribute_value(attr));
    if (value.empty()) return;
    // The first holder keeps it.
    if (!document->ids.emplace(value, attr).second) document->ids_repeated = true;
}

void Forest::enter_missing_ids(Node* document) {
    if (!document || !document->ids_missing) return;
    document->ids_missing = document->ids_repeated = false;
    for_subtree(document, [&](Node* node) {
        if (node->is_attribute()) add_id(document, node);
    });
}

void Forest::remove_id(Node* document, Node* attr) {
    if (document && std::erase_if(document->ids, [attr](auto& id) { return id.second == attr; }))
        document->ids_missing |= document->ids_repeated;
}

/// The text of an attribute in a document is about to change: its ID leaves the table and comes back.
class Forest::IdChange {
public:
    IdChange(Forest& forest, Node* node) : forest_(forest) {
        while (node && !node->is_attribute() && !node->is_element()) node = node->parent;
        if (!node || !node->is_attribute() || !node->parent) return;
        document_ = containing_document(node);
        if (!document_) return;
        attr_ = node;
        forest_.remove_id(document_, attr_);
    }
    ~IdChange() {
        if (attr_) forest_.add_id(document_, attr_);
    }

private:
    Forest& forest_;
    Node* document_ = nullptr;
    Node* attr_ = nullptr;
};

// ---- Moving -------------------------------------------------------------------------------------

void Forest::make_independent(Node* node, Node* document) {
    if (node->is_attribute()) remove_id(document, node);
    node->entity = nullptr;
    const Node* const declared =
        node->is_reference() && !node->content ? entity_named(document, node->name) : nullptr;
    if (declared) node->content = declared->content;
}

void Forest::leave_document(Node* root, Node* document) {
    const auto make_private = [](Node* node) {
        if (!node->ns || node->ns->is_private) return;
        node->ns = std::make_shared<Namespace>(*node->ns);
        node->ns->is_private = true;
    };
    for_subtree(root, [&](Node* node) {
        make_private(node);
        make_independent(node, document);
        // The attributes of elements, and their text, go on naming the document.
        const Node* part = node;
        while (part != root && !part->is_attribute()) part = part->parent;
        if (part == root) node->owner = 0;
    });
}

void Forest::take_out(Node* node) {
    if (!node->parent) return;
    if (containing_document(node)) leave_document(node, lookup_document(node));
    const IdChange change(*this, node->is_attribute() ? nullptr : node->parent);
    std::erase(siblings_of(node), node);
    node->parent = nullptr;
}

void Forest::adopt(Node* root, Node* parent) {
    Node* const document = containing_document(parent);
    if (!document && root->owner == parent->owner && !root->is_attribute()) return;
    for_subtree(root, [&](Node* node) {
        node->owner = parent->owner;
        if (document && node->is_attribute() && node->parent) add_id(document, node);
    });
}

void Forest::resolve(NamespaceRef& ns, Node* element) {
    if (!ns) return;
    if (ns->prefix == "xml") {
        ns = std::make_shared<Namespace>(*ns);
        ns->is_private = false;
        return;
    }
    NamespaceRef declaration = in_scope(element, ns->prefix);
    if (ns->is_private && !declaration) {
        declaration = std::make_shared<Namespace>(*ns);
        declaration->is_private = false;
        element->declarations.push_back(declaration);
    }
    ns = declaration;
}

void Forest::resolve_namespaces(Node* root) {
    if (!containing_document(root)) return;
    for_subtree(root, [this](Node* node) {
        if (!node->is_element()) return;
        resolve(node->ns, node);
        for (Node* attr : node->attributes) resolve(attr->ns, node);
    });
}

Node* Forest::link(Node* parent, std::size_t place, Node* node, Node* merge_into,
                   bool merge_before) {
    adopt(node, parent);
    if (node->is_text() && merge_into && merge_into->is_text()) {
        {
            const IdChange change(*this, parent);
            const std::string added = node->content.value_or("");
            const std::string present = merge_into->content.value_or("");
            merge_into->content = merge_before ? added + present : present + added;
        }
        forget(node);
        return merge_into;
    }
    {
        const IdChange change(*this, parent);
        parent->children.insert(parent->children.begin() + static_cast<std::ptrdiff_t>(place),
                                node);
        node->parent = parent;
    }
    resolve_namespaces(node);
    return node;
}

void Forest::replace(Node* old, Node* node) {
    take_out(node);
    Node* const parent = old->parent;
    if (containing_document(old)) leave_document(old, lookup_document(old));
    adopt(node, parent);
    {
        const IdChange change(*this, parent);
        *std::find(parent->children.begin(), parent->children.end(), old) = node;
        node->parent = parent;
        old->parent = nullptr;
    }
    resolve_namespaces(node);
}

void Forest::set_content(Node* node, const std::string& text) {
    const IdChange change(*this, node->parent);
    node->content = text;
}

void Forest::make_subset(Node* document, Node* dtd, std::size_t place) {
    adopt(dtd, document);
    document->children.insert(document->children.begin() + static_cast<std::ptrdiff_t>(place), dtd);
    dtd->parent = document;
    document->internal_subset = dtd;
}

// ---- Attributes and namespaces ------------------------------------------------------------------

Node* Forest::set_attribute(Node* element, Node* attr, bool by_namespace) {
    const auto old = std::find_if(
        element->attributes.begin(), element->attributes.end(), [&](const Node* other) {
            if (other->name != attr->name) return false;
            return by_namespace ? other->ns && other->ns->uri == attr->ns->uri : !other->ns;
        });
    Node* replaced = attr;
    if (old != element->attributes.end()) {
        replaced = *old;
        *old = attr;
        if (by_namespace && !replaced->ns->is_private) {
            replaced->ns = std::make_shared<Namespace>(*replaced->ns);
            replaced->ns->is_private = true;
        }
        Node* const document = lookup_document(replaced);
        replaced->parent = nullptr;
        for_subtree(replaced, [&](Node* node) { make_independent(node, document); });
    } else {
        element->attributes.push_back(attr);
    }
    attr->parent = element;
    adopt(attr, element);
    if (by_namespace) resolve_namespaces(element);
    return replaced;
}

void Forest::remove_attribute(Node* attr) {
    leave_document(attr, lookup_document(attr));
    std::erase(attr->parent->attributes, attr);
    attr->parent = nullptr;
}

void Forest::declare(Node* element, const std::string& uri, const Text& prefix) {
    if (!declared_on(element, prefix))
        element->declarations.push_back(std::make_shared<Namespace>(Namespace{prefix, uri, false}));
    normalise(element);
}

void Forest::normalise(Node* root) {
    std::map<Namespace*, NamespaceRef> outer;
    for_subtree(root, [&](Node* node) {
        if (!node->is_element()) return;
        std::erase_if(node->declarations, [&](const NamespaceRef& ns) {
            NamespaceRef found = node->parent ? in_scope(node->parent, ns->prefix) : nullptr;
            if (found) outer[ns.get()] = found;
            return found != nullptr;
        });
        const auto follow = [&](NamespaceRef& ns) {
            if (const auto found = outer.find(ns.get()); found != outer.end()) ns = found->second;
        };
        follow(node->ns);
        for (Node* attr : node->attributes) follow(attr->ns);
    });
}

// ---- Copies -------------------------------------------------------------------------------------

Node* Forest::copy(Node* source, bool deep, std::uint32_t step) {
    Node* root = nullptr;
    // Whether a namespace is declared above what is copied, and its prefix not in it: then the copy
    // declares it itself.
    const auto is_declared_outside = [&](const Node* at, const Namespace& ns) {
        for (const Node* node = at; node != source->parent; node = node->parent)
            if (is_barrier(node))
                break;
            else if (declared_on(node, ns.prefix))
                return false;
        for (const Node* node = source->parent; node && !is_barrier(node); node = node->parent)
            for (const NamespaceRef& declared : node->declarations)
                if (declared->prefix == ns.prefix && declared->uri == ns.uri) return true;
        return false;
    };
    const auto copy_namespace = [&](const Node* from, Node* to, bool declare) {
        if (!from->ns) return;
        to->ns = std::make_shared<Namespace>(*from->ns);
        to->ns->is_private = true;
        if (declare && root->is_element() && is_declared_outside(from, *from->ns) &&
            !declared_on(root, from->ns->prefix))
            root->declarations.push_back(
                std::make_shared<Namespace>(Namespace{from->ns->prefix, from->ns->uri, false}));
    };
    const bool of_document = source->is_document();
    std::map<const Node*, Node*> copies;
    const std::function<Node*(const Node*, bool)> copy_node = [&](const Node* from, bool below) {
        Node* const to = make(step, from->type);
        const Ref id = to->id;
        *to = *from;
        to->id = id;
        to->handle = 0;
        to->address = to->owner = 0;
        to->parent = to->internal_subset = to->external_subset = nullptr;
        copies[from] = to;
        if (!of_document) to->entity = nullptr;
        if (!of_document && to->is_reference()) to->content.reset();
        to->children.clear();
        to->attributes.clear();
        to->declarations.clear();
        to->ids.clear();
        to->ns = nullptr;
        if (!root) root = to;
        for (const NamespaceRef& ns : from->declarations)
            to->declarations.push_back(std::make_shared<Namespace>(*ns));
        copy_namespace(from, to, from->is_attribute() || deep);
        for (const Node* attr : from->attributes) {
            Node* const attr_copy = copy_node(attr, true);
            attr_copy->parent = to;
            to->attributes.push_back(attr_copy);
        }
        if (below)
            for (const Node* child : from->children) {
                Node* const child_copy = copy_node(child, true);
                child_copy->parent = to;
                to->children.push_back(child_copy);
                if (child == from->internal_subset) to->internal_subset = child_copy;
            }
        return to;
    };
    copy_node(source, deep || source->is_attribute());
    if (!of_document || !deep) return root;
    if (source->external_subset) {
        root->external_subset = copy_node(source->external_subset, true);
        root->external_subset->external = true;
    }
    for (const auto& [from, to] : copies)
        if (to->entity) to->entity = copies.at(to->entity);
    // Under its value: the parser keeps the blanks of an xml:id.
    std::set<const Node*> holders;
    for (const auto& [id, holder] : source->ids) holders.insert(copies.at(holder));
    for_subtree(root, [&](Node* node) {
        if (!holders.contains(node)) return;
        const std::string value = collapsed(attribute_value(node));
        if (!value.empty() && !root->ids.emplace(value, node).second) root->ids_repeated = true;
    });
    return root;
}

void Forest::name_in_attributes(Node* root, Address document) {
    if (root->is_attribute()) return;
    for_subtree(root, [&](Node* node) {
        const Node* part = node;
        while (part && !part->is_attribute()) part = part->parent;
        if (part) node->owner = document;
    });
}

}  // namespace valtrosse::random
