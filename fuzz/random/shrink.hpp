// Runs in processes of their own, so that crashes are found as well, and failing scripts made short.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "fuzz/random/run.hpp"

namespace valtrosse::random {

/// A run that failed: its steps up to the failing one, and what went wrong.
struct Found {
    Script script;
    std::string what;
};

/// Runs in forked processes with one loaded library; keeps what the runs reached.
class Isolation {
public:
    explicit Isolation(const std::string& plugin);
    ~Isolation();
    Isolation(const Isolation&) = delete;
    Isolation& operator=(const Isolation&) = delete;

    /// With look_for_leaks what went well is repeated, which must leave no memory behind.
    std::optional<Found> run(std::uint64_t seed, std::uint32_t steps, bool look_for_leaks);
    /// What goes wrong in the script, if anything does; leaks as well.
    std::optional<std::string> replay(const Script& script);
    const Coverage& coverage() const;

private:
    struct Shared;
    Script logged_script() const;
    template <typename Work>
    std::optional<std::string> in_child(Work work);

    host::Host host_;
    Shared* shared_;
};

/// A shorter script that fails as well: without steps that are not needed, with simpler arguments.
Found shrink(Isolation& isolation, Found found);

}  // namespace valtrosse::random
