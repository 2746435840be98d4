#include "bench/report.hpp"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace valtrosse::bench {

struct Pair {
    std::string group;
    std::string name;
    double target;
    std::string against;

    std::string benchmark() const { return group + "/" + name; }
    std::string floor() const { return benchmark() + ":floor"; }
};

namespace {

std::vector<Pair>& pairs() {
    static std::vector<Pair> all;
    return all;
}

std::string with_digits(double value, int digits) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

std::string duration(double nanoseconds) {
    static constexpr const char* units[] = {"ns", "us", "ms", "s"};
    std::size_t unit = 0;
    for (; nanoseconds >= 1000 && unit + 1 < std::size(units); ++unit) nanoseconds /= 1000;
    return with_digits(nanoseconds, nanoseconds < 10    ? 2
                                    : nanoseconds < 100 ? 1
                                                        : 0) +
           " " + units[unit];
}

std::string ratio_text(double ratio) { return with_digits(ratio, ratio < 10 ? 2 : 1); }

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '<': out += "&lt;"; break;
            case '&': out += "&amp;"; break;
            default: out += c;
        }
    }
    return out;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> comparisons() {
    std::vector<std::pair<std::string, std::string>> names;
    for (const Pair& pair : pairs()) names.emplace_back(pair.benchmark(), pair.floor());
    return names;
}

void compare(const std::string& group, const std::string& name, double target, Job job, Job floor,
             const std::string& against) {
    // After the last of its group.
    const auto after = std::find_if(pairs().rbegin(), pairs().rend(),
                                    [&](const Pair& other) { return other.group == group; });
    const auto place = after == pairs().rend() ? pairs().end() : after.base();
    const Pair pair = *pairs().insert(place, {group, name, target, against});
    benchmark::RegisterBenchmark(pair.benchmark().c_str(), std::move(job));
    benchmark::RegisterBenchmark(pair.floor().c_str(), std::move(floor));
}

void Report::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs)
        if (run.run_type == Run::RT_Iteration && !run.error_occurred)
            nanoseconds_[run.run_name.function_name].push_back(1e9 * run.cpu_accumulated_time /
                                                               static_cast<double>(run.iterations));
    ConsoleReporter::ReportRuns(runs);
}

std::optional<double> Report::median(const std::string& name) const {
    const auto found = nanoseconds_.find(name);
    if (found == nanoseconds_.end()) return std::nullopt;
    std::vector<double> times = found->second;
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

std::vector<Report::Measured> Report::measured() const {
    std::vector<Measured> both;
    for (const Pair& pair : pairs()) {
        const auto time = median(pair.benchmark());
        const auto floor = median(pair.floor());
        if (!time || !floor) continue;
        const double ratio = *time / *floor;
        both.push_back({&pair, *time, *floor, ratio, pair.target > 0 && ratio > pair.target});
    }
    return both;
}

void Report::print_table(std::ostream& out) const {
    std::string group;
    for (const auto& [pair, time, floor, ratio, over] : measured()) {
        if (pair->group != group) {
            group = pair->group;
            out << "\n| " << group << " | library | floor | ratio | target | floor is |\n"
                << "|---|---|---|---|---|---|\n";
        }
        out << "| " << pair->name << " | " << duration(time) << " | " << duration(floor) << " | "
            << ratio_text(ratio) << (over ? " (over)" : "") << " | "
            << (pair->target > 0 ? ratio_text(pair->target) : "") << " | " << pair->against
            << " |\n";
    }
}

void Report::write_json(std::ostream& out) const {
    const char* separator = "[\n";
    for (const auto& [pair, time, floor, ratio, over] : measured()) {
        out << separator << R"({"group": ")" << pair->group << R"(", "name": ")" << pair->name
            << R"(", "library_ns": )" << time << R"(, "floor_ns": )" << floor << R"(, "target": )"
            << pair->target << R"(, "floor": ")" << pair->against << "\"}";
        separator = ",\n";
    }
    out << "\n]\n";
}

void Report::draw(std::ostream& out) const {
    constexpr int row = 18;
    constexpr int label = 330;
    constexpr int width = 900;
    constexpr double lowest = 0.02;
    constexpr double highest = 20;
    const auto x = [&](double ratio) {
        const double part =
            std::log(std::clamp(ratio, lowest, highest) / lowest) / std::log(highest / lowest);
        return label + part * (width - label - 60);
    };

    std::ostringstream rows;
    int y = 40;
    std::string group;
    for (const auto& [pair, time, floor, ratio, over] : measured()) {
        if (pair->group != group) {
            group = pair->group;
            y += row;
            rows << "<text class='group' x='8' y='" << y << "'>" << escaped(group) << "</text>\n";
            y += row;
        }
        rows << "<text x='" << label - 8 << "' y='" << y << "' text-anchor='end'>"
             << escaped(pair->name) << "</text><rect class='" << (over ? "over" : "bar") << "' x='"
             << x(lowest) << "' y='" << y - 10 << "' width='" << x(ratio) - x(lowest)
             << "' height='12'/><text x='" << x(ratio) + 4 << "' y='" << y << "'>"
             << ratio_text(ratio) << "</text>\n";
        if (pair->target > 0)
            rows << "<path class='target' d='M" << x(pair->target) << " " << y - 12 << "v16'/>\n";
        y += row;
    }

    out << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << width << " " << y + 10
        << "' font-family='sans-serif' font-size='12'>\n"
           "<style>.group{font-weight:bold}.bar{fill:#4a90a4}.over{fill:#c8743c}"
           ".target{stroke:#222;stroke-width:2}.grid{stroke:#ccc}</style>\n"
           "<rect width='100%' height='100%' fill='white'/>\n"
           "<text x='8' y='18'>Time through the library as a ratio of its floor "
           "(black mark: target; shorter is faster)</text>\n";
    for (const double tick : {0.02, 0.1, 0.5, 1.0, 2.0, 10.0})
        out << "<path class='grid' d='M" << x(tick) << " 40V" << y << "'/><text x='" << x(tick)
            << "' y='36' text-anchor='middle'>" << tick << "</text>\n";
    out << rows.str() << "</svg>\n";
}

}  // namespace valtrosse::bench
