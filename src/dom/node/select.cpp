// XPath selection.
#include "dom/node/select.hpp"

#include <libxml/hash.h>
#include <libxml/xpathInternals.h>

#include <cstring>
#include <string_view>
#include <utility>

#include "dom/node/handle_list.hpp"
#include "dom/node/ids.hpp"
#include "dom/node/ownership.hpp"
#include "dom/node/tree.hpp"
#include "dom/owned.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

/// Registers the prefix of the element's namespace unless it is registered already.
void register_namespace(xmlXPathContext* context, const xmlNode* node) {
    const xmlNs* ns = is_element(node) ? node->ns : nullptr;
    if (ns && ns->prefix && !xmlHashLookup(context->nsHash, ns->prefix))
        xmlXPathRegisterNs(context, ns->prefix, ns->href);
}

/// The prefixes that an expression may use: every name before a single colon outside of literals. A
/// name too many only makes the search for its binding longer.
class PrefixesOf {
public:
    explicit PrefixesOf(std::string_view expression) {
        for (std::size_t i = 0; i < expression.size(); ++i) {
            const char c = expression[i];
            if (c == '"' || c == '\'') {
                i = expression.find(c, i + 1);
                if (i == std::string_view::npos) return;
            } else if (c == ':') {
                if (i + 1 < expression.size() && expression[i + 1] == ':')
                    ++i;
                else
                    add(name_before({expression.data(), i}));
            }
        }
    }

    /// More prefixes than are worth telling apart.
    bool too_many() const { return count_ > max_prefixes; }
    /// Whether the context has a binding for each.
    bool all_bound(const xmlXPathContext* context) const {
        for (std::size_t i = 0; i < count_; ++i)
            if (!is_bound(context, prefixes_[i])) return false;
        return true;
    }

private:
    static constexpr std::size_t max_prefixes = 8;
    static constexpr std::size_t max_length = 100;

    static std::string_view name_before(std::string_view text) {
        while (!text.empty() && std::strchr(" \t\r\n", text.back())) text.remove_suffix(1);
        std::size_t start = text.size();
        while (start > 0 && is_name_byte(text[start - 1])) --start;
        text.remove_prefix(start);
        return text;
    }
    static bool is_name_byte(char c) {
        return static_cast<unsigned char>(c) >= 0x80 || (c >= '0' && c <= '9') ||
               (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-' || c == '.';
    }
    void add(std::string_view name) {
        if (name.empty() || name == "xml") return;  // xml is always bound
        for (std::size_t i = 0; i < count_ && i < max_prefixes; ++i)
            if (prefixes_[i] == name) return;
        if (count_ == max_prefixes || name.size() > max_length)
            count_ = max_prefixes + 1;
        else if (count_ < max_prefixes)
            prefixes_[count_++] = name;
    }
    static bool is_bound(const xmlXPathContext* context, std::string_view prefix) {
        xmlChar terminated[max_length + 1] = {};
        std::memcpy(terminated, prefix.data(), prefix.size());
        return xmlHashLookup(context->nsHash, terminated) != nullptr;
    }

    std::string_view prefixes_[max_prefixes];
    std::size_t count_ = 0;
};

/// Registers what the expression needs: walks the subtree no further than to the last prefix found, and
/// not at all for an expression without prefixes.
void register_prefixes(xmlXPathContext* context, const xmlNode* root, std::string_view expression) {
    const PrefixesOf prefixes(expression);
    if (prefixes.too_many()) return _x_RegisterNamespaces(context, root);
    int bound = -2;  // not yet looked: xmlHashSize gives -1 while there is no table
    for (const xmlNode* node = root; node; node = next_in_subtree(node, root)) {
        if (const int now = xmlHashSize(context->nsHash); now != bound) {
            if (prefixes.all_bound(context)) return;
            bound = now;
        }
        register_namespace(context, node);
    }
}

/// What an expression finds around a tree while it runs. libxml2 reads the document's children and an
/// attribute's parent without asking whether there is one: empty nodes stand in for them.
class Surroundings {
public:
    explicit Surroundings(xmlNode* node)
        : doc_(document_for_lookup(node)),
          top_(const_cast<xmlNode*>(topmost(node))) {
        if (!doc_) doc_ = &no_document_;
        no_document_.type = XML_DOCUMENT_NODE;
        no_element_.type = XML_ELEMENT_NODE;
        no_element_.name = reinterpret_cast<const xmlChar*>("");
        if (is_attribute(top_)) top_->parent = &no_element_;
    }
    ~Surroundings() { top_->parent = nullptr; }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    xmlDoc* document() const { return doc_; }
    /// Whether the node is one of those that stand in for something.
    bool stands_in(const xmlNode* node) const {
        return node == &no_element_ || node == reinterpret_cast<const xmlNode*>(&no_document_);
    }

private:
    xmlDoc no_document_{};
    xmlNode no_element_{};
    xmlDoc* doc_;
    xmlNode* top_;
};

/// Whether the expression may use one of the axes that go through the whole document.
bool may_go_through_document(std::string_view expression) {
    for (const std::string_view axis : {"following", "preceding"})
        for (std::size_t i = expression.find(axis); i != std::string_view::npos;
             i = expression.find(axis, i + 1)) {
            std::string_view rest = expression;
            rest.remove_prefix(i + axis.size());
            if (!rest.starts_with("-sibling")) return true;
        }
    return false;
}

/// Cuts entity references off from their declarations: the context node, if it is one, whose axes child
/// and descendant would go through the DTD and out of it; and, with `whole_tree`, all those of its tree,
/// as libxml2's axes following and preceding walk through a reference into the DTD, and from its end to
/// the root element again, without end.
class ClosedReferences {
public:
    ClosedReferences(xmlNode* context, bool whole_tree)
        : context_(context),
          whole_tree_(whole_tree) {
        for_references([](xmlNode* reference) {
            if (!reference->children || !is_declaration(reference->children)) return;
            // The declaration waits in a field that libxml2 uses for elements alone.
            reference->properties = reinterpret_cast<xmlAttr*>(reference->children);
            reference->children = reference->last = nullptr;
        });
    }
    ~ClosedReferences() {
        for_references([](xmlNode* reference) {
            if (!reference->properties) return;
            reference->children = reference->last = as_node(reference->properties);
            reference->properties = nullptr;
        });
    }
    ClosedReferences(const ClosedReferences&) = delete;
    ClosedReferences& operator=(const ClosedReferences&) = delete;

private:
    template <typename Visit>
    void for_references(Visit visit) {
        const auto visit_references = [visit](xmlNode* node) {
            if (node->type == XML_ENTITY_REF_NODE) visit(node);
        };
        visit_references(context_);
        if (!whole_tree_) return;
        visit_subtree(const_cast<xmlNode*>(topmost(context_)), visit_references);
        const xmlDoc* const doc = containing_document(context_);
        if (doc && doc->extSubset)
            visit_subtree(reinterpret_cast<xmlNode*>(doc->extSubset), visit_references);
    }

