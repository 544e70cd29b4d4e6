#pragma once

// Readings of the monotonic counter as durations.

#include <cstdint>

namespace core {

/// Nanoseconds of a counter, multiplied before the division.
// Kept on purpose: callers compare these ticks with ticks of their own that wrap at
// the same instants, about every 30 minutes with a 10 MHz counter.
constexpr std::uint64_t WrappingNanos(std::uint64_t counter, std::uint64_t frequency) noexcept {
    return counter * 1'000'000'000 / frequency;
}

/// Nanoseconds of a counter, without overflow for 292 years.
constexpr std::int64_t NanosOf(std::uint64_t counter, std::uint64_t frequency) noexcept {
    constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;
    return static_cast<std::int64_t>(counter / frequency * kNanosPerSecond +
                                     counter % frequency * kNanosPerSecond / frequency);
}

/// Whole milliseconds from `startNanos` to `endNanos`, truncated toward zero.
constexpr std::int64_t WholeMilliseconds(std::int64_t startNanos, std::int64_t endNanos) noexcept {
    return (endNanos - startNanos) / 1'000'000;
}

/// The monotonic clock in nanoseconds. Safe from any thread.
std::int64_t MonotonicNanos() noexcept;

}  // namespace core
