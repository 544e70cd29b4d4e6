#include <core/speed/guard.h>

#include "core/curve/segment_shape.h"
#include "core/speed/clip_row.h"
#include "core/speed/snapshot_access.h"

#include <core/speed/clip.h>
#include <core/speed/speed_parameter.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

// Between two zeros of the speed the source runs one way, so that its bounds are at the ends
// and it passes a bound of the material once. Zeros are found by bisection between the places
// where the speed turns.

namespace core {
namespace {

using Type = KeyframeInterpolationType;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Slower than this nothing is seen to run backwards in a day; rounding makes less of a speed
// that touches 0.
constexpr double kStandsStill = 1e-9;

// Where a function that grows, or falls, over [a, b] passes 0.
template <class F>
double Bisect(double a, double b, const F& f) {
    const bool rises = f(a) < f(b);
    for (int i = 0; i < 80 && a < b; ++i) {
        const double middle = 0.5 * (a + b);
        if (!(a < middle && middle < b)) {
            break;
        }
        ((f(middle) < 0.0) == rises ? a : b) = middle;
    }
    return 0.5 * (a + b);
}

// The times between which a segment runs one way, both ends included.
std::vector<double> OneWayTimes(const PlayedSpeeds& speeds, double from, double to) {
    std::vector<double> turns = {from};
    if (speeds.Get().shape != Segment::Shape::Constant) {
        const SegmentShape shape(speeds.Get());
        for (const double s : shape.Turns(shape.ParameterAt(from), shape.ParameterAt(to))) {
            turns.push_back(std::clamp(shape.TimeAt(s, false), turns.back(), to));
        }
    }
    turns.push_back(to);
    std::vector<double> times = {from};
    for (std::size_t i = 0; i + 1 < turns.size(); ++i) {
        const auto speed = [&](double t) { return speeds.SpeedAt(t); };
        if (speed(turns[i]) * speed(turns[i + 1]) < 0.0) {
            times.push_back(Bisect(turns[i], turns[i + 1], speed));
        }
    }
    times.push_back(to);
    return times;
}

class Guard {
public:
    Guard(const SpeedState& clip, double from, double to) noexcept
        : state(clip), least(from), most(to) {}

