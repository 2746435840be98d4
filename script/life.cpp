// LIBXMLLife: a JavaScript object holds one reference to the host's object. That one, and the tree that it
// holds, end with release(), or when the engine finds that no variable leads to the JavaScript object.
#include <array>
#include <memory>

#include "script/calls.hpp"

namespace valtrosse::script {

namespace {

constexpr std::size_t life_slot = 0;
// What the engine is told that a tree takes which is no large document.
constexpr std::size_t small_weight = 1 << 12;

/// What the slot of a JavaScript object points to.
struct Life {
    Runtime& runtime;
    host::ObjectHandle handle;
    std::size_t weight = 0;  // what the engine was told
};

Life* life_of(JSObject* object) { return JS::GetMaybePtrFromReservedSlot<Life>(object, life_slot); }

void weigh(JSObject* object, Life& life, std::size_t bytes) {
    if (life.weight != 0) {
        JS::RemoveAssociatedMemory(object, life.weight, JS::MemoryUse::Embedding1);
    }
    life.weight = bytes;
    if (bytes != 0) JS::AddAssociatedMemory(object, bytes, JS::MemoryUse::Embedding1);
}

/// Lets go of the host's object, once.
void end(JSObject* object) {
    const std::unique_ptr<Life> life(life_of(object));
    if (!life) return;
    JS::SetReservedSlot(object, life_slot, JS::UndefinedValue());
    weigh(object, *life, 0);
    CallObserver* const observer = life->runtime.options.observer;
    if (observer == nullptr) return;
    try {
        observer->life_ends(life->handle.get());
    } catch (const std::exception&) {
        // Nobody is there to hear of it, and the object has to go all the same.
    }
}

void finalize(JS::GCContext*, JSObject* object) { end(object); }

const JSClassOps life_operations = {nullptr, nullptr,  nullptr, nullptr, nullptr,
                                    nullptr, finalize, nullptr, nullptr, nullptr};
// On the thread of the script: libxml2 and the library's tables are that thread's.
const JSClass life_class = {
    "LIBXMLLife",     JSCLASS_HAS_RESERVED_SLOTS(1) | JSCLASS_FOREGROUND_FINALIZE,
    &life_operations, nullptr,
    nullptr,          nullptr};

/// The compiler of the second level forgets a variable after its last use, although the tree that it holds is
/// used on through handles: from the script's first object on, what runs is compiled by the first level.
void keep_variables(Runtime& runtime) {
    if (JS::ContextOptionsRef(runtime.cx).disableIon()) return;
    JS::AutoFilename file;
    if (!JS::DescribeScriptedCaller(runtime.cx, &file) || file.get() == nullptr ||
        is_bundled(runtime, file.get())) {
        return;
    }
    JS::ContextOptionsRef(runtime.cx).setDisableIon();
    JS_GC(runtime.cx);  // drops what is compiled already
}

/// The methods as functions, in the order of life_methods.
enum Method : std::size_t { new_object, add, remove };
const std::array<host::Function, 3> functions = {{{"LIBXMLLife.new", {}, nullptr},
                                                  {"LIBXMLLife.addInternal", {"internal"}, nullptr},
                                                  {"LIBXMLLife.removeInternal", {}, nullptr}}};

void create(Runtime& runtime, const JS::CallArgs& args) {
    keep_variables(runtime);
    call_host(runtime, args, runtime.life_methods[new_object],
              [&](std::span<const host::Argument>) { return runtime.host.create(); });
}

JSObject* life_object(const JS::CallArgs& args, const host::Function& function) {
    if (!args.thisv().isObject() || JS::GetClass(&args.thisv().toObject()) != &life_class) {
        throw ScriptError(function.name + " is called on no LIBXMLLife object", JSEXN_TYPEERR);
    }
    JSObject* const object = &args.thisv().toObject();
    if (life_of(object) == nullptr) {
        throw ScriptError(function.name + " is called on an object that has ended", JSEXN_TYPEERR);
    }
    return object;
}

/// Calls a method of the host's object. Whether it did what it was asked.
bool call_method(Runtime& runtime, const JS::CallArgs& args, const char* method, Method index,
                 std::uint32_t& handle) {
    const BoundFunction& bound = runtime.life_methods[index];
    const host::ObjectHandle object = life_of(life_object(args, *bound.function))->handle;
    bool done = false;
    call_host(
        runtime, args, bound,
        [&](std::span<const host::Argument> arguments) {
            host::Outcome outcome = runtime.host.call_method(object, method, arguments);
            done = outcome.status() == 0 && outcome.result_set();
            if (!arguments.empty()) handle = arguments[0].integer();
            return outcome;
        },
        object.get());
    return done;
}

void add_internal(Runtime& runtime, const JS::CallArgs& args) {
    std::uint32_t handle = 0;
    if (!call_method(runtime, args, "addInternal", add, handle)) return;
    const auto noted = runtime.weights.find(handle);
    JSObject* const object = &args.thisv().toObject();
    weigh(object, *life_of(object), noted == runtime.weights.end() ? small_weight : noted->second);
}

void remove_internal(Runtime& runtime, const JS::CallArgs& args) {
    std::uint32_t ignored = 0;
    if (!call_method(runtime, args, "removeInternal", remove, ignored)) return;
    JSObject* const object = &args.thisv().toObject();
    weigh(object, *life_of(object), 0);
}

void release(Runtime&, const JS::CallArgs& args) {
    if (!args.thisv().isObject() || JS::GetClass(&args.thisv().toObject()) != &life_class) {
        throw ScriptError("LIBXMLLife.release is called on no LIBXMLLife object", JSEXN_TYPEERR);
    }
    end(&args.thisv().toObject());
    args.rval().setUndefined();
}

}  // namespace

JSObject* make_life(Runtime& runtime, const host::ObjectHandle& handle) {
    JSObject* const object =
        check(JS_NewObjectWithGivenProto(runtime.cx, &life_class, runtime.life_prototype));
    JS::SetReservedSlot(object, life_slot, JS::PrivateValue(new Life{runtime, handle}));
    return object;
}

void install_life(Runtime& runtime) {
    JSContext* const cx = runtime.cx;
    for (const host::Function& function : functions) {
        runtime.life_methods.push_back(bind(cx, function));
    }
    runtime.life_prototype = check(JS_NewPlainObject(cx));
    check(JS_DefineFunction(cx, runtime.life_prototype, "addInternal", native<add_internal>, 1, 0));
    check(JS_DefineFunction(cx, runtime.life_prototype, "removeInternal", native<remove_internal>,
                            0, 0));
    check(JS_DefineFunction(cx, runtime.life_prototype, "release", native<release>, 0, 0));

    // LIBXMLLife(), new LIBXMLLife(), LIBXMLLife.new()
    JSFunction* const function =
        check(JS_NewFunction(cx, native<create>, 0, JSFUN_CONSTRUCTOR, "LIBXMLLife"));
    const JS::RootedObject constructor(cx, JS_GetFunctionObject(function));
    check(JS_DefineFunction(cx, constructor, "new", native<create>, 0, 0));
    check(JS_LinkConstructorAndPrototype(cx, constructor, runtime.life_prototype));
    check(JS_DefineProperty(cx, runtime.global, "LIBXMLLife", constructor, 0));
}

}  // namespace valtrosse::script
