#pragma once

#include <core/curve/edit_result.h>
#include <core/export.h>

#include <cstdint>

namespace core {

class CurveSnapshot;
class KeyframeHandle;
class Parameter;

// Edits of all keyframes from one time to another, those that match the bounds included.
// Each is one edit, whole or not at all, from any thread; on a speed curve it concerns the
// keyframes, as `KeyframeHandle::Edit`. Refused, changing nothing: bounds that are not finite
// or in the wrong order; a keyframe that would come to another unit of time, seconds or
// ticks; and what each function names. O(log n + k) for k keyframes touched, and n / 64.

/// What happens where a keyframe comes to a time that another one has.
enum class Meeting : std::uint8_t {
    Refuse,   ///< The edit is refused, and the reason tells both.
    Replace,  ///< The one that was there goes.
};

/// Whether what lies behind a range moves along.
enum class Ripple : std::uint8_t {
    No,   ///< It stays where it is.
    Yes,  ///< It moves by the length of the range.
};

/// Moves keyframes by `offset`, which may take them past others.
///
/// Handles that are set keep what they say; automatic ones follow, as after `SetPointTime`.
CORE_API CurveEditResult ShiftRange(KeyframeHandle& curve, double from, double to, double offset,
                                    Meeting meeting = Meeting::Refuse);

/// Moves keyframes to `pivot` + (time - `pivot`) * `factor`, above 0.
///
/// Handles that are set stretch with the segments, and so do the outer ones of the first and
/// the last keyframe; automatic ones follow. Refused: a factor that is not finite or not above
/// 0 (see `ReverseRange`).
CORE_API CurveEditResult ScaleRange(KeyframeHandle& curve, double from, double to, double pivot,
                                    double factor, Meeting meeting = Meeting::Refuse);

/// Plays what lies between the first and the last keyframe of the range backwards: with their
/// times a and b, the curve answers at a + b - t what it answered at t.
///
/// To rounding, and where samples are found by bisection to its tolerance; elastic and
/// bouncing segments become the cubics of `InsertKeyframe` first. Eased segments
/// become their counterparts, held ones lines of type `Extrapolate` (a hold keeps its start's
/// value, this its end's); of booleans and texts, values move to the next keyframe. Cubics in time
/// that meet a Bezier keyframe become time-value Beziers. Refused: values that are no
/// numbers; extrapolated lines that end in a jump; a path that is held and moves on.
CORE_API CurveEditResult ReverseRange(KeyframeHandle& curve, double from, double to);

/// Removes keyframes; with `Ripple::Yes` those behind move to the left by `to` - `from`.
CORE_API CurveEditResult RemoveRange(KeyframeHandle& curve, double from, double to,
                                     Ripple ripple = Ripple::No);

/// Makes `copy` the curve from `from` to `to`, with a keyframe of its own at either end.
///
/// In between it answers what the curve does, as after `InsertKeyframe`; outside it rests. The
/// curve's times, kind, range and base ratio are its own too. Refused, leaving `copy` as it
/// was, where `InsertKeyframe` refuses, and bounds that match. `copy` may be what the snapshot was
/// taken of.
CORE_API CurveEditResult CopyRange(const CurveSnapshot& curve, double from, double to,
                                   Parameter& copy);

/// Puts the keyframes of another curve of the same kind into a curve, the first one at `time`.
///
/// Between them the curve then answers what `inserted` does, base ratios apart. With
/// `Ripple::Yes` the curve's keyframes from `time` on make room; those that are still between
/// the first and the last inserted one meet them (see `Meeting`) and are replaced or make the
/// edit refused. Refused: no keyframes, another kind.
CORE_API CurveEditResult InsertCurve(KeyframeHandle& curve, double time,
                                     const CurveSnapshot& inserted, Ripple ripple = Ripple::No,
                                     Meeting meeting = Meeting::Refuse);

}  // namespace core
