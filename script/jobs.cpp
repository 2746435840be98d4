#include "script/jobs.hpp"

#include <poll.h>

#include <algorithm>
#include <cmath>

namespace valtrosse::script {

namespace {

constexpr double longest_wait = 2147483647;  // milliseconds; what is longer is taken for none

void track_rejection(JSContext* cx, bool, JS::HandleObject promise,
                     JS::PromiseRejectionHandlingState state, void*) {
    Runtime::of(cx).jobs->rejected(promise, state == JS::PromiseRejectionHandlingState::Handled);
}

void note_cleanup(JSFunction* function, JSObject*, void* jobs) {
    static_cast<Jobs*>(jobs)->clean_up(function);
}

/// Ends the script when it was told to: by exit() or Ctrl-C.
void check_end(const Runtime& runtime) {
    if (runtime.exit_code || !runtime.interrupted_at.empty()) throw Pending();
}

}  // namespace

Jobs::Jobs(Runtime& runtime)
    : runtime_(runtime),
      rejected_(runtime.cx, Objects()),
      cleanups_(runtime.cx, Objects()) {
    JS::SetPromiseRejectionTrackerCallback(runtime.cx, track_rejection);
    JS::SetHostCleanupFinalizationRegistryCallback(runtime.cx, note_cleanup, this);
}

// ---- Running ------------------------------------------------------------------------------------

void Jobs::run_jobs() {
    runtime_.is_running_jobs = true;
    js::RunJobs(runtime_.cx);
    runtime_.is_running_jobs = false;
    check_end(runtime_);
    run_cleanups();
    throw_rejection();
}

void Jobs::run() {
    do run_jobs();
    while (run_timer());
}

void Jobs::run_until_settled(JS::HandleObject promise) {
    do run_jobs();
    while (JS::GetPromiseState(promise) == JS::PromiseState::Pending && run_timer());
}

void Jobs::clear() {
    timers_.clear();
    rejected_.clear();
    cleanups_.clear();
}

void Jobs::clean_up(JSFunction* function) {
    // Without memory the registry is not told, which it may not rely on anyway.
    static_cast<void>(cleanups_.append(JS_GetFunctionObject(function)));
}

void Jobs::run_cleanups() {
    JSContext* const cx = runtime_.cx;
    while (!cleanups_.empty()) {
        const JS::RootedValue function(cx, JS::ObjectValue(*cleanups_.popCopy()));
        JS::RootedValue ignored(cx);
        check(JS::Call(cx, JS::UndefinedHandleValue, function, JS::HandleValueArray::empty(),
                       &ignored));
    }
}

// ---- Timers -------------------------------------------------------------------------------------

/// Moves a timer to its place among the others, behind those that are due at the same time.
void Jobs::insert(std::list<Timer>& from, std::list<Timer>::iterator timer) {
    const auto later = std::find_if(timers_.begin(), timers_.end(),
                                    [&](const Timer& other) { return other.due > timer->due; });
    timers_.splice(later, from, timer);
}

std::uint32_t Jobs::add_timer(JS::HandleObject function, double milliseconds, bool repeats) {
    const bool sensible = milliseconds >= 1 && milliseconds <= longest_wait;
    const auto wait = std::chrono::milliseconds(sensible ? std::llround(milliseconds) : 1);
    std::list<Timer> one;
    one.push_back({++timers_made_, Clock::now() + wait, repeats ? wait : Clock::duration(0),
                   JS::PersistentRootedObject(runtime_.cx, function)});
    insert(one, one.begin());
    return timers_made_;
}

void Jobs::remove_timer(std::uint32_t number) {
    std::erase_if(timers_, [=](const Timer& timer) { return timer.number == number; });
}

/// Waits for the next timer and calls it. False when there is none.
bool Jobs::run_timer() {
    if (timers_.empty()) return false;
    JSContext* const cx = runtime_.cx;
    runtime_.options.out->flush();
    for (;;) {
        const auto left = timers_.front().due - Clock::now();
        if (left <= Clock::duration(0)) break;
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(left).count();
        poll(nullptr, 0, static_cast<int>(wait));
        if (!runtime_.interrupt_requested.exchange(false)) continue;
        runtime_.interrupted_at = runtime_.program;
        runtime_.was_interrupted = true;
        throw Pending();
    }
    const auto timer = timers_.begin();
    const JS::RootedValue function(cx, JS::ObjectValue(*timer->function));
    if (timer->interval == Clock::duration(0)) {
        timers_.erase(timer);
    } else {
        timer->due += timer->interval;
        std::list<Timer> one;
        one.splice(one.begin(), timers_, timer);
        insert(one, one.begin());
    }
    JS::RootedValue ignored(cx);
    check(
        JS::Call(cx, JS::UndefinedHandleValue, function, JS::HandleValueArray::empty(), &ignored));
    return true;
}

// ---- Rejections ---------------------------------------------------------------------------------

void Jobs::rejected(JS::HandleObject promise, bool is_handled) {
    if (!is_handled) {
        static_cast<void>(rejected_.append(promise));
        return;
    }
    JSObject** const found = std::find(rejected_.begin(), rejected_.end(), promise.get());
    if (found != rejected_.end()) rejected_.erase(found);
}

/// Makes the first rejection that nobody handled an exception of the program.
void Jobs::throw_rejection() {
    if (rejected_.empty()) return;
    JSContext* const cx = runtime_.cx;
    const JS::RootedObject promise(cx, rejected_[0]);
    rejected_.clear();
    const JS::RootedValue reason(cx, JS::GetPromiseResult(promise));
    const JS::RootedObject site(cx, JS::GetPromiseResolutionSite(promise));
    JS::SetPendingExceptionStack(cx, JS::ExceptionStack(cx, reason, site));
    throw Pending();
}

}  // namespace valtrosse::script
