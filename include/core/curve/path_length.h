#pragma once

#include <core/curve/edit_result.h>
#include <core/curve/pointd.h>
#include <core/export.h>

namespace core {

class CurveSnapshot;
class KeyframeHandle;

// The way along a motion path. All questions are safe from any thread and throw
// `AnyBadAccess` for a curve that is no path of points. Before the first and behind the last
// keyframe a path rests, and where it is held.

/// The length of the way from one time to another, in either order, to 1e-6 of it.
///
/// A jump has no length. Infinite bounds stand for all keyframes on that side; NaN for NaN.
/// Gauss-Legendre quadrature of the speed, halved until it settles. O(log n + k) for k keyframes
/// between.
CORE_API double GetPathLength(const CurveSnapshot& path, double from, double to);

/// The first time from `from` on at which the path has come so far; false, changing nothing,
/// where it never does, for a negative distance and for NaN. To 1e-6 of the distance, which
/// near a rest is more of the time. O(log n + k).
CORE_API bool FindTimeAtDistance(const CurveSnapshot& path, double from, double distance,
                                 double& time);

/// The place at a distance from the first keyframe; that of the nearer end outside the path.
/// O(k) for k keyframes up to there.
CORE_API Pointd GetPointAtDistance(const CurveSnapshot& path, double distance);

/// The directions of a path at a time, as vectors of length 1; (0, 0) where it rests.
struct PathDirections {
    Pointd before;  ///< Of what arrives.
    Pointd after;   ///< Of what leaves; the same but at keyframes with a corner, and at cusps.
};

/// Also where the speed vanishes for a moment: the first derivative that does not. O(log n).
CORE_API PathDirections GetPathDirections(const CurveSnapshot& path, double time);

/// Makes the motion between each two keyframes from `from` to `to` even: the same way, at one
/// speed. The keyframes keep their times, so that each segment has a speed of its own.
///
/// Curved segments get keyframes between, some dozens each, as many as keep each place within
/// 1e-6 of the segment's length of where an even motion is; beside cusps of segments that take less
/// than half a second, as many as there is room for in time. Held segments stay. Refused, changing
/// nothing: bounds that are not finite or in the wrong order, a curve that is no path of points, a
/// segment too short for its keyframes, one before a held keyframe, which straightens it. One edit,
/// from any thread; O(log n + k log n).
CORE_API CurveEditResult MakeMotionEven(KeyframeHandle& path, double from, double to);

}  // namespace core
