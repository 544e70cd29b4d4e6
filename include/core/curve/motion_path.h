#pragma once

#include <core/curve/parameter.h>
#include <core/export.h>

#include <memory>

namespace core {

/// A point parameter whose path has the x and the y of two curves of numbers; the
/// inverse of `IKeyFrame::SplitIntoTwoMotionDimension`.
///
/// Keyframes lie at the times of both curves (the earlier one of two that match), and
/// the point there is what the two curves sample to, base ratios included. Between
/// them the path agrees with both curves to rounding wherever they are cubics in time:
/// hold, linear, Hermite and value Bezier segments, the bounce, and time-value Beziers
/// with handle fractions 1/3 and 2/3. A keyframe is added 2e-7 behind a hold whose
/// incoming handle is bent, because a path would straighten it.
///
/// What a cubic in time can't express comes as near as further keyframes bring it:
///  - eased and other time-value Bezier segments within 2e-5 of the span of their
///    values, in at most 64 pieces between two keyframes; within 2e-2 of it in the
///    last microseconds beside an upright tangent. To this comes the tolerance to
///    which such segments are sampled;
///  - where one curve jumps and the other moves, by what it moves in 2e-7;
///  - between the steps of an int parameter, within 2; within 1 where its values do not
///    change their sign.
///
/// A curve without keyframes counts as 0, and a keyframe whose value is no number
/// is left out. The result has no range and no base ratio. An empty pointer when
/// either input is a point parameter. The inputs may be in use by other threads;
/// each is read as a whole under its own lock. O(n).
CORE_API std::shared_ptr<Parameter> MergeTwoMotionDimensionIntoWhole(Parameter& xPart,
                                                                     Parameter& yPart);

}  // namespace core
