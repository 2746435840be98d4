// LIBXMLLife: a JavaScript object holds one reference to the host's object. The engine counts its
// own references, so the host's object, and the tree that it holds, end when the last variable lets
// go.
#include "script/calls.hpp"

namespace valtrosse::script {

namespace {

constexpr const char* prototype_key = DUK_HIDDEN_SYMBOL("LIBXMLLife");
constexpr const char* object_key = DUK_HIDDEN_SYMBOL("object");

/// The host object behind the value at an index, or null.
vt_object* object_at(duk_context* ctx, duk_idx_t index) {
    if (!duk_is_object(ctx, index)) return nullptr;
    duk_get_prop_string(ctx, index, object_key);
    auto* object = static_cast<vt_object*>(duk_get_pointer(ctx, -1));
    duk_pop(ctx);
    return object;
}

/// Objects that inherit from a life object come here too: only the life object itself lets go.
duk_ret_t finalize(duk_context* ctx) {
    Runtime& runtime = Runtime::of(ctx);
    const auto found = runtime.lives.find(object_at(ctx, 0));
    if (found == runtime.lives.end() || found->second.js_object != duk_get_heapptr(ctx, 0))
        return 0;
    if (CallObserver* const observer = runtime.options.observer) {
        try {
            observer->life_ends(found->first);
        } catch (const std::exception&) {
            // Nobody is there to hear of it, and the object has to go all the same.
        }
    }
    runtime.lives.erase(found);
    return 0;
}

duk_ret_t create(Runtime& runtime, duk_context* ctx) {
    static const host::Function function{"LIBXMLLife.new", {}, nullptr};
    return call_host(runtime, ctx, {&function, BoundFunction::none},
                     [&](std::span<const host::Argument>) { return runtime.host.create(); });
}

duk_ret_t call_method(Runtime& runtime, duk_context* ctx, const char* method,
                      const host::Function& function) {
    duk_push_this(ctx);
    const auto found = runtime.lives.find(object_at(ctx, -1));
    if (found == runtime.lives.end()) {
        throw ScriptError(DUK_ERR_TYPE_ERROR, function.name + " is called on no LIBXMLLife object");
    }
    const host::ObjectHandle& handle = found->second.handle;
    return call_host(
        runtime, ctx, {&function, BoundFunction::none},
        [&](std::span<const host::Argument> arguments) {
            return runtime.host.call_method(handle, method, arguments);
        },
        handle.get());
}

duk_ret_t add_internal(Runtime& runtime, duk_context* ctx) {
    static const host::Function function{"LIBXMLLife.addInternal", {"internal"}, nullptr};
    return call_method(runtime, ctx, "addInternal", function);
}

duk_ret_t remove_internal(Runtime& runtime, duk_context* ctx) {
    static const host::Function function{"LIBXMLLife.removeInternal", {}, nullptr};
    return call_method(runtime, ctx, "removeInternal", function);
}

}  // namespace

bool push_life(Runtime& runtime, duk_context* ctx, const host::ObjectHandle& handle) {
    if (const auto found = runtime.lives.find(handle.get()); found != runtime.lives.end()) {
        duk_push_heapptr(ctx, found->second.js_object);
        return true;
    }
    const bool made = guarded(ctx, [&] {
        duk_push_object(ctx);
        duk_push_global_stash(ctx);
        duk_get_prop_string(ctx, -1, prototype_key);
        duk_set_prototype(ctx, -3);
        duk_pop(ctx);
        duk_push_pointer(ctx, handle.get());
        duk_put_prop_string(ctx, -2, object_key);
    });
    if (made) runtime.lives.emplace(handle.get(), Life{handle, duk_get_heapptr(ctx, -1)});
    return made;
}

void install_life(duk_context* ctx) {
    duk_push_global_object(ctx);
    duk_push_c_function(ctx, native<create>, 0);  // LIBXMLLife(), new LIBXMLLife()
    duk_push_c_function(ctx, native<create>, 0);
    put_function(ctx, "new");

    duk_push_object(ctx);  // the prototype
    duk_push_c_function(ctx, native<add_internal>, 1);
    put_function(ctx, "addInternal");
    duk_push_c_function(ctx, native<remove_internal>, 0);
    put_function(ctx, "removeInternal");
    duk_dup(ctx, -2);
    duk_put_prop_string(ctx, -2, "constructor");
    duk_push_c_function(ctx, finalize, 2);
    duk_set_finalizer(ctx, -2);  // inherited by the objects

    duk_push_global_stash(ctx);
    duk_dup(ctx, -2);
    duk_put_prop_string(ctx, -2, prototype_key);
    duk_pop(ctx);
    duk_put_prop_string(ctx, -2, "prototype");
    put_function(ctx, "LIBXMLLife");
    duk_pop(ctx);
}

}  // namespace valtrosse::script
