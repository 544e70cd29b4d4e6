#pragma once

// What the processes of these tests write, for the one that checks.

#include <core/logging/log.h>

#include <filesystem>
#include <fstream>
#include <vector>

const char* const kModule = "process";
/// How many lines each thread wrote.
const char* const kCounts = "counts.txt";

inline void WriteLine(int thread, int index, const char* module = kModule) {
    CoreLogPrintLog(module, CORE_LOG_INFO, "t", nullptr, nullptr, -1, "|%d|%d|%.*s|", thread, index,
                    index % 60, "............................................................");
}

inline void WriteCounts(const std::filesystem::path& directory, const std::vector<int>& counts) {
    std::ofstream file(directory / kCounts);
    for (const int count : counts) {
        file << count << ' ';
    }
}
