// Pairs of benchmarks, each with what it is measured against, and their table and picture.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace valtrosse::bench {

using Job = std::function<void(benchmark::State&)>;

/// The names of the benchmarks of each comparison, in the order of the table.
std::vector<std::pair<std::string, std::string>> comparisons();

/// Registers the benchmarks "group/name" and "group/name:floor". The table shows the time of the first
/// as a ratio of the second's, which is to be at most `target` (0: no target). What the floor is, the
/// table says in the words of `against`.
void compare(const std::string& group, const std::string& name, double target, Job job, Job floor,
             const std::string& against);

/// Registers comparisons before main() starts.
struct Registration {
    explicit Registration(void (*add)()) { add(); }
};

struct Pair;

/// Google Benchmark's console output, and the medians of all repetitions for the table.
class Report : public benchmark::ConsoleReporter {
public:
    Report() : ConsoleReporter(OO_None) {}
    void ReportRuns(const std::vector<Run>& runs) override;

    /// Prints every comparison of which both sides ran, as a Markdown table.
    void print_table(std::ostream& out) const;
    /// The medians of all pairs as JSON.
    void write_json(std::ostream& out) const;
    /// Draws the ratios as bars on a logarithmic scale, with their targets.
    void draw(std::ostream& out) const;

private:
    /// A comparison of which both sides ran, in nanoseconds.
    struct Measured {
        const Pair* pair;
        double time;
        double floor;
        double ratio;
        bool over;  // the target
    };
    std::vector<Measured> measured() const;
    std::optional<double> median(const std::string& name) const;

    std::map<std::string, std::vector<double>> nanoseconds_;
};

}  // namespace valtrosse::bench
