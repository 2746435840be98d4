// The script functions that the benchmarks call, once from the library and once as their floors: a job
// written over this table runs with either.
#pragma once

#include "host/host.hpp"

namespace valtrosse::bench {

/// A host with the library loaded, for the whole process.
host::Host& shared_host();

struct Functions {
    bool are_floors;
    /// A handle of the library's as these functions take it.
    std::uint32_t (*of)(std::uint32_t handle);
    host::Function relative;
    host::Function type;
    host::Function name;
    host::Function value;
    host::Function attribute;
    host::Function next_attribute;
    host::Function select;
    host::Function create;
    host::Function set_value;
    host::Function set_attribute_node;
    host::Function add_child;
    host::Function unlink;
    host::Function free_node;
    host::Function free_doc;
};

/// The library's own.
const Functions& library();
/// The same host functions around bare libxml2: the floors.
const Functions& bare();

/// Calls a function of either table.
host::Outcome call(const host::Function& function, std::initializer_list<host::Argument> args);

}  // namespace valtrosse::bench
