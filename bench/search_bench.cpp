// Finding nodes: XPath, IDs, attribute after attribute.
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include "bench/functions.hpp"
#include "bench/report.hpp"

namespace valtrosse::bench {
namespace {

constexpr int id_distance = 3500;

/// <r><a><b/><b/><b/></a> and, below one element, 700,000 more, each 3,500th with an ID.
std::uint32_t load_with_ids(int elements) {
    std::string text = "<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]><r><a><b/><b/><b/></a><list>";
    for (int i = 1; i <= elements; ++i)
        text += i % id_distance == 0 ? "<e id='k" + std::to_string(i) + "'/>" : "<e n='1'/>";
    return shared_host()
        .call("xmlDOMDocLoadXMLString", {host::to_units(text + "</list></r>"), 1})
        .handle();
}
std::uint32_t large() {
    static const std::uint32_t doc = load_with_ids(700000);
    return doc;
}
/// The same, changed by a script.
std::uint32_t large_and_changed() {
    static const std::uint32_t doc = [] {
        const std::uint32_t made = load_with_ids(700000);
        const auto root = shared_host().call("xmlDOMDocGetRootNode", {made});
        const auto leaf = call(library().create, {made, 1, u"leaf"});
        call(library().add_child, {0, root, leaf});
        return made;
    }();
    return doc;
}
std::uint32_t small() {
    static const std::uint32_t doc = load_with_ids(10);
    return doc;
}

Job select(const Functions& functions, std::uint32_t (*doc)(), const char16_t* expression) {
    return [&functions, doc, expression](benchmark::State& state) {
        const std::uint32_t node = functions.of(doc());
        for (auto _ : state) call(functions.select, {node, expression});
    };
}

/// 200 look-ups, of IDs spread over the document.
Job look_up_ids(std::uint32_t (*doc)()) {
    return [doc](benchmark::State& state) {
        const std::uint32_t handle = doc();
        const host::Function& by_id = *shared_host().find("xmlDOMDocGetElementById");
        for (auto _ : state)
            for (int i = 1; i <= 200; ++i)
                if (call(by_id, {handle, "k" + std::to_string(i * id_distance)}).no_value())
                    state.SkipWithError("an ID was not found");
    };
}

/// The same as far as the nodes that come before: all that a walk must read.
void walk_to_ids(benchmark::State& state) {
    const xmlNode* const root =
        xmlDocGetRootElement(static_cast<xmlDoc*>(shared_host().object_of(large())));
    for (auto _ : state)
        for (int i = 1; i <= 200; ++i) {
            int left = i * id_distance;
            for (const xmlNode* node = root->last->children; node && left >= 0; node = node->next)
                left -= node->properties && node->properties->name[0] ? 1 : 0;
            benchmark::DoNotOptimize(left);
        }
}

std::uint32_t element_with_attributes() {
    static const std::uint32_t element = [] {
        std::string text = "<r";
        for (int i = 0; i < 1000; ++i) text += " a" + std::to_string(i) + "='v'";
        const auto doc =
            shared_host().call("xmlDOMDocLoadXMLString", {host::to_units(text + "/>"), 1});
        return shared_host().call("xmlDOMDocGetRootNode", {doc}).handle();
    }();
    return element;
}
Job next_attributes(const Functions& functions) {
    return [&functions](benchmark::State& state) {
        const std::uint32_t element = functions.of(element_with_attributes());
        const auto first =
            shared_host().call("xmlDOMNodeGetFirstAttribute", {element_with_attributes()}).handle();
        const host::Outcome first_attribute(VT_OK, true, functions.of(first));
        for (auto _ : state) {
            host::Outcome attr = first_attribute;
            while (!attr.no_value()) attr = call(functions.next_attribute, {element, attr});
        }
    };
}

const Registration searches([] {
    compare("Search", "//e, 700,000 nodes", 1.05, select(library(), large, u"//e"),
            select(bare(), large, u"//e"), "xmlXPathCompiledEval, list handed to the host");
    compare("Search", "r/a/b[3] of 700,000 nodes", 1.05, select(library(), large, u"r/a/b[3]"),
            select(library(), small, u"r/a/b[3]"), "the same in 10 nodes");
    compare("Search", "200 IDs, document changed", 0, look_up_ids(large_and_changed), walk_to_ids,
            "reading the first attribute of every node on the way");
    compare("Search", "200 IDs, document as loaded", 0.01, look_up_ids(large),
            look_up_ids(large_and_changed), "the same in a changed document");
    compare("Search", "1,000 attributes one by one", 1.10, next_attributes(library()),
            next_attributes(bare()), "the same host functions around libxml2");
});

}  // namespace
}  // namespace valtrosse::bench
