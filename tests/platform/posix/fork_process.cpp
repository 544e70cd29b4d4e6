// A process that forks while its threads log; the children log too, and end in several
// ways. What is left, log_process checks.
//
//   fork_process DIRECTORY CHILDREN

#include "logging/process_lines.h"

#include <core/logging/log.h>

#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kLinesOfChild = 10;
constexpr int kAtOnce = 8;

[[noreturn]] void RunChild(int number) {
    for (int i = 0; i < kLinesOfChild; ++i) {
        WriteLine(kThreads + number, i);
    }
    if (number % 2 == 0) {
        std::exit(0);
    }
    CoreLogShutdown();
    _exit(0);
}

/// False for one that hangs.
bool Ends(pid_t child) {
    for (int i = 0; i < 30'000; ++i) {
        int status = 1;
        if (waitpid(child, &status, WNOHANG) == child) {
            return status == 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(child, SIGKILL);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    const int children = std::atoi(argv[2]);
    CoreLogSetLogSink(CORE_LOG_FILE);
    CoreLogSetLogLevel(CORE_LOG_INFO);
    CoreLogSetFilePath(kModule, argv[1], 0, 1'000);
    std::vector<int> counts(static_cast<std::size_t>(kThreads + children), kLinesOfChild);
    std::atomic<bool> isOver = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            int next = 0;
            for (; !isOver; ++next) {
                WriteLine(t, next);
                if (next % 20 == 19) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            }
            counts[static_cast<std::size_t>(t)] = next;
        });
    }
    int hangs = 0;
    for (int first = 0; first < children; first += kAtOnce) {
        std::vector<pid_t> running;
        for (int i = first; i < first + kAtOnce && i < children; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                RunChild(i);
            }
            running.push_back(child);
        }
        for (const pid_t child : running) {
            hangs += Ends(child) ? 0 : 1;
        }
    }
    isOver = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    WriteCounts(argv[1], counts);
    std::printf("%d children, %d of them hung or failed\n", children, hangs);
    return hangs == 0 ? 0 : 1;
}
