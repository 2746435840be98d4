#include "script/observer.hpp"

#include <algorithm>

namespace valtrosse::script {

const host::Argument* ObservedCall::argument(std::size_t parameter) const {
    // A script binds all its arguments by name or all of them by position.
    if (!arguments.empty() && !arguments[0].name().empty()) {
        return argument(std::string_view(function.parameters[parameter]));
    }
    const bool supplied = parameter < arguments.size() &&
                          arguments[parameter].kind() != host::Argument::Kind::missing;
    return supplied ? &arguments[parameter] : nullptr;
}

const host::Argument* ObservedCall::argument(std::string_view parameter) const {
    if (!arguments.empty() && !arguments[0].name().empty()) {
        const auto found = std::find_if(
            arguments.begin(), arguments.end(),
            [&](const host::Argument& candidate) { return candidate.name() == parameter; });
        return found == arguments.end() ? nullptr : &*found;
    }
    const auto& names = function.parameters;
    const auto found = std::find(names.begin(), names.end(), parameter);
    return found == names.end() ? nullptr
                                : argument(static_cast<std::size_t>(found - names.begin()));
}

bool CallObservers::wants_path(const host::Function& function) const {
    return std::any_of(observers_.begin(), observers_.end(), [&](const CallObserver* observer) {
        return observer->wants_path(function);
    });
}

void CallObservers::before(const ObservedCall& call) {
    for (CallObserver* observer : observers_) observer->before(call);
}

void CallObservers::after(const ObservedCall& call, const host::Outcome& outcome,
                          std::chrono::nanoseconds time) {
    for (CallObserver* observer : observers_) observer->after(call, outcome, time);
}

void CallObservers::life_ends(const vt_object* object) {
    for (CallObserver* observer : observers_) observer->life_ends(object);
}

}  // namespace valtrosse::script
