// vtdom --leaks: what a script was given and neither freed nor linked.
#pragma once

#include <cstddef>
#include <iosfwd>

#include "cli/ownership.hpp"

namespace valtrosse::cli {

/// Lists what is still owned and gives its number; writes nothing when there is nothing. To be called
/// when the engine is gone, and with it all LIBXMLLife objects.
std::size_t report_leaks(std::ostream& out, host::Host& host, const Ownership& ownership);

}  // namespace valtrosse::cli
