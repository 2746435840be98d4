// What the parts of the engine share, and the two rules under which they are written:
//
// 1. A JavaScript error is a longjmp. No engine function that may throw one (most may: they
//    allocate) is called while a C++ object that owns something is on the stack, except through
//    guarded().
// 2. No C++ exception leaves a native function: native<> turns it into a JavaScript error.
//
// Finalizers of scripts may run whenever the engine allocates and may call everything again, so
// nothing that a nested call would overwrite (the scratch buffer) is in use then either.
#pragma once

#include <duktape.h>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/host.hpp"
#include "script/engine.hpp"
#include "script/strings.hpp"

namespace valtrosse::script {

/// A JavaScript error in the making; the message is UTF-8.
struct ScriptError : std::runtime_error {
    ScriptError(duk_errcode_t error_code, const std::string& message)
        : std::runtime_error(message),
          code(error_code) {}
    duk_errcode_t code;
};

class NumberReader;

/// A script function as it is called.
struct BoundFunction {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    const host::Function* function;
    std::size_t byte_path;  ///< the parameter that is a path of one byte per unit, or none
};

/// A host object that a JavaScript object stands for, with the one reference that it holds.
struct Life {
    host::ObjectHandle handle;
    void* js_object;  ///< borrowed: its finalizer removes the entry
};

struct Runtime {
    Runtime(host::Host& the_host, Options the_options);
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    static Runtime& of(duk_context* ctx) {
        duk_memory_functions functions;
        duk_get_memory_functions(ctx, &functions);
        return *static_cast<Runtime*>(functions.udata);
    }

    host::Host& host;
    Options options;
    std::vector<BoundFunction> functions;  // indexed by the magic number of the function object
    Scratch scratch;
    std::unordered_map<vt_object*, Life> lives;
    const void* object_prototype = nullptr;  // the prototype of what literals make
    std::string program;                     // the file that runs, as it was named
    std::optional<int> exit_code;            // set by exit(): from then on nothing runs any more
    NumberReader* numbers = nullptr;         // while somebody looks at values
    duk_context* ctx = nullptr;
};

/// Runs `work`, which owns nothing and leaves one value on top of the stack. A JavaScript error
/// ends the work and is left there instead; the result is then false.
template <typename Work>
bool guarded(duk_context* ctx, Work work) {
    const auto run = [](duk_context*, void* data) -> duk_ret_t {
        (*static_cast<Work*>(data))();
        return 1;
    };
    return duk_safe_call(ctx, run, &work, 0, 1) == DUK_EXEC_SUCCESS;
}

/// Pushes text in the engine's form; on failure pushes the error and returns false.
bool push_text(duk_context* ctx, std::string_view engine_text);
/// Pushes a Uint8Array; on failure pushes the error and returns false.
bool push_bytes(duk_context* ctx, std::string_view bytes);
/// Pushes an Error with a message in UTF-8 (or, without memory for it, the error that says so).
void push_error(duk_context* ctx, duk_errcode_t code, std::string_view message) noexcept;
/// Inside a catch clause: pushes the JavaScript error for the exception.
void push_current_exception(duk_context* ctx) noexcept;
/// Throws the value that takes a script out of all its calls after exit().
duk_ret_t throw_exit(duk_context* ctx);

/// The report of the thrown value on top of the stack, which stays there as something else: place,
/// message and stack, in UTF-8. `name` is the program's name in the engine's form.
std::string thrown_text(duk_context* ctx, const std::string& name);

/// A native function whose body may throw C++ exceptions.
template <duk_ret_t (*body)(Runtime&, duk_context*)>
duk_ret_t native(duk_context* ctx) {
    Runtime& runtime = Runtime::of(ctx);
    if (runtime.exit_code) return throw_exit(ctx);
    try {
        return body(runtime, ctx);
    } catch (...) {
        push_current_exception(ctx);
    }
    return duk_throw(ctx);
}

/// The string argument at an index, in the engine's form; anything else throws ScriptError.
std::string_view text_argument(duk_context* ctx, duk_idx_t index, const char* what);

/// Puts the native function on top of the stack into the object below it, under that name, which
/// also becomes its own name in stack traces.
void put_function(duk_context* ctx, const char* name);

// Each puts its globals in place; they may throw JavaScript errors.
/// Fills runtime.functions; throws std::runtime_error.
void bind_functions(Runtime& runtime);
void install_functions(Runtime& runtime, duk_context* ctx);
void install_life(duk_context* ctx);
void install_modules(duk_context* ctx);
void install_globals(Runtime& runtime, duk_context* ctx);

/// Replaces the global require by one that starts from this directory (UTF-8).
void set_main_directory(duk_context* ctx, const char* directory);

/// Pushes the JavaScript object of a host object, made now if it has none; see guarded() for the
/// result.
bool push_life(Runtime& runtime, duk_context* ctx, const host::ObjectHandle& handle);

/// The whole of a file, "-" for standard input. Throws std::system_error.
std::string read_file(const std::string& path);
/// Replaces the content of a file. Throws std::system_error.
void write_file(const std::string& path, std::string_view content);
/// A program text without a byte order mark and with a #! line made a comment; lines keep their
/// numbers. Throws ScriptError for text that is not UTF-8; `name` is the file that it names.
std::string clean_source(std::string source, const std::string& name);

}  // namespace valtrosse::script
