// print, console, args, readFile, writeFile, exit and path8.
#include <ostream>

#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

/// Writes the arguments with spaces between them and a line end.
duk_ret_t write_line(duk_context* ctx, std::ostream& out) {
    const duk_idx_t count = duk_get_top(ctx);
    for (duk_idx_t k = 0; k < count; ++k) duk_to_string(ctx, k);  // may run toString and throw
    std::string line;
    for (duk_idx_t k = 0; k < count; ++k) {
        duk_size_t size = 0;
        const char* bytes = duk_get_lstring(ctx, k, &size);
        if (k != 0) line += ' ';
        line += to_utf8({bytes, size});
    }
    line += '\n';
    out.write(line.data(), static_cast<std::streamsize>(line.size()));
    return 0;
}

duk_ret_t print(Runtime& runtime, duk_context* ctx) {
    return write_line(ctx, *runtime.options.out);
}

duk_ret_t print_error(Runtime& runtime, duk_context* ctx) {
    runtime.options.out->flush();  // the two usually share a terminal
    return write_line(ctx, *runtime.options.err);
}

duk_ret_t read(Runtime&, duk_context* ctx) {
    const std::string_view path = text_argument(ctx, 0, "the path for readFile");
    const std::string_view mode =
        duk_is_undefined(ctx, 1) ? "" : text_argument(ctx, 1, "the mode for readFile");
    if (!mode.empty() && mode != "binary") {
        throw ScriptError(DUK_ERR_TYPE_ERROR, "the mode for readFile can only be 'binary'");
    }
    bool ready = false;
    {
        const std::string content = read_file(to_utf8(path));
        ready = mode.empty() ? push_text(ctx, from_utf8(content)) : push_bytes(ctx, content);
    }
    return ready ? 1 : duk_throw(ctx);
}

duk_ret_t write(Runtime&, duk_context* ctx) {
    const std::string path = to_utf8(text_argument(ctx, 0, "the path for writeFile"));
    if (duk_is_buffer_data(ctx, 1)) {
        duk_size_t size = 0;
        const void* bytes = duk_get_buffer_data(ctx, 1, &size);
        write_file(path, {static_cast<const char*>(bytes), size});
    } else {
        write_file(path, to_utf8(text_argument(ctx, 1, "the content for writeFile")));
    }
    return 0;
}

duk_ret_t exit(Runtime& runtime, duk_context* ctx) {
    runtime.exit_code = duk_is_undefined(ctx, 0) ? 0 : duk_to_int(ctx, 0) & 0xFF;
    return throw_exit(ctx);
}

/// One unit per UTF-8 byte, as the loaders and formatted saves take their paths.
duk_ret_t path8(Runtime&, duk_context* ctx) {
    const std::string_view path = text_argument(ctx, 0, "the text for path8");
    bool ready = false;
    {
        std::u16string units;
        for (const char byte : to_utf8(path)) units += static_cast<unsigned char>(byte);
        ready = push_text(ctx, from_units(units));
    }
    return ready ? 1 : duk_throw(ctx);
}

void put_console(duk_context* ctx) {
    duk_push_object(ctx);
    for (const char* name : {"log", "info"}) {
        duk_push_c_function(ctx, native<print>, DUK_VARARGS);
        put_function(ctx, name);
    }
    for (const char* name : {"error", "warn"}) {
        duk_push_c_function(ctx, native<print_error>, DUK_VARARGS);
        put_function(ctx, name);
    }
    duk_put_prop_string(ctx, -2, "console");
}

/// The arguments stand in the runtime in the engine's form already.
void put_args(const Runtime& runtime, duk_context* ctx) {
    duk_push_array(ctx);
    duk_uarridx_t index = 0;
    for (const std::string& arg : runtime.options.args) {
        duk_push_lstring(ctx, arg.data(), arg.size());
        duk_put_prop_index(ctx, -2, index++);
    }
    duk_put_prop_string(ctx, -2, "args");
}

}  // namespace

void install_globals(Runtime& runtime, duk_context* ctx) {
    struct Global {
        const char* name;
        duk_c_function function;
        duk_idx_t parameters;
    };
    duk_push_global_object(ctx);
    for (const Global& global :
         {Global{"print", native<print>, DUK_VARARGS}, Global{"readFile", native<read>, 2},
          Global{"writeFile", native<write>, 2}, Global{"exit", native<exit>, 1},
          Global{"path8", native<path8>, 1}}) {
        duk_push_c_function(ctx, global.function, global.parameters);
        put_function(ctx, global.name);
    }
    put_console(ctx);
    put_args(runtime, ctx);
    duk_pop(ctx);
}

}  // namespace valtrosse::script
