// The host of all benchmarks. VALTROSSE_PLUGIN names another library than the build's plain one.
#pragma once

#include <cstdlib>

#include "host/host.hpp"

inline valtrosse::host::Host& shared_host() {
    static const char* const path = std::getenv("VALTROSSE_PLUGIN");
    static valtrosse::host::Host host(path ? path : VALTROSSE_PLUGIN_PATH);
    return host;
}
