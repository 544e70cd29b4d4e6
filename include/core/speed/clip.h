#pragma once

#include <core/export.h>
#include <core/speed/snapshot.h>

#include <string>

namespace core {

/// A stretch of a clip as a clip of its own, or why there is none.
struct ClipPart {
    /// From time 0 on, on both axes, with the part's own length, freezes and reverse flag.
    SpeedSnapshot speed;
    /// Where its source time 0 lies in the source of the whole: where its material starts.
    double sourceStart = 0.0;
    /// For people, as in "the clip runs backwards at 2.500000 s"; empty when the part is there.
    std::string reason;

    /// The source time of the whole that it shows.
    double GetSourceTime(double renderTime) const {
        return sourceStart + speed.GetSourceTime(renderTime);
    }
    /// Whether there is a part.
    explicit operator bool() const noexcept { return reason.empty(); }
};

/// A clip that was cut in two.
struct ClipParts {
    ClipPart first;   ///< Up to the cut.
    ClipPart second;  ///< From the cut on, its render time 0.

    /// Whether both are there.
    explicit operator bool() const noexcept { return first && second; }
};

/// The razor: two clips that, played one after the other, show what the whole shows.
///
///     const core::ClipParts cut = core::CutClip(speed.Snapshot(), 4.0);
///     if (cut) {
///         speed.Restore(cut.first.speed);  // and cut.second.speed for a new clip
///     }
///
/// At every render time t behind the cut c, `second` shows at t - c what the whole shows at t,
/// to 1e-6 s of the source. A cut in a freeze gives each part its piece of it; a piece shorter
/// than 1e-7 s is none. `TrimClip` tells how speeds are cut, and what is refused.
CORE_API ClipParts CutClip(const SpeedSnapshot& clip, double renderTime);

/// What a clip shows from one render time to another, as a clip.
///
///  - Keyframes between the two stay what they are as long as their speeds run as before.
///  - Held and straight speeds (`Hold`, `Linear`, `ValueBezier`) are cut exactly.
///  - Others can't be cut in two of their kind: a speed that is cut, or whose slopes come from
///    a neighbour that is gone, becomes as many `Linear` ones as stay within a hundredth of a
///    frame at 60 frames per second. So may those beside it whose slopes come from it.
///  - Where a curve jumps at its keyframes (see `SpeedParameter`), freezes show the same pictures
///    as in the whole. For these a part may need a keyframe before time 0, which shifts those
///    behind it along the source, and keyframes 3e-6 s beside those that stay, which keep their
///    slopes; for so long it may show what runs there instead, and at keyframes of its own, for
///    1e-7 s, what they hold. Without freezes behind the cut it needs none, and its keyframes
///    show those of the whole less what that had jumped by then.
///  - A curve of integers becomes one of doubles.
///
/// Refused: times that don't lie in the clip, in order, 1e-7 s apart or more; a clip without
/// keyframes, or with keyframes that meet on the timeline, as negative speeds make them; a
/// freeze behind the last keyframe; a speed to be replaced that runs backwards; a freeze that
/// jumps back over the part's start, since freezes can't lie before 0, or whose picture can't be
/// kept for another reason. Throws `AnyBadAccess` where a speed is not a number. O(n).
CORE_API ClipPart TrimClip(const SpeedSnapshot& clip, double from, double to);

/// One clip that shows `first`, then `second`, whose source goes on where the first one's ends.
///
/// The keyframe between them goes where both sides run evenly through it, and two freezes that
/// meet become one: what was cut is joined as it was. Where the speed jumps, a ramp ends
/// 1e-5 s early.
///
/// Refused, besides what `TrimClip` refuses: one that plays in reverse and one that does not;
/// source times that are 1 ms apart or more. Where the source jumps in between, freezes of both
/// often can't show their pictures in one clip. Its range and settings are those of `first`.
CORE_API ClipPart JoinClips(const ClipPart& first, const ClipPart& second);

}  // namespace core
