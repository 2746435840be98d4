// What the parts of the engine share, and the rules under which they are written:
//
// 1. What the engine may collect is rooted: JS::Rooted in a function, JS::Handle as a parameter,
//    JS::PersistentRooted in the Runtime.
// 2. A function of the engine says by its result that it failed, and keeps the JavaScript exception. check()
//    makes a C++ exception of that, Pending. No C++ exception leaves a native function: native<> sees to it.
// 3. Pointers into strings and buffers hold as long as the engine allocates nothing.
// 4. A finalizer touches what its own slot points to, and the host, never another object of the engine.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/host.hpp"
#include "script/engine.hpp"
#include "script/mozjs.hpp"
#include "script/strings.hpp"

namespace valtrosse::script {

/// A JavaScript error in the making; the message is UTF-8.
struct ScriptError : std::runtime_error {
    explicit ScriptError(const std::string& message, JSExnType error_type = JSEXN_ERR)
        : std::runtime_error(message),
          type(error_type) {}
    JSExnType type;
};

/// The engine has an exception, or the script has to end (exit, Ctrl-C).
struct Pending {};

inline void check(bool done) {
    if (!done) throw Pending();
}
template <typename T>
T* check(T* made) {
    if (made == nullptr) throw Pending();
    return made;
}

class NumberReader;
struct Runtime;
class Jobs;
class Modules;

/// A script function as it is called.
struct BoundFunction {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);
    const host::Function* function;
    std::size_t byte_path = none;  ///< the parameter that is a path of one byte per unit
    bool saves = false;            ///< may write to standard output
    std::size_t source = none;     ///< what a document is made of: path, text or document
    std::vector<JS::PropertyKey> parameters{};  ///< their names, pinned
};

/// The engine as a whole, one thread's part of it.
class Context {
public:
    Context();
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    JSContext* get() const { return cx_; }

private:
    JSContext* cx_ = nullptr;
};

struct Runtime {
    Runtime(host::Host& the_host, Options the_options);
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    /// Makes ready for a program of that name.
    void begin(const std::string& name);
    /// Sees to it that no further job of a promise runs.
    void stop_jobs();

    static Runtime& of(JSContext* cx) { return *static_cast<Runtime*>(JS_GetContextPrivate(cx)); }

    // What finalizers need outlives the context, in which they run last.
    host::Host& host;
    Options options;
    std::unordered_map<std::uint32_t, std::size_t>
        weights{};  // bytes of large documents, by handle

    Context context{};
    JSContext* const cx = context.get();
    JS::PersistentRootedObject global{cx};
    JS::PersistentRootedObject helpers{cx};  // what prelude.js gives
    std::optional<JSAutoRealm> realm{};
    JS::PersistentRootedObject life_prototype{cx};
    std::deque<BoundFunction> life_methods{};
    JS::PersistentRootedObject object_prototype{cx};  // of what literals make
    std::deque<BoundFunction> functions{};
    Scratch scratch{};
    std::unique_ptr<Modules> modules;
    std::unique_ptr<Jobs> jobs;

    std::string program{};           // the file that runs, as it was named
    std::optional<int> exit_code{};  // set by exit(): from then on nothing runs any more
    std::string interrupted_at{};    // where Ctrl-C met the script, until that is told
    std::string out_of_memory_at{};  // where the engine found no memory last
    bool was_interrupted = false;
    bool is_running_jobs = false;
    std::unordered_map<std::string, std::string> sources{};  // by file, for the reports of errors
    NumberReader* numbers = nullptr;                         // while somebody looks at values
    std::uint32_t calls_to_collection = 0;
    std::atomic<bool> interrupt_requested = false;
};

// ---- Errors -------------------------------------------------------------------------------------

/// Makes the engine's exception an error with a message in UTF-8, which points to the innermost place of the
/// script that is in no bundled module. Gives the error, or null when there is no memory for it.
JSObject* set_error(Runtime& runtime, JSExnType type, std::string_view message);
/// Inside a catch clause: gives the engine the JavaScript exception.
void set_current_exception(Runtime& runtime) noexcept;

/// The folder, so to say, of the JavaScript that is in the program itself.
inline constexpr std::string_view built_in = "vtdom:";
/// Whether a file is one of the modules that belong to the program.
bool is_bundled(const Runtime& runtime, std::string_view file);

/// Where a frame of the stack is.
struct Place {
    std::string file{};
    std::uint32_t line = 0;
    std::uint32_t column = 0;  // from 1 on
    std::string function{};

    std::string text() const;  // "file:line:column"
};
/// The places of a captured stack that are in no bundled module, the innermost first.
std::vector<Place> places_of(Runtime& runtime, JS::HandleObject stack);
/// Those of the script that runs.
std::vector<Place> current_places(Runtime& runtime);

/// "file:line" of the script that runs, found without memory of the engine; empty when none does.
std::string caller_of(JSContext* cx);

/// The report of what was thrown: place, message, the line of source and the stack, in UTF-8. Takes the
/// exception away from the engine; after Ctrl-C there is none.
std::string take_report(Runtime& runtime);
/// The same of a value that a promise was rejected with.
std::string report_of(Runtime& runtime, JS::HandleValue thrown, JS::HandleObject stack);

// ---- Native functions ---------------------------------------------------------------------------

/// A native function whose body may throw C++ exceptions.
template <void (*body)(Runtime&, const JS::CallArgs&)>
bool native(JSContext* cx, unsigned count, JS::Value* values) {
    Runtime& runtime = Runtime::of(cx);
    if (runtime.exit_code) return false;
    try {
        body(runtime, JS::CallArgsFromVp(count, values));
        return true;
    } catch (...) {
        set_current_exception(runtime);
        return false;
    }
}

/// The string argument at an index; anything else throws ScriptError.
JSString* text_argument(const JS::CallArgs& args, unsigned index, const char* what);
/// Calls a function of prelude.js.
void call_helper(Runtime& runtime, const char* name, const JS::HandleValueArray& arguments,
                 JS::MutableHandleValue result);

/// What calls of a function need to know of it.
BoundFunction bind(JSContext* cx, const host::Function& function);

// Each puts its globals in place, and throws Pending.
void install_functions(Runtime& runtime);
void install_life(Runtime& runtime);
void install_globals(Runtime& runtime);

// ---- Programs -----------------------------------------------------------------------------------

/// UTF-8 source, compiled under a file's name.
class Source {
public:
    Source(Runtime& runtime, std::string_view text, const std::string& file,
           unsigned first_line = 1);
    JS::SourceText<mozilla::Utf8Unit>& text() { return text_; }
    const JS::CompileOptions& options() const { return options_; }

private:
    std::string file_;
    JS::CompileOptions options_;
    JS::SourceText<mozilla::Utf8Unit> text_{};
};

/// The whole of a file, "-" for standard input. Throws std::system_error.
std::string read_file(const std::string& path);
/// Writes a file completely, or throws std::system_error and leaves what was there; see Replacement.
void write_file(const std::string& path, std::string_view content);
/// Gives a file or folder another name, in the place of a file that has it. Throws std::system_error.
void rename_file(const std::string& from, const std::string& to);

/// A file in memory, which others reach by its path for as long as this lives.
class TemporaryFile {
public:
    /// Throws std::system_error.
    explicit TemporaryFile(std::string_view content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    std::string path() const;

private:
    int descriptor_;
};

/// A program text without a byte order mark and with a #! line made a comment; lines keep their
/// numbers. Throws ScriptError for text that is not UTF-8; `name` is the file that it names.
std::string clean_source(std::string source, const std::string& name);

}  // namespace valtrosse::script
