// Makes the call cases under callgrind, which writes one part of its output for each: named after the
// case, with the instructions of `repetitions` calls. bench/instructions.sh reads them.
#include <valgrind/callgrind.h>

#include "bench/call_cases.hpp"

using namespace valtrosse::bench;

namespace {

constexpr int repetitions = 100;

void count(const CallCase& call, const Functions& functions, const std::string& label) {
    for (int i = 0; i < 3; ++i) call.run(functions);  // blocks and tables that stay
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < repetitions; ++i) call.run(functions);
    CALLGRIND_DUMP_STATS_AT(label.c_str());
}

}  // namespace

int main() {
    for (const CallCase& call : call_cases()) {
        count(call, library(), call.name);
        count(call, bare(), call.name + ":floor");
    }
}
