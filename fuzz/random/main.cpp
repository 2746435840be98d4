// valtrosse-random: random scripts against a model, and replays of what was found.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/random/functions.hpp"
#include "fuzz/random/shrink.hpp"

using namespace valtrosse::random;

namespace {

constexpr std::uint32_t steps_of_a_run = 500;

void print_found(const Found& found) {
    std::printf("# %s\n", found.what.substr(0, found.what.find('\n')).c_str());
    for (const Step& step : found.script) std::printf("%s\n", to_text(step).c_str());
    std::printf("\nFAILED: %s\n", found.what.c_str());
}

int replay_files(Isolation& isolation, const std::vector<std::string>& paths) {
    int failed = 0;
    for (const std::string& path : paths) {
        std::ifstream file(path, std::ios::binary);
        if (!file) throw std::runtime_error("cannot read " + path);
        const Script script = parse_script(std::string(std::istreambuf_iterator<char>(file), {}));
        const auto what = isolation.replay(script);
        std::printf("%s: %zu steps: %s\n", path.c_str(), script.size(),
                    what ? what->c_str() : "as the model has it");
        failed += what.has_value();
    }
    return failed == 0 ? 0 : 1;
}

/// Prints what was reached; gives the number of functions that were never called or never gave a
/// value.
int print_coverage(const Coverage& coverage) {
    int missed = 0;
    std::printf("%-36s %9s %9s  statuses\n", "", "value", "no value");
    for (std::size_t i = 0; i < functions().size(); ++i) {
        const Outcomes& outcomes = coverage.outcomes[i];
        const bool reached = outcomes.values + outcomes.no_values > 0;
        std::printf("%-36s %9llu %9llu ", std::string(functions()[i].name).c_str(),
                    static_cast<unsigned long long>(outcomes.values),
                    static_cast<unsigned long long>(outcomes.no_values));
        for (std::size_t status = 0; status < outcomes.statuses.size(); ++status)
            if (outcomes.statuses[status] > 0)
                std::printf(" %zu: %llu", status,
                            static_cast<unsigned long long>(outcomes.statuses[status]));
        std::printf("%s\n", reached ? "" : "  NEVER CALLED");
        missed += !reached;
    }
    return missed;
}

int run_all(Isolation& isolation, std::uint64_t seed, std::uint64_t steps, bool progress) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    Clock::time_point last_line = start;
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::uint64_t runs = 0;
    for (std::uint64_t done = 0; steps == 0 || done < steps; ++runs) {
        const auto count = static_cast<std::uint32_t>(
            steps == 0 ? steps_of_a_run : std::min<std::uint64_t>(steps_of_a_run, steps - done));
        const std::uint64_t run_seed = seed + runs;
        if (auto found = isolation.run(run_seed, count, runs % 4 == 0)) {
            std::printf("run %llu failed (--seed %llu --steps %u): %s\nmaking it short ...\n",
                        static_cast<unsigned long long>(runs),
                        static_cast<unsigned long long>(run_seed), count, found->what.c_str());
            std::fflush(stdout);
            print_found(shrink(isolation, std::move(*found)));
            return 1;
        }
        done += count;
        if (progress && Clock::now() - last_line > std::chrono::seconds(10)) {
            last_line = Clock::now();
            const std::uint64_t ended = runs + 1;
            std::printf("%llu runs, %llu steps\n", static_cast<unsigned long long>(ended),
                        static_cast<unsigned long long>(done));
            std::fflush(stdout);
        }
    }
    const int missed = print_coverage(isolation.coverage());
    const std::chrono::duration<double> seconds = Clock::now() - start;
    std::printf("%llu runs, %llu calls, %llu texts parsed back, %.1f s\n",
                static_cast<unsigned long long>(runs),
                static_cast<unsigned long long>(isolation.coverage().steps),
                static_cast<unsigned long long>(isolation.coverage().round_trips), seconds.count());
    return missed > 0 && steps >= 10000 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Random scripts against a model of the library");
    std::string plugin = VALTROSSE_PLUGIN_PATH;
    std::uint64_t seed = 1;
    std::uint64_t steps = 0;
    std::vector<std::string> replays;
    app.add_option("--plugin", plugin, "the library");
    app.add_option("--seed", seed, "the seed of the first run of 500 steps; the next has one more")
        ->capture_default_str();
    app.add_option("--steps", steps, "how many steps; 0: without end")->capture_default_str();
    app.add_option("--replay", replays, "scripts to replay instead");
    CLI11_PARSE(app, argc, argv);
    try {
        Isolation isolation(plugin);
        if (!replays.empty()) return replay_files(isolation, replays);
        return run_all(isolation, seed, steps, steps == 0);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "valtrosse-random: %s\n", error.what());
        return 2;
    }
}
