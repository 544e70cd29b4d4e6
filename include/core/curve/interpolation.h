#pragma once

#include <cstdint>

namespace core {

/// How a curve runs from one keyframe to the next.
///
/// A segment follows the type of the keyframe that it starts at; some types
/// also look at the type of the end. Members of one group are evaluated alike.
/// Any 32-bit number may be cast to this type; numbers without a name are
/// evaluated like the `Hermite` group.
///
/// Kept on purpose: stored projects hold these numbers; only add, never change.
enum class KeyframeInterpolationType : std::int32_t {
    /// Time-value cubic Bezier. Handle X is a fraction of the segment's
    /// duration, 0 to 1, counted from the segment's start for both handles;
    /// handle Y is a slope in value per second.
    Bezier = 0,
    /// A straight line while the handles are automatic: a Hermite segment whose slopes are
    /// its own. A slope set by hand bends it, and so do the slopes of 0 of a stored text
    /// without handles; between two of this type the start's counts for both ends. Next to
    /// a time-value Bezier end its own side has no handle.
    Linear = 1,
    Bezier2 = 2,
    Bezier3 = 3,
    Bezier4 = 4,
    Bezier5 = 5,
    /// Keeps the start value until the next keyframe.
    Hold = 6,
    /// Cubic Hermite. Handle X is a slope in value per time unit.
    Hermite = 7,
    Hermite8 = 8,
    /// Hermite with flat automatic handles: an eased step between two values.
    HermiteFlat = 9,
    Hermite10 = 10,
    Hermite11 = 11,
    /// Cubic Bezier on the value alone. Handle X is an inner control value.
    ValueBezier = 12,
    /// As `Bezier`, chosen when either end of the segment has one of the three.
    Bezier13 = 13,
    Bezier14 = 14,
    Bezier15 = 15,
    EaseInCubic = 16,
    EaseOutCubic = 17,
    EaseInOutCubic = 18,
    EaseInCirc = 19,
    EaseOutCirc = 20,
    EaseInOutCirc = 21,
    EaseInBack = 22,
    EaseOutBack = 23,
    EaseOutElastic = 24,
    EaseOutBounce = 25,
    /// The type of a new keyframe: its segment extends the line that arrives at
    /// the segment's end backwards from there.
    Extrapolate = 26,
};

/// What a parameter animates, and in which kind its samples are returned.
///
/// Kept on purpose: stored projects hold these numbers; only add, never change.
enum ParameterTypeEnum : std::int32_t {
    /// Double: the interpolated value times the base ratio.
    ParameterDouble = 0,
    /// 32-bit integer: the interpolated value times the base ratio's integer part,
    /// truncated toward zero.
    ParameterInt = 1,
    /// Boolean: the value of the keyframe at or before the time.
    ParameterBool = 2,
    /// Text: the value of the keyframe at or before the time.
    ParameterString = 3,
    /// `Pointd`, on a spatial cubic Bezier whose handles are absolute positions.
    ParameterPoint = 4,
};

}  // namespace core
