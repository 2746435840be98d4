// print, args, readFile, writeFile, rename, exit, messagesOf, withTemporaryFile, path8, gc, console and what
// prelude.js adds.
#include <algorithm>
#include <chrono>
#include <ostream>

#include "script/console.hpp"
#include "script/embedded.hpp"
#include "script/jobs.hpp"
#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

/// Writes the arguments with spaces between them and a line end; objects without a toString of their own as
/// console.log does.
void print(Runtime& runtime, const JS::CallArgs& args) {
    JSContext* const cx = runtime.cx;
    std::string line;
    for (unsigned k = 0; k < args.length(); ++k) {
        JS::RootedValue value(cx, args[k]);
        if (value.isObject()) call_helper(runtime, "words", JS::HandleValueArray(value), &value);
        const JS::RootedString text(cx, check(JS::ToString(cx, value)));  // may run toString
        if (k != 0) line += ' ';
        line += to_utf8(cx, text);
    }
    line += '\n';
    runtime.options.out->write(line.data(), static_cast<std::streamsize>(line.size()));
    args.rval().setUndefined();
}

std::string path_argument(Runtime& runtime, const JS::CallArgs& args, unsigned index,
                          const char* what) {
    const JS::RootedString path(runtime.cx, text_argument(args, index, what));
    return to_path(runtime.cx, path);
}

JSObject* new_bytes(JSContext* cx, std::string_view content) {
    JSObject* const bytes = check(JS_NewUint8Array(cx, content.size()));
    const JS::AutoCheckCannotGC nogc;
    bool is_shared = false;
    std::copy(content.begin(), content.end(), JS_GetUint8ArrayData(bytes, &is_shared, nogc));
    return bytes;
}

/// The bytes of a typed array, a DataView or an ArrayBuffer; anything else throws ScriptError.
std::string bytes_argument(const JS::CallArgs& args, unsigned index, const char* what) {
    const JS::AutoCheckCannotGC nogc;
    JSObject* const object = args.get(index).isObject() ? &args[index].toObject() : nullptr;
    bool is_shared = false;
    std::size_t size = 0;
    std::uint8_t* data = nullptr;
    if (object != nullptr && JS_IsArrayBufferViewObject(object)) {
        size = JS_GetArrayBufferViewByteLength(object);
        data = static_cast<std::uint8_t*>(JS_GetArrayBufferViewData(object, &is_shared, nogc));
    } else if (object != nullptr && JS::IsArrayBufferObject(object)) {
        JS::GetArrayBufferLengthAndData(object, &size, &is_shared, &data);
    } else {
        throw ScriptError(std::string(what) + " must be bytes", JSEXN_TYPEERR);
    }
    return {reinterpret_cast<const char*>(data), size};
}

void read(Runtime& runtime, const JS::CallArgs& args) {
    JSContext* const cx = runtime.cx;
    const std::string path = path_argument(runtime, args, 0, "the path for readFile");
    bool as_bytes = false;
    if (!args.get(1).isUndefined()) {
        const JS::RootedString mode(cx, text_argument(args, 1, "the mode for readFile"));
        as_bytes = to_utf8(cx, mode) == "binary";
        if (!as_bytes) {
            throw ScriptError("the mode for readFile can only be 'binary'", JSEXN_TYPEERR);
        }
    }
    const std::string content = read_file(path);
    if (as_bytes) {
        args.rval().setObject(*new_bytes(cx, content));
    } else {
        args.rval().setString(check(new_string(cx, std::string_view(content))));
    }
}

void write(Runtime& runtime, const JS::CallArgs& args) {
    const std::string path = path_argument(runtime, args, 0, "the path for writeFile");
    const auto put = [&](std::string_view content) {
        if (path == "-") {
            *runtime.options.out << content << std::flush;
        } else {
            write_file(path, content);
        }
    };
    if (args.get(1).isObject()) {
        put(bytes_argument(args, 1, "the content for writeFile"));
    } else {
        const JS::RootedString text(runtime.cx,
                                    text_argument(args, 1, "the content for writeFile"));
        put(to_utf8(runtime.cx, text));
    }
    args.rval().setUndefined();
}

