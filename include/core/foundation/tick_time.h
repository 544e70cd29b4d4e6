#pragma once

#include <core/export.h>

#include <cstdint>

namespace core {

/// Ticks of the system's monotonic counter, for short durations.
///
/// The counter is multiplied before it is divided, so ticks start again from 0
/// about every 30 minutes of the system's uptime: compare them only with ticks
/// taken close by, and never wait for one: a loop that runs until a tick is reached
/// runs for hours when the ticks start again before that. Deadlines belong to
/// `std::chrono::steady_clock`. Safe from any thread.
///
///     const std::uint64_t start = TickTime::CurrentTick();
///     Step();
///     const std::int64_t tookMs = TickTime::TimeSince(start);
///     if (tookMs >= 0) {  // else the ticks have started again meanwhile
///         Report(tookMs);
///     }
class CORE_API TickTime {
public:
    TickTime() = delete;

    /// Milliseconds.
    static std::uint64_t CurrentTick() noexcept;
    /// Microseconds.
    static std::uint64_t CurrentTickMicros() noexcept;
    /// Nanoseconds, in the counter's steps of 100.
    static std::uint64_t CurrentTickNanos() noexcept;

    /// The tick in `ms` milliseconds.
    static std::uint64_t TimeAfter(std::uint64_t ms) noexcept;
    /// Milliseconds since `tick`; negative while it lies ahead.
    static std::int64_t TimeSince(std::uint64_t tick) noexcept;
    /// Milliseconds until `tick`; negative when it has passed.
    static std::int64_t TimeUntil(std::uint64_t tick) noexcept;
    /// Milliseconds from tick `b` to tick `a`.
    static std::int64_t TimeDiff(std::uint64_t a, std::uint64_t b) noexcept;
};

}  // namespace core
