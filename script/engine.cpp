#include "script/engine.hpp"

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

}  // namespace

Engine::Engine(host::Host& host, Options options)
    : runtime_(std::make_unique<Runtime>(host, std::move(options))) {}

Engine::~Engine() = default;

int Engine::run_file(const std::string& path) {
    return run_code(read_file(path), path == "-" ? "stdin" : path);
}

int Engine::run_code(std::string_view source, const std::string& name) {
    Runtime& runtime = *runtime_;
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
        runtime.options.out->flush();
        *runtime.options.err << thrown_text(ctx, shown_name);
        code = uncaught_error;
    }
    duk_pop(ctx);
    runtime.options.out->flush();
    return runtime.exit_code.value_or(code);
}

bool Engine::exited() const { return runtime_->exit_code.has_value(); }

}  // namespace valtrosse::script