void rename(Runtime& runtime, const JS::CallArgs& args) {
    const std::string from = path_argument(runtime, args, 0, "the first path for rename");
    rename_file(from, path_argument(runtime, args, 1, "the second path for rename"));
    args.rval().setUndefined();
}

JS::Value function_argument(const JS::CallArgs& args, unsigned index, const char* what) {
    if (args.get(index).isObject() && JS::IsCallable(&args[index].toObject())) return args[index];
    throw ScriptError(std::string(what) + " must be a function", JSEXN_TYPEERR);
}

/// Calls a function and gives what the libraries below had to say meanwhile. When it throws, that goes to
/// standard error after all.
void messages_of(Runtime& runtime, const JS::CallArgs& args) {
    JSContext* const cx = runtime.cx;
    const JS::RootedValue function(cx, function_argument(args, 0, "what messagesOf calls"));
    const auto capture =
        runtime.options.capture_messages == nullptr ? nullptr : runtime.options.capture_messages();
    JS::RootedValue ignored(cx);
    const bool returned =
        JS::Call(cx, JS::UndefinedHandleValue, function, JS::HandleValueArray::empty(), &ignored);
    const std::string words = capture == nullptr ? "" : capture->text();
    if (!returned) *runtime.options.err << words;
    check(returned);
    args.rval().setString(check(new_string(cx, std::string_view(words))));
}

/// Calls a function with the path of a file that has a content, and gives what it gives.
void with_temporary_file(Runtime& runtime, const JS::CallArgs& args) {
    JSContext* const cx = runtime.cx;
    const JS::RootedString text(cx, text_argument(args, 0, "the content for withTemporaryFile"));
    const JS::RootedValue function(cx, function_argument(args, 1, "what withTemporaryFile calls"));
    const TemporaryFile file(to_utf8(cx, text));
    const JS::RootedString path(cx, check(path_string(cx, file.path())));
    const JS::RootedValue argument(cx, JS::StringValue(path));
    check(JS::Call(cx, JS::UndefinedHandleValue, function, JS::HandleValueArray(argument),
                   args.rval()));
}

void exit(Runtime& runtime, const JS::CallArgs& args) {
    std::int32_t code = 0;
    if (!args.get(0).isUndefined()) check(JS::ToInt32(runtime.cx, args[0], &code));
    runtime.exit_code = code & 0xFF;
    runtime.stop_jobs();
    throw Pending();
}

/// One unit per UTF-8 byte, as the loaders and formatted saves take their paths.
void path8(Runtime& runtime, const JS::CallArgs& args) {
    std::u16string units;
    for (const char byte : path_argument(runtime, args, 0, "the text for path8")) {
        units += static_cast<unsigned char>(byte);
    }
    args.rval().setString(check(new_string(runtime.cx, units)));
}

void collect(Runtime& runtime, const JS::CallArgs& args) {
    JS_GC(runtime.cx);
    args.rval().setUndefined();
}

void structured_clone(Runtime& runtime, const JS::CallArgs& args) {
    const JS::RootedValue value(runtime.cx, args.get(0));
    check(JS_StructuredClone(runtime.cx, value, args.rval(), nullptr, nullptr));
}

// ---- What prelude.js calls ----------------------------------------------------------------------

void write_text(Runtime& runtime, const JS::CallArgs& args) {
    const JS::RootedString text(runtime.cx, text_argument(args, 1, "what is written"));
    const std::string line = to_utf8(runtime.cx, text) + '\n';
    std::ostream& out = args[0].toBoolean() ? *runtime.options.err : *runtime.options.out;
    if (args[0].toBoolean()) runtime.options.out->flush();  // the two usually share a terminal
    out.write(line.data(), static_cast<std::streamsize>(line.size()));
    args.rval().setUndefined();
}

