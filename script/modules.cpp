#include "script/modules.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

namespace valtrosse::script {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t from_slot = 0;  // of a require function: the file that it serves

constexpr std::array<const char*, 6> suffixes = {"",      ".js",       ".mjs",
                                                 ".json", "/index.js", "/index.mjs"};

std::string canonical(const std::string& file) {
    std::error_code ignored;
    const fs::path path = fs::canonical(file, ignored);
    return ignored ? file : path.string();
}

/// The folders in which a file's relative names begin: that of the file itself and, when the file was reached
/// through a link, before it the target's.
std::vector<fs::path> folders_of(const std::string& file) {
    const fs::path named = fs::path(file).parent_path();
    if (file.empty()) return {named};
    const fs::path real = fs::path(canonical(file)).parent_path();
    const std::string named_folder = canonical(named.empty() ? "." : named.string());
    return real == named_folder ? std::vector{named} : std::vector{real, named};
}

bool is_relative(const std::string& name) {
    return name.starts_with("./") || name.starts_with("../") || name.starts_with("/") ||
           name == "." || name == "..";
}

/// Whether the engine's exception is that of a script which has what only ES modules may have. It stays
/// where it is.
bool asks_for_module(JSContext* cx) {
    JS::RootedValue thrown(cx);
    if (!JS_IsExceptionPending(cx) || !JS_GetPendingException(cx, &thrown) || !thrown.isObject()) {
        return false;
    }
    const JS::RootedObject object(cx, &thrown.toObject());
    const JSErrorReport* const report = JS_ErrorFromException(cx, object);
    return report != nullptr && Modules::is_for_modules(report->errorNumber);
}

void require_native(Runtime& runtime, const JS::CallArgs& args) {
    JSContext* const cx = runtime.cx;
    const JS::RootedString name(cx, text_argument(args, 0, "the name of a module"));
    const JS::RootedString from(
        cx, js::GetFunctionNativeReserved(&args.callee(), from_slot).toString());
    runtime.modules->require(to_path(cx, name), to_path(cx, from), args.rval());
}

/// The file behind what the engine keeps for a script or module; empty for neither.
std::string file_of(JSContext* cx, JS::HandleValue kept) {
    if (!kept.isString()) return "";
    const JS::RootedString file(cx, kept.toString());
    return to_path(cx, file);
}

JSObject* resolve_hook(JSContext* cx, JS::HandleValue referrer, JS::HandleObject request) {
    Runtime& runtime = Runtime::of(cx);
    try {
        const JS::RootedString name(cx, JS::GetModuleRequestSpecifier(cx, request));
        return runtime.modules->imported(name, file_of(cx, referrer));
    } catch (...) {
        set_current_exception(runtime);
        return nullptr;
    }
}

bool dynamic_import_hook(JSContext* cx, JS::HandleValue referrer, JS::HandleObject request,
                         JS::HandleObject promise) {
    Runtime& runtime = Runtime::of(cx);
    try {
        runtime.modules->import_later(referrer, request, promise);
        return true;
    } catch (...) {
        set_current_exception(runtime);
        return JS_IsExceptionPending(cx) &&
               JS::FinishDynamicModuleImport(cx, nullptr, referrer, request, promise);
    }
}

bool metadata_hook(JSContext* cx, JS::HandleValue module_value, JS::HandleObject meta) {
    Runtime& runtime = Runtime::of(cx);
    try {
        runtime.modules->describe(module_value, meta);
        return true;
    } catch (...) {
        set_current_exception(runtime);
        return false;
    }
}

}  // namespace

Modules::Modules(Runtime& runtime)
    : runtime_(runtime),
      common_(runtime.cx, check(JS::NewMapObject(runtime.cx))),
      es_(runtime.cx, check(JS::NewMapObject(runtime.cx))) {
    JSRuntime* const engine = JS_GetRuntime(runtime.cx);
    JS::SetModuleResolveHook(engine, resolve_hook);
    JS::SetModuleDynamicImportHook(engine, dynamic_import_hook);
    JS::SetModuleMetadataHook(engine, metadata_hook);
}

// ---- Files --------------------------------------------------------------------------------------

