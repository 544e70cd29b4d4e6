#pragma once

#include <core/curve/edit_result.h>
#include <core/curve/time_base.h>
#include <core/export.h>

namespace core {

class CurveSnapshot;
class KeyframeHandle;
class Parameter;

/// Counts a curve's times in another base, and makes its handles say in it what they said.
///
///     ChangeTimeBase(opacity, TimeBase::Seconds(), TimeBase::Ticks());
///
/// Afterwards the curve answers at t * to.units / to.seconds * from.seconds / from.units what
/// it answered at t, to rounding; where samples are found by bisection, to its tolerance,
/// which is 5e-05 of what such curves read as a second. Handles that were automatic
/// stay so, but for those of lines towards or from a keyframe of type `Extrapolate`.
/// Going there and back gives the same times to rounding.
///
/// Refused, changing nothing: a base that is none; a keyframe that would change sides of
/// `kFirstTickCount` or lies on the wrong one (0 is in every base); two keyframes that would
/// match; numbers that are not finite afterwards. One edit, whole or not at all, from any
/// thread; on a speed curve it concerns the keyframes, as `KeyframeHandle::Edit`. O(n).
CORE_API CurveEditResult ChangeTimeBase(KeyframeHandle& curve, TimeBase from, TimeBase to);

/// Makes `baked` a curve with a keyframe for each frame: at all n * frames.seconds /
/// frames.units seconds, n a whole number, from `from` up to and with `to`.
///
/// `from`, `to` and the keyframes count what the curve's times count, `base`. At the frames
/// `baked` answers what the curve answers without its range, to the last digit; between them
/// a curve of doubles or points is straight, any other is held. It has the kind and the range
/// of the curve, and no base ratio: its values carry it.
///
/// Refused, leaving `baked` as it was: a base or rate that is none; an interval that is not
/// finite, holds no frame or more than 2147483647; frames that would match; values that are no
/// numbers where the curve needs them. `baked` may be what the snapshot was taken of. O(k) for
/// k frames.
CORE_API CurveEditResult BakeCurve(const CurveSnapshot& curve, TimeBase base, TimeBase frames,
                                   double from, double to, Parameter& baked);

}  // namespace core
