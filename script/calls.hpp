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

/// The arguments of a call as JavaScript values: those of the call itself or, for a call by name, what the
/// properties of its only argument hold.
class Values {
public:
    /// Finds the arguments: one plain object alone means a call by name. May run the object's getters.
    /// Texts are in one piece afterwards.
    Values(Runtime& runtime, const BoundFunction& bound, const JS::CallArgs& args);

    std::size_t size() const { return size_; }
    bool by_name() const { return by_name_; }
    JS::HandleValue operator[](std::size_t place) const {
        return by_name_ ? named_[place] : JS::HandleValue(args_[static_cast<unsigned>(place)]);
    }
    std::size_t parameter(std::size_t place) const { return by_name_ ? parameters_[place] : place; }

private:
    void find_by_name(Runtime& runtime, const BoundFunction& bound);

    const JS::CallArgs& args_;
    std::size_t size_;
    bool by_name_ = false;
    JS::RootedVector<JS::Value> named_;
    std::array<std::size_t, max_parameters> parameters_{};
};

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

/// Reads the arguments. They point into strings, buffers and the scratch, and hold as long as the engine
/// allocates nothing. Throws ScriptError for a value that no parameter takes, and for a byte path (see
/// BoundFunction) that is none.
std::span<const host::Argument> read_arguments(Runtime& runtime, const BoundFunction& bound,
                                               const Values& values, Arguments& arguments);

/// Makes a value of what a call gave. `self` is what stands for the object that the call was made on.
void give_value(Runtime& runtime, const host::Outcome::Value& value, const vt_object* object,
                JS::HandleValue self, JS::MutableHandleValue result);

/// What a call that failed says. Of the arguments it needs no more than that they are there.
std::string explain_failure(const BoundFunction& bound, const Values& values,
                            std::span<const host::Argument> arguments,
                            const host::Outcome& outcome);
[[noreturn]] void throw_failure(Runtime& runtime, const host::Function& function, vt_status status,
                                const std::string& message);

/// The JavaScript object of a host object.
JSObject* make_life(Runtime& runtime, const host::ObjectHandle& handle);

/// Where the script makes the call that is running.
CallPath call_path(Runtime& runtime);

/// In a mode for tests, a full collection after every n-th call.
void collect_for_tests(Runtime& runtime);

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
void call_host(Runtime& runtime, const JS::CallArgs& args, const BoundFunction& bound,
               Invoke invoke, const vt_object* object = nullptr) {
    const Values values(runtime, bound, args);
    // The path first, since it takes memory of the engine.
    CallObserver* const observer = runtime.options.observer;
    CallPath path;
    if (observer != nullptr && observer->wants_path(*bound.function)) path = call_path(runtime);

    std::string failure;
    host::Outcome outcome;
    {
        const JS::AutoCheckCannotGC nogc;
        Arguments arguments;
        const auto supplied = read_arguments(runtime, bound, values, arguments);
        outcome =
            observer == nullptr
                ? invoke(supplied)
                : invoke_observed(*observer, {*bound.function, supplied, object, std::move(path)},
                                  invoke);
        if (outcome.status() != 0) failure = explain_failure(bound, values, supplied, outcome);
    }
    runtime.scratch.trim();
    if (outcome.status() != 0) throw_failure(runtime, *bound.function, outcome.status(), failure);
    const JS::RootedValue self(runtime.cx, args.thisv());
    give_value(runtime, outcome.value(), object, self, args.rval());
    if (runtime.options.calls_between_collections != 0) collect_for_tests(runtime);
}

}  // namespace valtrosse::script
