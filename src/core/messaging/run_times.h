#pragma once

#include "core/foundation/spans.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace core {

/// Counts runs, measures the longest where somebody has asked for it, and tells of each
/// while a timeline is recorded, under a name that stays. Safe from any thread; what it runs
/// must not throw.
class RunTimes {
public:
    /// On the one thread that does so at a time.
    template <class Run>
    void TimeAlone(const char* name, Run&& run) {
        Measured(name, run);
        doneAlone.store(doneAlone.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    template <class Run>
    void Time(const char* name, Run&& run) {
        Measured(name, run);
        done.fetch_add(1, std::memory_order_relaxed);
    }

    void Measure(bool toMeasure) noexcept {
        if (toMeasure) {
            longest.store(0);
        }
        isOn.store(toMeasure);
    }
    std::uint64_t Done() const noexcept { return doneAlone.load() + done.load(); }
    std::chrono::nanoseconds Longest() const noexcept {
        return std::chrono::nanoseconds(longest.load());
    }

private:
    template <class Run>
    void Measured(const char* name, Run& run) {
        const SpanSink sink = spanSink.load(std::memory_order_acquire);
        if (sink == nullptr && !isOn.load(std::memory_order_relaxed)) {
            run();
            return;
        }
        const std::int64_t begin = SpanClock();
        run();
        const std::int64_t end = SpanClock();
        if (sink != nullptr) {
            sink(name, begin, end);
        }
        std::int64_t before = longest.load(std::memory_order_relaxed);
        while (isOn.load(std::memory_order_relaxed) && before < end - begin &&
               !longest.compare_exchange_weak(before, end - begin)) {
        }
    }

    std::atomic<bool> isOn = false;
    std::atomic<std::int64_t> longest = 0;
    std::atomic<std::uint64_t> doneAlone = 0;
    std::atomic<std::uint64_t> done = 0;
};

}  // namespace core
