#include "script/runtime.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "script/embedded.hpp"
#include "script/jobs.hpp"
#include "script/modules.hpp"

namespace valtrosse::script {

namespace {

// The heap of objects and strings; documents are libxml2's and not in it.
constexpr std::uint32_t largest_heap = sizeof(void*) == 4 ? 1U << 30 : ~0U;
// After so much memory of documents, in MiB, the engine looks which of them nobody needs any more.
constexpr std::uint32_t documents_between_collections = 16;
constexpr std::size_t largest_stack = 4U << 20;
constexpr std::size_t smallest_stack = 256U << 10;

/// The engine's library is started once and ended with the process.
void start_library() {
    static const struct Library {
        Library() {
            if (!JS_Init()) throw std::runtime_error("the JavaScript engine cannot start");
        }
        ~Library() { JS_ShutDown(); }
    } library;
}

thread_local bool has_context = false;

/// Half of what the thread has: libxml2 needs some of it too.
std::size_t stack_for_scripts() {
    rlimit limit{};
    if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return largest_stack;
    return std::clamp(static_cast<std::size_t>(limit.rlim_cur / 2), smallest_stack, largest_stack);
}

/// The engine asks now and then, in loops too, whether to go on.
bool go_on(JSContext* cx) {
    Runtime& runtime = Runtime::of(cx);
    if (!runtime.interrupt_requested.exchange(false)) return true;
    runtime.stop_jobs();
    runtime.was_interrupted = true;
    try {
        const std::vector<Place> places = current_places(runtime);
        runtime.interrupted_at = places.empty() ? runtime.program : places.front().text();
    } catch (const Pending&) {
        JS_ClearPendingException(cx);
        runtime.interrupted_at = runtime.program;
    }
    return false;
}

/// What is thrown then is only a text; there may be no memory for more.
void note_out_of_memory(JSContext* cx, void*) {
    Runtime& runtime = Runtime::of(cx);
    try {
        runtime.out_of_memory_at = caller_of(cx);
    } catch (const std::bad_alloc&) {
        runtime.out_of_memory_at.clear();
    }
}

const JSClass global_class = {
    "global", JSCLASS_GLOBAL_FLAGS, &JS::DefaultGlobalClassOps, nullptr, nullptr, nullptr};

JSObject* new_global(JSContext* cx) {
    JS::RealmOptions options;
    options.creationOptions()
        .setWeakRefsEnabled(JS::WeakRefSpecifier::EnabledWithoutCleanupSome)
        .setSharedMemoryAndAtomicsEnabled(true);
    return JS_NewGlobalObject(cx, &global_class, nullptr, JS::FireOnNewGlobalHook, options);
}

void install(Runtime& runtime) {
    JSContext* const cx = runtime.cx;
    check(JS::InitRealmStandardClasses(cx));
    runtime.object_prototype = check(JS::GetRealmObjectPrototype(cx));
    install_globals(runtime);
    install_functions(runtime);
    install_life(runtime);
}

}  // namespace

Context::Context() {
    if (has_context) throw std::runtime_error("this thread has a JavaScript engine already");
    start_library();
    cx_ = JS_NewContext(largest_heap);
    if (cx_ == nullptr) throw std::runtime_error("no memory for the JavaScript engine");
    js::SetStackFormat(cx_, js::StackFormat::V8);
    JS_SetNativeStackQuota(cx_, stack_for_scripts());
    JS_SetGCParameter(cx_, JSGC_MALLOC_THRESHOLD_BASE, documents_between_collections);
    if (!js::UseInternalJobQueues(cx_) || !JS::InitSelfHostedCode(cx_)) {
        JS_DestroyContext(cx_);
        throw std::runtime_error("no memory for the JavaScript engine");
    }
    has_context = true;
}

Context::~Context() {
    JS_DestroyContext(cx_);
    has_context = false;
}

Runtime::Runtime(host::Host& the_host, Options the_options)
    : host(the_host),
      options(std::move(the_options)) {
    if (options.out == nullptr) options.out = &std::cout;
    if (options.err == nullptr) options.err = &std::cerr;
    for (std::string& directory : options.module_directories) {
        directory = (std::filesystem::path(directory) / "").lexically_normal().parent_path();
    }
    JS_SetContextPrivate(cx, this);
    try {
        global = check(new_global(cx));
        realm.emplace(cx, global);
        modules = std::make_unique<Modules>(*this);
        jobs = std::make_unique<Jobs>(*this);
        install(*this);
        if (!JS_AddInterruptCallback(cx, go_on)) throw Pending();
        JS::SetOutOfMemoryCallback(cx, note_out_of_memory, nullptr);
    } catch (const Pending&) {
        throw std::runtime_error("cannot set up the script's globals: " + take_report(*this));
    }
}

Runtime::~Runtime() = default;

void Runtime::begin(const std::string& name) {
    program = name;
    exit_code.reset();
    interrupted_at.clear();
    out_of_memory_at.clear();
    was_interrupted = false;
    interrupt_requested = false;
}

void Runtime::stop_jobs() {
    // Said too early, it would stop those of the next program.
    if (is_running_jobs) js::StopDrainingJobQueue(cx);
}

JSString* text_argument(const JS::CallArgs& args, unsigned index, const char* what) {
    if (!args.get(index).isString()) {
        throw ScriptError(std::string(what) + " must be a string", JSEXN_TYPEERR);
    }
    return args[index].toString();
}

Source::Source(Runtime& runtime, std::string_view text, const std::string& file,
               unsigned first_line)
    : file_(file),
      options_(runtime.cx) {
    options_.setFileAndLine(file_.c_str(), first_line);
    check(text_.init(runtime.cx, text.data(), text.size(), JS::SourceOwnership::Borrowed));
}

}  // namespace valtrosse::script
