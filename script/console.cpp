#include "script/console.hpp"

#include <algorithm>
#include <ostream>

#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

constexpr const char* inspector_key = DUK_HIDDEN_SYMBOL("inspector");
constexpr std::size_t longest_array = 100000;

duk_ret_t remark(Runtime& runtime, duk_context* ctx) {
    bool ready = false;
    {
        const bool asked = runtime.numbers != nullptr && duk_is_number(ctx, 0) != 0;
        const std::string words = asked ? runtime.numbers->remark(duk_get_number(ctx, 0)) : "";
        ready = push_text(ctx, from_utf8(words));
    }
    return ready ? 1 : duk_throw(ctx);
}

/// The engine adds this to what it says of errors at the end, and of some just before it.
bool tells_of_the_end(std::string_view message) { return message.ends_with(", end of input)"); }

std::string_view top_text(duk_context* ctx) {
    duk_size_t size = 0;
    const char* text = duk_safe_to_lstring(ctx, -1, &size);
    return {text, size};
}

std::size_t line_of(std::string_view message) {
    const std::size_t place = message.rfind("(line ");
    return place == message.npos ? 0 : std::strtoul(message.data() + place + 6, nullptr, 10);
}

/// Compiles a program; it or the error is on top of the stack.
bool compile(duk_context* ctx, std::string_view source) {
    return guarded(ctx, [=] {
        duk_push_lstring(ctx, source.data(), source.size());
        duk_push_string(ctx, Console::program_name);
        duk_compile(ctx, 0);
    });
}

/// Leaves the object that a path leads to on top of the stack, or undefined.
void push_path(duk_context* ctx, std::string_view path) {
    duk_push_global_object(ctx);
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('.'), path.size());
        duk_push_lstring(ctx, path.data(), end);
        path.remove_prefix(std::min(end + 1, path.size()));
        const bool has_properties = !duk_is_null_or_undefined(ctx, -2);
        if (has_properties) {
            duk_get_prop(ctx, -2);
        } else {
            duk_pop(ctx);
            duk_push_undefined(ctx);
        }
        duk_remove(ctx, -2);
    }
}

bool is_global_function(duk_context* ctx, duk_idx_t name) {
    duk_dup(ctx, name);
    duk_push_global_object(ctx);
    duk_insert(ctx, -2);
    duk_get_prop(ctx, -2);
    const bool callable = duk_is_callable(ctx, -1) != 0;
    duk_pop_2(ctx);
    return callable;
}

}  // namespace

Console::Console(Engine& engine, NumberReader& numbers, std::string_view inspector)
    : runtime_(*engine.runtime_) {
    duk_context* ctx = runtime_.ctx;
    runtime_.numbers = &numbers;
    runtime_.program = program_name;
    const bool ready = guarded(ctx, [=] {
        set_main_directory(ctx, "");
        duk_push_global_stash(ctx);
        duk_push_lstring(ctx, inspector.data(), inspector.size());
        duk_eval(ctx);
        duk_push_c_function(ctx, native<script::remark>, 1);
        duk_call(ctx, 1);
        duk_put_prop_string(ctx, -2, inspector_key);
    });
    const std::string error = ready ? "" : to_utf8(top_text(ctx));
    duk_pop(ctx);
    if (!ready) throw std::runtime_error("cannot set up the console: " + error);
}

Console::~Console() { runtime_.numbers = nullptr; }

bool Console::compiles(const std::string& source) {
    const bool compiled = compile(runtime_.ctx, source);
    duk_pop(runtime_.ctx);
    return compiled;
}

bool Console::is_incomplete(std::string_view source) {
    duk_context* ctx = runtime_.ctx;
    const auto lines = static_cast<std::size_t>(std::count(source.begin(), source.end(), '\n')) + 1;
    // The engine looks one token ahead: what fails at the end must fail later when more follows.
    const std::string longer = std::string(source) + "\n\n)";
    const auto error_of = [ctx](std::string_view program) {
        std::string message(compile(ctx, program) ? "" : top_text(ctx));
        duk_pop(ctx);
        return message;
    };
    const std::string message = error_of(source);
    if (!tells_of_the_end(message)) return false;
    if (message.find("unterminated comment") != message.npos) return true;
    if (message.find("unterminated") != message.npos) return false;
    const std::string later = error_of(longer);
    return later.empty() || line_of(later) > lines;
}