    ShownRange Walk() {
        const TimeMap& map = state.Map();
        const auto freezes = state.freezes->Freezes();
        Include(0.0);
        if (map.SourceCount() == 0) {
            // Times are mapped to themselves, for as long as the freezes take.
            Include(state.freezes->TotalDuration());
            return shown;
        }
        if (map.GoesBack()) {
            WalkRenderKeys();
            return shown;
        }
        std::size_t freeze = 0;
        const auto runTo = [&](const PlayedSpeeds& speeds, double from, double to) {
            for (; freeze < freezes.size() && state.Placed().MapTime(freeze) < to; ++freeze) {
                const double stop = std::max(state.Placed().MapTime(freeze), from);
                Run(speeds, from, stop);
                Stand(freeze);
                from = stop;
            }
            Run(speeds, from, to);
        };
        const SpeedKey first = map.RenderKey(0);
        if (first.time > 0.0) {
            runTo(PlayedSpeeds({0.0, first.speed, 0.0, 0.0, first.time, first.speed, 0.0, 0.0,
                                Type::Hold, Type::Hold}),
                  0.0, first.time);
        }
        for (std::size_t i = 0; i + 1 < map.SegmentStarts(); ++i) {
            const SpeedSegment s = map.SegmentFrom(i);
            Meet(i, s.t0);
            if (s.t1 > std::max(s.t0, 0.0)) {
                runTo(PlayedSpeeds(s), std::max(s.t0, 0.0), s.t1);
            }
        }
        Meet(map.SourceCount() - 1, map.RenderLength());
        for (; freeze < freezes.size(); ++freeze) {
            Stand(freeze);
        }
        return shown;
    }

private:
    // Where negative speeds lead back on the timeline: the clip ends with its last keyframe, which
    // may lie before others, and freezes stand where their sources are reached, which may be
    // behind the end.
    void WalkRenderKeys() {
        const PlacedFreezes& placed = state.Placed();
        const double end = placed.RenderLength();
        double t = 0.0;
        for (std::size_t i = 0; i < placed.List().Freezes().size() && t < end; ++i) {
            PlayRenderKeys(t, std::min(placed.RenderStart(i), end));
            t = std::max(t, placed.RenderStart(i));
            if (t < end) {
                Stand(i);
                t = placed.RenderStart(i) + placed.List().Freezes()[i].duration;
            }
        }
        PlayRenderKeys(t, end);
    }
    // Between two render times, with what is frozen before them counted.
    void PlayRenderKeys(double start, double end) {
        if (!(start < end)) {
            return;
        }
        const TimeMap& map = state.Map();
        const double from = start - frozen;
        const double to = end - frozen;
        const SpeedKey first = map.RenderKey(0);
        const SpeedKey last = map.RenderKey(map.RenderCount() - 1);
        reached = ClipRow::RunningSource(state, from);
        Include(map.SourceOfRender(from));
        if (from < first.time) {
            Run(PlayedSpeeds({0.0, first.speed, 0.0, 0.0, first.time, first.speed, 0.0, 0.0,
                              Type::Hold, Type::Hold}),
                from, std::min(first.time, to));
        }
        for (std::size_t i = 0; i + 1 < map.RenderCount(); ++i) {
            const SpeedSegment s = map.SegmentFrom(i);
            const double a = std::max(s.t0, from);
            const double b = std::min(s.t1, to);
            if (a < b) {
                Run(PlayedSpeeds(s), a, b);
            }
            if (s.t0 >= from && s.t0 < to) {
                Meet(i, s.t0);
            }
        }
        if (to > last.time) {
            const double s = map.SourceTime(map.SourceCount() - 1);
            Include(s);
            if (IsOutside(s)) {
                Add(shown.outside, std::max(from, last.time) + frozen, end);
            }
        }
    }
    void Include(double s) noexcept {
        shown.lowest = std::min(shown.lowest, s);
        shown.highest = std::max(shown.highest, s);
    }
    bool IsOutside(double s) const noexcept {
        return s < least - kTimeTolerance || s > most + kTimeTolerance;
    }
    void Add(std::vector<TimeRange>& ranges, double from, double to) const {
        if (!ranges.empty() && from - ranges.back().to <= 2.0 * kTimeTolerance) {
            ranges.back().to = std::max(ranges.back().to, to);
        } else if (to > from) {
            ranges.push_back({from, to});
        }
    }
    void Run(const PlayedSpeeds& speeds, double from, double to) {
        const std::vector<double> times = OneWayTimes(speeds, from, to);
        for (std::size_t i = 0; i + 1 < times.size(); ++i) {
            const double a = times[i];
            const double b = times[i + 1];
            const double start = reached;
            reached += speeds.Shown(a, b);
            Include(reached);
            if (speeds.SpeedAt(0.5 * (a + b)) < -kStandsStill) {
                Add(shown.backwards, a + frozen, b + frozen);
            }
            AddOutside(speeds, a, b, start);
        }
    }
    // Of a stretch that runs one way.
    void AddOutside(const PlayedSpeeds& speeds, double a, double b, double start) {
        if (!IsOutside(start) && !IsOutside(reached)) {
            return;
        }
        const auto passes = [&](double bound) {
            return Bisect(a, b, [&](double t) { return start + speeds.Shown(a, t) - bound; });
        };
        // In the order in which they are passed.
        const bool falls = reached < start;
        for (const double bound : {falls ? most : least, falls ? least : most}) {
            const auto isBeyond = [&](double s) {
                return bound == least ? s < bound - kTimeTolerance : s > bound + kTimeTolerance;
            };
            const bool starts = isBeyond(start);
            const bool ends = isBeyond(reached);
            if (starts || ends) {
                Add(shown.outside, (starts ? a : passes(bound)) + frozen,
                    (ends ? b : passes(bound)) + frozen);
            }
        }
    }
    // At a keyframe its own time is shown.
    void Meet(std::size_t keyframe, double mapTime) {
        const TimeMap& map = state.Map();
        if (mapTime < 0.0 || !(map.IsOneToOne() || keyframe + 1 == map.SourceCount())) {
            return;
        }
        const double s = map.SourceTime(keyframe);
        Include(s);
        if (IsOutside(s) && !IsOutside(reached)) {
            Add(shown.outside, mapTime + frozen - kTimeTolerance,
                mapTime + frozen + kTimeTolerance);
        }
    }
    void Stand(std::size_t freeze) {
        const Freeze& f = state.freezes->Freezes()[freeze];
        const double start = state.Placed().RenderStart(freeze);
        Include(f.sourceTime);
        if (IsOutside(f.sourceTime)) {
            Add(shown.outside, start, start + f.duration);
        }
        frozen += f.duration;
    }

