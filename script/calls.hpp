// One call from JavaScript into the host: arguments over, status or result back.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>

#include "script/observer.hpp"
#include "script/runtime.hpp"

namespace valtrosse::script {

inline constexpr std::size_t max_parameters = 6;

/// Where on the value stack the arguments of a call are: from 0 on or, for a call by name, at an
/// index of their own each.
struct Places {
    std::size_t count;
    bool by_name;
    std::array<duk_idx_t, max_parameters> index;
    std::array<std::size_t, max_parameters> parameter;

    duk_idx_t index_of(std::size_t place) const {
        return by_name ? index[place] : static_cast<duk_idx_t>(place);
    }
};

/// Finds the arguments: one plain object alone means a call by name. May throw JavaScript errors
/// (and run the object's getters), so it comes before anything owns memory.
Places find_places(Runtime& runtime, duk_context* ctx, const host::Function& function);

/// Room for the arguments of a call. Only those that the call has are made.
class Arguments {
public:
    Arguments() = default;
    ~Arguments() { std::destroy_n(data(), size_); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    template <typename... T>
    void emplace_back(T&&... parts) {
        std::construct_at(data() + size_, std::forward<T>(parts)...);
        ++size_;
    }
    std::size_t size() const { return size_; }
    host::Argument* data() { return reinterpret_cast<host::Argument*>(room_.data()); }

private:
    std::size_t size_ = 0;
    alignas(host::Argument) std::array<std::byte, max_parameters * sizeof(host::Argument)> room_;
};

/// Reads the arguments; their texts stay in the scratch buffer until the next call. Throws
/// ScriptError for a value that no parameter takes, and for a byte path (see BoundFunction) that is
/// none. Runs no script and throws no JavaScript error.
std::span<const host::Argument> read_arguments(Runtime& runtime, duk_context* ctx,
                                               const BoundFunction& bound, const Places& places,
                                               Arguments& arguments);

/// What is left to do with an outcome once nothing owns memory any more.
struct Answer {
    enum class Kind { nothing, pushed, thrown, text } kind;
    std::size_t size;  // of a text
};

/// Short texts go through a buffer on the stack and need no guard.
using ShortText = std::array<char, 1536>;

Answer answer_with(Runtime& runtime, duk_context* ctx, const host::Outcome& outcome,
                   ShortText& text);
Answer answer_failure(duk_context* ctx, const host::Function& function,
                      std::span<const host::Argument> arguments, const host::Outcome& outcome);

/// Where the script makes the call that is running. Runs no script, but may run finalizers of one.
CallPath call_path(Runtime& runtime, duk_context* ctx);

/// Makes the call and lets the observer, which there is, look at it.
template <typename Invoke>
host::Outcome invoke_observed(CallObserver& observer, const ObservedCall& call, Invoke invoke) {
    observer.before(call);
    const auto start = std::chrono::steady_clock::now();
    host::Outcome outcome = invoke(call.arguments);
    observer.after(call, outcome, std::chrono::steady_clock::now() - start);
    return outcome;
}

/// The whole call: `invoke` makes an Outcome of the arguments. A method is one of `object`.
template <typename Invoke>
duk_ret_t call_host(Runtime& runtime, duk_context* ctx, const BoundFunction& bound, Invoke invoke,
                    const vt_object* object = nullptr) {
    const Places places = find_places(runtime, ctx, *bound.function);
    ShortText text;
    Answer answer;
    {
        // The path first: finalizers may overwrite the texts of the arguments.
        CallObserver* const observer = runtime.options.observer;
        CallPath path;
        if (observer != nullptr && observer->wants_path(*bound.function)) {
            path = call_path(runtime, ctx);
        }
        Arguments arguments;
        const auto supplied = read_arguments(runtime, ctx, bound, places, arguments);
        const host::Outcome outcome =
            observer == nullptr
                ? invoke(supplied)
                : invoke_observed(*observer, {*bound.function, supplied, object, std::move(path)},
                                  invoke);
        answer = outcome.status() == 0 ? answer_with(runtime, ctx, outcome, text)
                                       : answer_failure(ctx, *bound.function, supplied, outcome);
    }
    switch (answer.kind) {
        case Answer::Kind::nothing: return 0;
        case Answer::Kind::pushed: return 1;
        case Answer::Kind::text: duk_push_lstring(ctx, text.data(), answer.size); return 1;
        case Answer::Kind::thrown: break;
    }
    return duk_throw(ctx);
}

}  // namespace valtrosse::script
