// The counters behind Host::counters(), shared by all contexts of a host.
#pragma once

#include <atomic>
#include <cstdint>

#include "host/host.hpp"

namespace valtrosse::host {

struct Tally {
    using Count = std::atomic<std::uint64_t>;
    Count allocations{0};
    Count live_blocks{0};
    Count refills{0};
    Count live_values{0};
    Count live_objects{0};
    Count unused_ids_called{0};

    Counters snapshot() const {
        return {allocations, live_blocks, refills, live_values, live_objects, unused_ids_called};
    }
};

}  // namespace valtrosse::host
