#include "script/calls.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace valtrosse::script {

namespace {

constexpr double largest_integer = 4294967295.0;

/// Plain: made by a literal or Object.create(null), so not an array, a function, bytes, a
/// LIBXMLLife.
bool is_plain_object(Runtime& runtime, duk_context* ctx, duk_idx_t index) {
    if (duk_get_type(ctx, index) != DUK_TYPE_OBJECT || duk_is_array(ctx, index) ||
        duk_is_function(ctx, index) || duk_is_buffer_data(ctx, index)) {
        return false;
    }
    duk_get_prototype(ctx, index);
    const void* prototype = duk_get_heapptr(ctx, -1);
    duk_pop(ctx);
    return prototype == nullptr || prototype == runtime.object_prototype;
}

bool is_alone(duk_context* ctx, std::size_t count) {
    for (std::size_t k = 1; k < count; ++k) {
        if (!duk_is_undefined(ctx, static_cast<duk_idx_t>(k))) return false;
    }
    return true;
}

std::size_t find_parameter(const host::Function& function, std::string_view name) {
    const auto& parameters = function.parameters;
    const auto found = std::find(parameters.begin(), parameters.end(), name);
    return static_cast<std::size_t>(found - parameters.begin());
}

Places places_by_name(duk_context* ctx, const host::Function& function) {
    Places places{};
    places.by_name = true;
    duk_enum(ctx, 0, DUK_ENUM_OWN_PROPERTIES_ONLY);
    const duk_idx_t keys = duk_get_top_index(ctx);
    while (duk_next(ctx, keys, 1) != 0) {
        if (places.count == max_parameters) break;  // a proxy could give a name twice
        duk_size_t size = 0;
        const char* name = duk_get_lstring(ctx, -2, &size);
        const std::size_t parameter = find_parameter(function, {name, size});
        if (parameter == function.parameters.size()) {
            duk_error_raw(ctx, DUK_ERR_TYPE_ERROR, nullptr, 0, "%s has no parameter %s",
                          function.name.c_str(), name);
        }
        duk_remove(ctx, -2);  // keeps the value where it is until the call is over
        places.index[places.count] = duk_get_top_index(ctx);
        places.parameter[places.count] = parameter;
        ++places.count;
    }
    return places;
}

/// "parameter relative of xmlDOMNodeGetRelative"
std::string parameter_of(const host::Function& function, std::size_t parameter) {
    return "parameter " + function.parameters[parameter] + " of " + function.name;
}

[[noreturn]] void refuse_value(duk_context* ctx, duk_idx_t index, const host::Function& function,
                               std::size_t parameter) {
    const char* kind = duk_is_array(ctx, index)      ? "an array"
                       : duk_is_function(ctx, index) ? "a function"
                       : duk_is_symbol(ctx, index)   ? "a symbol"
                       : duk_is_pointer(ctx, index)  ? "a pointer"
                                                     : "an object";
    throw ScriptError(DUK_ERR_TYPE_ERROR, parameter_of(function, parameter) + " cannot be " + kind);
}

/// Gives the integer that a number is. False for other numbers.
bool to_integer(double number, std::uint32_t& integer) {
    if (!(number >= 0 && number <= largest_integer)) return false;
    integer = static_cast<std::uint32_t>(number);
    return static_cast<double>(integer) == number;
}

[[noreturn]] void refuse_number(double number, const host::Function& function,
                                std::size_t parameter) {
    char text[32] = "NaN";
    if (!std::isnan(number)) std::snprintf(text, sizeof text, "%.17g", number);
    throw ScriptError(DUK_ERR_TYPE_ERROR, parameter_of(function, parameter) +
                                              " must be a whole number from 0 to 4294967295, not " +
                                              text);
}

/// Symbols are kept as strings that start with a byte that no text starts with.
bool is_symbol(std::string_view bytes) {
    if (bytes.empty()) return false;
    const auto first = static_cast<unsigned char>(bytes[0]);
    return (first >= 0x80 && first < 0xC0) || first == 0xFF;
}

void check_byte_path(const host::Function& function, std::size_t parameter,
                     std::u16string_view path) {
    if (std::any_of(path.begin(), path.end(), [](char16_t unit) { return unit > 0xFF; })) {
        throw ScriptError(DUK_ERR_ERROR,
                          parameter_of(function, parameter) +
                              " takes one byte of the path per character and this path "
                              "has characters above U+00FF: pass path8(path)");
    }
}

/// Room for the texts among the arguments from this one on. It is found once in a call, since a
/// text must not move when the next one is read.
char16_t* room_for_texts(Scratch& scratch, duk_context* ctx, const Places& places,
                         std::size_t first) {
    std::size_t units = 0;
    for (std::size_t k = first; k < places.count; ++k) {
        if (!duk_is_string(ctx, places.index_of(k))) continue;
        duk_size_t size = 0;
        duk_get_lstring(ctx, places.index_of(k), &size);
        units += size;
    }
    return scratch.room(units);
}

/// Reads one value. The units of a text go to free_units, which then moves past them.
host::Argument read_value(duk_context* ctx, duk_idx_t index, const BoundFunction& bound,
                          std::size_t parameter, char16_t*& free_units) {
    const host::Function& function = *bound.function;
    duk_size_t size = 0;
    switch (duk_get_type(ctx, index)) {
        case DUK_TYPE_NONE:
        case DUK_TYPE_UNDEFINED: return {};
        case DUK_TYPE_NULL: return nullptr;
        case DUK_TYPE_BOOLEAN: return duk_get_boolean(ctx, index) != 0;
        case DUK_TYPE_NUMBER: {
            const double number = duk_get_number(ctx, index);
            std::uint32_t integer;
            if (to_integer(number, integer)) return integer;
            refuse_number(number, function, parameter);
        }
        case DUK_TYPE_STRING: {
            const char* bytes = duk_get_lstring(ctx, index, &size);
            if (is_symbol({bytes, size})) refuse_value(ctx, index, function, parameter);
            char16_t* end = decode_units({bytes, size}, free_units);
            const std::u16string_view text(free_units, static_cast<std::size_t>(end - free_units));
            if (parameter == bound.byte_path) check_byte_path(function, parameter, text);
            free_units = end;
            return text;
        }
        default: break;
    }
    if (!duk_is_buffer_data(ctx, index)) refuse_value(ctx, index, function, parameter);
    // No bytes are still bytes: the pointer of an empty blob is not null.
    static constexpr std::uint8_t no_bytes = 0;
    const void* data = duk_get_buffer_data(ctx, index, &size);
    return std::span(data != nullptr ? static_cast<const std::uint8_t*>(data) : &no_bytes, size);
}

}  // namespace

