#pragma once

#include <core/export.h>

#include <vector>

namespace core {

class CurveSnapshot;

// What an editor asks of a curve's shape. All of it speaks of what `GetValue(t, false)`
// answers for a parameter of type double, base ratio included, as areas do: of an int
// parameter, the numbers before they are cut; of a bool one, 0 and 1. Where samples are found
// by bisection, the answers are those of the exact curve. All functions are safe from any
// thread and throw `AnyBadAccess` where values are no numbers; of a motion path,
// `SplitIntoTwoMotionDimension` makes two curves of numbers.

/// The derivative of a curve on both sides of a time, in value per unit of the curve's time;
/// infinite where its tangent is upright.
struct CurveSlopes {
    double before = 0.0;  ///< Of what arrives at the time.
    double after = 0.0;   ///< Of what leaves it; the same but at keyframes and corners.
};

/// The slopes at `time`. Exact: the derivative of the segment's formula. A jump has the
/// slopes of what it lies between; outside the keyframes both are 0, for NaN NaN. O(log n).
CORE_API CurveSlopes SlopesAt(const CurveSnapshot& curve, double time);

/// The bounds of a curve over an interval, and the first times where they are reached.
struct ValueExtremes {
    double least = 0.0;         ///< No value is below it.
    double leastTime = 0.0;     ///< Where it is reached first.
    double greatest = 0.0;      ///< No value is above it.
    double greatestTime = 0.0;  ///< Where it is reached first.
};

/// The least and the greatest value from `from` to `to`, ends included, in either order.
///
/// Exact: found where the derivative of a segment vanishes, at its ends and at the interval's.
/// Where the curve jumps, what it jumps from counts as reached. Either bound may be
/// infinite; NaN gives NaN. O(log n + k) for k keyframes between.
CORE_API ValueExtremes FindExtremes(const CurveSnapshot& curve, double from, double to);

/// The times from `from` to `to` at which the curve has `value`, ascending.
///
/// Of a stretch on which it rests there, the first time. A value that a jump passes over is
/// not reached. Of times that match (see `kTimeTolerance`), the first. Empty unless
/// from <= to. Accurate to rounding. O(log n + k) for k keyframes between.
CORE_API std::vector<double> FindTimesOfValue(const CurveSnapshot& curve, double value, double from,
                                              double to);

/// The index of the first keyframe after `time`, or of the last one before it, without
/// those that match it; -1 where there is none, and for NaN. O(log n).
CORE_API int FindNextKeyframe(const CurveSnapshot& curve, double time);
CORE_API int FindPreviousKeyframe(const CurveSnapshot& curve, double time);

}  // namespace core
