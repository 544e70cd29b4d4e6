#pragma once

#include <core/export.h>

#include <cstdint>

namespace core {

/// A stopwatch over the monotonic clock. One thread at a time.
///
///     TimeSpan span;
///     span.start();
///     Render();
///     span.end();
///     Show(span.timeSpan());
class CORE_API TimeSpan {
public:
    /// Start and end of a measurement; owned by its `TimeSpan`.
    struct Record;

    /// A stopwatch that reads 0. Without memory it stays at 0.
    TimeSpan() noexcept;
    ~TimeSpan();
    TimeSpan(const TimeSpan&) = delete;
    TimeSpan& operator=(const TimeSpan&) = delete;

    /// Begins a measurement, in place of the one before.
    void start() noexcept;
    /// Ends the measurement. The record is valid as long as this object; null
    /// without memory.
    const Record* end() noexcept;
    /// Whole milliseconds from the last start to the last end, truncated toward
    /// zero. One that was never taken counts as 0 of the monotonic clock.
    std::int64_t timeSpan() const noexcept;

private:
    Record* p_impl;
};

}  // namespace core
