#include "bench/call_cases.hpp"

namespace valtrosse::bench {

namespace {

/// <list><item n='1'>some text</item><item/></list>, and a list of one text of 10,000 bytes.
struct Nodes {
    std::uint32_t item, empty_item, text, long_text, leaf;

    explicit Nodes(const Functions& f) {
        host::Host& host = shared_host();
        const auto load = [&](const std::u16string& xml) {
            const auto doc = host.call("xmlDOMDocLoadXMLString", {xml, 1});
            return host.call("xmlDOMDocGetRootNode", {doc}).handle();
        };
        const auto child = [&](std::uint32_t node) {
            return host.call("xmlDOMNodeGetRelative", {node, 3}).handle();
        };
        item = child(load(u"<list><item n='1'>some text</item><item/></list>"));
        text = child(item);
        empty_item = host.call("xmlDOMNodeGetRelative", {item, 1}).handle();
        long_text = child(load(u"<list>" + std::u16string(10000, u'x') + u"</list>"));
        const auto doc = host.call("xmlDOMNodeGetOwnerDoc", {item});
        leaf = host.call("xmlDOMDocCreateNode", {doc, 1, u"leaf"}).handle();
        for (std::uint32_t* node : {&item, &empty_item, &text, &long_text, &leaf})
            *node = f.of(*node);
    }
};

// Made by call_cases(): finding them must cost a call nothing.
const Nodes* nodes_of_library;
const Nodes* nodes_of_floors;
const Nodes& nodes_for(const Functions& f) {
    return f.are_floors ? *nodes_of_floors : *nodes_of_library;
}

}  // namespace

const std::vector<CallCase>& call_cases() {
    static const Nodes of_library(library()), of_floors(bare());
    nodes_of_library = &of_library;
    nodes_of_floors = &of_floors;
    static const std::vector<CallCase> cases = {
        {"GetRelative",
         [](const Functions& f) {
             call(f.relative, {nodes_for(f).item, 1});
         }},
        {"GetType", [](const Functions& f) { call(f.type, {nodes_for(f).item}); }},
        {"GetName", [](const Functions& f) { call(f.name, {nodes_for(f).item}); }},
        {"GetValue of 9 bytes", [](const Functions& f) { call(f.value, {nodes_for(f).text}); }},
        {"GetValue of 10 kB", [](const Functions& f) { call(f.value, {nodes_for(f).long_text}); }},
        {"GetAttribute",
         [](const Functions& f) {
             call(f.attribute, {nodes_for(f).item, u"n"});
         }},
        {"AddChild of a leaf, to and fro",
         [](const Functions& f) {
             call(f.add_child, {0, nodes_for(f).item, nodes_for(f).leaf});
             call(f.add_child, {0, nodes_for(f).empty_item, nodes_for(f).leaf});
         }},
        {"SelectNodes of one node",
         [](const Functions& f) {
             call(f.select, {nodes_for(f).item, u"following-sibling::item"});
         }},
    };
    return cases;
}

}  // namespace valtrosse::bench
