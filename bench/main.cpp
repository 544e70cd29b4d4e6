// core_bench: measures the library beside plain code and other libraries.

#include "contests.h"
#include "fresh.h"
#include "json_library.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace {

void PrintUsage() {
    std::printf(
        "usage: core_bench [--quick] [--list] [--json FILE] [--threads] [--instructions]\n"
        "                  [--benchmark_...] [DOCUMENT...]\n"
        "\n"
        "Checks that all contestants agree, then prints a table of medians and ratios.\n"
        "  --quick         one short repetition of the smallest cases: shows that they run,\n"
        "                  its times mean nothing\n"
        "  --list          the names of what would be measured, which filters take\n"
        "  --json FILE     also writes the table to FILE\n"
        "  --threads       the contests of several threads alone\n"
        "  --instructions  the counts of instructions alone, by valgrind\n"
        "  DOCUMENT        JSON files to read and write, in place of ../shared/corpora\n"
        "Options of Google Benchmark follow ours and override them. A row is measured, with\n"
        "all that it compares, when the filter takes the name of either side, as in\n"
        "  core_bench --benchmark_filter=Hermite --benchmark_repetitions=25\n");
}

struct Arguments {
    /// What goes to Google Benchmark: what this program asks for, then the caller's.
    std::vector<std::string> passedOn;
    std::vector<std::string> documents;
    std::string json;
    bool isQuick = false;
    bool isList = false;
};

Arguments Read(int argc, char** argv) {
    Arguments read;
    std::vector<std::string>& passedOn = read.passedOn;
    passedOn = {argv[0], "--benchmark_repetitions=3", "--benchmark_min_time=0.02",
                "--benchmark_enable_random_interleaving=true"};
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--quick") {
            read.isQuick = true;
            passedOn.insert(passedOn.end(),
                            {"--benchmark_repetitions=1", "--benchmark_min_time=0.0001",
                             "--benchmark_filter=(/(10|alone)$|^threads/)"});
        } else if (argument == "--json" && i + 1 < argc) {
            read.json = argv[++i];
        } else if (argument == "--threads" || argument == "--instructions") {
            passedOn.push_back("--benchmark_filter=^" + argument.substr(2) + "/");
        } else if (argument == "--list" || argument.rfind("--benchmark_list_tests", 0) == 0) {
            read.isList = argument.find("=false") == std::string::npos;
        } else if (argv[i][0] != '-') {
            read.documents.push_back(argument);
        } else {
            passedOn.push_back(argument);
        }
    }
    return read;
}

/// With a single thread alive, the C library takes mutexes without atomics, and
/// every figure would flatter. This one sleeps until the end.
class SleepingThread {
public:
    SleepingThread()
        : thread([](const std::stop_token& stop) {
              std::mutex mutex;
              std::condition_variable_any never;
              std::unique_lock<std::mutex> lock(mutex);
              never.wait(lock, stop, [] { return false; });
          }) {}

private:
    std::jthread thread;
};

int Run(int argc, char** argv) {
    if (bench::RunMemoryRound(argc, argv) || bench::RunFreshRound(argc, argv) ||
        bench::RunContestRound(argc, argv)) {
        return 0;
    }
    Arguments arguments = Read(argc, argv);
    std::vector<char*> pointers;
    for (std::string& argument : arguments.passedOn) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    benchmark::Initialize(&count, pointers.data(), PrintUsage);
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 2;
    }

    const SleepingThread sleeping;
    bench::Suite suite;
    bench::AddSampling(suite);
    bench::AddSolvers(suite);
    bench::AddEditing(suite);
    bench::AddAreas(suite);
    bench::AddSpeeds(suite);
    bench::AddIdentifiers(suite);
    const std::vector<bench::Document> documents = bench::Documents(arguments.documents);
    bench::AddJson(suite, documents, argv[0]);
    bench::AddPacked(suite, documents, argv[0]);
    bench::AddNumberText(suite);
    bench::AddMemory(suite);
    bench::AddMd5(suite);
    bench::AddEvents(suite);
    bench::AddTimers(suite);
    bench::AddStored(suite);
    bench::AddPeers(suite);
    bench::AddContests(suite, argv[0], arguments.isQuick ? 1 : 5);
    bench::AddInstructions(suite, argv[0]);
    bench::AddRetiming(suite);
    if (arguments.isList) {
        suite.List();
        return 0;
    }
    if (!suite.RunChecks()) {
        return 1;
    }
    const bench::Table table = suite.Run(arguments.isQuick);
    table.Print();
    if (!arguments.json.empty()) {
        table.WriteJson(arguments.json);
    }
    benchmark::Shutdown();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "core_bench: %s\n", error.what());
        return 1;
    }
}
