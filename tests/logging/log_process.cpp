// A process that logs and ends, and one that looks at what is left. How a process
// ends can't be tested from within it.
//
//   log_process shutdown|return|exit|late DIRECTORY          writes
//   log_process full DIRECTORY COMMAND                       writes, and makes room with COMMAND
//   log_process beside DIRECTORY BLOCKED                     writes, and to BLOCKED in vain
//   log_process console DIRECTORY [CONSOLE COLOURS]          writes, to the console too
//   log_process hold|clean DIRECTORY                         writes, beside the other one
//   log_process stuck DIRECTORY                              writes more than there is room for
//   log_process flushed DIRECTORY                            flushes and vanishes
//   log_process detach DIRECTORY                             writes when modules are detached
//   log_process check DIRECTORY                              reads; status 1 if a line is missing
//   log_process check-each DIRECTORY                         likewise, files of several processes

#include <core/logging/log.h>
#include <core/logging/log_console.h>
#include <core/logging/log_flush.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "logging/module_end.h"
#include "logging/process_lines.h"
#include "support/barrier.h"
#include "support/event.h"

namespace {

namespace fs = std::filesystem;

constexpr int kThreads = 16;
/// What each of them writes, and at least how much of it without a pause.
constexpr int kLines = 62'500;
constexpr int kBurst = 10'000;
std::vector<fs::path> LogFiles(const fs::path& directory) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() == ".log") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Writes a million lines from all threads: at a pace until they fill some files, and
/// then a burst, so that the process ends with lines on their way.
std::vector<int> WriteFromThreads(const fs::path& directory) {
    constexpr std::size_t kFiles = 5;
    std::atomic<bool> isFilled = false;
    std::vector<int> counts(kThreads, 0);
    Barrier burst(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            int& count = counts[static_cast<std::size_t>(t)];
            while (!isFilled || count < kLines - kBurst) {
                for (int i = 0; i < 10; ++i) {
                    WriteLine(t, count++);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            burst.ArriveAndWait();
            for (int i = 0; i < kBurst; ++i) {
                WriteLine(t, count++);
            }
        });
    }
    while (LogFiles(directory).size() < kFiles) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    isFilled = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return counts;
}

/// Writes more than there is room for, makes room, and waits until the log notices.
int WriteToFull(const fs::path& directory, const char* makeRoom, bool isFlushed) {
    int index = 0;
    // Small portions, so that the log meets the end of the room with lines to come.
    for (; index < 40'000; ++index) {
        WriteLine(0, index);
    }
    CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, 60'000);
    if (std::system(makeRoom) != 0) {
        std::fprintf(stderr, "no room could be made: %s\n", makeRoom);
        return 2;
    }
    if (isFlushed) {
        CoreLogFlush();  // tries again at once
    } else {
        // The log tries again after a second; the lines below are what it tries it with.
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    }
    for (const int end = index + 1000; index < end; ++index) {
        WriteLine(0, index);
    }
    WriteCounts(directory, {index});
    return 0;
}

/// Writes beside a module that has no place for its file.
int WriteBeside(const fs::path& directory, const char* blocked) {
    constexpr int kCount = 1000;
    CoreLogSetFilePath("blocked", blocked, 0, 3);
    for (int index = 0; index < kCount; ++index) {
        CoreLogPrintLog("blocked", CORE_LOG_ERROR, "t", nullptr, nullptr, -1, "nowhere");
        WriteLine(0, index);
    }
    WriteCounts(directory, {kCount});
    return CoreLogGetLogSinkByModule("blocked") == 0 ? 0 : 1;
}

