// Argument records, and how arguments bind to parameters.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "host/host.hpp"

namespace valtrosse::host {

/// Fills the record of one argument. Both the argument and last_read outlive the record; a reader
/// stores the argument's 1-based position in last_read.
void write_argument(vt_argument& record, const Argument& argument, std::uint32_t position,
                    std::uint32_t& last_read);
const Argument& argument_of(const vt_argument& record);

/// Binds count arguments to the parameters; see Argument for the rule. positions[k] becomes the
/// 1-based position of the argument bound to parameter k, 0 for none. argument_at(i) is the
/// argument at 0-based position i; is_named(k, name) says whether parameter k has that name.
template <typename ArgumentAt, typename IsNamed>
void bind_positions(std::span<std::uint32_t> positions, std::uint32_t count, ArgumentAt argument_at,
                    IsNamed is_named) {
    // Most calls: as many arguments as parameters, none of them named or not supplied.
    bool in_order = count == positions.size();
    for (std::uint32_t i = 0; in_order && i < count; ++i) {
        const Argument& argument = argument_at(i);
        in_order = argument.name().empty() && argument.kind() != Argument::Kind::missing;
        positions[i] = i + 1;
    }
    if (in_order) return;

    std::fill(positions.begin(), positions.end(), 0U);
    for (std::uint32_t i = 0; i < count; ++i) {
        const Argument& argument = argument_at(i);
        if (argument.name().empty() || argument.kind() == Argument::Kind::missing) continue;
        for (std::size_t k = 0; k < positions.size(); ++k) {
            if (positions[k] == 0 && is_named(k, argument.name())) positions[k] = i + 1;
        }
    }
    std::size_t k = 0;
    for (std::uint32_t i = 0; i < count && k < positions.size(); ++i) {
        const Argument& argument = argument_at(i);
        if (!argument.name().empty()) continue;
        if (positions[k] == 0 && argument.kind() != Argument::Kind::missing) positions[k] = i + 1;
        ++k;
    }
}

}  // namespace valtrosse::host