void now(Runtime&, const JS::CallArgs& args) {
    static const auto start = std::chrono::steady_clock::now();
    const std::chrono::duration<double, std::milli> elapsed =
        std::chrono::steady_clock::now() - start;
    args.rval().setNumber(elapsed.count());
}

void add_timer(Runtime& runtime, const JS::CallArgs& args) {
    const JS::RootedObject function(runtime.cx, &args[0].toObject());
    args.rval().setNumber(
        runtime.jobs->add_timer(function, args[1].toNumber(), args[2].toBoolean()));
}

void remove_timer(Runtime& runtime, const JS::CallArgs& args) {
    std::uint32_t number = 0;
    check(JS::ToUint32(runtime.cx, args.get(0), &number));
    runtime.jobs->remove_timer(number);
    args.rval().setUndefined();
}

void encode(Runtime& runtime, const JS::CallArgs& args) {
    const JS::RootedString text(runtime.cx, text_argument(args, 0, "what is encoded"));
    args.rval().setObject(*new_bytes(runtime.cx, to_utf8(runtime.cx, text)));
}

std::string encoding_argument(Runtime& runtime, const JS::CallArgs& args) {
    const JS::RootedString encoding(runtime.cx, text_argument(args, 1, "the encoding"));
    return to_utf8(runtime.cx, encoding);
}

/// How many bytes at the end belong to a character whose rest is missing.
std::size_t unfinished_bytes(std::string_view bytes, const std::string& encoding) {
    if (encoding.starts_with("utf-16")) return bytes.size() % 2;
    if (encoding != "utf-8") return 0;
    for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
        const auto byte = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if (byte < 0x80) return 0;
        if (byte < 0xC0) continue;
        const std::size_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
        return back < length ? back : 0;
    }
    return 0;
}

void whole_characters(Runtime& runtime, const JS::CallArgs& args) {
    const std::string bytes = bytes_argument(args, 0, "what is decoded");
    const std::size_t left = unfinished_bytes(bytes, encoding_argument(runtime, args));
    args.rval().setNumber(static_cast<double>(bytes.size() - left));
}

void decode(Runtime& runtime, const JS::CallArgs& args) {
    const std::string bytes = bytes_argument(args, 0, "what is decoded");
    const std::string encoding = encoding_argument(runtime, args);
    std::u16string text;
    bool malformed = false;
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(bytes[k]); };
    if (encoding == "utf-8") {
        text = host::to_units(bytes);
        malformed = host::to_utf8(text) != bytes;
    } else if (encoding == "iso-8859-1") {
        for (std::size_t k = 0; k < bytes.size(); ++k) text += byte(k);
    } else {
        const std::size_t high = encoding == "utf-16be" ? 0 : 1;
        for (std::size_t k = 0; k + 1 < bytes.size(); k += 2) {
            text += static_cast<char16_t>(byte(k + high) << 8U | byte(k + 1 - high));
        }
        malformed = bytes.size() % 2 != 0;
        if (malformed) text += u'\xFFFD';
    }
    if (malformed && args.get(2).isTrue()) {
        throw ScriptError("the bytes are no " + encoding, JSEXN_TYPEERR);
    }
    args.rval().setString(check(new_string(runtime.cx, text)));
}

void remark(Runtime& runtime, const JS::CallArgs& args) {
    const std::string words =
        runtime.numbers == nullptr ? "" : runtime.numbers->remark(args[0].toNumber());
    args.rval().setString(check(new_string(runtime.cx, std::string_view(words))));
}

void evaluate(Runtime& runtime, std::string_view source, const std::string& name,
              JS::MutableHandleValue result) {
    Source text(runtime, source, std::string(built_in) + '/' + name);
    check(JS::Evaluate(runtime.cx, text.options(), text.text(), result));
}

/// A part of prelude.js that stands in a file of its own.
void part(Runtime& runtime, const JS::CallArgs& args) {
    const JS::RootedString wanted(runtime.cx, text_argument(args, 0, "the name of a part"));
    const std::string name = to_utf8(runtime.cx, wanted);
    evaluate(runtime, name == "shell" ? shell_source : inspect_source, name + ".js", args.rval());
}

