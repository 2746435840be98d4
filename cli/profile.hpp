// vtdom --profile: where the time of a script's calls went.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>

#include "script/observer.hpp"

namespace valtrosse::cli {

class Profile : public script::CallObserver {
public:
    Profile() : start_(std::chrono::steady_clock::now()) {}

    void after(const script::ObservedCall& call, const host::Outcome& outcome,
               std::chrono::nanoseconds time) override;

    /// A table of the functions called, the most expensive first.
    void report(std::ostream& out) const;

private:
    struct Row {
        std::uint64_t calls = 0;
        std::chrono::nanoseconds total{};
    };

    std::chrono::steady_clock::time_point start_;
    std::unordered_map<std::string, Row> rows_;
};

}  // namespace valtrosse::cli
