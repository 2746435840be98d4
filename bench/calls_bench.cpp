// What a call costs beside its floor: the same host functions in the same order with the bare libxml2
// work and nothing else.
#include <benchmark/benchmark.h>
#include <libxml/tree.h>
#include <libxml/xmlmemory.h>

#include <array>

#include "bench/shared_host.hpp"

namespace {

using namespace valtrosse;

constexpr std::uint32_t ids[] = {VT_HOST_API_IDS};

/// A handle of the document <list><item n="1">text</item>...</list>.
std::uint32_t list_item() {
    static const std::uint32_t item = [] {
        const auto doc = shared_host().call(
            "xmlDOMDocLoadXMLString", {u"<list><item n='1'>some text</item><item/></list>", 1});
        const auto root = shared_host().call("xmlDOMDocGetRootNode", {doc});
        return shared_host().call("xmlDOMNodeGetRelative", {root, 3}).handle();
    }();
    return item;
}

/// The host functions of one call, fetched as every call fetches them.
struct Api {
    vt_host_function slots[VT_HOST_API_SLOTS];

    explicit Api(vt_call_context* context) {
        for (std::size_t i = 0; i < VT_HOST_API_SLOTS; ++i)
            slots[i] = context->runtime->provider->get_function(ids[i]);
    }
    template <typename F>
    F get(std::size_t slot) const {
        return reinterpret_cast<F>(slots[slot]);
    }
};

std::uint32_t read_handle(const Api& api, vt_call_context* context, vt_argument* arg) {
    std::uint16_t null_flag = 0;
    std::uint16_t flag = 0;
    std::uint32_t value = 0;
    api.get<vt_get_integer_argument>(38)(context->runtime, arg, &null_flag, nullptr, &flag, &value);
    return value;
}

constexpr char16_t node_name[] = u"node";
constexpr char16_t relative_name[] = u"relative";
const vt_name node_parameter[] = {{8, node_name}};
const vt_name relative_parameters[] = {{8, node_name}, {16, relative_name}};

vt_status floor_relative(vt_call_context* context, std::uint32_t count, vt_argument* args, void*,
                         void* slot) {
    const Api api(context);
    std::uint32_t positions[2];
    api.get<vt_bind_arguments>(16)(positions, relative_parameters, 2, count, args);
    const auto* node =
        reinterpret_cast<xmlNode*>(read_handle(api, context, args + positions[0] - 1));
    read_handle(api, context, args + positions[1] - 1);
    vt_value value;
    api.get<vt_make_integer_value>(45)(
        context->runtime, &value, 0,
        static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(node->next)));
    api.get<vt_set_result>(20)(context, slot, VT_INTEGER, &value);
    return 0;
}

vt_status floor_name(vt_call_context* context, std::uint32_t count, vt_argument* args, void*,
                     void* slot) {
    const Api api(context);
    std::uint32_t position;
    api.get<vt_bind_arguments>(16)(&position, node_parameter, 1, count, args);
    const auto* node = reinterpret_cast<xmlNode*>(read_handle(api, context, args + position - 1));
    xmlChar* const name = xmlStrdup(node->name);
    std::array<char16_t, 200> units;
    std::uint32_t length = 0;
    for (; name[length]; ++length) units[length] = name[length];
    xmlFree(name);
    vt_value value;
    api.get<vt_make_string_value>(48)(context->runtime, &value, units.data(), length);
    api.get<vt_set_result>(20)(context, slot, VT_STRING, &value);
    return 0;
}

void run(benchmark::State& state, const host::Function& function,
         std::initializer_list<host::Argument> args) {
    for (auto _ : state)
        benchmark::DoNotOptimize(
            shared_host().call(function, std::span(args.begin(), args.size())));
}

void relative(benchmark::State& state) {
    run(state, *shared_host().find("xmlDOMNodeGetRelative"), {list_item(), 1});
}
void relative_floor(benchmark::State& state) {
    run(state, {"floor", {"node", "relative"}, floor_relative}, {list_item(), 1});
}
void name(benchmark::State& state) {
    run(state, *shared_host().find("xmlDOMNodeGetName"), {list_item()});
}
void name_floor(benchmark::State& state) {
    run(state, {"floor", {"node"}, floor_name}, {list_item()});
}
void attribute(benchmark::State& state) {
    run(state, *shared_host().find("xmlDOMElementGetAttribute"), {list_item(), u"n"});
}
void select_one(benchmark::State& state) {
    run(state, *shared_host().find("xmlDOMNodeSelectNodes"),
        {list_item(), u"following-sibling::item"});
}

BENCHMARK(relative);
BENCHMARK(relative_floor);
BENCHMARK(name);
BENCHMARK(name_floor);
BENCHMARK(attribute);
BENCHMARK(select_one);

}  // namespace
