// The last resort for a breach of the contract that cannot be reported through a status.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace valtrosse::host {

/// Callbacks have C frames of the library below them, so they cannot throw.
[[noreturn]] inline void contract_broken(const char* what) {
    std::fprintf(stderr, "valtrosse host: the library broke the contract: %s\n", what);
    std::abort();
}

}  // namespace valtrosse::host
