#include "suite.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <regex>

namespace bench {
namespace {

/// What the repetitions of one benchmark took per item, in processor time: nothing
/// here waits, and wall time would count what other programs take.
struct Timing {
    std::vector<double> nanoseconds;

    double Quantile(double q) const {
        std::vector<double> sorted = nanoseconds;
        std::sort(sorted.begin(), sorted.end());
        const double position = q * static_cast<double>(sorted.size() - 1);
        const auto below = static_cast<std::size_t>(position);
        const std::size_t above = std::min(below + 1, sorted.size() - 1);
        return sorted[below] + (sorted[above] - sorted[below]) * (position - std::floor(position));
    }
    double Median() const { return Quantile(0.5); }
    /// Half the distance of the quartiles, in percent of the median.
    double Spread() const {
        return 50.0 * (Quantile(0.75) - Quantile(0.25)) / std::max(Median(), 1e-9);
    }
};

using Timings = std::map<std::string, Timing>;

/// Keeps the repetitions; the table is printed when all of them are there.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override {
        std::printf("%d CPUs at %.0f MHz, load", context.cpu_info.num_cpus,
                    context.cpu_info.cycles_per_second / 1e6);
        for (const double load : context.cpu_info.load_avg) {
            std::printf(" %.2f", load);
        }
        std::printf("\n");
        std::fflush(stdout);
        return true;
    }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                timings[run.run_name.function_name].nanoseconds.push_back(run.GetAdjustedCPUTime());
            }
        }
    }

    Timings timings;
};

/// Whether the command line's filter takes a name: all without one, and a leading '-'
/// takes those that do not match.
std::function<bool(const std::string&)> Selection() {
    std::string filter = benchmark::GetBenchmarkFilter();
    if (filter.empty() || filter == "all") {
        return [](const std::string&) { return true; };
    }
    const bool isNegative = filter.front() == '-';
    const std::regex regex(filter.substr(isNegative ? 1 : 0), std::regex::extended);
    return [=](const std::string& name) { return std::regex_search(name, regex) != isNegative; };
}

}  // namespace

void Agreement::Compare(double a, double b) {
    ++compared;
    if (std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b)) {
        return;
    }
    const double scale = std::max({1.0, std::fabs(a), std::fabs(b)});
    const double difference = std::fabs(a - b) / scale;
    // A difference that is none in numbers (NaN, or zeros of two signs) still is one.
    constexpr double kLeast = std::numeric_limits<double>::denorm_min();
    largest = std::isnan(difference) ? std::numeric_limits<double>::infinity()
                                     : std::max({largest, difference, kLeast});
}

std::string Name(const std::string& what, const std::string& how, int n) {
    return what + "/" + how + "/" + std::to_string(n);
}

void Suite::Section(const std::string& title) {
    section = title;
}

void Suite::Measure(const std::string& name, std::function<void(benchmark::State&)> loop) {
    loops.emplace(name, std::move(loop));
}

void Suite::Compare(const Row& row) {
    lines.push_back({section, row, {}});
}

void Suite::Compare(const ApartRow& row) {
    lines.push_back({section, {}, row});
}

void Suite::CompareAmounts(const AmountRow& row) {
    Compare({.name = Name("amounts", row.what, row.n),
             .what = row.what,
             .n = row.n,
             .unit = "KB",
             .measure =
                 [=] {
                     return Figures{row.measure(), row.measureOther()};
                 },
             .of = row.of,
             .goal = row.goal});
}

void Suite::Check(const std::string& name, double tolerance, std::function<Agreement()> compare) {
    checks.push_back({name, tolerance, std::move(compare)});
}

bool Suite::Line::IsSelected() const {
    static const std::function<bool(const std::string&)> isTaken = Selection();
    return apart.measure != nullptr ? isTaken(apart.name)
                                    : isTaken(row.measured) || isTaken(row.against);
}

std::set<std::string> Suite::SelectedNames() const {
    std::set<std::string> names;
    for (const Line& line : lines) {
        if (line.apart.measure == nullptr && line.IsSelected()) {
            names.insert({line.row.measured, line.row.against});
        }
    }
    return names;
}

void Suite::List() const {
    std::set<std::string> names = SelectedNames();
    for (const Line& line : lines) {
        if (line.apart.measure != nullptr && line.IsSelected()) {
            names.insert(line.apart.name);
        }
    }
    for (const std::string& name : names) {
        std::printf("%s\n", name.c_str());
    }
}

bool Suite::RunChecks() const {
    const std::set<std::string> names = SelectedNames();
    long long compared = 0;
    int contests = 0;
    int failed = 0;
    for (const Checked& check : checks) {
        if (names.count(check.name) == 0) {
            continue;
        }
        ++contests;
        const Agreement agreement = check.compare();
        compared += agreement.compared;
        if (!(agreement.largest <= check.tolerance)) {
            ++failed;
            std::printf("DISAGREE: %s differ by %.3g, allowed is %.3g\n", check.name.c_str(),
                        agreement.largest, check.tolerance);
        }
    }
    std::printf("%d contests checked on %lld answers, %d disagree\n", contests, compared, failed);
    return failed == 0;
}

Table Suite::Run(bool isTrial) const {
    std::printf("measuring, repetitions interleaved: nothing is shown until all are done\n");
    Collector collector;
    const std::set<std::string> names = SelectedNames();
    bool hasAny = false;
    for (const auto& [name, loop] : loops) {
        if (names.count(name) > 0) {
            benchmark::RegisterBenchmark(name.c_str(), loop);
            hasAny = true;
        }
    }
    if (hasAny) {
        benchmark::RunSpecifiedBenchmarks(&collector, "all");
    }

    Table table;
    for (const Line& line : lines) {
        if (!line.IsSelected()) {
            continue;
        }
        TableRow shown;
        shown.section = line.section;
        shown.isTrial = isTrial;
        if (line.apart.measure != nullptr) {
            const ApartRow& row = line.apart;
            const Figures figures = row.measure();
            shown.what = row.what;
            shown.n = row.n;
            shown.unit = row.unit;
            shown.core = figures.core;
            shown.peer = figures.peer;
            shown.of = row.of;
            shown.goal = row.goal;
            shown.floor = row.floor;
            table.Add(shown);
            continue;
        }
        const Row& row = line.row;
        const auto measured = collector.timings.find(row.measured);
        if (measured == collector.timings.end()) {
            continue;
        }
        shown.what = row.what;
        shown.n = row.n;
        shown.core = measured->second.Median();
        shown.spread = measured->second.Spread();
        const auto against = collector.timings.find(row.against);
        shown.peer = against == collector.timings.end() ? 0.0 : against->second.Median();
        shown.of = row.of;
        shown.goal = row.goal;
        shown.floor = row.floor;
        table.Add(shown);
    }
    return table;
}

}  // namespace bench
