#pragma once

// Contests of several threads. They are measured by the wall clock, and each round
// is a process of its own: a log ends once, and no contestant meets another's heap.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "support/barrier.h"

namespace bench {

struct RoundResult {
    /// From the first item to the last one's end: written, or run.
    double nanosecondsPerItem = 0.0;
    /// Processor time of all threads from the first item to the end.
    double cpuPerItem = 0.0;
    /// Of calls, where they are timed: what half of them, 99 and 99.9 of 100 stay below, and
    /// the longest.
    std::array<double, 4> calls{};
};

/// What a line of the log says: two values, or one of them a float with three decimals.
enum class LineKind { Plain, Float };

/// One round of a contestant, in a folder of its own. Ends the program with a message
/// when an item is missing afterwards.
RoundResult RunLogRound(const std::string& contestant, int threads, LineKind kind, bool isCallTimed,
                        const std::string& folder);
RoundResult RunWorkerRound(const std::string& contestant, int threads);
/// Some producers and one consumer; without a producer, a round trip of two threads.
RoundResult RunQueueRound(const std::string& contestant, int producers);

/// Some threads that sample one curve, or each its copy of one snapshot, in order; per item
/// the time of one thread.
RoundResult RunCurveRound(bool isSnapshot, int threads);

using WallClock = std::chrono::steady_clock;

inline double NanosecondsSince(WallClock::time_point begin) {
    return std::chrono::duration<double, std::nano>(WallClock::now() - begin).count();
}

inline double Quantile(std::vector<double> values, double q) {
    std::sort(values.begin(), values.end());
    return values.empty()
               ? 0.0
               : values[static_cast<std::size_t>(q * static_cast<double>(values.size() - 1))];
}

/// Runs `action(item)` on each of some threads at once. With `calls`, times each call.
template <class Action>
void OnThreads(int threads, int items, std::vector<double>* calls, Action&& action) {
    Barrier start(threads);
    std::vector<std::vector<double>> timed(static_cast<std::size_t>(threads));
    std::vector<std::thread> running;
    for (std::vector<double>& own : timed) {
        own.reserve(calls != nullptr ? static_cast<std::size_t>(items) : 0);
        running.emplace_back([&] {
            start.ArriveAndWait();
            for (int item = 0; item < items; ++item) {
                if (calls == nullptr) {
                    action(item);
                    continue;
                }
                const WallClock::time_point begin = WallClock::now();
                action(item);
                own.push_back(NanosecondsSince(begin));
            }
        });
    }
    for (std::thread& thread : running) {
        thread.join();
    }
    if (calls != nullptr) {
        for (const std::vector<double>& own : timed) {
            calls->insert(calls->end(), own.begin(), own.end());
        }
    }
}

}  // namespace bench
