#include "script/engine.hpp"

#include <ostream>

#include "script/jobs.hpp"
#include "script/modules.hpp"
#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

/// Waits for the end of a program that is an ES module. Throws Pending.
void finish_module(Runtime& runtime, JS::HandleValue evaluation) {
    JSContext* const cx = runtime.cx;
    const JS::RootedObject promise(cx, &evaluation.toObject());
    check(JS::SetAnyPromiseIsHandled(cx, promise));
    if (JS::GetPromiseState(promise) != JS::PromiseState::Rejected) runtime.jobs->run();
    switch (JS::GetPromiseState(promise)) {
        case JS::PromiseState::Fulfilled: return;
        case JS::PromiseState::Pending:
            throw ScriptError("the program waits for a promise that nothing can settle any more");
        case JS::PromiseState::Rejected: {
            const JS::RootedValue reason(cx, JS::GetPromiseResult(promise));
            const JS::RootedObject site(cx, JS::GetPromiseResolutionSite(promise));
            JS::SetPendingExceptionStack(cx, JS::ExceptionStack(cx, reason, site));
            throw Pending();
        }
    }
}

void run_program(Runtime& runtime, std::string_view source, const std::string& name) {
    const std::string text = clean_source(std::string(source), name);
    runtime.sources[name] = text;
    JS::RootedValue result(runtime.cx);
    bool is_module = false;
    runtime.modules->run(text, name, &result, is_module);
    if (is_module) {
        finish_module(runtime, result);
    } else {
        runtime.jobs->run();
    }
}

}  // namespace

Engine::Engine(host::Host& host, Options options)
    : runtime_(std::make_unique<Runtime>(host, std::move(options))) {}

Engine::~Engine() = default;

int Engine::run_file(const std::string& path) {
    return run_code(read_file(path), path == "-" ? "stdin" : path);
}

int Engine::run_code(std::string_view source, const std::string& name) {
    Runtime& runtime = *runtime_;
    runtime.begin(name);
    int code = 0;
    try {
        try {
            run_program(runtime, source, name);
        } catch (const ScriptError&) {
            set_current_exception(runtime);
            throw Pending();
        }
    } catch (const Pending&) {
        runtime.jobs->clear();
        if (!runtime.exit_code) {
            runtime.options.out->flush();
            *runtime.options.err << take_report(runtime);
            code = uncaught_error;
        }
    }
    runtime.options.out->flush();
    return runtime.exit_code.value_or(code);
}

bool Engine::exited() const { return runtime_->exit_code.has_value(); }

void Engine::interrupt() noexcept {
    runtime_->interrupt_requested = true;
    JS_RequestInterruptCallback(runtime_->cx);
}

bool Engine::interrupted() const { return runtime_->was_interrupted; }

std::string Engine::caller() const { return caller_of(runtime_->cx); }

void Engine::collect() { JS_GC(runtime_->cx); }

}  // namespace valtrosse::script