// ---- Setting up ---------------------------------------------------------------------------------

constexpr JSFunctionSpec global_functions[] = {
    JS_FN("print", native<print>, 0, JSPROP_ENUMERATE),
    JS_FN("readFile", native<read>, 2, JSPROP_ENUMERATE),
    JS_FN("writeFile", native<write>, 2, JSPROP_ENUMERATE),
    JS_FN("rename", native<rename>, 2, JSPROP_ENUMERATE),
    JS_FN("exit", native<exit>, 1, JSPROP_ENUMERATE),
    JS_FN("messagesOf", native<messages_of>, 1, JSPROP_ENUMERATE),
    JS_FN("withTemporaryFile", native<with_temporary_file>, 2, JSPROP_ENUMERATE),
    JS_FN("path8", native<path8>, 1, JSPROP_ENUMERATE),
    JS_FN("gc", native<collect>, 0, JSPROP_ENUMERATE),
    JS_FN("structuredClone", native<structured_clone>, 1, 0),
    JS_FS_END};

constexpr JSFunctionSpec prelude_functions[] = {
    JS_FN("write", native<write_text>, 2, 0),
    JS_FN("now", native<now>, 0, 0),
    JS_FN("addTimer", native<add_timer>, 3, 0),
    JS_FN("removeTimer", native<remove_timer>, 1, 0),
    JS_FN("encode", native<encode>, 1, 0),
    JS_FN("wholeCharacters", native<whole_characters>, 2, 0),
    JS_FN("decode", native<decode>, 3, 0),
    JS_FN("remark", native<remark>, 1, 0),
    JS_FN("part", native<part>, 1, 0),
    JS_FS_END};

JSObject* array_of(JSContext* cx, const std::vector<std::string>& texts) {
    const JS::RootedObject array(cx, check(JS::NewArrayObject(cx, texts.size())));
    for (std::size_t k = 0; k < texts.size(); ++k) {
        const JS::RootedString text(cx, check(path_string(cx, texts[k])));
        check(JS_SetElement(cx, array, static_cast<std::uint32_t>(k), text));
    }
    return array;
}

void run_prelude(Runtime& runtime) {
    JSContext* const cx = runtime.cx;
    check(JS_InitReflectParse(cx, runtime.global));
    const JS::RootedObject prelude(cx, check(JS_NewPlainObject(cx)));
    check(JS_DefineFunctions(cx, prelude, prelude_functions));
    std::vector<std::string> folders = runtime.options.module_directories;
    folders.emplace_back(built_in);
    const JS::RootedObject bundled(cx, array_of(cx, folders));
    check(JS_DefineProperty(cx, prelude, "bundled", bundled, 0));

    JS::RootedValue function(cx);
    evaluate(runtime, prelude_source, "prelude.js", &function);
    JS::RootedValueArray<2> arguments(cx);
    arguments[0].setObject(*runtime.global);
    arguments[1].setObject(*prelude);
    JS::RootedValue helpers(cx);
    check(JS::Call(cx, JS::UndefinedHandleValue, function, arguments, &helpers));
    runtime.helpers = &helpers.toObject();
}

}  // namespace

void call_helper(Runtime& runtime, const char* name, const JS::HandleValueArray& arguments,
                 JS::MutableHandleValue result) {
    check(JS_CallFunctionName(runtime.cx, runtime.helpers, name, arguments, result));
}

void install_globals(Runtime& runtime) {
    JSContext* const cx = runtime.cx;
    check(JS_DefineFunctions(cx, runtime.global, global_functions));
    const JS::RootedObject args(cx, array_of(cx, runtime.options.args));
    check(JS_DefineProperty(cx, runtime.global, "args", args, JSPROP_ENUMERATE));
    run_prelude(runtime);
}

}  // namespace valtrosse::script