Console::Reply Console::evaluate(std::string_view source) {
    duk_context* ctx = runtime_.ctx;
    Reply reply;
    const auto failed = [&](std::string text) {
        reply.kind = Reply::Kind::error;
        reply.text = std::move(text);
        return reply;
    };
    std::string text;
    try {
        text = clean_source(std::string(source), program_name);
    } catch (const ScriptError& error) {
        return failed(std::string(error.what()) + '\n');
    }
    // {a: 1} alone is meant as an object.
    const std::string object = '(' + text + "\n)";
    if (text.starts_with('{') && compiles(object)) text = object;

    const bool ran = compile(ctx, text) && duk_pcall(ctx, 0) == DUK_EXEC_SUCCESS;
    runtime_.options.out->flush();
    if (runtime_.exit_code) {
        reply.kind = Reply::Kind::exited;
        reply.exit_code = *runtime_.exit_code;
    } else if (!ran) {
        failed(thrown_text(ctx, program_name));
    } else if (!duk_is_undefined(ctx, -1)) {
        reply.defined = true;
        const bool kept = guarded(ctx, [=] {
            duk_push_global_object(ctx);
            duk_dup(ctx, -2);
            duk_put_prop_string(ctx, -2, "_");
        });
        static_cast<void>(kept);  // a script may have made it read-only
        duk_pop(ctx);
        reply.value = read_value();
        reply.text = inspect();
    }
    duk_pop(ctx);
    return reply;
}

/// Of the value on top of the stack.
Console::Value Console::read_value() {
    duk_context* ctx = runtime_.ctx;
    if (duk_is_number(ctx, -1)) return duk_get_number(ctx, -1);
    if (duk_is_string(ctx, -1) && !duk_is_symbol(ctx, -1)) {
        return host::to_units(to_utf8(top_text(ctx)));
    }
    if (!duk_is_array(ctx, -1)) return {};
    duk_size_t length = 0;
    guarded(ctx, [&] {  // a proxy may throw
        length = duk_get_length(ctx, -1);
        duk_push_undefined(ctx);
    });
    duk_pop(ctx);
    if (length > longest_array) return {};
    std::vector<double> numbers(length);
    duk_size_t count = 0;
    guarded(ctx, [&] {
        duk_dup_top(ctx);
        for (; count < length; ++count) {
            duk_get_prop_index(ctx, -1, static_cast<duk_uarridx_t>(count));
            if (!duk_is_number(ctx, -1)) break;
            numbers[count] = duk_get_number(ctx, -1);
            duk_pop(ctx);
        }
    });
    duk_pop(ctx);
    return count == length ? Value(std::move(numbers)) : Value();
}

/// Of the value on top of the stack.
std::string Console::inspect() {
    duk_context* ctx = runtime_.ctx;
    guarded(ctx, [=] {
        duk_push_global_stash(ctx);
        duk_get_prop_string(ctx, -1, inspector_key);
        duk_dup(ctx, -3);
        duk_call(ctx, 1);
    });
    std::string text = to_utf8(top_text(ctx));
    duk_pop(ctx);
    return text;
}

std::vector<std::string> Console::properties(std::string_view path) {
    duk_context* ctx = runtime_.ctx;
    // One text with a line for each, since nothing may be owned while the engine works.
    const bool listed = guarded(ctx, [=] {
        push_path(ctx, path);
        if (duk_is_null_or_undefined(ctx, -1)) {
            duk_push_string(ctx, "");
            return;
        }
        duk_to_object(ctx, -1);
        duk_enum(ctx, -1, DUK_ENUM_INCLUDE_NONENUMERABLE);
        duk_push_string(ctx, "");
        while (duk_next(ctx, -2, 0) != 0) {
            // Only globals are asked what they are: elsewhere a getter might run.
            duk_push_string(ctx, path.empty() && is_global_function(ctx, -1) ? "(\n" : "\n");
            duk_concat(ctx, 3);
        }
    });
    std::vector<std::string> names;
    for (std::string_view rest = listed ? top_text(ctx) : ""; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        names.push_back(to_utf8(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    duk_pop(ctx);
    return names;
}

}  // namespace valtrosse::script
