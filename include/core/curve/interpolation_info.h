#pragma once

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>
#include <core/export.h>

#include <cstdint>

namespace core {

/// The groups of interpolation types that are evaluated alike, which is also what the two
/// numbers of a handle mean to them.
enum class InterpolationGroup : std::int32_t {
    /// A straight line; the handle of this side is ignored.
    Linear,
    /// Keeps the start value; handles are ignored.
    Hold,
    /// Cubic Hermite. Handle X is a slope in value per time unit.
    Hermite,
    /// Time-value cubic Bezier. Handle X is a fraction of the duration, handle Y a slope in
    /// value per second.
    TimeValueBezier,
    /// The same, except that a start of group `ValueBezier` goes before it.
    LateTimeValueBezier,
    /// Cubic Bezier on the value alone. Handle X is an inner control value.
    ValueBezier,
    /// A cubic of the progress that the type fixes; handles are ignored.
    CubicEasing,
    /// A function of the progress that is no cubic; handles are ignored.
    ClosedEasing,
    /// The line that arrives at the segment's end, extended backwards from there.
    Extrapolate,
};

/// What there is to know of an interpolation type.
struct InterpolationInfo {
    KeyframeInterpolationType type;  ///< Its number, which projects store.
    const char* name;                ///< That of the enumerator, as "EaseInCubic".
    InterpolationGroup group;        ///< How a segment that starts with it runs.
    /// Of a `CubicEasing`: the inner control points as (progress, eased progress), between
    /// (0, 0) and (1, 1); zero for others.
    Pointd firstControl;
    Pointd secondControl;
};

/// The number of types that have a name; they are numbered from 0 on.
inline constexpr int kInterpolationCount = 27;

/// What there is to know of a type, or null for a number without a name, which is
/// evaluated like `Hermite`. Lives as long as the library. Any thread; O(1).
CORE_API const InterpolationInfo* FindInterpolation(KeyframeInterpolationType type) noexcept;
/// The type with this name, or null, also for a null pointer.
CORE_API const InterpolationInfo* FindInterpolation(const char* name) noexcept;

/// The cubic Bezier curve that a segment is, as a drawing program has it.
///
/// Points are (time, value), times in the curve's own unit and values as keyframes hold
/// them, without the base ratio; of a motion path, points of the plane.
struct SegmentCubic {
    Pointd start;         ///< On the start keyframe.
    Pointd startControl;  ///< The end of the start's lever.
    Pointd endControl;    ///< The end of the end's lever.
    /// On the end keyframe, unless the segment is held or extrapolated.
    Pointd end;
    /// By which rule the segment runs, as follows from the types of both ends; of a motion
    /// path `TimeValueBezier` or `Hold`.
    InterpolationGroup group = InterpolationGroup::Linear;
};

/// Gives the cubic of the segment between two neighbours of a parameter of type `type`.
///
/// Of a `Hermite` segment between two `Linear` keyframes the right handle of the start
/// counts for both sides, as in samples. False, changing nothing, where the segment is no
/// cubic: an elastic or bouncing one, values that are no numbers (no points), or times that
/// do not advance. Pure; any thread.
CORE_API bool GetSegmentCubic(const TimeValuePair& start, const TimeValuePair& end,
                              ParameterTypeEnum type, SegmentCubic& cubic);

}  // namespace core