    xmlNode* context_;
    bool whole_tree_;
};

/// The nodes that the XPath expression `string` selects from `node`, in document order, as a handle
/// list. No value when it does not compile or evaluate, or gives something else than nodes. Nodes of
/// the namespace axis are left out: their records end with the result.
Result select_nodes(Call& call, xmlNode* node, HostText string) {
    if (string.absent()) return no_value;
    const Utf8 expression(call, string);
    if (expression.failed()) return expression.failure();

    clear_stale_docs(node);
    if (xmlDoc* const doc = document_for_lookup(node))
        if (!enter_missing_ids(doc)) return failure(VT_OUT_OF_MEMORY);
    const std::string_view text(expression.c_str(), expression.length());
    const ClosedReferences closed(node, may_go_through_document(text));
    const Surroundings around(node);
    const XmlOwned<xmlXPathContext> context(xmlXPathNewContext(around.document()));
    if (!context) return no_value;
    context->node = node;
    register_prefixes(context.get(), node, text);
    // With the context: without one libxml2 sets no limit to the depth of an expression.
    const XmlOwned<xmlXPathCompExpr> compiled(
        xmlXPathCtxtCompile(context.get(), expression.text()));
    if (!compiled) return no_value;
    const XmlOwned<xmlXPathObject> result(xmlXPathCompiledEval(compiled.get(), context.get()));
    if (!result || result->type != XPATH_NODESET || !result->nodesetval) return no_value;

    const xmlNodeSet& set = *result->nodesetval;
    HandleList list(call, static_cast<std::uint32_t>(set.nodeNr));
    if (list.failed()) return list.failure();
    // Only for an expression that can select namespace records is a look at each node worth its time.
    const bool may_be_namespaces = text.find("namespace") != std::string_view::npos;
    for (int i = 0; i < set.nodeNr; ++i) {
        const xmlNode* const selected = set.nodeTab[i];
        if (may_be_namespaces && selected->type == XML_NAMESPACE_DECL) continue;
        if (!around.stands_in(selected)) list.add(selected);
    }
    return list.value(call);
}

}  // namespace
}  // namespace valtrosse

void _x_RegisterNamespaces(xmlXPathContext* context, const xmlNode* root) {
    if (!context || !root) return;
    for (const xmlNode* node = root; node; node = valtrosse::next_in_subtree(node, root))
        valtrosse::register_namespace(context, node);
}

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeSelectNodes, valtrosse::select_nodes)
