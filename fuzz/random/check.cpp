#include "fuzz/random/check.hpp"

#include <libxml/dict.h>
#include <libxml/parser.h>
#include <libxml/valid.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "fuzz/random/oracle.hpp"

namespace valtrosse::random {

namespace {

/// libxml2's table: values and attributes.
std::map<std::string, const void*> ids_of(const xmlDoc* doc) {
    std::map<std::string, const void*> found;
    const auto add = [](void* id, void* to, const xmlChar* name) {
        (*static_cast<std::map<std::string, const void*>*>(to))[to_string(name)] =
            static_cast<xmlID*>(id)->attr;
    };
    if (doc->ids) xmlHashScan(static_cast<xmlHashTable*>(doc->ids), add, &found);
    return found;
}

std::string describe(const Node* node) {
    std::string text = "@" + std::to_string(node->id.step);
    if (node->id.index > 0) text += "." + std::to_string(node->id.index);
    return text + " (type " + std::to_string(node->type) + " " + node->qualified_name() + ")";
}

[[noreturn]] void differ(const Node* node, const std::string& what) {
    throw Mismatch(describe(node) + ": " + what);
}

const xmlNode* real(const Node* node) { return node ? real_node(node) : nullptr; }

std::string shown(const Text& text) { return text ? "\"" + *text + "\"" : "none"; }

void same_text(const Node* node, const char* what, const xmlChar* found, const Text& expected) {
    if (to_text(found) != expected)
        differ(node, std::string(what) + " is " + shown(to_text(found)) + ", expected " +
                         shown(expected));
}

void same_link(const Node* node, const char* what, const void* found, const Node* expected) {
    if (found == real(expected)) return;
    differ(node,
           std::string(what) + " is wrong: expected " + (expected ? describe(expected) : "none"));
}

/// Compares the trees of a forest.
class Checker {
public:
    explicit Checker(const Forest& forest) : forest_(forest) {
        for (const auto& [id, node] : forest.nodes())
            if (node->is_document())
                if (xmlDict* dict = reinterpret_cast<const xmlDoc*>(real(node.get()))->dict)
                    dicts_.push_back(dict);
    }

    void run() {
        for (const auto& [id, node] : forest_.nodes())
            if (!node->parent) tree(node.get());
    }

private:
    void tree(Node* top) {
        in_document_ = top->is_document() || top->external;
        document_ = top->is_document() ? reinterpret_cast<const xmlDoc*>(real(top)) : nullptr;
        subtree(top, nullptr, nullptr);
        if (top->is_document()) document(top);
    }

    void subtree(const Node* node, const Node* prev, const Node* next) {
        links(node, prev, next);
        if (node->type == XML_NOTATION_NODE) {
            notation(node);
            return;
        }
        if (!node->is_declaration()) content(node);
        for (std::size_t i = 0; i < node->attributes.size(); ++i)
            subtree(node->attributes[i], i > 0 ? node->attributes[i - 1] : nullptr,
                    i + 1 < node->attributes.size() ? node->attributes[i + 1] : nullptr);
        for (std::size_t i = 0; i < node->children.size(); ++i)
            subtree(node->children[i], i > 0 ? node->children[i - 1] : nullptr,
                    i + 1 < node->children.size() ? node->children[i + 1] : nullptr);
    }

    static void links(const Node* node, const Node* prev, const Node* next) {
        const xmlNode* const found = real(node);
        if (found->type != node->type) differ(node, "the type is " + std::to_string(found->type));
        same_link(node, "parent", found->parent, node->parent);
        if (node->type == XML_NOTATION_NODE) {
            same_link(node, "the next notation", found->children,
                      node->children.empty() ? nullptr : node->children.front());
            return;
        }
        same_link(node, "prev", found->prev, prev);
        same_link(node, "next", found->next, next);
        if (address_of(found->doc) != node->owner) differ(node, "the owner is another one");
        if (node->is_declaration()) return;
        const bool none = node->children.empty();
        same_link(node, "children", found->children,
                  node->entity ? node->entity
                  : none       ? nullptr
                               : node->children.front());
        same_link(node, "last", found->last,
                  node->entity ? node->entity
                  : none       ? nullptr
                               : node->children.back());
        if (!node->is_element()) return;
        same_link(node, "properties", found->properties,
                  node->attributes.empty() ? nullptr : node->attributes.front());
    }

