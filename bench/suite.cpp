#include "suite.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <regex>
#include <utility>

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

std::string TimeText(double nanoseconds) {
    struct Unit {
        double size;
        const char* name;
    };
    constexpr Unit kUnits[] = {{1e9, "s"}, {1e6, "ms"}, {1e3, "us"}, {1.0, "ns"}};
    char text[32];
    for (const Unit& unit : kUnits) {
        if (nanoseconds >= unit.size || unit.size == 1.0) {
            std::snprintf(text, sizeof text, "%.1f %s", nanoseconds / unit.size, unit.name);
            break;
        }
    }
    return text;
}

std::string AmountText(double kilobytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MB", kilobytes / 1024.0);
    return text;
}

/// Counts the goals while the rows are printed.
class Verdicts {
public:
    void Print(double ratio, double goal, double floor) {
        if (goal <= 0.0) {
            return;
        }
        ++goals;
        met += ratio <= goal ? 1 : 0;
        const char* const verdict = ratio <= goal ? "ok" : ratio <= floor ? "above" : "MISSED";
        std::printf(goal < 0.1 ? " %5.3f  %s" : " %5.2f  %s", goal, verdict);
        if (ratio > goal && floor > goal) {
            std::printf(" (floor %.2f)", floor);
        }
    }
    void PrintSum() const {
        if (goals > 0) {
            std::printf("; %d of %d goals met", met, goals);
        }
    }

private:
    int goals = 0;
    int met = 0;
};

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
    lines.push_back({title, {}, {}});
}

void Suite::Measure(const std::string& name, std::function<void(benchmark::State&)> loop) {
    const auto [at, isNew] = loops.emplace(name, std::move(loop));
    if (isNew) {
        benchmark::RegisterBenchmark(name.c_str(), at->second);
    }
}

void Suite::Compare(const Row& row) {
    lines.push_back({{}, row, {}});
}

void Suite::CompareAmounts(const AmountRow& row) {
    lines.push_back({{}, {}, row});
}

void Suite::Check(const std::string& name, double tolerance, std::function<Agreement()> compare) {
    checks.push_back({name, tolerance, std::move(compare)});
}

bool Suite::RunChecks() const {
    const std::function<bool(const std::string&)> isSelected = Selection();
    long long compared = 0;
    int contests = 0;
    int failed = 0;
    for (const Checked& check : checks) {
        if (!isSelected(check.name)) {
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

void Suite::RunBenchmarks() const {
    std::printf("measuring, repetitions interleaved: nothing is shown until all are done\n");
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);

    const auto find = [&](const std::string& name) -> const Timing* {
        const auto at = collector.timings.find(name);
        return at == collector.timings.end() ? nullptr : &at->second;
    };
    const std::function<bool(const std::string&)> isSelected = Selection();
    Verdicts verdicts;
    std::string title;
    std::printf("\n%-34s %7s %10s %5s %8s  %-24s %5s\n", "", "n", "median", "+-%", "ratio", "of",
                "goal");
    const auto begin = [&](const std::string& what, int n, const std::string& amount) {
        if (!title.empty()) {
            std::printf("\n%s\n", std::exchange(title, {}).c_str());
        }
        std::printf("  %-32s %7d %10s", what.c_str(), n, amount.c_str());
    };
    for (const Line& line : lines) {
        if (!line.title.empty()) {
            title = line.title;
            continue;
        }
        if (line.amounts.has_value()) {
            const AmountRow& row = *line.amounts;
            if (isSelected("amounts/" + row.what + "/" + std::to_string(row.n))) {
                const double amount = row.measure();
                const double ratio = amount / row.measureOther();
                begin(row.what, row.n, AmountText(amount));
                std::printf("      %8.2f  %-24s", ratio, row.of.c_str());
                verdicts.Print(ratio, row.goal, row.goal);
                std::printf("\n");
            }
            continue;
        }
        const Row& row = line.row;
        const Timing* measured = find(row.measured);
        if (measured == nullptr) {
            continue;
        }
        begin(row.what, row.n, TimeText(measured->Median()));
        std::printf(" %5.1f", measured->Spread());
        if (const Timing* against = find(row.against); against != nullptr) {
            const double ratio = measured->Median() / against->Median();
            std::printf(ratio < 0.1 ? " %8.4f  %-24s" : " %8.2f  %-24s", ratio, row.of.c_str());
            // A single repetition is no median.
            if (measured->nanoseconds.size() > 1) {
                verdicts.Print(ratio, row.goal, row.floor);
            }
        }
        std::printf("\n");
    }
    std::printf("\nprocessor time per item or job");
    verdicts.PrintSum();
    std::printf("\n");
}

}  // namespace bench
