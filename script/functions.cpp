// The script functions as globals.
#include <algorithm>
#include <array>
#include <filesystem>
#include <ostream>

#include "script/calls.hpp"

namespace valtrosse::script {

namespace {

constexpr std::size_t function_slot = 0;

/// Functions that make 8-bit text of a path by keeping the low byte of each unit.
constexpr std::array<std::string_view, 4> byte_path_functions = {
    "xmlDOMDocLoadXMLFile", "xmlDOMDocSaveXMLFormatFile", "xmlHTMLDocLoadFile",
    "xmlHTMLDocSaveFormatFile"};

/// Functions that make documents, and the parameter that says how large.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> document_functions = {{
    {"xmlDOMDocLoadXMLFile", "filepath"},
    {"xmlHTMLDocLoadFile", "filepath"},
    {"xmlDOMDocLoadXMLString", "string"},
    {"xmlHTMLDocLoadString", "string"},
    {"xmlDOMNodeCloneNode", "node"},
}};

// What a document takes in memory, as a multiple of its text's bytes or units: 4 where it is mostly text, 12
// and more where it is mostly markup. Small ones are not worth a note.
constexpr std::size_t memory_per_unit = 12;
constexpr std::size_t smallest_noted = 1 << 14;

std::size_t parameter_named(const host::Function& function, std::string_view name) {
    const auto& parameters = function.parameters;
    const auto found = std::find(parameters.begin(), parameters.end(), name);
    return found == parameters.end() ? BoundFunction::none
                                     : static_cast<std::size_t>(found - parameters.begin());
}

std::size_t size_of_file(std::u16string_view path) {
    std::string bytes;
    for (const char16_t unit : path) bytes += static_cast<char>(unit);
    std::error_code ignored;
    const auto size = std::filesystem::file_size(bytes, ignored);
    return ignored ? 0 : static_cast<std::size_t>(size);
}

/// Notes how much memory a new document takes, of which the engine sees nothing.
void note_weight(Runtime& runtime, const BoundFunction& bound,
                 std::span<const host::Argument> arguments, const host::Outcome& outcome) {
    const auto* document = std::get_if<std::uint32_t>(&outcome.value());
    const ObservedCall call{*bound.function, arguments};
    const host::Argument* source = call.argument(bound.source);
    if (document == nullptr || source == nullptr) return;
    std::size_t bytes = 0;
    if (source->kind() == host::Argument::Kind::integer) {
        const auto original = runtime.weights.find(source->integer());
        if (original != runtime.weights.end()) bytes = original->second;
    } else if (source->kind() == host::Argument::Kind::string) {
        const bool is_path = bound.source == bound.byte_path;
        bytes = memory_per_unit * (is_path ? size_of_file(source->text()) : source->text().size());
    }
    if (bytes >= smallest_noted) {
        runtime.weights[*document] = bytes;
    } else {
        runtime.weights.erase(*document);
    }
}

void call_function(Runtime& runtime, const JS::CallArgs& args) {
    const JS::Value slot = js::GetFunctionNativeReserved(&args.callee(), function_slot);
    const auto& bound = *static_cast<const BoundFunction*>(slot.toPrivate());
    // The library may write there, too, and what was printed comes first.
    if (bound.saves) runtime.options.out->flush();
    call_host(runtime, args, bound, [&](std::span<const host::Argument> arguments) {
        host::Outcome outcome = runtime.host.call(*bound.function, arguments);
        if (bound.source != BoundFunction::none) {
            note_weight(runtime, bound, arguments, outcome);
        }
        return outcome;
    });
}

}  // namespace

BoundFunction bind(JSContext* cx, const host::Function& function) {
    if (function.parameters.size() > max_parameters) {
        throw std::runtime_error(function.name + " has more parameters than scripts can pass");
    }
    BoundFunction bound{&function};
    const auto& paths = byte_path_functions;
    if (std::find(paths.begin(), paths.end(), function.name) != paths.end()) {
        bound.byte_path = parameter_named(function, "filepath");
    }
    bound.saves =
        function.name.find("Save") != std::string::npos || function.name == "xmlXSLTransformFile";
    for (const auto& [name, source] : document_functions) {
        if (name == function.name) bound.source = parameter_named(function, source);
    }
    for (const std::string& parameter : function.parameters) {
        JSString* const name = JS_AtomizeAndPinStringN(cx, parameter.data(), parameter.size());
        if (name == nullptr) throw std::bad_alloc();
        bound.parameters.push_back(JS::PropertyKey::fromPinnedString(name));
    }
    return bound;
}

void install_functions(Runtime& runtime) {
    JSContext* const cx = runtime.cx;
    for (const host::Function& described : runtime.host.functions()) {
        BoundFunction& bound = runtime.functions.emplace_back(bind(cx, described));
        const char* const name = bound.function->name.c_str();
        JSFunction* const function = check(js::NewFunctionWithReserved(
            cx, native<call_function>, static_cast<unsigned>(bound.parameters.size()), 0, name));
        const JS::RootedObject object(cx, JS_GetFunctionObject(function));
        js::SetFunctionNativeReserved(object, function_slot, JS::PrivateValue(&bound));
        check(JS_DefineProperty(cx, runtime.global, name, object, JSPROP_ENUMERATE));
    }
}

}  // namespace valtrosse::script
