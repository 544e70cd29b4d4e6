#include <core/speed/clip.h>

#include "core/speed/clip_row.h"
#include "core/speed/snapshot_access.h"

#include <cmath>
#include <string>
#include <utility>

namespace core {
namespace {

// Source times that are further apart don't meet: the sixteenth part of a frame at 60 frames
// per second, which nobody sees. What a part is counted from may have been rounded, and so has
// the end of a speed that was replaced.
constexpr double kMeeting = 1e-3;

ClipPart Refused(std::string reason) {
    ClipPart none;
    none.reason = std::move(reason);
    return none;
}

// Where the running source of a clip lies when it has shown `shown`.
double SourceAfter(const ClipPart& part, double shown) noexcept {
    const double length = part.speed.GetSourceTotalTime();
    return part.sourceStart + (part.speed.GetReverse() != 0 ? length - shown : shown);
}

}  // namespace

ClipPart TrimClip(const SpeedSnapshot& clip, double from, double to) {
    const SpeedState& state = SpeedSnapshotAccess::StateOf(clip);
    try {
        ClipRow row;
        const MapRange range = row.Add(state, from, to);
        ClipPart part{SpeedSnapshotAccess::With(clip, row.Make(state)), 0.0, {}};
        const double before = ClipRow::RunningSource(state, range.from);
        part.sourceStart = clip.GetReverse() != 0
                               ? state.sourceTotalTime - before - part.speed.GetSourceTotalTime()
                               : before;
        return part;
    } catch (const NoClip& why) {
        return Refused(why.what());
    }
}

ClipParts CutClip(const SpeedSnapshot& clip, double renderTime) {
    return {TrimClip(clip, 0.0, renderTime), TrimClip(clip, renderTime, clip.GetRenderTotalTime())};
}

ClipPart JoinClips(const ClipPart& first, const ClipPart& second) {
    if (!first || !second) {
        return Refused("a part is missing: " + (first ? second : first).reason);
    }
    if ((first.speed.GetReverse() != 0) != (second.speed.GetReverse() != 0)) {
        return Refused("one plays in reverse, the other does not");
    }
    const SpeedState& a = SpeedSnapshotAccess::StateOf(first.speed);
    const SpeedState& b = SpeedSnapshotAccess::StateOf(second.speed);
    try {
        ClipRow row;
        row.Add(a, 0.0, first.speed.GetRenderTotalTime());
        const double left = SourceAfter(first, ClipRow::RunningSource(a, a.Map().RenderLength()));
        const double right = SourceAfter(second, 0.0);
        if (!(std::fabs(left - right) < kMeeting)) {
            return Refused("the first ends at " + std::to_string(left) +
                           " s of the source, the second starts at " + std::to_string(right) +
                           " s");
        }
        const std::size_t joint = row.Count();
        row.Add(b, 0.0, second.speed.GetRenderTotalTime());
        row.MergeAt(joint);
        ClipPart whole{SpeedSnapshotAccess::With(first.speed, row.Make(a)), 0.0, {}};
        // What it shows first, it shows where the first one did.
        whole.sourceStart = SourceAfter(first, 0.0) - (SourceAfter(whole, 0.0));
        return whole;
    } catch (const NoClip& why) {
        return Refused(why.what());
    }
}

}  // namespace core