Places find_places(Runtime& runtime, duk_context* ctx, const host::Function& function) {
    const std::size_t count = function.parameters.size();
    if (count != 0 && duk_is_object(ctx, 0) && is_alone(ctx, count) &&
        is_plain_object(runtime, ctx, 0)) {
        return places_by_name(ctx, function);
    }
    Places places;
    places.by_name = false;
    places.count = count;
    return places;
}

std::span<const host::Argument> read_arguments(Runtime& runtime, duk_context* ctx,
                                               const BoundFunction& bound, const Places& places,
                                               Arguments& arguments) {
    char16_t* free_units = nullptr;
    std::size_t supplied = 0;
    for (std::size_t k = 0; k < places.count; ++k) {
        const duk_idx_t index = places.index_of(k);
        // Handles are most of what scripts pass: one question to the engine for each.
        std::uint32_t integer;
        if (!places.by_name && to_integer(duk_get_number_default(ctx, index, -1), integer)) {
            arguments.emplace_back(integer);
            supplied = arguments.size();
            continue;
        }
        if (free_units == nullptr && duk_is_string(ctx, index)) {
            free_units = room_for_texts(runtime.scratch, ctx, places, k);
        }
        const std::size_t parameter = places.by_name ? places.parameter[k] : k;
        host::Argument argument = read_value(ctx, index, bound, parameter, free_units);
        const bool missing = argument.kind() == host::Argument::Kind::missing;
        if (places.by_name) {
            if (missing) continue;
            const std::string_view name = bound.function->parameters[parameter];
            arguments.emplace_back(name, std::move(argument));
        } else {
            arguments.emplace_back(std::move(argument));
        }
        if (!missing) supplied = arguments.size();
    }
    return {arguments.data(), supplied};
}

