#include "script/console.hpp"

#include <algorithm>
#include <optional>
#include <ostream>

#include "script/jobs.hpp"
#include "script/modules.hpp"
#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

constexpr std::uint32_t longest_array = 100000;

/// What the engine says against an input as a plain script or as a module; nothing when it takes it.
struct Complaint {
    unsigned number = 0;
    std::ptrdiff_t line = 0;
};
std::optional<Complaint> complaint_of(Runtime& runtime, std::string_view text, bool as_module) {
    JSContext* const cx = runtime.cx;
    Source source(runtime, text, Console::program_name);
    const bool compiled = as_module
                              ? JS::CompileModule(cx, source.options(), source.text()) != nullptr
                              : JS::Compile(cx, source.options(), source.text()) != nullptr;
    if (compiled) return std::nullopt;
    JS::RootedValue thrown(cx);
    Complaint complaint;
    if (JS_GetPendingException(cx, &thrown) && thrown.isObject()) {
        const JS::RootedObject error(cx, &thrown.toObject());
        if (const JSErrorReport* const report = JS_ErrorFromException(cx, error)) {
            complaint = {report->errorNumber, static_cast<std::ptrdiff_t>(report->lineno)};
        }
    }
    JS_ClearPendingException(cx);
    return complaint;
}

bool compiles(Runtime& runtime, const std::string& text) {
    return !complaint_of(runtime, text, false);
}

/// An input with `await` or `import` outside of functions as one that the engine takes; empty for others.
std::string asynchronous(Runtime& runtime, const std::string& text) {
    JSContext* const cx = runtime.cx;
    JS::RootedValue source(cx, JS::StringValue(check(new_string(cx, std::string_view(text)))));
    JS::RootedValue result(cx);
    call_helper(runtime, "asynchronous", JS::HandleValueArray(source), &result);
    if (!result.isString()) return "";
    const JS::RootedString code(cx, result.toString());
    return to_utf8(cx, code);
}

/// The script that an input means; of one that waits outside of functions, a script that gives a promise.
std::string script_of(Runtime& runtime, const std::string& text, bool& waits) {
    waits = false;
    if (compiles(runtime, text) && !runtime.modules->awaits(text)) return text;
    std::string waiting = asynchronous(runtime, text);
    waits = !waiting.empty();
    return waiting;
}

/// Runs one input with all that its promises and timers have to do.
void run_input(Runtime& runtime, const std::string& input, JS::MutableHandleValue result) {
    JSContext* const cx = runtime.cx;
    const std::string text = clean_source(input, Console::program_name);
    runtime.sources[Console::program_name] = text;
    bool waits = false;
    std::string script;
    // {a: 1} alone is meant as an object.
    if (text.starts_with('{')) script = script_of(runtime, '(' + text + "\n)", waits);
    if (script.empty()) script = script_of(runtime, text, waits);
    if (script.empty()) {
        // What is wrong with an input, the engine says of it as it is.
        runtime.modules->run_script(text, Console::program_name, result);
        return;
    }
    runtime.sources.erase(Console::program_name);  // functions of earlier inputs have that name too
    runtime.modules->run_script(script, Console::program_name, result);
    if (!waits) {
        runtime.jobs->run();
        return;
    }
    const JS::RootedObject promise(cx, &result.toObject());
    runtime.jobs->run();
    if (JS::GetPromiseState(promise) == JS::PromiseState::Pending) {
        throw ScriptError("the input waits for a promise that nothing can settle any more");
    }
    result.set(JS::GetPromiseResult(promise));
}

Console::Value read_value(Runtime& runtime, JS::HandleValue value) {
    JSContext* const cx = runtime.cx;
    if (value.isNumber()) return value.toNumber();
    if (value.isString()) {
        const JS::RootedString text(cx, value.toString());
        return to_units(cx, text);
    }
    if (!value.isObject()) return {};
    const JS::RootedObject object(cx, &value.toObject());
    bool is_array = false;
    std::uint32_t length = 0;
    check(JS::IsArrayObject(cx, object, &is_array));
    if (!is_array) return {};
    check(JS::GetArrayLength(cx, object, &length));
    if (length > longest_array) return {};
    std::vector<double> numbers;
    for (std::uint32_t k = 0; k < length; ++k) {
        JS::RootedValue element(cx);
        check(JS_GetElement(cx, object, k, &element));
        if (!element.isNumber()) return {};
        numbers.push_back(element.toNumber());
    }
    return numbers;
}

std::string inspected(Runtime& runtime, JS::HandleValue value) {
    JSContext* const cx = runtime.cx;
    JS::RootedValue words(cx);
    call_helper(runtime, "inspect", JS::HandleValueArray(value), &words);
    const JS::RootedString text(cx, check(JS::ToString(cx, words)));
    return to_utf8(cx, text);
}

