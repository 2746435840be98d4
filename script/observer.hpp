// Watching the calls that scripts make: what traces, profiles and leak reports are built on.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/host.hpp"

namespace valtrosse::script {

/// Where a script made a call.
struct Site {
    std::string file;  ///< UTF-8; empty where no script is running
    int line = 0;
};

/// The way to a call: the innermost place first, then the innermost one in the main program where
/// that is another file.
using CallPath = std::vector<Site>;

/// A call of a script function or of a LIBXMLLife method. Texts are valid while observers look.
struct ObservedCall {
    const host::Function& function;  ///< of a method "LIBXMLLife.addInternal" and so on
    std::span<const host::Argument> arguments;
    const vt_object* object = nullptr;  ///< whose method it is
    CallPath path{};                    ///< filled for those who want it

    /// The argument bound to a parameter; null when none is.
    const host::Argument* argument(std::size_t parameter) const;
    const host::Argument* argument(std::string_view parameter) const;
};

/// Sees each call just before it is made and just after. What arguments cannot be read (an array
/// as a handle) never becomes a call. An observer may call the host, but runs no script.
class CallObserver {
public:
    virtual ~CallObserver() = default;
    /// Whether `path` is to be filled for this function, which takes time.
    virtual bool wants_path(const host::Function&) const { return false; }
    virtual void before(const ObservedCall&) {}
    virtual void after(const ObservedCall&, const host::Outcome&, std::chrono::nanoseconds) {}
    /// A LIBXMLLife object ends; what it holds is still there.
    virtual void life_ends(const vt_object*) {}
};

/// Several observers as one. They see what is before a call in this order, and what is after it too.
class CallObservers : public CallObserver {
public:
    void add(CallObserver& observer) { observers_.push_back(&observer); }
    bool empty() const { return observers_.empty(); }

    bool wants_path(const host::Function& function) const override;
    void before(const ObservedCall& call) override;
    void after(const ObservedCall& call, const host::Outcome& outcome,
               std::chrono::nanoseconds time) override;
    void life_ends(const vt_object* object) override;

private:
    std::vector<CallObserver*> observers_;
};

}  // namespace valtrosse::script
