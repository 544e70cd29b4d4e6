#pragma once

#include <core/curve/edit_result.h>
#include <core/curve/snapshot.h>
#include <core/export.h>

#include <vector>

namespace core {

class SpeedParameter;
class SpeedSnapshot;

/// What a clip ever shows of its material, from its first frame to its end.
struct ShownRange {
    double lowest = 0.0;   ///< The earliest source time that it shows,
    double highest = 0.0;  ///< and the latest; both are reached, or the limit of what is.
    /// The render times at which it shows what the material has not, in order.
    std::vector<TimeRange> outside;
    /// Those at which it runs against its direction: backwards, or forward in reverse.
    std::vector<TimeRange> backwards;

    /// Whether all that it shows is in the material.
    bool StaysInside() const noexcept { return outside.empty(); }
    /// Whether it ever runs against its direction.
    bool RunsBackwards() const noexcept { return !backwards.empty(); }
};

/// The guard: the range of source times that a clip shows, and where it leaves the material,
/// which goes from source time `first` up to `last`.
///
/// Exact, not sampled: smooth speeds are searched for where they change their sign. The pictures
/// of freezes and those at keyframes count, also where the curve jumps. What is less than 1e-7 s
/// beyond the material is still in it. Where negative speeds lead keyframes back on the
/// timeline, it is what `GetSourceTime` answers up to the clip's end. Throws `AnyBadAccess` where a
/// speed is not a number. O(n).
CORE_API ShownRange FindShownRange(const SpeedSnapshot& clip, double first, double last);
/// In a material that goes from 0 to the clip's source length.
CORE_API ShownRange FindShownRange(const SpeedSnapshot& clip);

/// Changes the speeds of a clip as little as makes it stay in the material and never run
/// against its direction; nothing where it does so already.
///
///  - A speed below 0 becomes `slowest`, which is 0.0001 or more.
///  - A segment whose speeds still swing below 0 becomes `Linear`: it has the same two speeds and
///    takes the same time.
///  - Where the clip shows more than there is, those segments that show more source than lies
///    between their keyframes become `Linear`, the worst first, until it doesn't.
///  - What it plays beyond the material then is cut off, freezes there included.
///
/// Refused, changing nothing: what `TrimClip` refuses; a `slowest` that is none; a material that
/// the clip's first picture is not in. One edit, whole or not at all, from any thread, as
/// `SpeedParameter::Edit`. O(n) for each round; few are needed.
CORE_API CurveEditResult KeepInside(SpeedParameter& clip, double first, double last,
                                    double slowest = 0.01);
/// In a material that goes from 0 to the clip's source length.
CORE_API CurveEditResult KeepInside(SpeedParameter& clip);

}  // namespace core