    void content(const Node* node) {
        const xmlNode* const found = real(node);
        if (node->is_character_data()) same_text(node, "content", found->content, node->content);
        if (!node->is_document() && !node->has_text() && node->type != XML_COMMENT_NODE &&
            node->type != XML_DOCUMENT_FRAG_NODE)
            same_text(node, "name", found->name ? found->name : to_xml(""), node->name);
        if (node->is_element()) declarations(node, found);
        if (node->is_element() || node->is_attribute()) name_space(node, found->ns);
        if (in_document_ || node->is_declaration() || node->is_dtd()) return;
        for (xmlDict* dict : dicts_)
            if ((found->name && !node->is_text() && xmlDictOwns(dict, found->name) == 1) ||
                (node->is_character_data() && found->content &&
                 xmlDictOwns(dict, found->content) == 1))
                differ(node, "a text of its own is a document's");
    }

    static void declarations(const Node* node, const xmlNode* found) {
        const xmlNs* ns = found->nsDef;
        for (const NamespaceRef& expected : node->declarations) {
            if (!ns) differ(node, "a declaration of " + shown(expected->prefix) + " is missing");
            same_text(node, "a declared prefix", ns->prefix, expected->prefix);
            same_text(node, "a declared URI", ns->href, expected->uri);
            ns = ns->next;
        }
        if (ns) differ(node, "declares " + shown(to_text(ns->prefix)) + ", which is not expected");
    }

    void name_space(const Node* node, const xmlNs* found) {
        const NamespaceRef& expected = node->ns;
        if (!expected || !found) {
            if (expected || found)
                differ(node, found ? "has a namespace: " + to_string(found->href)
                                   : "has lost its namespace " + expected->uri);
            return;
        }
        same_text(node, "prefix", found->prefix, expected->prefix);
        same_text(node, "namespace URI", found->href, expected->uri);
        if (expected->is_private) {
            if (!private_records_.insert(found).second)
                differ(node, "shares a namespace record that must be its own");
        } else if (expected->prefix == "xml") {
            for (const xmlNs* ns = document_ ? document_->oldNs : nullptr; ns; ns = ns->next)
                if (ns == found) return;
            differ(node, "the namespace xml is not the document's");
        } else if (find_declaration(node, expected) != found) {
            differ(node, "the namespace is no declaration in scope");
        }
    }

    static const xmlNs* find_declaration(const Node* node, const NamespaceRef& ns) {
        for (; node; node = node->parent) {
            const auto& declared = node->declarations;
            const auto place = std::find(declared.begin(), declared.end(), ns);
            if (place == declared.end()) continue;
            const xmlNs* found = real(node)->nsDef;
            for (auto i = place - declared.begin(); i > 0; --i) found = found->next;
            return found;
        }
        return nullptr;
    }

    static void notation(const Node* node) {
        const auto* const record = reinterpret_cast<const xmlEntity*>(real(node));
        same_text(node, "name", record->name, node->name);
        same_text(node, "public identifier", record->ExternalID, node->public_id);
        same_text(node, "system identifier", record->SystemID, node->system_id);
        for (const Node* next : node->children)
            same_link(next, "previous", real(next)->parent, node);
    }

    static void document(const Node* node) {
        const auto* const doc = reinterpret_cast<const xmlDoc*>(real(node));
        same_link(node, "internal subset", doc->intSubset, node->internal_subset);
        same_link(node, "external subset", doc->extSubset, node->external_subset);
        const std::map<std::string, const void*> found = ids_of(doc);
        for (const auto& [id, attr] : node->ids) {
            const auto entry = found.find(id);
            if (entry == found.end()) differ(node, "the ID " + id + " is not in the table");
            if (entry->second != real(attr)) differ(node, "the ID " + id + " is of another one");
        }
        if (found.size() != node->ids.size())
            for (const auto& [id, attr] : found)
                if (!node->ids.contains(id)) differ(node, "the table has the ID " + id);
    }

