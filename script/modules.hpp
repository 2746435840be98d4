// Programs and modules: CommonJS (require, exports) and ES modules (import, export), each of which can load
// the other. A file is a CommonJS module, or the program a plain script, unless it has what only ES modules
// may have (import, export, await outside of functions) or is named .mjs.
#pragma once

#include <string>
#include <string_view>

#include "script/runtime.hpp"

namespace valtrosse::script {

class Modules {
public:
    explicit Modules(Runtime& runtime);

    /// Runs a program. Of an ES module the result is the promise of its end. require and import take relative
    /// names from the directory of `file`. Throws Pending.
    void run(std::string_view text, const std::string& file, JS::MutableHandleValue result,
             bool& is_module);

    /// Runs source as a plain script, whose value is the result; see Console.
    void run_script(std::string_view text, const std::string& file, JS::MutableHandleValue result);

    /// Whether a mistake in a plain script, by its number, is none in an ES module.
    static bool is_for_modules(unsigned error_number);
    /// Whether the text has `await (...)` outside of functions, which a plain script takes for a call.
    bool awaits(std::string_view text);

    /// Replaces the global require by one that starts from this file's directory.
    void set_program(const std::string& file);

    // What the engine asks for, see js/Modules.h.
    JSObject* imported(JS::HandleString name, const std::string& from);
    void import_later(JS::HandleValue referrer, JS::HandleObject request, JS::HandleObject promise);
    void describe(JS::HandleValue module_value, JS::HandleObject meta);

    /// What require gives. `from` is the file that asks.
    void require(const std::string& name, const std::string& from, JS::MutableHandleValue result);

private:
    struct Found {
        std::string key;   // one for each file, however it is reached
        std::string file;  // as it is shown
    };

    Found find(const std::string& name, const std::string& from) const;
    JSObject* make_require(const std::string& from);
    bool run_common(const Found& found, JS::MutableHandleValue exports);
    JSObject* es_module(const std::string& key, const std::string& file, std::string_view text);
    JSObject* wrapped(const Found& found, JS::HandleValue exports);
    void evaluate(JS::HandleObject record, JS::MutableHandleValue promise);
    void remember(JS::HandleObject map, const std::string& key, JS::HandleValue value);
    bool recall(JS::HandleObject map, const std::string& key, JS::MutableHandleValue value);

    Runtime& runtime_;
    JS::PersistentRootedObject common_;  // a Map of module objects by key
    JS::PersistentRootedObject es_;      // a Map of module records by key
};

}  // namespace valtrosse::script
