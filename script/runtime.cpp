#include "script/runtime.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

namespace valtrosse::script {

namespace {

[[noreturn]] void fatal(void*, const char* message) {
    std::cout.flush();
    std::fprintf(stderr, "the JavaScript engine cannot go on: %s\n",
                 message != nullptr ? message : "unknown reason");
    std::_Exit(engine_failure);
}

duk_ret_t install(duk_context* ctx, void* data) {
    auto& runtime = *static_cast<Runtime*>(data);
    duk_push_object(ctx);
    duk_get_prototype(ctx, -1);
    runtime.object_prototype = duk_get_heapptr(ctx, -1);
    duk_pop_2(ctx);
    install_globals(runtime, ctx);
    install_modules(ctx);
    install_functions(runtime, ctx);
    install_life(ctx);
    return 0;
}

}  // namespace

Runtime::Runtime(host::Host& the_host, Options the_options)
    : host(the_host),
      options(std::move(the_options)) {
    if (options.out == nullptr) options.out = &std::cout;
    if (options.err == nullptr) options.err = &std::cerr;
    // In the engine's form from the start: what is pushed during set-up must not be converted then.
    for (std::string& arg : options.args) arg = from_utf8(arg);
    bind_functions(*this);
    ctx = duk_create_heap(nullptr, nullptr, nullptr, this, fatal);
    if (ctx == nullptr) throw std::runtime_error("no memory for a JavaScript heap");
    if (duk_safe_call(ctx, install, this, 0, 1) != DUK_EXEC_SUCCESS) {
        const std::string message = duk_safe_to_string(ctx, -1);
        duk_destroy_heap(ctx);
        throw std::runtime_error("cannot set up the script's globals: " + message);
    }
    duk_pop(ctx);
}

Runtime::~Runtime() {
    duk_destroy_heap(ctx);  // finalizers run here and still find everything in place
}

bool push_text(duk_context* ctx, std::string_view engine_text) {
    return guarded(ctx, [=] { duk_push_lstring(ctx, engine_text.data(), engine_text.size()); });
}

bool push_bytes(duk_context* ctx, std::string_view bytes) {
    return guarded(ctx, [=] {
        void* copy = duk_push_fixed_buffer(ctx, bytes.size());
        if (!bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
        duk_push_buffer_object(ctx, -1, 0, bytes.size(), DUK_BUFOBJ_UINT8ARRAY);
    });
}

void push_error(duk_context* ctx, duk_errcode_t code, std::string_view message) noexcept {
    try {
        const std::string text = from_utf8(message);
        guarded(ctx, [&] {
            // Without a file and line of our own the error points to the script that called.
            duk_push_error_object_raw(ctx, code, nullptr, 0, "%s", "");
            duk_push_lstring(ctx, text.data(), text.size());
            duk_put_prop_string(ctx, -2, "message");
        });
    } catch (const std::bad_alloc&) {
        guarded(ctx, [=] {
            duk_push_error_object_raw(ctx, DUK_ERR_RANGE_ERROR, nullptr, 0, "%s", "out of memory");
        });
    }
}

void push_current_exception(duk_context* ctx) noexcept {
    try {
        throw;
    } catch (const ScriptError& error) {
        push_error(ctx, error.code, error.what());
    } catch (const std::bad_alloc&) {
        push_error(ctx, DUK_ERR_RANGE_ERROR, "out of memory");
    } catch (const std::exception& error) {
        push_error(ctx, DUK_ERR_ERROR, error.what());
    } catch (...) {
        push_error(ctx, DUK_ERR_ERROR, "unknown failure");
    }
}

duk_ret_t throw_exit(duk_context* ctx) {
    duk_push_error_object_raw(ctx, DUK_ERR_ERROR, nullptr, 0, "%s", "exit");
    return duk_throw(ctx);
}

std::string_view text_argument(duk_context* ctx, duk_idx_t index, const char* what) {
    duk_size_t size = 0;
    const char* bytes = duk_is_symbol(ctx, index) ? nullptr : duk_get_lstring(ctx, index, &size);
    if (bytes == nullptr) {
        throw ScriptError(DUK_ERR_TYPE_ERROR, std::string(what) + " must be a string");
    }
    return {bytes, size};
}

void put_function(duk_context* ctx, const char* name) {
    duk_push_string(ctx, "name");
    duk_push_string(ctx, name);
    duk_def_prop(ctx, -3, DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_FORCE);
    duk_put_prop_string(ctx, -2, name);
}

}  // namespace valtrosse::script