/// Writes to the console too, whatever that is.
int WriteToConsoleToo(const fs::path& directory) {
    constexpr int kCount = 1000;
    CoreLogSetLogSinkByModule(kModule, CORE_LOG_FILE | CORE_LOG_CONSOLE | CORE_LOG_DEBUGGER);
    for (int index = 0; index < kCount; ++index) {
        WriteLine(0, index);
        if (index % 100 == 0) {
            // So that some lines come while the file is open.
            CoreLogFlush();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    WriteCounts(directory, {kCount});
    return 0;
}

/// Writes and ends, whatever became of the lines.
int WriteAndEnd(const fs::path& directory) {
    constexpr int kCount = 40'000;
    WriteCounts(directory, {kCount});
    for (int index = 0; index < kCount; ++index) {
        WriteLine(0, index);
    }
    return 0;
}

// Two processes of one module and directory, which is to keep one file: one of them has
// the older file open while the other cleans up.
constexpr int kHeldLines = 200;
const char* const kCleaned = "cleaned.txt";

void AwaitFile(const std::function<bool()>& isThere) {
    while (!isThere()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

int Hold(const fs::path& directory) {
    WriteCounts(directory, {kHeldLines, 1});
    for (int index = 0; index < kHeldLines; ++index) {
        if (index == kHeldLines / 2) {
            CoreLogFlush();
            AwaitFile([&] { return fs::exists(directory / kCleaned); });
        }
        WriteLine(0, index);
    }
    return 0;
}

int Clean(const fs::path& directory) {
    AwaitFile([&] { return fs::exists(directory) && !LogFiles(directory).empty(); });
    // In another second, so that its file gets another name.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    CoreLogSetFilePath(kModule, directory.string().c_str(), 0, 1);
    WriteLine(1, 0);
    CoreLogShutdown();
    std::ofstream(directory / kCleaned) << "done";
    return 0;
}

/// Ends without a word, right after a flush that waits.
[[noreturn]] void FlushAndVanish(const fs::path& directory) {
    std::vector<int> counts(4, 0);
    std::vector<std::thread> threads;
    std::atomic<int> faults = 0;
    for (int t = 0; t < 4; ++t) {
        int& count = counts[static_cast<std::size_t>(t)];
        count = 1000 * (t + 1);
        threads.emplace_back([&, t] {
            for (int i = 0; i < count; ++i) {
                WriteLine(t, i);
                if (i % 100 == 0) {
                    const int depth = i == 0 ? CORE_LOG_TO_DISK : CORE_LOG_TO_SYSTEM;
                    faults += CoreLogFlushAndWait(depth, 60'000) == CORE_LOG_FLUSHED ? 0 : 1;
                }
            }
            faults += CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, -1) == CORE_LOG_FLUSHED ? 0 : 1;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    WriteCounts(directory, counts);
    std::_Exit(faults);
}

/// Logs when the modules are detached, while other threads log to another module: systems
/// end those threads wherever they are.
int WriteWhenDetached(const fs::path& directory) {
    constexpr int kCount = 100;
    WriteCounts(directory, {kCount});
    CoreLogSetFilePath("noise", (directory / "noise").string().c_str(), 0, 3);
    WriteLine(0, 0);
    for (int t = 0; t < 4; ++t) {
        std::thread([t] {
            for (int i = 0;; ++i) {
                WriteLine(t, i, "noise");
                if (i % 500 == 499) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            }
        }).detach();
    }
    AtModuleEnd([] {
        for (int i = 1; i < kCount; ++i) {
            WriteLine(0, i);
        }
        CoreLogFlush();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return 0;
}

/// Logs when the process has left main.
struct LateLogger {
    ~LateLogger() {
        for (int i = next; i < end; ++i) {
            WriteLine(0, i);
        }
    }
    int next = 0;
    int end = 0;
};
LateLogger lateLogger;

int Check(const fs::path& directory, bool isOfOneProcess) {
    std::vector<int> counts;
    {
        std::ifstream file(directory / kCounts);
        counts.assign(std::istream_iterator<int>(file), {});
    }
    std::vector<int> next(counts.size(), 0);
    long long missing = 0;
    long long reportedLost = 0;
    int faults = 0;
    const auto fault = [&](const fs::path& file, const std::string& line) {
        if (++faults < 10) {
            std::printf("%s: %s\n", file.filename().string().c_str(), line.c_str());
        }
    };
    for (const fs::path& file : LogFiles(directory)) {
        std::ifstream text(file, std::ios::binary);
        std::string line;
        std::string lastStamp;
        while (std::getline(text, line)) {
            // "[LEVEL][THREAD][TIME]"
            const std::size_t stampAt = line.find('[', line.find('[', 1) + 1);
            const std::string stamp = stampAt == std::string::npos ? "" : line.substr(stampAt, 24);
            if (isOfOneProcess && stamp < lastStamp) {
                fault(file, "earlier than " + lastStamp + ": " + line);
            }
            lastStamp = stamp;
            int thread = 0;
            int index = 0;
            long long lost = 0;
            int end = 0;
            const std::size_t mark = line.find('|');
            const char* const rest = line.c_str() + (mark == std::string::npos ? 0 : mark);
            if (line.rfind("[Error]", 0) == 0 &&
                std::sscanf(line.c_str() + line.rfind(']') + 1, "%lld lines lost", &lost) == 1) {
                reportedLost += lost;
            } else if (line.rfind("[Info][", 0) != 0 ||
                       std::sscanf(rest, "|%d|%d|%n", &thread, &index, &end) != 2 || thread < 0 ||
                       static_cast<std::size_t>(thread) >= counts.size() ||
                       rest + end != std::string(static_cast<std::size_t>(index % 60), '.') + "|") {
                fault(file, "not a line: " + line);
            } else if (int& expected = next[static_cast<std::size_t>(thread)]; index < expected) {
                fault(file, "again: " + line);
            } else {
                missing += index - expected;
                expected = index + 1;
            }
        }
        if (text.eof() && !line.empty()) {
            fault(file, "no end: " + line);
        }
    }
    for (std::size_t t = 0; t < counts.size(); ++t) {
        missing += counts[t] - next[t];
    }
    std::printf("%zu threads, %zu files, %lld lines missing, %lld reported, %d faults\n",
                counts.size(), LogFiles(directory).size(), missing, reportedLost, faults);
    return counts.empty() || missing != reportedLost || faults != 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: log_process WHAT DIRECTORY\n");
        return 2;
    }
    const std::string what = argv[1];
    const fs::path directory = argv[2];
    if (what == "check" || what == "check-each") {
        return Check(directory, what == "check");
    }
    CoreLogSetLogSink(CORE_LOG_FILE);
    CoreLogSetLogLevel(CORE_LOG_INFO);
    if (what == "clean") {
        return Clean(directory);
    }
    fs::create_directories(directory);
    CoreLogSetFilePath(kModule, argv[2], 0, what == "hold" ? 1 : 1'000);
    if (what == "hold") {
        return Hold(directory);
    }
    if (what == "stuck") {
        return WriteAndEnd(directory);
    }
    if (what == "flushed") {
        FlushAndVanish(directory);
    }
    if (what == "detach") {
        return WriteWhenDetached(directory);
    }
    if (what == "full" || what == "flush") {
        return argc < 4 ? 2 : WriteToFull(directory, argv[3], what == "flush");
    }
    if (what == "beside") {
        return argc < 4 ? 2 : WriteBeside(directory, argv[3]);
    }
    if (what == "console") {
        argc > 4 ? CoreLogSetConsole(std::atoi(argv[3]), std::atoi(argv[4])) : 0;
        return WriteToConsoleToo(directory);
    }
    std::vector<int> counts = WriteFromThreads(directory);
    int& ofFirst = counts.front();
    const int next = ofFirst;
    // Known before the end begins, which may be the end of every thread.
    ofFirst += what == "late" ? 100 : what == "exit" ? 1 : 0;
    WriteCounts(directory, counts);
    if (what == "late") {
        lateLogger.next = next;
        lateLogger.end = ofFirst;
    } else if (what == "shutdown") {
        CoreLogShutdown();
        WriteLine(0, next);  // goes nowhere
        return CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, 0) == CORE_LOG_FLUSHED ? 0 : 1;
    } else if (what == "exit") {
        std::thread([next] {
            WriteLine(0, next);
            std::exit(0);
        }).detach();
        support::Event().Wait();
    }
    return 0;
}
