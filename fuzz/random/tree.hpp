// The model's trees: what a script can see of documents and nodes, and how the calls change it.
#pragma once

#include <libxml/tree.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/random/script.hpp"

namespace valtrosse::random {

using Handle = std::uint32_t;
using Address = std::uintptr_t;
using Text = std::optional<std::string>;  // UTF-8, or absent

/// A namespace: a declaration of an element, or what one node has for itself.
struct Namespace {
    Text prefix;
    std::string uri;
    bool is_private = false;
};
using NamespaceRef = std::shared_ptr<Namespace>;

struct Notation {
    std::string name;
    Text public_id, system_id;
};

struct Node {
    Ref id;
    xmlElementType type = XML_ELEMENT_NODE;
    Address address = 0;  // of the real object
    Handle handle = 0;    // its handle, once that was given out
    Address owner = 0;    // what its doc field names: any object, live or not
    Node* parent = nullptr;
    std::vector<Node*> children;
    std::vector<Node*> attributes;
    std::string name;  // without the prefix
    Text content;      // of a reference: its own text, read where no entity of its name is declared
    NamespaceRef ns;
    std::vector<NamespaceRef> declarations;
    Node* entity = nullptr;  // of an entity reference: its declaration, where it leads to one

    // Documents.
    Text version, encoding, url;
    int standalone = -1;
    Node* internal_subset = nullptr;
    Node* external_subset = nullptr;  // hangs nowhere
    std::map<std::string, Node*> ids;
    // An ID may have more than one holder, as in a document that was parsed; one that had has gone.
    bool ids_repeated = true, ids_missing = false;

    // DTDs, entity and attribute declarations, notation records.
    Text public_id, system_id;
    std::vector<Notation> notations;
    bool parameter_entity = false;
    Text notation;                       // of an unparsed entity
    Text replacement;                    // the text that a reference to the entity stands for
    std::string declared_for, prefix{};  // an attribute declaration's element and prefix
    bool declares_id = false, declares_tokens = false;
    Text default_value;
    bool external = false;  // a subset that its document owns without being its parent

    bool is_document() const { return type == XML_DOCUMENT_NODE || type == XML_HTML_DOCUMENT_NODE; }
    bool is_element() const { return type == XML_ELEMENT_NODE; }
    bool is_attribute() const { return type == XML_ATTRIBUTE_NODE; }
    bool is_reference() const { return type == XML_ENTITY_REF_NODE; }
    bool is_text() const { return type == XML_TEXT_NODE; }
    bool has_text() const { return is_text() || type == XML_CDATA_SECTION_NODE; }
    bool is_character_data() const {
        return has_text() || type == XML_PI_NODE || type == XML_COMMENT_NODE;
    }
    bool is_declaration() const { return type >= XML_ELEMENT_DECL && type <= XML_NAMESPACE_DECL; }
    bool is_dtd() const { return type == XML_DTD_NODE; }
    std::string qualified_name() const {
        return ns && ns->prefix ? *ns->prefix + ":" + name : name;
    }
};

/// The list of its siblings that a node is in: the attributes or the children of its parent.
std::vector<Node*>& siblings_of(const Node* node);
/// The sibling `distance` places further on; null outside the list and without a parent.
Node* sibling(const Node* node, int distance);
Node* topmost(Node* node);
/// The document that the node is in, or null.
Node* containing_document(Node* node);
bool is_at_or_above(const Node* ancestor, const Node* node);
/// Calls visit for the node and all below it: attributes and their text before children.
void for_subtree(Node* root, const std::function<void(Node*)>& visit);

/// All live objects.
class Forest {
public:
    /// A new object of this step.
    Node* make(std::uint32_t step, xmlElementType type);
    Node* at(Ref ref) const;
    /// The live object at an address.
    Node* by_address(Address address) const;
    void bind(Node* node, Address address);
    const std::map<Ref, std::unique_ptr<Node>>& nodes() const { return nodes_; }
    /// Called with each object that ends, before it does.
    std::function<void(Node*)> on_end;

    /// The document that look-ups for this node go to: the one named, if it lives, or the one around.
    Node* lookup_document(Node* node) const;
    /// The general entity of this name that a document (null: none) declares, or null.
    static Node* entity_named(const Node* document, const std::string& name);
    Node* attribute_declaration(const Node* document, const std::string& element,
                                const std::string& name, const std::string& prefix,
                                bool internal_only = false) const;
    /// The text of an entity reference, text or CDATA and all its later siblings; absent for none.
    Text joined_text(Node* node) const;
    std::string attribute_value(const Node* attr) const;
    bool is_declared_id(const Node* document, const Node* element, const Node* attr,
                        bool internal_only) const;

    // Changes. Whether they are allowed is for the caller to know.
    void take_out(Node* node);
    /// Links node at a place among its new parent's children; where it is a text next to a text that
    /// `merge_into` names, it ends in that one.
    Node* link(Node* parent, std::size_t place, Node* node, Node* merge_into, bool merge_before);
    void replace(Node* old, Node* node);
    /// Gives the attribute that was replaced, or attr.
    Node* set_attribute(Node* element, Node* attr, bool by_namespace);
    void remove_attribute(Node* attr);
    void declare(Node* element, const std::string& uri, const Text& prefix);
    void normalise(Node* root);
    void set_content(Node* node, const std::string& text);
    /// What a selection does first: an ID whose first holder has gone is the next one's.
    void enter_missing_ids(Node* document);
    void make_subset(Node* document, Node* dtd, std::size_t place);
    Node* copy(Node* source, bool deep, std::uint32_t step);
    /// The attributes of copied elements name a document where there is one to name.
    void name_in_attributes(Node* root, Address document);
    void end(Node* root);
    void end_notations(Node* first);

private:
    struct Scope;
    class IdChange;

    void leave_document(Node* root, Node* document);
    void make_independent(Node* node, Node* document);
    void adopt(Node* root, Node* parent);
    void resolve_namespaces(Node* root);
    void resolve(NamespaceRef& ns, Node* element);
    void add_id(Node* document, Node* attr);
    void remove_id(Node* document, Node* attr);
    void forget(Node* node);

    std::map<Ref, std::unique_ptr<Node>> nodes_;
    std::map<Address, Node*> by_address_;
    std::uint32_t last_step_ = 0;
    std::uint32_t next_index_ = 0;
};

/// The declaration of a prefix in scope at an element, or null.
NamespaceRef in_scope(const Node* node, const Text& prefix);
/// All declarations in scope, the inner ones first, each prefix once.
std::vector<NamespaceRef> all_in_scope(const Node* node);
/// The blanks of a value as they count for IDs: none at the ends, one between words.
std::string collapsed(const std::string& text);

}  // namespace valtrosse::random
