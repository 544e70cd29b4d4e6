// Contests of several threads, each round in a process of its own.

#include "rounds.h"

#include "contests.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

#include "support/scratch_directory.h"

namespace bench {
namespace {

/// A figure of a round, and the row that shows it.
struct Contest {
    const char* what;
    const char* kind;  // "log", "float log", "calls", "queue", "worker", "curve" or "snapshot"
    int threads;
    const char* peer;
    double goal;
    double (*figure)(const RoundResult& result) = [](const RoundResult& result) {
        return result.nanosecondsPerItem;
    };
    double floor = 0.0;
};

double Cpu(const RoundResult& result) {
    return result.cpuPerItem;
}
template <int quantile>
double Call(const RoundResult& result) {
    return result.calls[quantile];
}

constexpr Contest kContests[] = {
    {"line to disk", "log", 1, "spdlog", 0.8},
    {"line to disk", "log", 4, "spdlog", 0.75},
    {"line to disk", "log", 1, "spdlog-async", 0.0},
    {"line to disk", "log", 4, "spdlog-async", 0.0},
    {"line with a float to disk", "float log", 1, "spdlog", 0.75},
    {"line with a float to disk", "float log", 4, "spdlog", 0.75},
    {"line with a float to disk", "float log", 1, "spdlog-async", 0.0},
    {"line with a float to disk", "float log", 4, "spdlog-async", 0.0},
    {"the same, processor time", "float log", 1, "spdlog", 0.75, Cpu},
    {"the same, processor time", "float log", 4, "spdlog", 0.75, Cpu},
    {"call in a burst, p50", "calls", 1, "spdlog", 0.0, Call<0>},
    {"call in a burst, p99", "calls", 1, "spdlog", 0.1, Call<1>, 0.2},
    {"call in a burst, p99.9", "calls", 1, "spdlog", 0.0, Call<2>},
    {"call in a burst, worst", "calls", 1, "spdlog", 0.0, Call<3>},
    {"call in a burst, p50", "calls", 1, "spdlog-async", 0.0, Call<0>},
    {"call in a burst, p99", "calls", 1, "spdlog-async", 0.1, Call<1>, 0.2},
    {"call in a burst, p99.9", "calls", 1, "spdlog-async", 0.0, Call<2>},
    {"call in a burst, worst", "calls", 1, "spdlog-async", 0.0, Call<3>},
    {"call in a burst, p50", "calls", 4, "spdlog", 0.0, Call<0>},
    {"call in a burst, p99", "calls", 4, "spdlog", 0.1, Call<1>, 0.2},
    {"call in a burst, p99.9", "calls", 4, "spdlog", 0.0, Call<2>},
    {"call in a burst, worst", "calls", 4, "spdlog", 0.0, Call<3>},
    {"call in a burst, p50", "calls", 4, "spdlog-async", 0.0, Call<0>},
    {"call in a burst, p99", "calls", 4, "spdlog-async", 0.1, Call<1>, 0.2},
    {"call in a burst, p99.9", "calls", 4, "spdlog-async", 0.0, Call<2>},
    {"call in a burst, worst", "calls", 4, "spdlog-async", 0.0, Call<3>},
    {"task posted and run", "worker", 4, "asio", 0.65},
    {"sample of a shared curve", "curve", 2, "one-thread", 4.0},
    {"sample of a shared snapshot", "snapshot", 2, "one-thread", 1.05},
    {"message there and back", "queue", 0, "plain", 0.9},
    {"message there and back", "queue", 0, "tbb", 1.1},
    {"message there and back", "queue", 0, "moodycamel", 1.1},
    {"message there and back", "queue", 0, "boost", 1.1},
    {"message added and got", "queue", 1, "plain", 1.0},
    {"message added and got", "queue", 1, "tbb", 0.0},
    {"message added and got", "queue", 1, "moodycamel", 0.0},
    {"message added and got", "queue", 1, "boost", 0.0},
    {"message added and got", "queue", 4, "plain", 1.0},
    {"message added and got", "queue", 4, "tbb", 0.0},
    {"message added and got", "queue", 4, "moodycamel", 0.0},
    {"message added and got", "queue", 4, "boost", 0.0},
};

RoundResult RunRound(const std::string& kind, const std::string& contestant, int threads,
                     const std::string& folder) {
    if (kind == "worker") {
        return RunWorkerRound(contestant, threads);
    }
    if (kind == "curve" || kind == "snapshot") {
        return RunCurveRound(kind == "snapshot", contestant == "one-thread" ? 1 : threads);
    }
    if (kind == "queue") {
        return RunQueueRound(contestant, threads);
    }
    const LineKind line = kind == "log" ? LineKind::Plain : LineKind::Float;
    return RunLogRound(contestant, threads, line, kind == "calls", folder);
}

/// What a round in a process of its own answers.
RoundResult RunApart(const std::string& self, const std::string& kind,
                     const std::string& contestant, int threads) {
    const support::ScratchDirectory scratch;
    const std::string command = "\"" + self + "\" --round \"" + kind + "\" " + contestant + " " +
                                std::to_string(threads) + " \"" + scratch.Path() + "\" >/dev/null";
    RoundResult result;
    if (std::system(command.c_str()) == 0) {
        std::istringstream answer(scratch.Read("answer"));
        answer >> result.nanosecondsPerItem >> result.cpuPerItem;
        for (double& call : result.calls) {
            answer >> call;
        }
        if (answer) {
            return result;
        }
    }
    throw std::runtime_error("failed: " + command);
}

/// The rounds of two contestants, one of each by turns. They serve all rows that show
/// figures of them.
struct Rounds {
    std::vector<RoundResult> ours;
    std::vector<RoundResult> theirs;
};

const Rounds& RoundsOf(const std::string& self, const Contest& contest, int count) {
    static std::map<std::string, Rounds> known;
    Rounds& rounds = known[Name(contest.kind, contest.peer, contest.threads)];
    while (static_cast<int>(rounds.theirs.size()) < count) {
        rounds.ours.push_back(RunApart(self, contest.kind, "core", contest.threads));
        rounds.theirs.push_back(RunApart(self, contest.kind, contest.peer, contest.threads));
    }
    return rounds;
}

double MedianOf(const std::vector<RoundResult>& rounds, const Contest& contest) {
    std::vector<double> figures;
    std::transform(rounds.begin(), rounds.end(), std::back_inserter(figures), contest.figure);
    return Quantile(figures, 0.5);
}

}  // namespace

bool RunContestRound(int argc, char** argv) {
    if (argc != 6 || std::strcmp(argv[1], "--round") != 0) {
        return false;
    }
    const std::string folder = argv[5];
    const RoundResult result = RunRound(argv[2], argv[3], std::atoi(argv[4]), folder);
    std::ofstream answer(support::PathOf(folder) / "answer");
    answer << result.nanosecondsPerItem << ' ' << result.cpuPerItem;
    for (const double call : result.calls) {
        answer << ' ' << call;
    }
    return true;
}

void AddContests(Suite& suite, const std::string& self, int rounds) {
    suite.Section("Contests of threads; n is how many beside the one that answers");
    for (const Contest& contest : kContests) {
        suite.Compare({.name = Name("threads", std::string(contest.what) + "/" + contest.peer,
                                    contest.threads),
                       .what = contest.what,
                       .n = contest.threads,
                       .unit = "ns",
                       .measure =
                           [=] {
                               const Rounds& measured = RoundsOf(self, contest, rounds);
                               return Figures{MedianOf(measured.ours, contest),
                                              MedianOf(measured.theirs, contest)};
                           },
                       .of = contest.peer,
                       .goal = contest.goal,
                       .floor = contest.floor});
    }
}

}  // namespace bench
