#include "script/calls.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace valtrosse::script {

namespace {

constexpr double largest_integer = 4294967295.0;

bool is_bytes(JSObject* object) {
    return JS_IsArrayBufferViewObject(object) || JS::IsArrayBufferObject(object);
}

/// Plain: made by a literal or Object.create(null), so not an array, a function, bytes, a LIBXMLLife.
bool is_plain_object(Runtime& runtime, JS::HandleObject object) {
    bool is_array = false;
    check(JS::IsArrayObject(runtime.cx, object, &is_array));
    if (is_array || JS::IsCallable(object) || is_bytes(object)) return false;
    JS::RootedObject prototype(runtime.cx);
    check(JS_GetPrototype(runtime.cx, object, &prototype));
    return !prototype || prototype == runtime.object_prototype;
}

/// "parameter relative of xmlDOMNodeGetRelative"
std::string parameter_of(const host::Function& function, std::size_t parameter) {
    return "parameter " + function.parameters[parameter] + " of " + function.name;
}

[[noreturn]] void refuse_value(const JS::Value& value, const host::Function& function,
                               std::size_t parameter) {
    const auto kind = [&] {
        if (value.isSymbol()) return "a symbol";
        if (value.isBigInt()) return "a BigInt";
        if (JS::IsCallable(&value.toObject())) return "a function";
        const bool is_array = JS::GetClass(&value.toObject())->name == std::string_view("Array");
        return is_array ? "an array" : "an object";
    }();
    throw ScriptError(parameter_of(function, parameter) + " cannot be " + kind, JSEXN_TYPEERR);
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
    throw ScriptError(parameter_of(function, parameter) +
                          " must be a whole number from 0 to 4294967295, not " + text,
                      JSEXN_TYPEERR);
}

void check_byte_path(const host::Function& function, std::size_t parameter,
                     std::u16string_view path) {
    if (std::any_of(path.begin(), path.end(), [](char16_t unit) { return unit > 0xFF; })) {
        throw ScriptError(parameter_of(function, parameter) +
                          " takes one byte of the path per character and this path "
                          "has characters above U+00FF: pass path8(path)");
    }
}

std::u16string_view units_of(JSLinearString* text, char16_t*& free_units) {
    const JS::AutoCheckCannotGC nogc;
    const std::size_t size = JS::GetLinearStringLength(text);
    if (!JS::LinearStringHasLatin1Chars(text)) {
        return {JS::GetTwoByteLinearStringChars(nogc, text), size};
    }
    char16_t* const units = free_units;
    widen(JS::GetLatin1LinearStringChars(nogc, text), size, units);
    free_units += size;
    return {units, size};
}

std::span<const std::uint8_t> bytes_of(JSObject* object) {
    const JS::AutoCheckCannotGC nogc;
    bool is_shared = false;
    std::size_t size = 0;
    std::uint8_t* data = nullptr;
    if (JS_IsArrayBufferViewObject(object)) {
        size = JS_GetArrayBufferViewByteLength(object);
        data = static_cast<std::uint8_t*>(JS_GetArrayBufferViewData(object, &is_shared, nogc));
    } else {
        JS::GetArrayBufferLengthAndData(object, &size, &is_shared, &data);
    }
    // No bytes are still bytes: the pointer of an empty blob is not null.
    static constexpr std::uint8_t no_bytes = 0;
    return std::span(data != nullptr ? data : &no_bytes, size);
}

/// Reads one value. The units of a text of single bytes go to free_units, which then moves past them.
host::Argument read_value(const JS::Value& value, const BoundFunction& bound, std::size_t parameter,
                          char16_t*& free_units) {
    if (value.isUndefined()) return {};
    if (value.isNull()) return nullptr;
    if (value.isBoolean()) return value.toBoolean();
    if (value.isNumber()) {
        std::uint32_t integer;
        if (to_integer(value.toNumber(), integer)) return integer;
        refuse_number(value.toNumber(), *bound.function, parameter);
    }
    if (value.isString()) {
        const auto text = units_of(JS_ASSERT_STRING_IS_LINEAR(value.toString()), free_units);
        if (parameter == bound.byte_path) check_byte_path(*bound.function, parameter, text);
        return text;
    }
    if (value.isObject() && is_bytes(&value.toObject())) return bytes_of(&value.toObject());
    refuse_value(value, *bound.function, parameter);
}

/// How many units the texts of single bytes among the arguments have together.
std::size_t units_to_widen(const Values& values) {
    std::size_t units = 0;
    for (std::size_t k = 0; k < values.size(); ++k) {
        if (values[k].isString() && JS::StringHasLatin1Chars(values[k].toString())) {
            units += JS_GetStringLength(values[k].toString());
        }
    }
    return units;
}

bool is_alone(const JS::CallArgs& args, std::size_t count) {
    for (unsigned k = 1; k < count && k < args.length(); ++k) {
        if (!args[k].isUndefined()) return false;
    }
    return true;
}

}  // namespace

Values::Values(Runtime& runtime, const BoundFunction& bound, const JS::CallArgs& args)
    : args_(args),
      size_(std::min<std::size_t>(args.length(), bound.function->parameters.size())),
      named_(runtime.cx) {
    if (size_ != 0 && args[0].isObject() && is_alone(args, size_)) find_by_name(runtime, bound);
    for (std::size_t k = 0; k < size_; ++k) {
        if (!(*this)[k].isString()) continue;
        check(JS_EnsureLinearString(runtime.cx, (*this)[k].toString()));
    }
}

