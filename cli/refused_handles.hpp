// vtdom --checked: what the library that checks handles refuses.
#pragma once

#include <string>

#include "host/host.hpp"

namespace valtrosse::cli {

/// From now on one line on standard error for each handle that a call refuses. Throws
/// std::runtime_error when the library, which was loaded from `plugin`, does not check handles.
void report_refused_handles(host::Host& host, const std::string& plugin);

}  // namespace valtrosse::cli
