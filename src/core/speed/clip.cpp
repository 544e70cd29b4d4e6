#include <core/speed/clip.h>

#include "core/speed/clip_maker.h"
#include "core/speed/clip_row.h"
#include "core/speed/snapshot_access.h"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

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

ClipPart Trim(const SpeedSnapshot& clip, const SpeedState& state, double from, double to) {
    ClipRow row;
    const MapRange range = row.Add(state, from, to);
    ClipPart part{SpeedSnapshotAccess::With(clip, row.MakeWithPictures(state)), 0.0, {}};
    const double before = ClipRow::RunningSource(state, range.from);
    part.sourceStart = clip.GetReverse() != 0
                           ? state.sourceTotalTime - before - part.speed.GetSourceTotalTime()
                           : before;
    return part;
}

// A freeze that is cut stands at a keyframe whose slope the other side gives: the clip with a
// little less of the freeze, and as much of that side, in which the keyframe keeps it. For what
// is played alone: the freezes' own keys stay.
Shared<SpeedState> WithRoomBesideFreezes(const SpeedState& state, double& from, double& to) {
    std::vector<Freeze> freezes(state.freezes->Freezes().begin(), state.freezes->Freezes().end());
    const double start = from;
    const double end = to;
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        Freeze& freeze = freezes[i];
        const double begins = state.Placed().RenderStart(i);
        const double ends = begins + freeze.duration;
        double duration = freeze.duration;
        if (start > begins - kTimeTolerance && start < ends - kTimeTolerance) {
            duration = ends - start - kBeside;
            from = begins - kBeside;
        } else if (end > begins + kTimeTolerance && end < ends + kTimeTolerance) {
            duration = end - begins - kBeside;
        }
        if (!(duration > kBeside)) {
            throw OtherPictures("a freeze is too short to be cut there");
        }
        to += end > ends ? duration - freeze.duration : 0.0;
        freeze.duration = duration;
    }
    SpeedParameterFreezeImpl list;
    list.Assign(std::move(freezes));
    return Shared<SpeedState>::Make(state.keyframes,
                                    Shared<SpeedParameterFreezeImpl>::Make(std::move(list)),
                                    state.sourceTotalTime, state.sourceFPS);
}

}  // namespace

ClipPart TrimClip(const SpeedSnapshot& clip, double from, double to) {
    const SpeedState& state = SpeedSnapshotAccess::StateOf(clip);
    std::string reason;
    try {
        return Trim(clip, state, from, to);
    } catch (const OtherPictures& why) {
        reason = why.what();
    } catch (const NoClip& why) {
        return Refused(why.what());
    }
    try {
        const auto besides = WithRoomBesideFreezes(state, from, to);
        return Trim(clip, *besides, from, to);
    } catch (const NoClip&) {
        return Refused(reason);
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
        ClipPart whole{SpeedSnapshotAccess::With(first.speed, row.MakeWithPictures(a)), 0.0, {}};
        // What it shows first, it shows where the first one did.
        whole.sourceStart = SourceAfter(first, 0.0) - (SourceAfter(whole, 0.0));
        return whole;
    } catch (const NoClip& why) {
        return Refused(why.what());
    }
}

}  // namespace core