    const Forest& forest_;
    std::vector<xmlDict*> dicts_;
    std::set<const xmlNs*> private_records_;
    const xmlDoc* document_ = nullptr;
    bool in_document_ = false;
};

}  // namespace

void take_over_ids(const Forest& forest, Node* document) {
    const auto* const doc = reinterpret_cast<const xmlDoc*>(real_node(document));
    for (const auto& [id, attr] : ids_of(doc)) {
        Node* const holder = forest.by_address(address_of(attr));
        if (!holder || containing_document(holder) != document ||
            collapsed(forest.attribute_value(holder)) != id)
            differ(document, "the ID " + id + " has no holder");
        document->ids[id] = holder;
    }
}

void bind(Forest& forest, Node* node, const xmlNode* found) {
    if (!found || found->type != node->type) differ(node, "the new tree has another node here");
    forest.bind(node, address_of(found));
    const bool in_dtd = node->parent && node->parent->is_dtd();
    if (node->is_dtd() || in_dtd) node->owner = address_of(found->doc);
    const auto bind_list = [&](const std::vector<Node*>& expected, const xmlNode* first) {
        for (Node* child : expected) {
            if (!first) differ(child, "is missing in the new tree");
            bind(forest, child, first);
            first = first->next;
        }
        if (first) differ(node, "has more below it in the new tree");
    };
    if (node->is_element())
        bind_list(node->attributes, reinterpret_cast<const xmlNode*>(found->properties));
    if (!node->is_declaration() && !node->entity) bind_list(node->children, found->children);
    if (node->external_subset)
        bind(forest, node->external_subset,
             reinterpret_cast<const xmlNode*>(reinterpret_cast<const xmlDoc*>(found)->extSubset));
}

void check_trees(const Forest& forest) { Checker(forest).run(); }

// ---- There and back -----------------------------------------------------------------------------

namespace {

bool is_name(const std::string& name) { return xmlValidateNCName(to_xml(name), 0) == 0; }

bool is_plain(const std::string& text) {
    const bool has_surrogates = text.find("\xED\xA0") != text.npos;  // the generator's
    return !has_surrogates && std::none_of(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t');
    });
}

bool resolves_as_it_stands(const Node* node, const Node* element) {
    if (!node->ns) return node->is_attribute() || !in_scope(element, std::nullopt);
    if (node->ns->prefix == "xml") return true;
    return !node->ns->uri.empty() && in_scope(element, node->ns->prefix) == node->ns &&
           (node->ns->prefix || node->is_element());
}

/// Whether one node of a document comes back as it is.
class RoundTrip {
public:
    RoundTrip(const Forest& forest, const Node* document) : forest_(forest), document_(document) {}

    bool keeps(const Node* node) const {
        const Node* const previous = sibling(node, -1);
        switch (node->type) {
            case XML_ELEMENT_NODE: return keeps_element(node);
            case XML_TEXT_NODE:
                return node->content && !node->content->empty() && is_plain(*node->content) &&
                       !(previous && previous->is_text());
            case XML_CDATA_SECTION_NODE:
                return node->content && !node->content->empty() && is_plain(*node->content) &&
                       node->content->find("]]>") == std::string::npos &&
                       !(previous && previous->type == XML_CDATA_SECTION_NODE);
            case XML_COMMENT_NODE:
                return node->content && is_plain(*node->content) &&
                       node->content->find("--") == std::string::npos &&
                       !node->content->ends_with('-');
            case XML_PI_NODE:
                return is_name(node->name) && !node->name.starts_with("xml") &&
                       (!node->content || (!node->content->empty() && is_plain(*node->content) &&
                                           node->content->find("?>") == std::string::npos &&
                                           !std::strchr(" \t\n", node->content->front())));
            case XML_ENTITY_REF_NODE: return keeps_reference(node);
            case XML_DTD_NODE:
                return node == document_->internal_subset && !node->public_id && !node->system_id &&
                       is_name(node->name);
            default: return false;
        }
    }

private:
    /// No declaration of another prefix may have such a URI.
    static bool is_reserved(const std::string& uri) {
        return uri == to_string(XML_XML_NAMESPACE) || uri == "http://www.w3.org/2000/xmlns/";
    }

    bool keeps_element(const Node* node) const {
        if (!is_name(node->name) || !resolves_as_it_stands(node, node)) return false;
        std::set<std::pair<std::string, std::string>> names;
        for (const NamespaceRef& ns : node->declarations)
            if (ns->uri.empty() || !is_plain(ns->uri) || is_reserved(ns->uri) ||
                (ns->prefix && (!is_name(*ns->prefix) || ns->prefix->starts_with("xml"))))
                return false;
        for (const Node* attr : node->attributes) {
            if (!is_name(attr->name) || attr->name == "xmlns" ||
                !resolves_as_it_stands(attr, node) || !is_plain(forest_.attribute_value(attr)) ||
                !names.emplace(attr->ns ? attr->ns->uri : "", attr->name).second)
                return false;
            for (const Node* part : attr->children)
                if (!part->is_text() && !keeps_reference(part)) return false;
        }
        const Node* const dtd = document_->internal_subset;
        for (const Node* declaration : dtd ? dtd->children : std::vector<Node*>())
            if (declaration->type == XML_ATTRIBUTE_DECL && declaration->default_value &&
                declaration->declared_for == node->qualified_name() &&
                std::none_of(node->attributes.begin(), node->attributes.end(),
                             [&](const Node* attr) {
                                 return attr->name == declaration->name &&
                                        (attr->ns ? attr->ns->prefix.value_or("") : "") ==
                                            declaration->prefix;
                             }))
                return false;
        return true;
    }

