// The benchmarks. Google Benchmark's own options, of which --benchmark_filter is a part of a name
// here; --table=FILE, --json=FILE and --svg=FILE.
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "bench/report.hpp"

namespace {

/// The name as a regular expression.
std::string literally(const std::string& name) {
    std::string expression;
    for (const char c : name) {
        if (std::strchr("^$\\.*+?()[{|", c) != nullptr) expression += '\\';
        expression += c;
    }
    return expression;
}

}  // namespace

int main(int argc, char** argv) {
    // Freed memory stays in the process: the page faults of a new block cost more than most jobs, and
    // which of two jobs meets them is chance.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 2147483647);

    std::map<std::string, std::string> files;
    // Several repetitions in turn, so that a busy moment meets both sides of a pair.
    std::vector<char*> args = {argv[0]};
    std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_min_time=0.1",
                              "--benchmark_enable_random_interleaving=true"};
    for (std::string& option : defaults) args.push_back(option.data());
    for (char** arg = argv + 1; arg != argv + argc; ++arg) {
        const std::string option(*arg);
        const std::string name = option.substr(0, option.find('='));
        if (name == "--table" || name == "--svg" || name == "--json")
            files[name] = option.substr(std::min(option.size(), name.size() + 1));
        else
            args.push_back(*arg);
    }

    auto count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    valtrosse::bench::Report report;
    const std::string filter = benchmark::GetBenchmarkFilter();
    // A pair at a time: both sides begin with the same heap, whatever ran before them.
    for (const auto& [job, floor] : valtrosse::bench::comparisons()) {
        if (job.find(filter) == std::string::npos) continue;
        const std::string both = "^(" + literally(job) + "|" + literally(floor) + ")$";
        benchmark::RunSpecifiedBenchmarks(&report, both);
        malloc_trim(0);
    }

    report.print_table(std::cout);
    const auto write = [&](const char* option, auto print) {
        if (!files.contains(option)) return;
        std::ofstream file(files[option]);
        print(file);
    };
    write("--table", [&](std::ostream& out) { report.print_table(out); });
    write("--json", [&](std::ostream& out) { report.write_json(out); });
    write("--svg", [&](std::ostream& out) { report.draw(out); });
}
