#include "cli/profile.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <vector>

#include "cli/format.hpp"

namespace valtrosse::cli {

namespace {

constexpr std::size_t bar_width = 20;

std::string percent(double share) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.1f %%", share * 100);
    return text.data();
}

/// Eighths of a character, so that small shares differ too.
std::string bar(double share) {
    static constexpr std::array<const char*, 8> parts = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const auto eighths = static_cast<std::size_t>(std::lround(share * bar_width * 8));
    std::string text;
    for (std::size_t k = 0; k < eighths / 8; ++k) text += "█";
    return text + parts[eighths % 8];
}

void write_row(std::ostream& out, std::size_t name_width, const std::string& name,
               const std::array<std::string, 4>& numbers, const std::string& bar) {
    out << left_aligned(name, name_width);
    for (const std::string& number : numbers) out << right_aligned(number, 10);
    out << (bar.empty() ? "" : "  ") << bar << '\n';
}

}  // namespace

void Profile::after(const script::ObservedCall& call, const host::Outcome&,
                    std::chrono::nanoseconds time) {
    Row& row = rows_[call.function.name];
    ++row.calls;
    row.total += time;
}

void Profile::report(std::ostream& out) const {
    const std::chrono::nanoseconds running = std::chrono::steady_clock::now() - start_;
    std::vector<std::pair<std::string, Row>> rows(rows_.begin(), rows_.end());
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        return std::pair(b.second.total, a.first) < std::pair(a.second.total, b.first);
    });
    Row all;
    std::size_t name_width = 8;
    for (const auto& [name, row] : rows) {
        all.calls += row.calls;
        all.total += row.total;
        name_width = std::max(name_width, name.size());
    }

    write_row(out, name_width, "function", {"calls", "total", "mean", "share"}, "");
    for (const auto& [name, row] : rows) {
        const double share = all.total.count() == 0 ? 0
                                                    : static_cast<double>(row.total.count()) /
                                                          static_cast<double>(all.total.count());
        write_row(out, name_width, name,
                  {std::to_string(row.calls), duration(row.total),
                   duration(row.total / static_cast<std::int64_t>(row.calls)), percent(share)},
                  bar(share));
    }
    out << counted(all.calls, "call") << " in " << duration(all.total) << " of "
        << duration(running) << '\n';
}

}  // namespace valtrosse::cli
