#pragma once

#include <core/core.h>

#include <vector>

namespace plot {

/// The control points of one segment in the picture's own terms, as an editor
/// shows them: for a value curve points of (time, value), for a motion path points
/// of the plane. The segment is the cubic Bezier start, startControl, endControl,
/// end wherever `isCubic` says so.
struct SegmentLevers {
    core::Pointd start;
    core::Pointd startControl;
    core::Pointd endControl;
    core::Pointd end;
    bool isCubic = false;
    /// Which of the two ends has a lever to show: an end without one takes no handle, or
    /// one that keeps a `Linear` segment straight.
    bool showsStart = false;
    bool showsEnd = false;
    /// The type settles the control points; there is nothing to drag.
    bool isFixed = false;
};

/// Whether a segment between keyframes of these types is a time-value Bezier, whose
/// handles' X are fractions of its length.
bool IsTimeValueBezier(core::KeyframeInterpolationType start, core::KeyframeInterpolationType end);

/// Copies of a curve's keyframes, in time order.
std::vector<core::TimeValuePair> Keyframes(core::Parameter& parameter);

/// A keyframe's value as it shows on a plot: times the base ratio, as the parameter
/// type reads it; a boolean is 0 or 1.
double ShownValue(core::Parameter& parameter, const core::ValAny& value);

/// Whether a parameter has a value range that limits anything.
bool HasRange(const core::Parameter& parameter, core::ValAny& low, core::ValAny& high);

/// The levers of each segment between two keyframes. Times are in seconds, below
/// 166666; values are numbers, or points when the parameter is of type point.
std::vector<SegmentLevers> Levers(core::Parameter& parameter);

}  // namespace plot
