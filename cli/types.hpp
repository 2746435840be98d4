// Declarations for TypeScript.
#pragma once

#include <ostream>

#include "cli/reference.hpp"
#include "host/host.hpp"

namespace valtrosse::cli {

/// Writes the declarations of all functions, with what the reference says of each, then those of the file with
/// the globals and modules. Throws std::runtime_error for a file that cannot be read, and where the reference
/// does not tell the type of a result.
void write_types(std::ostream& out, const host::Host& host, const Reference& reference,
                 const std::string& other_declarations);

}  // namespace valtrosse::cli