    bool keeps_reference(const Node* node) const {
        if (!node->children.empty() || !document_->internal_subset) return false;
        for (const Node* entity : document_->internal_subset->children)
            if (entity->type == XML_ENTITY_DECL && !entity->parameter_entity &&
                entity->name == node->name)
                return entity->replacement.has_value();
        return false;
    }

    const Forest& forest_;
    const Node* document_;
};

Text namespace_of(const NamespaceRef& ns) { return ns ? Text(ns->uri) : std::nullopt; }

/// Compares a document with what came back, without its DTD.
class Comparison {
public:
    Comparison(const Forest& before, const Forest& after) : before_(before), after_(after) {}

    void nodes(const Node* expected, const Node* found) const {
        const bool same_name = expected->is_document() || expected->has_text() ||
                               expected->type == XML_COMMENT_NODE || expected->name == found->name;
        const bool same_content = expected->is_reference() || expected->content == found->content;
        if (expected->type != found->type || !same_name || !same_content ||
            namespace_of(expected->ns) != namespace_of(found->ns))
            differ(expected,
                   "comes back as another node: " + describe(found) + " " + shown(found->content));
        if (expected->is_dtd()) return;
        if (expected->attributes.size() != found->attributes.size())
            differ(expected, "comes back with other attributes");
        for (const Node* attr : expected->attributes) attribute(attr, found);
        if (expected->children.size() != found->children.size())
            differ(expected, "comes back with other children");
        for (std::size_t i = 0; i < expected->children.size(); ++i)
            nodes(expected->children[i], found->children[i]);
    }

private:
    void attribute(const Node* expected, const Node* element) const {
        for (const Node* attr : element->attributes)
            if (attr->name == expected->name &&
                namespace_of(attr->ns) == namespace_of(expected->ns)) {
                const std::string value = before_.attribute_value(expected);
                const std::string back = after_.attribute_value(attr);
                if (value != back && collapsed(value) != back)
                    differ(expected, "comes back with the value " + back);
                return;
            }
        differ(expected, "does not come back");
    }

    const Forest& before_;
    const Forest& after_;
};

}  // namespace

bool can_round_trip(const Forest& forest, Node* document) {
    if (document->type != XML_DOCUMENT_NODE || document->version != "1.0") return false;
    const RoundTrip round_trip(forest, document);
    bool can = true;
    int elements = 0;
    std::size_t last_dtd = 0;
    std::size_t first_element = document->children.size();
    for (std::size_t i = 0; i < document->children.size(); ++i) {
        if (document->children[i]->is_dtd()) last_dtd = i;
        if (!document->children[i]->is_element()) continue;
        ++elements;
        first_element = i;
    }
    if (elements != 1 || last_dtd > first_element) return false;
    for_subtree(document, [&](Node* node) {
        if (!can || node == document) return;
        const Node* part = node;
        int depth = 0;
        for (; part != document; part = part->parent, ++depth)
            if (part->is_attribute() || part->parent->is_dtd()) return;  // looked at from above
        can = depth < 250 && round_trip.keeps(node);
    });
    return can;
}

void check_round_trip(const Forest& forest, Node* document, const std::string& source,
                      bool is_file) {
    silence();
    const int keep_blanks = xmlKeepBlanksDefault(1);
    const OwnedDoc parsed(is_file ? xmlReadFile(source.c_str(), nullptr, 0)
                                  : xmlReadMemory(source.data(), static_cast<int>(source.size()),
                                                  nullptr, "UTF-8", 0));
    xmlKeepBlanksDefault(keep_blanks);
    if (!parsed) differ(document, "its text does not parse: " + source);
    Forest back;
    Comparison(forest, back).nodes(document, to_model(back, 0, parsed.get()));
}

}  // namespace valtrosse::random
