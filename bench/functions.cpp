#include "bench/functions.hpp"

#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <cstdlib>
#include <vector>

#include "bench/floor.hpp"

namespace valtrosse::bench {

namespace {

constexpr vt_name node_parameters[] = {parameter(u"node"), parameter(u"relative")};
constexpr vt_name attribute_parameters[] = {parameter(u"node"), parameter(u"name")};
constexpr vt_name next_attribute_parameters[] = {parameter(u"node"), parameter(u"attr")};
constexpr vt_name select_parameters[] = {parameter(u"node"), parameter(u"string")};
constexpr vt_name create_parameters[] = {parameter(u"doc"), parameter(u"type"), parameter(u"data")};
constexpr vt_name set_value_parameters[] = {parameter(u"node"), parameter(u"value")};
constexpr vt_name new_node_parameters[] = {parameter(u"node"), parameter(u"newnode")};
constexpr vt_name add_child_parameters[] = {parameter(u"position"), parameter(u"node"),
                                            parameter(u"newnode")};

using Names = std::span<const vt_name>;

/// A handler that runs work(FloorCall&).
template <const vt_name* names, std::size_t count, auto work>
vt_status handler(vt_call_context* context, std::uint32_t arg_count, vt_argument* args, void*,
                  void* slot) {
    FloorCall call(context, arg_count, args, slot, Names(names, count));
    return work(call);
}

vt_status relative(FloorCall& call) {
    const xmlNode* node = call.node(0);
    switch (call.integer(1)) {
        case 0: return call.give(node->parent);
        case 1: return node->next ? call.give(node->next) : call.give_nothing();
        default: return node->children ? call.give(node->children) : call.give_nothing();
    }
}
vt_status type(FloorCall& call) { return call.give(call.node(0)->type); }
vt_status name(FloorCall& call) {
    xmlChar* const text = xmlStrdup(call.node(0)->name);
    const vt_status status = call.give(text);
    xmlFree(text);
    return status;
}
vt_status value(FloorCall& call) {
    return call.give(static_cast<const xmlChar*>(call.node(0)->content));
}
vt_status attribute(FloorCall& call) {
    xmlNode* const node = call.node(0);
    const FloorCall::Text wanted(call, 1);
    xmlChar* const text = xmlGetProp(node, wanted.get());
    const vt_status status = text ? call.give(text) : call.give_nothing();
    xmlFree(text);
    return status;
}
vt_status next_attribute(FloorCall& call) {
    call.node(0);
    const xmlAttr* const next = reinterpret_cast<xmlAttr*>(call.node(1))->next;
    return next ? call.give(next) : call.give_nothing();
}
vt_status select(FloorCall& call) {
    xmlNode* const node = call.node(0);
    const FloorCall::Text expression(call, 1);
    xmlXPathContext* const context = xmlXPathNewContext(node->doc);
    context->node = node;
    xmlXPathCompExpr* const compiled = xmlXPathCtxtCompile(context, expression.get());
    xmlXPathObject* const result = xmlXPathCompiledEval(compiled, context);
    const xmlNodeSet& set = *result->nodesetval;
    // The text that the host is given has the length of the handle list, and no digits.
    std::vector<vt_unit> list(1 + 8 * static_cast<std::size_t>(set.nodeNr));
    const vt_status status = call.give(list.data(), static_cast<std::uint32_t>(list.size()));
    xmlXPathFreeObject(result);
    xmlXPathFreeCompExpr(compiled);
    xmlXPathFreeContext(context);
    return status;
}
vt_status create(FloorCall& call) {
    auto* const doc = reinterpret_cast<xmlDoc*>(call.node(0));
    const std::uint32_t type = call.integer(1);
    const FloorCall::Text data(call, 2);
    switch (type) {
        case XML_ELEMENT_NODE: return call.give(xmlNewDocNode(doc, nullptr, data.get(), nullptr));
        case XML_ATTRIBUTE_NODE: return call.give(xmlNewDocProp(doc, data.get(), nullptr));
        default: return call.give(xmlNewDocText(doc, data.get()));
    }
}
vt_status set_value(FloorCall& call) {
    xmlNode* const node = call.node(0);
    const FloorCall::Text text(call, 1);
    xmlNodeSetContent(node, text.get());
    return call.give(node);
}
vt_status set_attribute_node(FloorCall& call) {
    xmlNode* const node = call.node(0);
    return call.give(xmlAddChild(node, call.node(1)));
}
vt_status add_child(FloorCall& call) {
    call.integer(0);
    xmlNode* const parent = call.node(1);
    xmlNode* const child = call.node(2);
    xmlUnlinkNode(child);
    return call.give(xmlAddChild(parent, child));
}
vt_status unlink(FloorCall& call) {
    xmlNode* const node = call.node(0);
    xmlUnlinkNode(node);
    return call.give(node);
}
vt_status free_node(FloorCall& call) {
    xmlFreeNode(call.node(0));
    return call.give(0u);
}
vt_status free_doc(FloorCall& call) {
    xmlFreeDoc(reinterpret_cast<xmlDoc*>(call.node(0)));
    return call.give(0u);
}

template <const auto& names, auto work, std::size_t count = std::size(names)>
host::Function function(const char* name) {
    host::Function made{name, {}, handler<names, count, work>};
    for (const vt_name& parameter : Names(names, count))
        made.parameters.push_back(host::to_utf8({parameter.units, parameter.bytes / 2}));
    return made;
}

}  // namespace

host::Host& shared_host() {
    // VALTROSSE_PLUGIN names another library than the build's plain one.
    static const char* const path = std::getenv("VALTROSSE_PLUGIN");
    static host::Host host(path ? path : VALTROSSE_PLUGIN_PATH);
    return host;
}

const Functions& library() {
    const auto find = [](const char* name) { return *shared_host().find(name); };
    static const Functions functions{
        .are_floors = false,
        .of = [](std::uint32_t handle) { return handle; },
        .relative = find("xmlDOMNodeGetRelative"),
        .type = find("xmlDOMNodeGetType"),
        .name = find("xmlDOMNodeGetName"),
        .value = find("xmlDOMNodeGetValue"),
        .attribute = find("xmlDOMElementGetAttribute"),
        .next_attribute = find("xmlDOMNodeGetNextAttribute"),
        .select = find("xmlDOMNodeSelectNodes"),
        .create = find("xmlDOMDocCreateNode"),
        .set_value = find("xmlDOMNodeSetValue"),
        .set_attribute_node = find("xmlDOMElementSetAttributeNode"),
        .add_child = find("xmlDOMNodeAddChild"),
        .unlink = find("xmlDOMNodeUnlinkNode"),
        .free_node = find("xmlDOMNodeFreeNode"),
        .free_doc = find("xmlDOMDocFreeDoc"),
    };
    return functions;
}

const Functions& bare() {
    [[maybe_unused]] static const bool found = (FloorCall::find_origin(), true);
    static const Functions functions{
        .are_floors = true,
        .of =
            [](std::uint32_t handle) {
                return FloorCall::number_of(shared_host().object_of(handle));
            },
        .relative = function<node_parameters, relative>("relative"),
        .type = function<node_parameters, type, 1>("type"),
        .name = function<node_parameters, name, 1>("name"),
        .value = function<node_parameters, value, 1>("value"),
        .attribute = function<attribute_parameters, attribute>("attribute"),
        .next_attribute = function<next_attribute_parameters, next_attribute>("next_attribute"),
        .select = function<select_parameters, select>("select"),
        .create = function<create_parameters, create>("create"),
        .set_value = function<set_value_parameters, set_value>("set_value"),
        .set_attribute_node =
            function<new_node_parameters, set_attribute_node>("set_attribute_node"),
        .add_child = function<add_child_parameters, add_child>("add_child"),
        .unlink = function<node_parameters, unlink, 1>("unlink"),
        .free_node = function<node_parameters, free_node, 1>("free_node"),
        .free_doc = function<node_parameters, free_doc, 1>("free_doc"),
    };
    return functions;
}

host::Outcome call(const host::Function& function, std::initializer_list<host::Argument> args) {
    return shared_host().call(function, std::span(args.begin(), args.size()));
}

}  // namespace valtrosse::bench
