#pragma once

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/export.h>

namespace core {

/// Turns the two handles of a segment from the form in which keyframes store them
/// into points of the time-value plane, where editors draw them.
///
/// `start` and `end` are the keyframes as (time, value). In: `startHandle` is the
/// right handle of the start, `endHandle` the left handle of the end, each
/// (fraction of the segment's duration from its start, slope in value per time
/// unit). Out: the same as points. Fractions are clamped to [0, 1]; on the side of a
/// `Linear` keyframe the point lies on the keyframe. A handle less than 1e-7 of
/// time away from its keyframe adds its slope as it is. Times are taken as they
/// are, in one unit with the slopes. Always true. Pure; any thread.
CORE_API bool GetAbsolutePointControlParam(Pointd start, Pointd& startHandle, Pointd& endHandle,
                                           Pointd end, KeyframeInterpolationType startType,
                                           KeyframeInterpolationType endType);

/// The inverse: points of the time-value plane to (fraction, slope).
///
/// Points outside the segment's time are moved to its nearer end. A segment
/// shorter than 1e-7 counts as 1e-5 longer, and numbers smaller than 1e-7 become
/// 0. Always true. Pure; any thread.
CORE_API bool GetRelativePointControlParam(Pointd start, Pointd& startHandle, Pointd& endHandle,
                                           Pointd end, KeyframeInterpolationType startType,
                                           KeyframeInterpolationType endType);

}  // namespace core