Modules::Found Modules::find(const std::string& name, const std::string& from) const {
    std::vector<fs::path> folders;
    if (is_relative(name)) {
        folders = folders_of(from);
    } else {
        const auto& bundled = runtime_.options.module_directories;
        folders.assign(bundled.begin(), bundled.end());
    }
    for (const fs::path& folder : folders) {
        for (const char* suffix : suffixes) {
            const fs::path path = (folder / (name + suffix)).lexically_normal();
            std::error_code ignored;
            if (fs::is_regular_file(path, ignored))
                return {canonical(path.string()), path.string()};
        }
    }
    throw ScriptError("cannot find module '" + name + "'");
}

bool Modules::recall(JS::HandleObject map, const std::string& key, JS::MutableHandleValue value) {
    JSContext* const cx = runtime_.cx;
    const JS::RootedValue name(cx, JS::StringValue(check(path_string(cx, key))));
    check(JS::MapGet(cx, map, name, value));
    return !value.isUndefined();
}

void Modules::remember(JS::HandleObject map, const std::string& key, JS::HandleValue value) {
    JSContext* const cx = runtime_.cx;
    const JS::RootedValue name(cx, JS::StringValue(check(path_string(cx, key))));
    bool ignored = false;
    check(value.isUndefined() ? JS::MapDelete(cx, map, name, &ignored)
                              : JS::MapSet(cx, map, name, value));
}

// ---- CommonJS -----------------------------------------------------------------------------------

JSObject* Modules::make_require(const std::string& from) {
    JSContext* const cx = runtime_.cx;
    JSFunction* const function =
        check(js::NewFunctionWithReserved(cx, native<require_native>, 1, 0, "require"));
    const JS::RootedObject object(cx, JS_GetFunctionObject(function));
    js::SetFunctionNativeReserved(object, from_slot, JS::StringValue(check(path_string(cx, from))));
    return object;
}

void Modules::set_program(const std::string& file) {
    JSContext* const cx = runtime_.cx;
    const JS::RootedObject require(cx, make_require(file));
    check(JS_DefineProperty(cx, runtime_.global, "require", require, JSPROP_ENUMERATE));
}

/// Runs a CommonJS module, or reads a JSON file. False when the file is an ES module.
bool Modules::run_common(const Found& found, JS::MutableHandleValue exports) {
    JSContext* const cx = runtime_.cx;
    const auto ends = [&](const char* suffix) { return found.file.ends_with(suffix); };
    if (ends(".mjs")) return false;
    const std::string text = clean_source(read_file(found.file), found.file);
    if (!is_bundled(runtime_, found.file)) runtime_.sources[found.file] = text;

    const JS::RootedObject module_object(cx, check(JS_NewPlainObject(cx)));
    const JS::RootedValue module_value(cx, JS::ObjectValue(*module_object));
    const JS::RootedString file(cx, check(path_string(cx, found.file)));
    check(JS_DefineProperty(cx, module_object, "id", file, JSPROP_ENUMERATE));
    if (ends(".json")) {
        const JS::RootedString json(cx, check(new_string(cx, std::string_view(text))));
        if (!JS_ParseJSON(cx, json, exports)) throw Pending();
        check(JS_DefineProperty(cx, module_object, "exports", exports, JSPROP_ENUMERATE));
        remember(common_, found.key, module_value);
        return true;
    }

    static const char* const parameters[] = {"exports", "require", "module", "__filename",
                                             "__dirname"};
    Source source(runtime_, text, found.file, 0);  // the engine puts a line before the text
    JS::RootedFunction function(
        cx, JS::CompileFunction(cx, JS::RootedObjectVector(cx), source.options(), nullptr,
                                std::size(parameters), parameters, source.text()));
    if (!function) {
        if (ends(".cjs") || !asks_for_module(cx)) throw Pending();
        JS_ClearPendingException(cx);
        return false;
    }
    const JS::RootedScript script(cx, JS_GetFunctionScript(cx, function));
    JS::SetScriptPrivate(script, JS::StringValue(file));

    const JS::RootedObject empty(cx, check(JS_NewPlainObject(cx)));
    const JS::RootedString folder(
        cx, check(path_string(cx, fs::path(found.file).parent_path().string())));
    check(JS_DefineProperty(cx, module_object, "exports", empty, JSPROP_ENUMERATE));
    remember(common_, found.key, module_value);  // a module that it requires may require it
    JS::RootedValueArray<std::size(parameters)> arguments(cx);
    arguments[0].setObject(*empty);
    arguments[1].setObject(*make_require(found.file));
    arguments[2].setObject(*module_object);
    arguments[3].setString(file);
    arguments[4].setString(folder);
    JS::RootedValue ignored(cx);
    if (!JS_CallFunction(cx, empty, function, arguments, &ignored)) {
        JS::ExceptionStack thrown(cx);
        const bool has_thrown =
            JS_IsExceptionPending(cx) && JS::StealPendingExceptionStack(cx, &thrown);
        remember(common_, found.key, JS::UndefinedHandleValue);  // it is tried again next time
        if (has_thrown) JS::SetPendingExceptionStack(cx, thrown);
        throw Pending();
    }
    check(JS_GetProperty(cx, module_object, "exports", exports));
    return true;
}

