#pragma once

#include <cstdint>

namespace core {

/// What times count: `units` in each `seconds`, whole numbers, so that 30000 in 1001 seconds
/// are the frames of NTSC video, called 29.97 per second, to the last digit.
///
/// A curve's times count seconds by themselves. Only 10000000 in 1 are ticks, which curves tell
/// from seconds by `kFirstTickCount`; the times of any other base are below that.
struct TimeBase {
    std::int64_t units = 1;    ///< 1 or more.
    std::int64_t seconds = 1;  ///< 1 or more.

    /// Seconds, as curves count by themselves.
    static TimeBase Seconds() noexcept { return {1, 1}; }
    /// Ticks of 100 ns.
    static TimeBase Ticks() noexcept { return {10000000, 1}; }
    /// So many frames in so many seconds.
    static TimeBase Frames(std::int64_t frames, std::int64_t perSeconds = 1) noexcept {
        return {frames, perSeconds};
    }
};

}  // namespace core
