#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>

namespace core {

/// The clock that timers follow: monotonic, in nanoseconds. Tests put one of their own in
/// its place.
class TimerClock {
public:
    using Reading = std::int64_t (*)();

    static std::int64_t Now() { return reading.load(std::memory_order_relaxed)(); }
    /// `duration` from now, or the last moment that there is.
    static std::int64_t After(std::chrono::nanoseconds duration) {
        constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
        const std::int64_t now = Now();
        return duration.count() > kLast - now ? kLast : now + duration.count();
    }
    static Reading Replace(Reading by) { return reading.exchange(by); }

private:
    static std::int64_t Real() {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

    static inline std::atomic<Reading> reading = &Real;
};

}  // namespace core