void Modules::require(const std::string& name, const std::string& from,
                      JS::MutableHandleValue result) {
    JSContext* const cx = runtime_.cx;
    const Found found = find(name, from);
    JS::RootedValue known(cx);
    if (recall(common_, found.key, &known)) {
        const JS::RootedObject module_object(cx, &known.toObject());
        check(JS_GetProperty(cx, module_object, "exports", result));
        return;
    }
    if (!recall(es_, found.key, &known)) {
        if (run_common(found, result)) return;
        known.setObject(*es_module(found.key, found.file, read_file(found.file)));
    }
    const JS::RootedObject record(cx, &known.toObject());
    JS::RootedValue promise_value(cx);
    evaluate(record, &promise_value);
    const JS::RootedObject promise(cx, &promise_value.toObject());
    check(JS::SetAnyPromiseIsHandled(cx, promise));
    switch (JS::GetPromiseState(promise)) {
        case JS::PromiseState::Fulfilled: break;
        case JS::PromiseState::Pending:
            throw ScriptError(found.file + " waits outside of its functions: use import");
        case JS::PromiseState::Rejected: {
            const JS::RootedValue reason(cx, JS::GetPromiseResult(promise));
            JS_SetPendingException(cx, reason);
            throw Pending();
        }
    }
    result.setObject(*check(JS::GetModuleNamespace(cx, record)));
}

// ---- ES modules ---------------------------------------------------------------------------------

JSObject* Modules::es_module(const std::string& key, const std::string& file,
                             std::string_view text) {
    JSContext* const cx = runtime_.cx;
    const std::string clean = clean_source(std::string(text), file);
    if (!is_bundled(runtime_, file)) runtime_.sources[file] = clean;
    Source source(runtime_, clean, file);
    const JS::RootedObject record(cx,
                                  check(JS::CompileModule(cx, source.options(), source.text())));
    JS::SetModulePrivate(record, JS::StringValue(check(path_string(cx, file))));
    const JS::RootedValue value(cx, JS::ObjectValue(*record));
    remember(es_, key, value);
    return record;
}

/// An ES module with what a CommonJS module exports: all of it as the default, and each part by its name.
JSObject* Modules::wrapped(const Found& found, JS::HandleValue exports) {
    JSContext* const cx = runtime_.cx;
    JS::RootedValue text(cx);
    call_helper(runtime_, "wrap", JS::HandleValueArray(exports), &text);
    const JS::RootedString wrapper(cx, text.toString());
    const std::string code = to_utf8(cx, wrapper);
    Source source(runtime_, code, found.file);
    const JS::RootedObject record(cx,
                                  check(JS::CompileModule(cx, source.options(), source.text())));
    const JS::RootedObject kept(cx, check(JS_NewPlainObject(cx)));
    check(JS_DefineProperty(cx, kept, "exports", exports, JSPROP_ENUMERATE));
    JS::SetModulePrivate(record, JS::ObjectValue(*kept));
    const JS::RootedValue value(cx, JS::ObjectValue(*record));
    remember(es_, found.key, value);
    return record;
}

JSObject* Modules::imported(JS::HandleString name, const std::string& from) {
    JSContext* const cx = runtime_.cx;
    const Found found = find(to_path(cx, name), from);
    JS::RootedValue known(cx);
    if (recall(es_, found.key, &known)) return &known.toObject();
    if (recall(common_, found.key, &known)) {
        const JS::RootedObject module_object(cx, &known.toObject());
        JS::RootedValue exports(cx);
        check(JS_GetProperty(cx, module_object, "exports", &exports));
        return wrapped(found, exports);
    }
    if (run_common(found, &known)) return wrapped(found, known);
    return es_module(found.key, found.file, read_file(found.file));
}

