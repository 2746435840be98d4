// What runs after a piece of script: jobs of promises, timers, and the rejections that nobody handles.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>

#include "script/runtime.hpp"

namespace valtrosse::script {

class Jobs {
public:
    explicit Jobs(Runtime& runtime);

    /// Runs the jobs of promises, then timers as they come due, until there is neither. Throws Pending after an
    /// error that nobody caught; a rejection that nobody handles is one.
    void run();
    /// Runs jobs and timers for as long as a promise is pending.
    void run_until_settled(JS::HandleObject promise);
    /// Drops timers, and rejections that nobody was told of. Jobs that are left run with the next program's.
    void clear();

    /// Calls a function after so many milliseconds, again and again if it repeats. Gives the timer's number.
    std::uint32_t add_timer(JS::HandleObject function, double milliseconds, bool repeats);
    void remove_timer(std::uint32_t number);

    // What the engine tells.
    void rejected(JS::HandleObject promise, bool is_handled);
    void clean_up(JSFunction* function);

private:
    using Clock = std::chrono::steady_clock;
    struct Timer {
        std::uint32_t number;
        Clock::time_point due;
        Clock::duration interval;  // 0 for one that does not repeat
        JS::PersistentRootedObject function;
    };

    void run_jobs();
    void run_cleanups();
    bool run_timer();
    void throw_rejection();
    void insert(std::list<Timer>& from, std::list<Timer>::iterator timer);

    Runtime& runtime_;
    std::list<Timer> timers_;  // in the order in which they are due
    std::uint32_t timers_made_ = 0;
    using Objects = JS::GCVector<JSObject*, 0, js::SystemAllocPolicy>;
    JS::PersistentRooted<Objects> rejected_;
    JS::PersistentRooted<Objects> cleanups_;  // of FinalizationRegistry objects
};

}  // namespace valtrosse::script
