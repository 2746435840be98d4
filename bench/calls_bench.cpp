// What a call costs beside its floor.
#include "bench/call_cases.hpp"
#include "bench/report.hpp"

namespace valtrosse::bench {
namespace {

const Registration calls([] {
    for (const CallCase& one : call_cases()) {
        const auto job = [&one](const Functions& functions) {
            return [&one, &functions](benchmark::State& state) {
                for (auto _ : state) one.run(functions);
            };
        };
        compare("One call", one.name, 1.10, job(library()), job(bare()),
                "the same host functions around libxml2");
    }
});

}  // namespace
}  // namespace valtrosse::bench
