// A process that crashes while others of its threads log, and one that looks at what is left.
//
//   crash_process HOW DIRECTORY      crashes
//   crash_process check HOW DIRECTORY    status 1 unless its lines are there, and the last one
//
// HOW is segv, sent, bus, fpe, ill, abort, terminate, throw, json, overflow, hooked, informed
// or fatal.

#include <core/logging/log.h>
#include <core/logging/log_crash.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "logging/crash_ways.h"
#include "logging/process_lines.h"

namespace {

namespace fs = std::filesystem;

constexpr int kThreads = 4;
const char* const kOther = "other";
std::array<std::atomic<int>, kThreads> accepted{};

int Overflow(int depth) {
    volatile char room[4096];
    room[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : Overflow(depth + 1) + room[0];
}

void WriteToNowhere() {
    static volatile std::uintptr_t nowhere = 16;
    *reinterpret_cast<volatile int*>(nowhere) = 1;
}

[[noreturn]] void Fail() {
    throw std::runtime_error("no\nway");
}

const CrashWaysAdded kWays({
    {"segv", WriteToNowhere},
    {"fpe",
     [] {
         volatile int zero = 0;
         volatile int one = 1;
         one = one / zero;
     }},
    {"ill", [] { __builtin_trap(); }},
    {"abort", [] { std::abort(); }},
    {"terminate", [] { std::terminate(); }},
    {"throw", [] { std::thread([] { Fail(); }).join(); }},
    {"json",
     [] {
         CoreLogSetForm(CORE_LOG_JSON);
         Fail();
     }},
    {"overflow", [] { Overflow(1); }},
    {"before hooked",
     [] {
         // Somebody else's, which runs behind ours. The log goes on meanwhile.
         std::signal(SIGABRT, [](int) {
             const int answer = CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, 30'000);
             std::_Exit(answer == CORE_LOG_TIMED_OUT ? 1 : 42);
         });
     }},
    {"hooked", [] { std::abort(); }},
    {"fatal",
     [] {
         CoreLogPrintLog(kModule, CORE_LOG_FATAL, "t", nullptr, nullptr, -1, "the end");
         std::_Exit(42);
     }},
});

/// Other threads log to two modules without a pause, but for the disk's sake.
void LogFromThreads() {
    for (int t = 0; t < kThreads; ++t) {
        std::thread([t] {
            for (int i = 0;; ++i) {
                WriteLine(t, i, t % 2 == 0 ? kModule : kOther);
                accepted[static_cast<std::size_t>(t)] = i + 1;
                if (i % 200 == 199) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            }
        }).detach();
    }
}

int Crash(const std::string& how, const fs::path& directory) {
    if (const auto before = CrashWays().find("before " + how); before != CrashWays().end()) {
        before->second();
    }
    // Twice is once, and nothing is left of what is switched off.
    const std::terminate_handler before = std::get_terminate();
    for (const bool isOn : {true, true, false, false}) {
        if (CoreLogHandleCrashes(isOn) != 0 || (std::get_terminate() == before) == isOn) {
            return 3;
        }
    }
    CoreLogHandleCrashes(true);
    CoreLogHandleCrashes(true);
    if (CoreLogWriteFatalAtOnce(how == "fatal") != 0) {
        return 3;
    }
    LogFromThreads();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::vector<int> counts;
    for (const std::atomic<int>& count : accepted) {
        counts.push_back(count);
    }
    WriteCounts(directory, counts);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    CrashWays().at(how)();
    return 3;
}

/// Whether the line of a crash says all that one does.
bool IsRight(const std::string& how, const std::string& line) {
    static const std::regex kText(R"(\[Fatal\]\[[1-9]\d*\]\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})"
                                  R"(T[-+]\d{4}\]\[(core\]crash: |t\]the end$))");
    static const std::regex kJson(
        R"x(\{"time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[-+]\d\d:\d\d")x"
        R"x(,"level":"Fatal","module":"ZYL","tag":"core",)x"
        R"x("thread":[1-9]\d*,"message":"crash: )x");
    static const std::regex kWhat(R"((std::)?[^:, ]+(: no_way)?( at 0x[0-9a-f]+)?, in )");
    static const std::regex kFrame(R"(.*\+0x[0-9a-f]+)");
    static const std::regex kAtFault("segv|fpe|ill");
    static const std::regex kWithoutAddress("sent|abort|terminate|throw|json|hooked|informed");
    const bool isJson = how == "json";
    const auto anchored = std::regex_constants::match_continuous;
    std::smatch head;
    std::smatch what;
    if (!std::regex_search(line, head, isJson ? kJson : kText, anchored)) {
        return false;
    }
    std::string rest = head.suffix();
    if (how == "fatal") {
        return rest.empty();
    }
    bool isRight = std::regex_search(rest, what, kWhat, anchored) &&
                   (what[2].matched == (isJson || how == "throw")) &&
                   (how != "segv" || what[3] == " at 0x10") &&
                   what[3].matched != std::regex_match(how, kWithoutAddress) &&
                   rest.find("crash_process") != rest.npos &&
                   (!isJson || rest.substr(rest.size() - 2) == "\"}");
    rest = what.suffix().str().substr(
        0, rest.size() - static_cast<std::size_t>(what.length()) - (isJson ? 2 : 0));
    std::istringstream frames(rest);
    int count = 0;
    for (std::string frame; isRight && frames >> frame; ++count) {
        // The handler's own calls are left out.
        isRight = std::regex_match(frame, kFrame) &&
                  (!std::regex_match(how, kAtFault) ||
                   frame.rfind(count == 0 ? "crash_process" : "libcore", 0) ==
                       (count == 0 ? 0 : frame.npos));
    }
    return isRight && (how == "overflow" ? count == 64 : count > 1 && count < 64);
}

/// Whether a file ends with, or has near its end, what it should.
int Check(const std::string& how, const fs::path& directory) {
    std::vector<int> counts;
    {
        std::ifstream file(directory / kCounts);
        counts.assign(std::istream_iterator<int>(file), {});
    }
    std::vector<int> next(counts.size(), 0);
    int faults = 0;
    int files = 0;
    int ends = 0;
    for (const auto& entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() != ".log") {
            continue;
        }
        ++files;
        std::ifstream text(entry.path(), std::ios::binary);
        for (std::string line; std::getline(text, line);) {
            const bool isEnd =
                line.rfind("[Fatal][", 0) == 0 || line.find(R"("level":"Fatal")") != line.npos;
            const std::size_t mark = line.find('|');
            int thread = 0;
            int index = 0;
            if (isEnd) {
                ends += IsRight(how, line) ? 1 : 0;
            } else if (mark != std::string::npos &&
                       std::sscanf(line.c_str() + mark, "|%d|%d|", &thread, &index) == 2 &&
                       index == next[static_cast<std::size_t>(thread)]) {
                ++next[static_cast<std::size_t>(thread)];
            } else if (text.eof()) {
                // Logged during the crash, and cut by the end of the process.
            } else if (++faults < 10) {
                std::printf("%s\n", line.c_str());
            }
        }
    }
    for (std::size_t t = 0; t < counts.size(); ++t) {
        // Only the file of the fatal line is promised then.
        if (next[t] < counts[t] && (how != "fatal" || t % 2 == 0)) {
            std::printf("thread %zu: %d lines of %d\n", t, next[t], counts[t]);
            ++faults;
        }
    }
    const int expectedEnds = how == "fatal" ? 1 : 2;
    std::printf("%d files, %d ends, %d faults\n", files, ends, faults);
    return counts.size() == kThreads && ends == expectedEnds && faults == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4) {
        return Check(argv[2], argv[3]);
    }
    if (argc != 3 || CrashWays().count(argv[1]) == 0) {
        return 2;
    }
    fs::create_directories(argv[2]);
    CoreLogSetLogSink(CORE_LOG_FILE);
    CoreLogSetLogLevel(CORE_LOG_INFO);
    CoreLogSetFilePath(kModule, argv[2], 1 << 30, 3);
    CoreLogSetFilePath(kOther, argv[2], 1 << 30, 3);
    return Crash(argv[1], argv[2]);
}