    const SpeedState& state;
    double least;
    double most;
    ShownRange shown;
    double reached = 0.0;  // the source that has been shown
    double frozen = 0.0;   // what freezes have taken so far
};

ShownRange FindForward(const SpeedSnapshot& clip, double first, double last) {
    const SpeedState& state = SpeedSnapshotAccess::StateOf(clip);
    return clip.GetReverse() != 0
               ? Guard(state, state.sourceTotalTime - last, state.sourceTotalTime - first).Walk()
               : Guard(state, first, last).Walk();
}

// What a segment shows more than lies between its keyframes.
struct Gain {
    std::size_t keyframe;
    double source;
    bool isNegative;
};

std::vector<Gain> FindGains(const TimeMap& map) {
    std::vector<Gain> gains;
    for (std::size_t i = 0; i + 1 < map.SegmentStarts(); ++i) {
        const PlayedSpeeds speeds(map.SegmentFrom(i));
        const double from = speeds.Get().from;
        const double to = speeds.Get().To();
        bool isNegative = false;
        const std::vector<double> times = OneWayTimes(speeds, from, to);
        for (std::size_t k = 0; k + 1 < times.size(); ++k) {
            isNegative =
                isNegative || speeds.SpeedAt(0.5 * (times[k] + times[k + 1])) < -kStandsStill;
        }
        gains.push_back(
            {i, speeds.Shown(from, to) - (map.SourceTime(i + 1) - map.SourceTime(i)), isNegative});
    }
    return gains;
}

// Makes a segment straight; false where it is said to be already.
bool Straighten(SpeedParameter& draft, std::size_t keyframe) {
    for (int i = static_cast<int>(keyframe); i <= static_cast<int>(keyframe) + 1; ++i) {
        const Type type = draft.GetInterpolationType(i);
        if (type != Type::Linear && (i == static_cast<int>(keyframe) || IsBezier(type))) {
            return draft.SetPointInterpolationType(i, Type::Linear);
        }
    }
    return false;
}

void RaiseNegatives(SpeedParameter& draft, double slowest) {
    const CurveSnapshot keyframes = draft.Snapshot().Keyframes();
    for (int i = 0; i < keyframes.GetKeyFramesCount(); ++i) {
        if (keyframes.GetKeyframe(i).PeekValue().AsDouble() < 0.0) {
            if (draft.GetParameterType() == ParameterInt) {
                draft.SetParameterType(ParameterDouble);
            }
            draft.SetPointValue(i, slowest);
        }
    }
}

// Throws `NoClip` where nothing is left to be changed.
void StraightenUntilInside(SpeedParameter& draft, double first, double last) {
    for (;;) {
        const SpeedSnapshot now = draft.Snapshot();
        const ShownRange shown = FindForward(now, first, last);
        if (shown.StaysInside() && !shown.RunsBackwards()) {
            return;
        }
        const SpeedState& state = SpeedSnapshotAccess::StateOf(now);
        const double most = now.GetReverse() != 0 ? state.sourceTotalTime - first : last;
        double excess = shown.highest - most;
        std::vector<Gain> gains = FindGains(state.Map());
        bool changes = false;
        for (const Gain& gain : gains) {
            if (gain.isNegative) {
                changes = Straighten(draft, gain.keyframe) || changes;
            }
        }
        if (!changes && excess > kTimeTolerance) {
            std::stable_sort(gains.begin(), gains.end(),
                             [](const Gain& a, const Gain& b) { return a.source > b.source; });
            for (const Gain& gain : gains) {
                if (excess > 0.0 && gain.source > kTimeTolerance &&
                    Straighten(draft, gain.keyframe)) {
                    excess -= gain.source;
                    changes = true;
                }
            }
        }
        // What is cut off is told by the keyframes, so that they must say what is shown.
        for (std::size_t i = 0; i < gains.size() && !changes && excess > kTimeTolerance; ++i) {
            changes =
                std::fabs(gains[i].source) > kTimeTolerance && Straighten(draft, gains[i].keyframe);
        }
        if (!changes) {
            return;
        }
    }
}

// Where the running source reaches the end of the material.
void CutOff(SpeedParameter& draft, double first, double last) {
    const SpeedSnapshot now = draft.Snapshot();
    const ShownRange shown = FindForward(now, first, last);
    if (shown.RunsBackwards()) {
        throw NoClip("it can't be kept from running backwards");
    }
    if (shown.StaysInside()) {
        return;
    }
    const double start = shown.outside.front().from;
    if (start <= kTimeTolerance) {
        throw NoClip("the material lacks the clip's first picture");
    }
    const ClipPart inside = TrimClip(now, 0.0, start);
    if (!inside) {
        throw NoClip(inside.reason);
    }
    const SpeedState& made = SpeedSnapshotAccess::StateOf(inside.speed);
    draft.Restore(SpeedSnapshotAccess::With(
        now, Shared<SpeedState>::Make(made.keyframes, made.freezes, now.GetSourceTotalTime(),
                                      made.sourceFPS)));
}

}  // namespace

ShownRange FindShownRange(const SpeedSnapshot& clip, double first, double last) {
    ShownRange shown = FindForward(clip, first, last);
    if (clip.GetReverse() != 0) {
        const double length = clip.GetSourceTotalTime();
        shown.lowest = std::exchange(shown.highest, length - shown.lowest);
        shown.lowest = length - shown.lowest;
    }
    return shown;
}

ShownRange FindShownRange(const SpeedSnapshot& clip) {
    return FindShownRange(clip, 0.0, clip.GetSourceTotalTime());
}

CurveEditResult KeepInside(SpeedParameter& clip, double first, double last, double slowest) {
    if (!(slowest >= kNearZeroSpeed && slowest < kInfinity)) {
        return {"the slowest speed is none"};
    }
    CurveEditResult result;
    const bool isDone = clip.Edit([&](SpeedParameter& draft) {
        result.reason.clear();
        const SpeedSnapshot before = draft.Snapshot();
        const ShownRange shown = FindForward(before, first, last);
        if (shown.StaysInside() && !shown.RunsBackwards()) {
            return;  // negative speeds that are never played stay, too
        }
        try {
            RaiseNegatives(draft, slowest);
            StraightenUntilInside(draft, first, last);
            CutOff(draft, first, last);
        } catch (const NoClip& why) {
            result.reason = why.what();
            draft.Restore(before);
        }
    });
    if (!isDone) {
        return {"the curve was moved away"};
    }
    return result;
}

CurveEditResult KeepInside(SpeedParameter& clip) {
    return KeepInside(clip, 0.0, clip.GetSourceTotalTime());
}

}  // namespace core
