// Contests of several threads, each round in a process of its own.

#include "rounds.h"

#include "contests.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/scratch_directory.h"

namespace bench {
namespace {

struct Contest {
    const char* what;
    const char* kind;  // "log", "calls", "queue", "worker", "curve" or "snapshot"
    int threads;
    const char* peer;
    double goal;
};

constexpr Contest kContests[] = {
    {"line to disk", "log", 1, "spdlog", 0.8},
    {"line to disk", "log", 4, "spdlog", 0.75},
    {"line to disk", "log", 1, "spdlog-async", 0.0},
    {"line to disk", "log", 4, "spdlog-async", 0.0},
    {"p99 of a call in a burst", "calls", 1, "spdlog", 0.1},
    {"p99 of a call in a burst", "calls", 1, "spdlog-async", 0.1},
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
    return RunLogRound(contestant, threads, kind == "calls", folder);
}

/// The number that a round in a process of its own answers.
double RunApart(const std::string& self, const std::string& kind, const std::string& contestant,
                int threads) {
    const support::ScratchDirectory scratch;
    const std::string command = "\"" + self + "\" --round " + kind + " " + contestant + " " +
                                std::to_string(threads) + " \"" + scratch.Path() + "\" >/dev/null";
    double number = 0.0;
    if (std::system(command.c_str()) != 0 ||
        !(std::istringstream(scratch.Read("answer")) >> number)) {
        throw std::runtime_error("failed: " + command);
    }
    return number;
}

}  // namespace

bool RunContestRound(int argc, char** argv) {
    if (argc != 6 || std::strcmp(argv[1], "--round") != 0) {
        return false;
    }
    const std::string folder = argv[5];
    const RoundResult result = RunRound(argv[2], argv[3], std::atoi(argv[4]), folder);
    const bool isCalls = std::strcmp(argv[2], "calls") == 0;
    std::ofstream(support::PathOf(folder) / "answer")
        << (isCalls ? result.callNanoseconds : result.nanosecondsPerItem);
    return true;
}

void AddContests(Suite& suite, const std::string& self, int rounds) {
    suite.Section("Contests of threads; n is how many beside the one that answers");
    for (const Contest& contest : kContests) {
        suite.Compare(
            {.name =
                 Name("threads", std::string(contest.what) + "/" + contest.peer, contest.threads),
             .what = contest.what,
             .n = contest.threads,
             .unit = "ns",
             .measure =
                 [=] {
                     std::vector<double> ours;
                     std::vector<double> theirs;
                     for (int round = 0; round < rounds; ++round) {
                         ours.push_back(RunApart(self, contest.kind, "core", contest.threads));
                         theirs.push_back(
                             RunApart(self, contest.kind, contest.peer, contest.threads));
                     }
                     return Figures{Quantile(ours, 0.5), Quantile(theirs, 0.5)};
                 },
             .of = contest.peer,
             .goal = contest.goal});
    }
}

}  // namespace bench
