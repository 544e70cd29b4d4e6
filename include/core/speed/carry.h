#pragma once

#include <core/curve/edit_result.h>
#include <core/export.h>

namespace core {

class CurveSnapshot;
class Parameter;
class SpeedSnapshot;

/// Makes `carried` a curve on the timeline of one that is keyed in a clip's source time, so that
/// what lies on a picture stays on it: at each render time of the clip it answers what `curve`
/// answers at the source time that is shown then.
///
///     core::CarryToRenderTime(position.Snapshot(), speed.Snapshot(), onTimeline);
///
/// Keyframes land where their pictures are shown, each time they are; a freeze holds the value;
/// in reverse the curve runs backwards. Numbers and points keep their shape to `tolerance` times
/// the range of their values, with as many keyframes between as that takes: Hermite ones with
/// handles set by hand, held or straight ones where the values are. Where samples are found by
/// bisection, its tolerance comes to that: its steps are not followed. Other values are held.
/// Where a value jumps that does not rest before, it rests for the last 1e-6 s. Before and behind
/// the clip the curve rests.
///
/// It has the kind and the range of the curve, and no base ratio: its values carry it. A curve of
/// integers becomes one of doubles, which are not cut. Instants at which a clip jumps to a
/// keyframe of its own (see `SpeedParameter`) play no part.
///
/// Refused, leaving `carried` as it was: a curve or clip without keyframes, a clip that lasts
/// 2e-6 s or less, or whose keyframes meet on the timeline; values that are none of the curve's
/// kind; a tolerance that is not above 0. `carried` may be what the snapshot was taken of. Throws
/// `AnyBadAccess` where a speed is not a number. O(log n) for each of some samples per keyframe.
CORE_API CurveEditResult CarryToRenderTime(const CurveSnapshot& curve, const SpeedSnapshot& clip,
                                           Parameter& carried, double tolerance = 1e-3);

/// The way back: makes `carried` a curve in source time of one that is keyed on the timeline.
///
/// What the curve does during a freeze has no source time, and is lost: it jumps there. Refused
/// is also a clip that shows parts of its source more than once.
CORE_API CurveEditResult CarryToSourceTime(const CurveSnapshot& curve, const SpeedSnapshot& clip,
                                           Parameter& carried, double tolerance = 1e-3);

}  // namespace core
