#pragma once

#include <core/curve/edit_result.h>
#include <core/export.h>

namespace core {

class SpeedParameter;

/// What becomes of freezes where a clip is made longer or shorter.
enum class FreezeLengths {
    Keep,   ///< Each lasts as long as before.
    Scale,  ///< They are scaled as everything else is.
};

/// Makes a clip last `seconds` on the timeline, but for rounding: all its speeds are multiplied
/// by one number.
///
/// Every picture that is shown is shown still, at a time that moves in proportion; beside a
/// keyframe of type `Extrapolate`, whose slope counts once more by the length, pictures may come
/// earlier or later. A segment of speed 0 takes the time of its source length, and keeps it.
///
/// Refused, changing nothing: a length that is not finite, or no longer than what keeps its
/// length; a speed of 0.0001 or more that would become one below, which stands for a freeze;
/// a freeze that would be shorter than 1e-7 s; a clip whose keyframes meet on the timeline. One
/// edit, whole or not at all, from any thread, as `SpeedParameter::Edit`. Throws `AnyBadAccess`
/// where a speed is not a number. O(n).
CORE_API CurveEditResult ScaleToLength(SpeedParameter& clip, double seconds,
                                       FreezeLengths freezes = FreezeLengths::Keep);

/// Plays what a clip shows between two render times at one speed.
///
/// What lies before and behind is played as before, and what lies behind moves: the stretch
/// takes its source length over `speed`. Freezes in it stay, each at its picture. A ramp up to
/// the stretch ends 1e-5 s early where the speeds differ; other speeds at either end are cut as
/// `TrimClip` cuts them.
///
/// Refused, changing nothing: what `TrimClip` refuses; a speed below 0.0001, or not finite; a
/// stretch that shows no source, or shows it backwards. One edit, whole or not at all, from any
/// thread, as `SpeedParameter::Edit`. O(n).
CORE_API CurveEditResult SetUniformSpeed(SpeedParameter& clip, double from, double to,
                                         double speed);

}  // namespace core