CallPath call_path(Runtime& runtime, duk_context* ctx) {
    CallPath path;
    for (duk_int_t level = -2;; --level) {  // -1 is the native function itself
        int line = 0;
        bool outermost = false;
        const bool looked = guarded(ctx, [&] {
            duk_inspect_callstack_entry(ctx, level);
            outermost = duk_is_undefined(ctx, -1) != 0;
            if (outermost) return;
            duk_get_prop_string(ctx, -1, "lineNumber");
            line = duk_get_int(ctx, -1);
            duk_get_prop_string(ctx, -2, "function");
            duk_get_prop_string(ctx, -1, "fileName");  // undefined in native functions
        });
        duk_size_t size = 0;
        const char* name = duk_get_lstring(ctx, -1, &size);
        const std::string file = looked && name != nullptr ? to_utf8({name, size}) : "";
        duk_pop(ctx);
        if (!looked || outermost) break;
        if (file.empty() || line == 0) continue;
        const bool in_program = file == runtime.program;
        if (path.empty() || in_program) path.push_back({file, line});
        if (in_program) break;
    }
    return path;
}

Answer answer_with(Runtime& runtime, duk_context* ctx, const host::Outcome& outcome,
                   ShortText& text) {
    runtime.scratch.trim();
    const auto pushed = [](bool success) {
        return Answer{success ? Answer::Kind::pushed : Answer::Kind::thrown, 0};
    };
    const host::Outcome::Value& value = outcome.value();
    // The numbers first: they are most of what scripts are given.
    if (const auto* integer = std::get_if<std::uint32_t>(&value)) {
        duk_push_uint(ctx, *integer);
        return pushed(true);
    }
    if (const auto* units = std::get_if<std::u16string>(&value)) {
        if (units->size() <= text.size() / 3) {
            const char* end = encode_units(*units, text.data());
            return {Answer::Kind::text, static_cast<std::size_t>(end - text.data())};
        }
        return pushed(push_text(ctx, EngineText(*units).view()));
    }
    if (const auto* boolean = std::get_if<bool>(&value)) {
        duk_push_boolean(ctx, *boolean);
        return pushed(true);
    }
    if (const auto* blob = std::get_if<host::Blob>(&value)) {
        return pushed(push_bytes(ctx, {reinterpret_cast<const char*>(blob->data()), blob->size()}));
    }
    if (const auto* object = std::get_if<host::ObjectHandle>(&value)) {
        return pushed(push_life(runtime, ctx, *object));
    }
    return {Answer::Kind::nothing, 0};
}

Answer answer_failure(duk_context* ctx, const host::Function& function,
                      std::span<const host::Argument> arguments, const host::Outcome& outcome) {
    push_error(ctx, DUK_ERR_ERROR, host::explain(function, arguments, outcome));
    const duk_idx_t error = duk_get_top_index(ctx);
    guarded(ctx, [&] {
        duk_push_uint(ctx, outcome.status());
        duk_put_prop_string(ctx, error, "status");
        duk_push_lstring(ctx, function.name.data(), function.name.size());
        duk_put_prop_string(ctx, error, "function");
        duk_dup(ctx, error);
    });
    return {Answer::Kind::thrown, 0};
}

}  // namespace valtrosse::script
