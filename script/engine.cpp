#include "script/engine.hpp"

#include <algorithm>
#include <filesystem>
#include <ostream>

#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

struct Program {
    const std::string& source;     // UTF-8
    const std::string& name;       // engine text
    const std::string& directory;  // engine text
};

duk_ret_t run_program(duk_context* ctx, void* data) {
    const auto& program = *static_cast<const Program*>(data);
    set_main_directory(ctx, program.directory.c_str());
    duk_push_lstring(ctx, program.source.data(), program.source.size());
    duk_push_lstring(ctx, program.name.data(), program.name.size());
    duk_compile(ctx, 0);
    duk_call(ctx, 0);
    return 1;
}

/// Makes the thrown value below the top, of a program whose name is on top, a report: for an error
/// "file:line: Error: message" and the stack, for other values "file: uncaught value".
duk_ret_t describe(duk_context* ctx, void*) {
    if (!duk_is_error(ctx, -2)) {
        duk_push_string(ctx, ": uncaught ");
        duk_dup(ctx, -3);
        duk_safe_to_string(ctx, -1);
        duk_concat(ctx, 3);
        return 1;
    }
    duk_get_prop_string(ctx, -2, "fileName");
    if (duk_is_string(ctx, -1)) {  // not so in an object that only inherits from Error
        duk_push_string(ctx, ":");
        duk_get_prop_string(ctx, -4, "lineNumber");
        duk_concat(ctx, 3);
    } else {
        duk_pop(ctx);
        duk_dup_top(ctx);
    }
    duk_push_string(ctx, ": ");
    duk_get_prop_string(ctx, -4, "stack");
    duk_concat(ctx, 3);
    return 1;
}

/// A report without what only the engine's authors need: its own places in the stack, and remarks
/// behind the script's places ("at f (list.js:3) strict preventsyield").
std::string readable(std::string_view report) {
    std::string text;
    while (!report.empty()) {
        const std::size_t end = std::min(report.find('\n'), report.size());
        std::string_view line = report.substr(0, end);
        report.remove_prefix(std::min(end + 1, report.size()));
        if (line.starts_with("    at ")) {
            if (line.ends_with(" internal")) continue;
            const std::size_t place = line.rfind(" (");
            if (place != line.npos) {
                const bool native = line.substr(place).starts_with(" ()");
                line = line.substr(0, native ? place : line.find(')', place) + 1);
            }
        }
        text.append(line) += '\n';
    }
    return text;
}

/// Reports the thrown value on top of the stack and takes it away.
void report(Runtime& runtime, duk_context* ctx, const std::string& name) {
    guarded(ctx, [&] { duk_push_lstring(ctx, name.data(), name.size()); });
    duk_safe_call(ctx, describe, nullptr, 2, 1);
    duk_size_t size = 0;
    const char* text = duk_safe_to_lstring(ctx, -1, &size);
    runtime.options.out->flush();
    *runtime.options.err << readable(to_utf8({text, size}));
}

}  // namespace

struct Engine::State : Runtime {
    using Runtime::Runtime;
};

Engine::Engine(host::Host& host, Options options)
    : state_(std::make_unique<State>(host, std::move(options))) {}

Engine::~Engine() = default;

int Engine::run_file(const std::string& path) {
    return run_code(read_file(path), path == "-" ? "stdin" : path);
}

int Engine::run_code(std::string_view source, const std::string& name) {
    Runtime& runtime = *state_;
    duk_context* ctx = runtime.ctx;
    runtime.exit_code.reset();
    runtime.program = name;
    std::string text;
    try {
        text = clean_source(std::string(source), name);
    } catch (const ScriptError& error) {
        *runtime.options.err << error.what() << '\n';
        return uncaught_error;
    }
    const std::string shown_name = from_utf8(name);
    const std::string directory = from_utf8(std::filesystem::path(name).parent_path().string());
    Program program{text, shown_name, directory};
    int code = 0;
    if (duk_safe_call(ctx, run_program, &program, 0, 1) != DUK_EXEC_SUCCESS && !runtime.exit_code) {
        report(runtime, ctx, shown_name);
        code = uncaught_error;
    }
    duk_pop(ctx);
    runtime.options.out->flush();
    return runtime.exit_code.value_or(code);
}

}  // namespace valtrosse::script