void Values::find_by_name(Runtime& runtime, const BoundFunction& bound) {
    JSContext* const cx = runtime.cx;
    const JS::RootedObject object(cx, &args_[0].toObject());
    if (!is_plain_object(runtime, object)) return;
    by_name_ = true;
    size_ = 0;
    JS::Rooted<JS::IdVector> names(cx, JS::IdVector(cx));
    check(JS_Enumerate(cx, object, &names));
    for (const JS::PropertyKey name : names) {
        const auto& known = bound.parameters;
        const auto found = std::find(known.begin(), known.end(), name);
        if (found == known.end()) {
            JS::RootedValue text(cx);
            check(JS_IdToValue(cx, name, &text));
            const JS::RootedString unknown(cx, check(JS::ToString(cx, text)));
            throw ScriptError(bound.function->name + " has no parameter " + to_utf8(cx, unknown),
                              JSEXN_TYPEERR);
        }
        if (size_ == max_parameters) break;  // a proxy could give a name twice
        JS::RootedValue value(cx);
        const JS::RootedId key(cx, name);
        check(JS_GetPropertyById(cx, object, key, &value));
        check(named_.append(value));
        parameters_[size_++] = static_cast<std::size_t>(found - known.begin());
    }
}

std::span<const host::Argument> read_arguments(Runtime& runtime, const BoundFunction& bound,
                                               const Values& values, Arguments& arguments) {
    char16_t* free_units = nullptr;
    std::size_t supplied = 0;
    for (std::size_t k = 0; k < values.size(); ++k) {
        const JS::Value value = values[k];
        // Found once in a call, since a text must not move when the next one is read.
        if (value.isString() && free_units == nullptr) {
            free_units = runtime.scratch.room(units_to_widen(values) + 1);
        }
        // Handles are most of what scripts pass.
        if (!values.by_name() && value.isInt32() && value.toInt32() >= 0) {
            arguments.emplace_back(static_cast<std::uint32_t>(value.toInt32()));
            supplied = arguments.size();
            continue;
        }
        const std::size_t parameter = values.parameter(k);
        host::Argument argument = read_value(value, bound, parameter, free_units);
        const bool missing = argument.kind() == host::Argument::Kind::missing;
        if (values.by_name()) {
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

CallPath call_path(Runtime& runtime) {
    JS::AutoFilename file;
    unsigned line = 0;
    if (!JS::DescribeScriptedCaller(runtime.cx, &file, &line) || file.get() == nullptr) return {};
    if (file.get() == runtime.program) return {{file.get(), static_cast<int>(line)}};
    CallPath path{{file.get(), static_cast<int>(line)}};
    for (const Place& place : current_places(runtime)) {
        if (place.file != runtime.program) continue;
        path.push_back({place.file, static_cast<int>(place.line)});
        break;
    }
    return path;
}

void give_value(Runtime& runtime, const host::Outcome::Value& value, const vt_object* object,
                JS::HandleValue self, JS::MutableHandleValue result) {
    JSContext* const cx = runtime.cx;
    // The numbers first: they are most of what scripts are given.
    if (const auto* integer = std::get_if<std::uint32_t>(&value)) {
        result.setNumber(*integer);
    } else if (const auto* text = std::get_if<std::u16string>(&value)) {
        result.setString(check(new_string(cx, *text)));
    } else if (const auto* boolean = std::get_if<bool>(&value)) {
        result.setBoolean(*boolean);
    } else if (const auto* blob = std::get_if<host::Blob>(&value)) {
        JSObject* const bytes = check(JS_NewUint8Array(cx, blob->size()));
        const JS::AutoCheckCannotGC nogc;
        bool is_shared = false;
        std::copy(blob->begin(), blob->end(), JS_GetUint8ArrayData(bytes, &is_shared, nogc));
        result.setObject(*bytes);
    } else if (const auto* given = std::get_if<host::ObjectHandle>(&value)) {
        if (given->get() == object) {
            result.set(self);
        } else {
            result.setObject(*make_life(runtime, *given));
        }
    } else {
        result.setUndefined();
    }
}

std::string explain_failure(const BoundFunction& bound, const Values& values,
                            std::span<const host::Argument> arguments,
                            const host::Outcome& outcome) {
    if (outcome.status() == VT_MISSING_ARGUMENT) {
        for (std::size_t k = 0; k < values.size(); ++k) {
            if (!values[k].isUndefined()) continue;
            return parameter_of(*bound.function, values.parameter(k)) +
                   " is undefined, as given by a call that found or loaded nothing; why a "
                   "document did not load, xmlDOMDocGetLastMsg(0) tells (" +
                   std::to_string(outcome.status()) + ')';
        }
    }
    return host::explain(*bound.function, arguments, outcome);
}

void throw_failure(Runtime& runtime, const host::Function& function, vt_status status,
                   const std::string& message) {
    JSContext* const cx = runtime.cx;
    const JS::RootedObject error(cx, check(set_error(runtime, JSEXN_ERR, message)));
    // The engine is to have no exception while it works.
    JS::RootedValue thrown(cx, JS::ObjectValue(*error));
    JS_ClearPendingException(cx);
    const JS::RootedString name(cx, check(new_string(cx, std::string_view(function.name))));
    check(JS_DefineProperty(cx, error, "status", static_cast<double>(status), JSPROP_ENUMERATE));
    check(JS_DefineProperty(cx, error, "function", name, JSPROP_ENUMERATE));
    JS_SetPendingException(cx, thrown);
    throw Pending();
}

void collect_for_tests(Runtime& runtime) {
    if (++runtime.calls_to_collection < runtime.options.calls_between_collections) return;
    runtime.calls_to_collection = 0;
    JS_GC(runtime.cx);
}

}  // namespace valtrosse::script
