// core_bench_threads [--quick]: the contests of several threads, as medians and ratios.

#include "rounds.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace {

using bench::RoundResult;

struct Contest {
    const char* what;
    const char* kind;  // "log", "calls", "queue" or "worker"
    int threads;
    const char* peer;
    double goal;
};

constexpr Contest kContests[] = {
    {"line to disk", "log", 1, "spdlog", 0.8},
    {"line to disk", "log", 4, "spdlog", 0.8},
    {"line to disk", "log", 1, "spdlog-async", 0.0},
    {"line to disk", "log", 4, "spdlog-async", 0.0},
    {"p99 of a call in a burst", "calls", 1, "spdlog", 0.5},
    {"p99 of a call in a burst", "calls", 1, "spdlog-async", 0.5},
    {"task posted and run", "worker", 4, "asio", 0.65},
    {"message there and back", "queue", 0, "plain", 1.0},
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

RoundResult RunRound(const std::string& kind, const std::string& contestant, int threads) {
    if (kind == "worker") {
        return bench::RunWorkerRound(contestant, threads);
    }
    if (kind == "queue") {
        return bench::RunQueueRound(contestant, threads);
    }
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / "core_bench_threads";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    const RoundResult result =
        bench::RunLogRound(contestant, threads, kind == "calls", folder.string());
    std::filesystem::remove_all(folder);
    return result;
}

/// The number that a round in a process of its own answers.
double RunApart(const std::string& self, const std::string& kind, const std::string& contestant,
                int threads) {
    const std::string answer =
        (std::filesystem::temp_directory_path() / "core_bench_threads.txt").string();
    const std::string command = "\"" + self + "\" --round " + kind + " " + contestant + " " +
                                std::to_string(threads) + " \"" + answer + "\" >/dev/null";
    double number = 0.0;
    if (std::system(command.c_str()) != 0 || !(std::ifstream(answer) >> number)) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        std::exit(1);
    }
    std::filesystem::remove(answer);
    return number;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 6 && std::strcmp(argv[1], "--round") == 0) {
        const RoundResult result = RunRound(argv[2], argv[3], std::atoi(argv[4]));
        const bool isCalls = std::strcmp(argv[2], "calls") == 0;
        std::ofstream(argv[5]) << (isCalls ? result.callNanoseconds : result.nanosecondsPerItem);
        return 0;
    }
    const int rounds = argc > 1 && std::strcmp(argv[1], "--quick") == 0 ? 1 : 9;
    std::printf("%-26s %7s %9s %9s %6s  %-13s %5s\n", "", "threads", "core ns", "peer ns", "ratio",
                "of", "goal");
    for (const Contest& contest : kContests) {
        std::vector<double> ours;
        std::vector<double> theirs;
        for (int round = 0; round < rounds; ++round) {
            ours.push_back(RunApart(argv[0], contest.kind, "core", contest.threads));
            theirs.push_back(RunApart(argv[0], contest.kind, contest.peer, contest.threads));
        }
        const double ratio = bench::Quantile(ours, 0.5) / bench::Quantile(theirs, 0.5);
        std::printf("%-26s %7d %9.0f %9.0f %6.2f  %-13s", contest.what, contest.threads,
                    bench::Quantile(ours, 0.5), bench::Quantile(theirs, 0.5), ratio, contest.peer);
        if (contest.goal > 0.0 && rounds > 1) {
            std::printf(" %5.2f  %s", contest.goal, ratio <= contest.goal ? "ok" : "MISSED");
        }
        std::printf("\n");
        std::fflush(stdout);
    }
    return 0;
}
