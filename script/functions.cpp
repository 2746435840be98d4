// The script functions as globals.
#include <algorithm>
#include <array>

#include "script/calls.hpp"

namespace valtrosse::script {

namespace {

/// Functions that make 8-bit text of a path by keeping the low byte of each unit.
constexpr std::array<std::string_view, 4> byte_path_functions = {
    "xmlDOMDocLoadXMLFile", "xmlDOMDocSaveXMLFormatFile", "xmlHTMLDocLoadFile",
    "xmlHTMLDocSaveFormatFile"};

std::size_t byte_path_of(const host::Function& function) {
    const auto& names = byte_path_functions;
    if (std::find(names.begin(), names.end(), function.name) == names.end())
        return BoundFunction::none;
    const auto& parameters = function.parameters;
    const auto found = std::find(parameters.begin(), parameters.end(), "filepath");
    return found == parameters.end() ? BoundFunction::none
                                     : static_cast<std::size_t>(found - parameters.begin());
}

duk_ret_t call_function(Runtime& runtime, duk_context* ctx) {
    const auto index = static_cast<std::size_t>(duk_get_current_magic(ctx));
    const BoundFunction& bound = runtime.functions[index];
    return call_host(runtime, ctx, bound, [&](std::span<const host::Argument> arguments) {
        return runtime.host.call(*bound.function, arguments);
    });
}

}  // namespace

void bind_functions(Runtime& runtime) {
    for (const host::Function& function : runtime.host.functions()) {
        if (function.parameters.size() > max_parameters) {
            throw std::runtime_error(function.name + " has more parameters than scripts can pass");
        }
        runtime.functions.push_back({&function, byte_path_of(function)});
    }
}

void install_functions(Runtime& runtime, duk_context* ctx) {
    duk_push_global_object(ctx);
    for (std::size_t index = 0; index < runtime.functions.size(); ++index) {
        const host::Function& function = *runtime.functions[index].function;
        duk_push_c_function(ctx, native<call_function>,
                            static_cast<duk_idx_t>(function.parameters.size()));
        duk_set_magic(ctx, -1, static_cast<duk_int_t>(index));
        put_function(ctx, function.name.c_str());
    }
    duk_pop(ctx);
}

}  // namespace valtrosse::script
