// What is told of a thrown value that nobody caught.
#include <algorithm>

#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

/// Makes the thrown value below the top, of a program whose name is on top, a report: for an error
/// "file:line: Error: message" and the stack, for other values "file: uncaught value".
duk_ret_t describe(duk_context* ctx, void*) {
    if (!duk_is_error(ctx, -2)) {
        duk_push_string(ctx, ": uncaught ");
        duk_dup(ctx, -3);
        duk_safe_to_string(ctx, -1);
        duk_concat(ctx, 3);
        return 1;
    }
    duk_get_prop_string(ctx, -2, "fileName");
    if (duk_is_string(ctx, -1)) {  // not so in an object that only inherits from Error
        duk_push_string(ctx, ":");
        duk_get_prop_string(ctx, -4, "lineNumber");
        duk_concat(ctx, 3);
    } else {
        duk_pop(ctx);
        duk_dup_top(ctx);
    }
    duk_push_string(ctx, ": ");
    duk_get_prop_string(ctx, -4, "stack");
    duk_concat(ctx, 3);
    return 1;
}

/// A report without what only the engine's authors need: its own places in the stack, and remarks
/// behind the script's places ("at f (list.js:3) strict preventsyield").
std::string readable(std::string_view report) {
    std::string text;
    while (!report.empty()) {
        const std::size_t end = std::min(report.find('\n'), report.size());
        std::string_view line = report.substr(0, end);
        report.remove_prefix(std::min(end + 1, report.size()));
        if (line.starts_with("    at ")) {
            if (line.ends_with(" internal")) continue;
            const std::size_t place = line.rfind(" (");
            if (place != line.npos) {
                const bool native = line.substr(place).starts_with(" ()");
                line = line.substr(0, native ? place : line.find(')', place) + 1);
            }
        }
        text.append(line) += '\n';
    }
    return text;
}

}  // namespace

std::string thrown_text(duk_context* ctx, const std::string& name) {
    guarded(ctx, [&] { duk_push_lstring(ctx, name.data(), name.size()); });
    duk_safe_call(ctx, describe, nullptr, 2, 1);
    duk_size_t size = 0;
    const char* text = duk_safe_to_lstring(ctx, -1, &size);
    return readable(to_utf8({text, size}));
}

}  // namespace valtrosse::script
