// require: CommonJS modules. A module runs once, inside a function that gives it exports, require,
// module, __filename and __dirname; modules that require each other see what is exported so far.
#include <filesystem>
#include <system_error>

#include "script/runtime.hpp"

namespace valtrosse::script {

namespace fs = std::filesystem;

namespace {

constexpr const char* cache_key = DUK_HIDDEN_SYMBOL("modules");
constexpr const char* directory_key = DUK_HIDDEN_SYMBOL("directory");

/// The file that a module name means, as a path fit to be shown; throws ScriptError when there is
/// none.
fs::path resolve(const Runtime& runtime, const std::string& name, const std::string& from) {
    std::vector<fs::path> directories;
    if (name.starts_with("./") || name.starts_with("../") || name.starts_with("/")) {
        directories.emplace_back(from);
    } else {
        directories.assign(runtime.options.module_directories.begin(),
                           runtime.options.module_directories.end());
    }
    for (const fs::path& directory : directories) {
        for (const char* suffix : {"", ".js"}) {
            fs::path path = (directory / (name + suffix)).lexically_normal();
            std::error_code ignored;
            if (fs::is_regular_file(path, ignored)) return path;
        }
    }
    throw ScriptError(DUK_ERR_ERROR, "cannot find module '" + name + "'");
}

/// Pushes a require function for modules in this directory.
void push_require(duk_context* ctx, const char* directory);

/// Pushes the exports of the cached module whose key is at an index, if there is one.
bool push_cached(duk_context* ctx, duk_idx_t key) {
    duk_push_global_stash(ctx);
    duk_get_prop_string(ctx, -1, cache_key);
    duk_dup(ctx, key);
    if (duk_get_prop(ctx, -2) == 0) {
        duk_pop_3(ctx);
        return false;
    }
    duk_get_prop_string(ctx, -1, "exports");
    return true;
}

/// Runs the module function on top of the stack; pushes its exports, or the error and returns
/// false.
bool run_module(duk_context* ctx, duk_idx_t key, duk_idx_t file, duk_idx_t directory) {
    const duk_idx_t function = duk_get_top_index(ctx);
    duk_push_global_stash(ctx);
    duk_get_prop_string(ctx, -1, cache_key);
    const duk_idx_t cache = duk_get_top_index(ctx);
    duk_push_object(ctx);
    const duk_idx_t module = duk_get_top_index(ctx);
    duk_dup(ctx, file);
    duk_put_prop_string(ctx, module, "id");
    duk_push_object(ctx);
    duk_put_prop_string(ctx, module, "exports");
    duk_dup(ctx, key);
    duk_dup(ctx, module);
    duk_put_prop(ctx, cache);  // before it runs: a module that it requires may require it

    duk_dup(ctx, function);
    duk_get_prop_string(ctx, module, "exports");
    push_require(ctx, duk_get_string(ctx, directory));
    duk_dup(ctx, module);
    duk_dup(ctx, file);
    duk_dup(ctx, directory);
    if (duk_pcall(ctx, 5) != DUK_EXEC_SUCCESS) {
        duk_dup(ctx, key);  // a module that failed is tried again next time
        duk_del_prop(ctx, cache);
        return false;
    }
    duk_get_prop_string(ctx, module, "exports");
    return true;
}

duk_ret_t require(Runtime& runtime, duk_context* ctx) {
    const std::string_view name = text_argument(ctx, 0, "the name of a module");
    duk_push_current_function(ctx);
    duk_get_prop_string(ctx, -1, directory_key);
    const std::string_view from = text_argument(ctx, -1, "the directory of a module");

    bool ready = false;
    const duk_idx_t key = duk_get_top(ctx);
    const duk_idx_t file = key + 1;
    const duk_idx_t directory = key + 2;
    {
        const fs::path path = resolve(runtime, to_utf8(name), to_utf8(from));
        ready = push_text(ctx, from_utf8(fs::canonical(path).string())) &&
                push_text(ctx, from_utf8(path.string())) &&
                push_text(ctx, from_utf8(path.parent_path().string()));
    }
    if (!ready) return duk_throw(ctx);
    if (push_cached(ctx, key)) return 1;

    {
        const std::string path = to_utf8(text_argument(ctx, file, "the file of a module"));
        const std::string text = clean_source(read_file(path), path);
        // On one line with the first of the module, so that line numbers stay.
        const std::string source =
            "function(exports,require,module,__filename,__dirname){" + text + "\n}";
        ready = guarded(ctx, [&] {
            duk_push_lstring(ctx, source.data(), source.size());
            duk_dup(ctx, file);
            duk_compile(ctx, DUK_COMPILE_FUNCTION);
        });
    }
    if (!ready || !run_module(ctx, key, file, directory)) return duk_throw(ctx);
    return 1;
}

void push_require(duk_context* ctx, const char* directory) {
    duk_push_c_function(ctx, native<require>, 1);
    duk_push_string(ctx, directory);
    duk_put_prop_string(ctx, -2, directory_key);
}

}  // namespace

void set_main_directory(duk_context* ctx, const char* directory) {
    duk_push_global_object(ctx);
    push_require(ctx, directory);
    put_function(ctx, "require");
    duk_pop(ctx);
}

void install_modules(duk_context* ctx) {
    duk_push_global_stash(ctx);
    duk_push_bare_object(ctx);
    duk_put_prop_string(ctx, -2, cache_key);
    duk_pop(ctx);
    set_main_directory(ctx, "");
}

}  // namespace valtrosse::script
