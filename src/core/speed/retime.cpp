#include <core/speed/retime.h>

#include "core/speed/clip_row.h"
#include "core/speed/snapshot_access.h"

#include <core/speed/speed_parameter.h>

#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace core {
namespace {

// Rounding of a length that is a sum of many.
constexpr double kLengthRounding = 1e-9;

// Makes `clip` what `change` answers for it; the reason of a `NoClip` otherwise.
template <class Change>
CurveEditResult EditWhole(SpeedParameter& clip, const Change& change) {
    CurveEditResult result;
    const bool isDone = clip.Edit([&](SpeedParameter& draft) {
        result.reason.clear();
        try {
            const SpeedSnapshot now = draft.Snapshot();
            draft.Restore(
                SpeedSnapshotAccess::With(now, change(SpeedSnapshotAccess::StateOf(now))));
        } catch (const NoClip& why) {
            result.reason = why.what();
        }
    });
    if (!isDone) {
        result.reason = "the curve was moved away";
    }
    return result;
}

// How many keyframes there are for nothing but to shift those behind them along the source: one
// before time 0 whose speed ends with the first frame, as parts of clips that jump have it.
std::size_t CountLeads(const TimeMap& map) {
    constexpr double kFirstFrame = 1e-5;
    const bool isLead = map.RenderCount() > 1 && map.RenderKey(0).time < 0.0 &&
                        map.RenderKey(0).type == KeyframeInterpolationType::Hold &&
                        map.RenderKey(1).time < kFirstFrame;
    return isLead ? 1 : 0;
}

Shared<Curve> WithFasterSpeeds(const Curve& curve, std::size_t first, double factor) {
    std::vector<TimeValuePair> keyframes;
    keyframes.reserve(curve.Count());
    for (std::size_t i = 0; i < curve.Count(); ++i) {
        if (i < first) {
            keyframes.push_back(curve[i]);
            continue;
        }
        const double speed = curve[i].PeekValue().AsDouble();
        const double scaled = speed * factor;
        if (!std::isfinite(scaled) ||
            (std::fabs(speed) >= kNearZeroSpeed && std::fabs(scaled) < kNearZeroSpeed)) {
            throw NoClip("keyframe " + std::to_string(i) + " would be slower than 0.0001");
        }
        keyframes.push_back(curve[i]);
        keyframes.back().SetValue(scaled);
    }
    Shared<Curve> made = curve.WithKeyframes(std::move(keyframes), curve.HandSets());
    if (made->Type() == ParameterInt) {
        made.Own().SetType(ParameterDouble);
    }
    return made;
}

// What keeps its length whatever the speeds are: what comes before the first keyframe, and
// segments of speed 0.
double StillLength(const TimeMap& map) {
    double length = map.RenderKey(CountLeads(map)).time;
    for (std::size_t i = 0; i + 1 < map.SegmentStarts(); ++i) {
        const SpeedSegment s = map.SegmentFrom(i);
        length += s.v0 == 0.0 ? s.t1 - s.t0 : 0.0;
    }
    return length;
}

Shared<SpeedParameterFreezeImpl> WithLongerFreezes(const SpeedParameterFreezeImpl& freezes,
                                                   double factor) {
    std::vector<Freeze> made;
    double before = 0.0;
    for (std::size_t i = 0; i < freezes.Freezes().size(); ++i) {
        Freeze freeze = freezes.Freezes()[i];
        freeze.key += before - freezes.DurationBefore(i);
        freeze.duration *= factor;
        if (!(freeze.duration >= SpeedParameterFreezeImpl::kTolerance)) {
            throw NoClip("freeze " + std::to_string(i) + " would be too short");
        }
        before += freeze.duration;
        made.push_back(freeze);
    }
    SpeedParameterFreezeImpl list;
    list.Assign(std::move(made));
    return Shared<SpeedParameterFreezeImpl>::Make(std::move(list));
}

}  // namespace

CurveEditResult ScaleToLength(SpeedParameter& clip, double seconds, FreezeLengths lengths) {
    return EditWhole(clip, [&](const SpeedState& state) {
        const TimeMap& map = state.Map();
        if (map.SourceCount() == 0 || !map.IsOneToOne()) {
            throw NoClip("the clip has no keyframes, or they meet on the timeline");
        }
        const bool scales = lengths == FreezeLengths::Scale;
        const double frozen = state.freezes->TotalDuration();
        const double still = StillLength(map);
        const double kept = still + (scales ? 0.0 : frozen);
        const double scaled = map.RenderLength() - still + (scales ? frozen : 0.0);
        const double factor = scaled / (seconds - kept);
        if (!(std::isfinite(seconds) && seconds > kept && factor > 0.0 && std::isfinite(factor))) {
            throw NoClip("the clip can't last " + std::to_string(seconds) + " s, because " +
                         std::to_string(kept) + " s of it keep their length");
        }
        auto made = Shared<SpeedState>::Make(
            WithFasterSpeeds(*state.keyframes, CountLeads(map), factor),
            scales ? WithLongerFreezes(*state.freezes, 1.0 / factor) : state.freezes,
            state.sourceTotalTime, state.sourceFPS);
        if (!(std::fabs(made->RenderTotalTime() - seconds) <= kLengthRounding * seconds)) {
            throw NoClip("the speeds can't be scaled");
        }
        return made;
    });
}

CurveEditResult SetUniformSpeed(SpeedParameter& clip, double from, double to, double speed) {
    if (!(speed >= kNearZeroSpeed && std::isfinite(speed))) {
        return {"the speed is none"};
    }
    return EditWhole(clip, [&](const SpeedState& state) {
        const double length = state.RenderTotalTime();
        ClipRow row;
        if (from >= kTimeTolerance) {
            row.Add(state, 0.0, from);
        }
        row.AddAtSpeed(state, from, to, speed);
        if (length - to >= kTimeTolerance) {
            row.Add(state, to, length);
        }
        const auto made = row.Make(state);
        return Shared<SpeedState>::Make(made->keyframes, made->freezes, state.sourceTotalTime,
                                        state.sourceFPS);
    });
}

}  // namespace core
