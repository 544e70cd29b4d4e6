// core_bench: measures the library beside plain code and other libraries.

#include "contests.h"
#include "json_library.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace {

void PrintUsage() {
    std::printf(
        "usage: core_bench [--quick] [--json FILE] [--benchmark_...] [DOCUMENT...]\n"
        "\n"
        "Checks that all contestants agree, then prints medians and ratios.\n"
        "  --quick      one short repetition of the smallest cases: shows that they run,\n"
        "               its times mean nothing\n"
        "  --json FILE  also writes every repetition to FILE\n"
        "  DOCUMENT     JSON files to read and write, in place of ../shared/corpora\n"
        "Options of Google Benchmark follow ours and override them, as in\n"
        "  core_bench --benchmark_filter=Hermite --benchmark_repetitions=25\n");
}

/// Google Benchmark's arguments: what this program asks for, then the caller's; and the
/// documents.
std::vector<std::string> Arguments(int argc, char** argv, std::vector<std::string>& documents) {
    std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=9",
                                          "--benchmark_min_time=0.02",
                                          "--benchmark_enable_random_interleaving=true"};
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quick") == 0) {
            arguments.insert(arguments.end(),
                             {"--benchmark_repetitions=1", "--benchmark_min_time=0.0001",
                              "--benchmark_filter=/(10|alone)$"});
        } else if (std::strcmp(argv[i], "--json") == 0 && i + 1 < argc) {
            arguments.push_back(std::string("--benchmark_out=") + argv[++i]);
            arguments.push_back("--benchmark_out_format=json");
        } else if (argv[i][0] != '-') {
            documents.push_back(argv[i]);
        } else {
            arguments.push_back(argv[i]);
        }
    }
    return arguments;
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
    if (bench::RunMemoryRound(argc, argv)) {
        return 0;
    }
    std::vector<std::string> files;
    std::vector<std::string> arguments = Arguments(argc, argv, files);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
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
    const std::vector<bench::Document> documents = bench::Documents(files);
    bench::AddJson(suite, documents, argv[0]);
    bench::AddPacked(suite, documents);
    bench::AddNumberText(suite);
    bench::AddMemory(suite);
    bench::AddMd5(suite);
    bench::AddEvents(suite);
    bench::AddStored(suite);
    bench::AddPeers(suite);
    bench::AddRetiming(suite);
    if (!suite.RunChecks()) {
        return 1;
    }
    suite.RunBenchmarks();
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
