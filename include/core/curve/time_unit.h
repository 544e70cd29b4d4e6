#pragma once

namespace core {

/// Two keyframe times closer than this are one, seconds and ticks alike. Stored
/// projects hold times with eight decimals: ten times larger merges keyframes that a
/// file keeps apart, ten times smaller splits one that went through it.
inline constexpr double kTimeTolerance = 1e-7;

/// Times of keyframes from here on count ticks of 100 ns; below, seconds. It is one
/// sixtieth of a second in ticks. Kept on purpose: stored curves hold both units, and
/// this threshold alone tells them apart.
inline constexpr double kFirstTickCount = 166666.66666666666;
inline constexpr double kTicksPerSecond = 10000000.0;

/// `time` in seconds: a count of ticks is converted, any other time taken as it is.
inline double InSeconds(double time) noexcept {
    return time >= kFirstTickCount ? time / kTicksPerSecond : time;
}

}  // namespace core