/// The object that a path leads to; null for something that has no properties.
JSObject* object_at(Runtime& runtime, std::string_view path) {
    JSContext* const cx = runtime.cx;
    JS::RootedObject object(cx, runtime.global);
    JS::RootedValue value(cx, JS::ObjectValue(*object));
    for (bool is_first = true; !path.empty(); is_first = false) {
        const std::size_t end = std::min(path.find('.'), path.size());
        const std::string name(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
        if (is_first) {
            // What let, const and class declare is no property of the global object.
            const JS::RootedObject declared(cx, JS_GlobalLexicalEnvironment(runtime.global));
            bool is_declared = false;
            check(JS_HasOwnProperty(cx, declared, name.c_str(), &is_declared));
            if (is_declared) object = declared;
        }
        check(JS_GetProperty(cx, object, name.c_str(), &value));
        if (value.isNullOrUndefined()) return nullptr;
        object = check(JS::ToObject(cx, value));
    }
    return object;
}

void add_names(Runtime& runtime, JS::HandleObject object, bool mark_functions,
               std::vector<std::string>& names) {
    JSContext* const cx = runtime.cx;
    JS::RootedIdVector keys(cx);
    check(js::GetPropertyKeys(cx, object, JSITER_OWNONLY | JSITER_HIDDEN, &keys));
    for (const JS::PropertyKey key : keys) {
        if (!key.isString()) continue;
        const JS::RootedString text(cx, key.toString());
        const JS::RootedId id(cx, key);
        std::string name = to_utf8(cx, text);
        if (mark_functions) {  // elsewhere a getter might run
            JS::RootedValue value(cx);
            check(JS_GetPropertyById(cx, object, id, &value));
            if (value.isObject() && JS::IsCallable(&value.toObject())) name += '(';
        }
        names.push_back(std::move(name));
    }
}

}  // namespace

Console::Console(Engine& engine, NumberReader& numbers) : runtime_(*engine.runtime_) {
    runtime_.numbers = &numbers;
    runtime_.program = program_name;
    try {
        runtime_.modules->set_program("");
    } catch (const Pending&) {
        throw std::runtime_error("cannot set up the console: " + take_report(runtime_));
    }
}

Console::~Console() { runtime_.numbers = nullptr; }

bool Console::is_incomplete(std::string_view source) {
    // What more lines could mend, the engine misses on the line after the last one.
    const std::string text = std::string(source) + '\n';
    auto complaint = complaint_of(runtime_, text, false);
    if (complaint && Modules::is_for_modules(complaint->number)) {
        complaint = complaint_of(runtime_, text, true);
    }
    return complaint && complaint->line > std::count(text.begin(), text.end(), '\n');
}

Console::Reply Console::evaluate(std::string_view source) {
    JSContext* const cx = runtime_.cx;
    Reply reply;
    runtime_.begin(program_name);
    try {
        JS::RootedValue value(cx);
        try {
            run_input(runtime_, std::string(source), &value);
            runtime_.options.out->flush();
            reply.defined = !value.isUndefined();
            if (!reply.defined) return reply;
            // A script may have made it read-only.
            if (!JS_SetProperty(cx, runtime_.global, "_", value)) JS_ClearPendingException(cx);
            reply.value = read_value(runtime_, value);
            reply.text = inspected(runtime_, value);
        } catch (const ScriptError&) {
            set_current_exception(runtime_);
            throw Pending();
        }
    } catch (const Pending&) {
        runtime_.jobs->clear();
        runtime_.options.out->flush();
        reply.kind = Reply::Kind::error;
        if (runtime_.exit_code) {
            reply.kind = Reply::Kind::exited;
            reply.exit_code = *runtime_.exit_code;
        } else {
            reply.text = take_report(runtime_);
        }
    }
    return reply;
}

std::vector<std::string> Console::properties(std::string_view path) {
    JSContext* const cx = runtime_.cx;
    std::vector<std::string> names;
    try {
        JS::RootedObject object(cx, object_at(runtime_, path));
        if (path.empty()) {
            const JS::RootedObject declared(cx, JS_GlobalLexicalEnvironment(runtime_.global));
            add_names(runtime_, declared, true, names);
        }
        while (object) {
            add_names(runtime_, object, path.empty(), names);
            JS::RootedObject prototype(cx);
            check(JS_GetPrototype(cx, object, &prototype));
            object = prototype;
        }
    } catch (const Pending&) {
        JS_ClearPendingException(cx);
    }
    return names;
}

}  // namespace valtrosse::script