void Modules::evaluate(JS::HandleObject record, JS::MutableHandleValue promise) {
    check(JS::ModuleInstantiate(runtime_.cx, record));
    check(JS::ModuleEvaluate(runtime_.cx, record, promise));
}

void Modules::import_later(JS::HandleValue referrer, JS::HandleObject request,
                           JS::HandleObject promise) {
    JSContext* const cx = runtime_.cx;
    const JS::RootedString name(cx, JS::GetModuleRequestSpecifier(cx, request));
    const JS::RootedObject record(cx, imported(name, file_of(cx, referrer)));
    JS::RootedValue evaluation(cx);
    evaluate(record, &evaluation);
    const JS::RootedObject evaluated(cx, &evaluation.toObject());
    check(JS::FinishDynamicModuleImport(cx, evaluated, referrer, request, promise));
}

void Modules::describe(JS::HandleValue module_value, JS::HandleObject meta) {
    JSContext* const cx = runtime_.cx;
    if (module_value.isObject()) {
        const JS::RootedObject kept(cx, &module_value.toObject());
        JS::RootedValue exports(cx);
        check(JS_GetProperty(cx, kept, "exports", &exports));
        check(JS_DefineProperty(cx, meta, "exports", exports, JSPROP_ENUMERATE));
        return;
    }
    const std::string file = file_of(cx, module_value);
    const JS::RootedString shown(cx, check(path_string(cx, file)));
    const JS::RootedString folder(cx,
                                  check(path_string(cx, fs::path(file).parent_path().string())));
    check(JS_DefineProperty(cx, meta, "filename", shown, JSPROP_ENUMERATE));
    check(JS_DefineProperty(cx, meta, "dirname", folder, JSPROP_ENUMERATE));
    const JS::RootedObject require(cx, make_require(file));
    check(JS_DefineProperty(cx, meta, "require", require, JSPROP_ENUMERATE));
}

// ---- Programs -----------------------------------------------------------------------------------

void Modules::run_script(std::string_view text, const std::string& file,
                         JS::MutableHandleValue result) {
    JSContext* const cx = runtime_.cx;
    Source source(runtime_, text, file);
    const JS::RootedScript script(cx, check(JS::Compile(cx, source.options(), source.text())));
    JS::SetScriptPrivate(script, JS::StringValue(check(path_string(cx, file))));
    check(JS_ExecuteScript(cx, script, result));
}

bool Modules::is_for_modules(unsigned error_number) {
    switch (error_number) {
        case JSMSG_IMPORT_DECL_AT_TOP_LEVEL:
        case JSMSG_EXPORT_DECL_AT_TOP_LEVEL:
        case JSMSG_IMPORT_META_OUTSIDE_MODULE:
        case JSMSG_AWAIT_OUTSIDE_ASYNC:
        case JSMSG_AWAIT_OUTSIDE_ASYNC_OR_MODULE:
        case JSMSG_FOR_AWAIT_OUTSIDE_ASYNC: return true;
        default: return false;
    }
}

bool Modules::awaits(std::string_view text) {
    if (text.find("await") == text.npos) return false;
    JSContext* const cx = runtime_.cx;
    JS::RootedValue source(cx, JS::StringValue(check(new_string(cx, text))));
    JS::RootedValue answer(cx);
    call_helper(runtime_, "awaits", JS::HandleValueArray(source), &answer);
    return answer.isTrue();
}

void Modules::run(std::string_view text, const std::string& file, JS::MutableHandleValue result,
                  bool& is_module) {
    JSContext* const cx = runtime_.cx;
    set_program(file);
    is_module = file.ends_with(".mjs");
    if (!is_module) {
        Source source(runtime_, text, file);
        const JS::RootedScript script(cx, JS::Compile(cx, source.options(), source.text()));
        if (!script && !asks_for_module(cx)) throw Pending();
        if (script && !awaits(text)) {
            JS::SetScriptPrivate(script, JS::StringValue(check(path_string(cx, file))));
            check(JS_ExecuteScript(cx, script, result));
            return;
        }
        JS_ClearPendingException(cx);
        is_module = true;
    }
    const JS::RootedObject record(cx, es_module(canonical(file), file, text));
    evaluate(record, result);
}

}  // namespace valtrosse::script
