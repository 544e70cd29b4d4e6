#pragma once

namespace core {

// One sixtieth of a second, counted in 100-nanosecond ticks. Kept on purpose:
// stored curves hold both units, and this threshold alone tells them apart.
inline constexpr double kFirstTickCount = 166666.66666666666;
inline constexpr double kTicksPerSecond = 10000000.0;

/// `time` in seconds: a count of 100-nanosecond ticks is converted, any other
/// time is taken as it is.
inline double InSeconds(double time) noexcept {
    return time >= kFirstTickCount ? time / kTicksPerSecond : time;
}

}  // namespace core
