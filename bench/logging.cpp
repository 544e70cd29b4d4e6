// A line of about 100 bytes to a rotating file, beside spdlog's.

#include "rounds.h"

#include <core/logging/log.h>

#include <spdlog/async.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace bench {
namespace {

constexpr int kLines = 400'000;
constexpr int kTimedLines = 100'000;
constexpr std::size_t kFileBytes = 64 << 20;
constexpr std::size_t kFiles = 10;
const char* const kText = "0123456789012345678901234567890123456789";

/// Lines in all files of a folder: none may be missing.
long long LinesIn(const std::string& folder) {
    long long lines = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        lines += std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    }
    return lines;
}

void WriteOurs(int threads, int lines, LineKind kind, std::vector<double>* calls) {
    OnThreads(threads, lines, calls, [kind](int line) {
        if (kind == LineKind::Float) {
            CoreLogPrintLog("bench", CORE_LOG_INFO, "tag", nullptr, nullptr, -1, "%s %.3f", kText,
                            line * 0.37);
        } else {
            CoreLogPrintLog("bench", CORE_LOG_INFO, "tag", nullptr, nullptr, -1, "%s %d", kText,
                            line);
        }
    });
    CoreLogShutdown();
}

void WriteTheirs(spdlog::logger& logger, int threads, int lines, LineKind kind,
                 std::vector<double>* calls) {
    OnThreads(threads, lines, calls, [&](int line) {
        if (kind == LineKind::Float) {
            logger.info("{} {:.3f}", kText, line * 0.37);
        } else {
            logger.info("{} {}", kText, line);
        }
    });
    logger.flush();
}

}  // namespace

RoundResult RunLogRound(const std::string& contestant, int threads, LineKind kind, bool isCallTimed,
                        const std::string& folder) {
    const int lines = (isCallTimed ? kTimedLines : kLines) / threads;
    std::vector<double> calls;
    std::vector<double>* const timed = isCallTimed ? &calls : nullptr;
    WallClock::time_point begin;
    std::clock_t cpuBegin = 0;
    const auto start = [&] {
        begin = WallClock::now();
        cpuBegin = std::clock();
    };
    if (contestant == "core") {
        CoreLogSetLogSink(CORE_LOG_FILE);
        CoreLogSetLogLevelByModule("bench", CORE_LOG_INFO);
        CoreLogSetFilePath("bench", folder.c_str(), kFileBytes, kFiles);
        start();
        WriteOurs(threads, lines, kind, timed);
    } else {
        const std::string path = folder + "/bench.log";
        std::shared_ptr<spdlog::logger> logger;
        if (contestant == "spdlog-async") {
            spdlog::init_thread_pool(8192, 1);
            logger = spdlog::rotating_logger_mt<spdlog::async_factory>("bench", path, kFileBytes,
                                                                       kFiles);
        } else {
            logger = spdlog::rotating_logger_mt("bench", path, kFileBytes, kFiles);
        }
        logger->set_pattern("[%l][%t][%Y-%m-%d %H:%M:%S.%eT%z][tag]%v");
        start();
        WriteTheirs(*logger, threads, lines, kind, timed);
        logger.reset();
        spdlog::shutdown();
    }
    RoundResult result;
    result.nanosecondsPerItem = NanosecondsSince(begin) / (lines * threads);
    result.cpuPerItem =
        1e9 / CLOCKS_PER_SEC * static_cast<double>(std::clock() - cpuBegin) / (lines * threads);
    result.calls = {Quantile(calls, 0.5), Quantile(calls, 0.99), Quantile(calls, 0.999),
                    Quantile(calls, 1.0)};
    if (LinesIn(folder) != lines * threads) {
        std::fprintf(stderr, "%s: %lld lines of %d\n", contestant.c_str(), LinesIn(folder),
                     lines * threads);
        std::exit(1);
    }
    return result;
}

}  // namespace bench
