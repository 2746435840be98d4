// The benchmarks: Google Benchmark's own options, --table=FILE and --svg=FILE.
#include <malloc.h>

#include <fstream>
#include <iostream>
#include <string_view>
#include <vector>

#include "bench/report.hpp"

int main(int argc, char** argv) {
    // Freed memory stays in the process: the page faults of a new block cost more than most jobs, and
    // which of two jobs meets them is chance.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 2147483647);

    std::string table_file;
    std::string svg_file;
    // Several repetitions of all benchmarks in turn, so that a busy moment meets both sides of a pair.
    std::vector<char*> args = {argv[0]};
    std::string defaults[] = {"--benchmark_repetitions=5", "--benchmark_min_time=0.1",
                              "--benchmark_enable_random_interleaving=true",
                              "--benchmark_report_aggregates_only=false"};
    for (std::string& option : defaults) args.push_back(option.data());
    for (char** arg = argv + 1; arg != argv + argc; ++arg) {
        const std::string_view option(*arg);
        if (option.starts_with("--table="))
            table_file = option.substr(8);
        else if (option.starts_with("--svg="))
            svg_file = option.substr(6);
        else
            args.push_back(*arg);
    }

    auto count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    valtrosse::bench::Report report;
    benchmark::RunSpecifiedBenchmarks(&report);

    report.print_table(std::cout);
    if (!table_file.empty()) {
        std::ofstream file(table_file);
        report.print_table(file);
    }
    if (!svg_file.empty()) {
        std::ofstream file(svg_file);
        report.draw(file);
    }
}
