// XPath expressions on a document that has everything, its clone and a detached tree, against libxml2
// asked directly.
#include <libxml/xpathInternals.h>

#include <algorithm>
#include <set>

#include "fuzz/targets/target.hpp"

namespace valtrosse::fuzz {
namespace {

constexpr const char* rich =
    "<?pi before?><!DOCTYPE r [<!ATTLIST e id ID #IMPLIED d CDATA 'x'><!ENTITY t 'text'>"
    "<!ENTITY m '<b>in</b>'><!NOTATION n SYSTEM 'n'>]>"
    "<r xmlns='urn:d' xmlns:p='urn:p'>one<e id='a' p:k='1'>two<!--c--><p:f xml:lang='en'/></e>"
    "&t;<e id='b'><![CDATA[<3>]]><g xmlns=''>&m;4</g></e><?pi?>5<p:f q='' xmlns:q='urn:q'/></r>";

/// Where expressions start: the document, an element, an attribute, a text, a reference, all of them in
/// a clone, and a tree outside any document.
class Trees {
public:
    Trees() : trees_{get("xmlDOMDocLoadXMLString", rich, 1)} {
        trees_.push_back(get("xmlDOMNodeCloneNode", trees_[0], 1));
        trees_.push_back(get("xmlDOMNodeCloneNode", get("xmlDOMDocGetRootNode", trees_[0]), 1));
        for (const Handle tree : trees_) {
            starts.push_back(tree);
            const xmlNode* root = node_of(tree);
            roots_.push_back(root);
            if (root->type == XML_DOCUMENT_NODE)
                root = xmlDocGetRootElement(reinterpret_cast<const xmlDoc*>(root));
            starts.push_back(handle_of(root));
            for (const xmlNode* child = root->children; child; child = child->next) {
                starts.push_back(handle_of(child));
                if (child->type == XML_ELEMENT_NODE && child->properties)
                    starts.push_back(handle_of(child->properties));
            }
        }
    }

    std::string described() const {
        std::string all;
        for (const Handle tree : trees_) {
            check_links(node_of(tree));
            all += description(node_of(tree));
        }
        return all;
    }

    std::vector<Handle> starts;

private:
    std::vector<Handle> trees_;
    std::vector<const xmlNode*>
        roots_;  // what a search for leaks finds: a handle need be no address
};

/// Whether libxml2 by itself gives what the library must: not outside a document, and not where it
/// would walk through a declaration.
bool is_plain(const xmlNode* node, std::string_view expression) {
    return node->doc && node->type != XML_ENTITY_REF_NODE &&
           expression.find("following") == expression.npos &&
           expression.find("preceding") == expression.npos;
}

/// What libxml2 finds, without the nodes of the namespace axis.
std::vector<Handle> plainly_selected(Handle node, const std::string& expression) {
    std::vector<Handle> found;
    xmlXPathContext* context = xmlXPathNewContext(node_of(node)->doc);
    context->node = node_of(node);
    for (const char* prefix : {"p", "q"})
        xmlXPathRegisterNs(context, reinterpret_cast<const xmlChar*>(prefix),
                           reinterpret_cast<const xmlChar*>(prefix[0] == 'p' ? "urn:p" : "urn:q"));
    xmlXPathObject* result =
        xmlXPathEval(reinterpret_cast<const xmlChar*>(expression.c_str()), context);
    if (result && result->type == XPATH_NODESET && result->nodesetval)
        for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
            const xmlNode* one = result->nodesetval->nodeTab[i];
            if (one->type != XML_NAMESPACE_DECL) found.push_back(handle_of(one));
        }
    xmlXPathFreeObject(result);
    xmlXPathFreeContext(context);
    return found;
}

/// Each step over all nodes, and predicates in predicates, multiply.
bool is_quick(std::string_view expression) {
    const auto count = [&](char c) { return std::count(expression.begin(), expression.end(), c); };
    return expression.size() <= 120 && count('/') + count(':') / 2 + count('[') <= 8;
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    static const Trees& trees = *new Trees;  // alive to the end, for the leak check
    static const std::string before = trees.described();
    Input input(data, size);
    const Handle node = trees.starts[input.choice(static_cast<unsigned>(trees.starts.size()))];
    const std::string expression =
        valtrosse::host::to_utf8(valtrosse::host::to_units(chars(input.rest())));
    if (!is_quick(expression) || expression.find('\0') != expression.npos) return 0;

    const Outcome outcome = call("xmlDOMNodeSelectNodes", node, expression);
    check(outcome.status() == VT_OK || outcome.status() == VT_TOO_LARGE, "xmlDOMNodeSelectNodes");
    check(trees.described() == before, "an expression changed a tree", expression);
    if (outcome.status() == VT_OK && !outcome.no_value()) {
        const std::vector<Handle> found = outcome.handles();
        check(std::set(found.begin(), found.end()).size() == found.size(), "twice", expression);
        for (const Handle one : found) get("xmlDOMNodeGetType", one);
        check(call("xmlDOMNodeSelectNodes", node, expression).handles() == found, "again");
        if (is_plain(node_of(node), expression))
            check(plainly_selected(node, expression) == found, "other nodes", expression);
    }
    end_of_input();
    return 0;
}
