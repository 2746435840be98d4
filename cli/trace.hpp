// vtdom --trace: each call on a line, with its arguments, what it gave and its time.
#pragma once

#include <iosfwd>
#include <string>

#include "script/observer.hpp"

namespace valtrosse::cli {

class Trace : public script::CallObserver {
public:
    /// `script_out` is flushed before each line, since the two usually share a terminal.
    Trace(std::ostream& out, std::ostream& script_out) : out_(out), script_out_(script_out) {}

    void after(const script::ObservedCall& call, const host::Outcome& outcome,
               std::chrono::nanoseconds time) override;
    void life_ends(const vt_object* object) override;

private:
    void line(const std::string& time, const std::string& text);

    std::ostream& out_;
    std::ostream& script_out_;
};

}  // namespace valtrosse::cli
