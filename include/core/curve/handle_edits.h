#pragma once

#include <core/curve/edit_result.h>
#include <core/export.h>

#include <cstdint>

namespace core {

class CurveSnapshot;
class KeyframeHandle;

// What a graph editor does to handles. A handle is automatic, and follows its neighbours, or
// set, and stays. Every function that changes is one edit, whole or not at all, from any
// thread; on a speed curve it concerns the keyframes, as `KeyframeHandle::Edit`. Ranges of
// time include the keyframes that match their bounds; those that are not finite or end before
// they start are refused, and what is refused changes nothing.

/// One of the two handles of a keyframe.
enum class HandleSide : std::uint8_t {
    Left,   ///< Of the segment that arrives.
    Right,  ///< Of the segment that leaves.
};

/// Whether a handle is set; false for an automatic one, and without such a keyframe. O(log n).
CORE_API bool IsHandleSet(const CurveSnapshot& curve, int index, HandleSide side);

/// Makes all handles from one time to another automatic again. O(log n + k) for k keyframes.
CORE_API CurveEditResult ResetHandles(KeyframeHandle& curve, double from, double to);

/// Gives the other handle of a keyframe the slope that the curve has on the side `kept`, so
/// that it goes through without a corner.
///
/// A handle of a time-value Bezier keeps its length in time; one of a motion path its length,
/// and gets the opposite direction. Refused: no such keyframe, or none beside it; an upright
/// tangent; another side that has no handle, as of held and eased segments, or a path at rest.
CORE_API CurveEditResult AlignHandles(KeyframeHandle& curve, int index, HandleSide kept);

/// Sets both handles of a keyframe to what they are: each then stays until it is set itself.
///
/// A stored curve tells set handles from automatic ones by their numbers; one that has those
/// of an automatic one is automatic again when it is loaded. Refused without such a keyframe.
CORE_API CurveEditResult BreakHandles(KeyframeHandle& curve, int index);

/// Limits handles so that between two keyframes from `from` to `to` the curve stays between
/// their values: it rises or falls all the way, and what is positive stays positive.
///
///     curve.SetPointValue(3, draggedTo);
///     PreventOvershoot(curve, curve.GetPointTime(2), curve.GetPointTime(4));
///
/// Only handles inside the range change, those that lead beyond a neighbour's value; they are
/// set then, the others stay as they are. Where a curve went through a keyframe inside without
/// a corner, it goes on to do so. For all types that have handles, on time-value Beziers in
/// their direction of value alone; of a motion path x and y each. Eased segments stay what they
/// are. To let handles grow again that an earlier call has limited, `ResetHandles` first.
/// Refused where values are no numbers. To rounding; O(log n + k) for k keyframes.
///
/// Both control values of each segment are moved between its ends: a cubic then has no
/// extremes inside (Fritsch, Carlson: Monotone Piecewise Cubic Interpolation, SIAM J. Numer.
/// Anal. 17, 1980: the square of slopes up to three times the chord's).
CORE_API CurveEditResult PreventOvershoot(KeyframeHandle& curve, double from, double to);

}  // namespace core
