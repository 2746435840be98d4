// Random scripts against a model: calls are made up, or replayed, one after the other; before each the
// model says what it is to give, and after each all trees are compared with the model's.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "fuzz/random/choices.hpp"
#include "fuzz/random/script.hpp"
#include "host/host.hpp"

namespace valtrosse::random {

/// How the calls of one function ended.
struct Outcomes {
    std::uint64_t values = 0;
    std::uint64_t no_values = 0;
    std::array<std::uint64_t, 72> statuses{};  // by number; 71 stands for what is above
};

/// What a run reached: an entry for each function of the host, in its order, then the methods of
/// LIBXMLLife (new, addInternal, removeInternal) and the end of its objects.
struct Coverage {
    static constexpr std::size_t functions = 64;
    static constexpr std::size_t methods = 4;
    std::array<Outcomes, functions + methods> outcomes{};
    std::uint64_t steps = 0;
    std::uint64_t round_trips = 0;
};

/// A call that did not do what the model says.
struct Failure {
    Step step;
    std::string what;
};

/// Hears of each step before it is made.
using Listener = std::function<void(const Step&)>;

/// Makes up to max_steps calls; choices decides on them. At the end everything is freed, and the host
/// must be left without blocks. A crash is not caught.
std::optional<Failure> run(Choices& choices, host::Host& host, std::uint32_t max_steps,
                           Coverage* coverage = nullptr, const Listener& listener = {});
/// The same with the steps of a script. Steps that the rules do not allow are passed over.
std::optional<Failure> replay(const Script& script, host::Host& host, Coverage* coverage = nullptr);

}  // namespace valtrosse::random
