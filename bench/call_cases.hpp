// Single calls whose cost is compared with their floors.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/functions.hpp"

namespace valtrosse::bench {

struct CallCase {
    std::string name;
    /// Makes the call, with the library's functions or the floors; it may be made any number of times.
    std::function<void(const Functions&)> run;
};

const std::vector<CallCase>& call_cases();

}  // namespace valtrosse::bench
