#include <core/speed/carry.h>

#include "core/curve/curve.h"
#include "core/curve/numbers.h"
#include "core/curve/segment_shape.h"
#include "core/curve/snapshot_access.h"
#include "core/speed/snapshot_access.h"

#include <core/curve/parameter.h>
#include <core/curve/snapshot.h>
#include <core/speed/guard.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// The timeline is cut into passages: between two freezes, keyframes of the clip, changes of its
// direction and keyframes of the curve, so that in each the source runs one way and the curve is
// smooth. A passage becomes pieces, each the cubic through the curve at 0, 1/4, 3/4 and 1 of it,
// as long as they may be.

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// Inside a passage by this much nothing is at a keyframe, for which it would count as well.
constexpr double kInside = 2.0 * kTimeTolerance;

// A passage shorter than this is part of the one before; a value that jumps rests so long.
constexpr double kShortest = 1e-6;

// Values that differ by this part of the range are one.
constexpr double kRounding = 1e-9;

// By more a source time does not lie behind another.
constexpr double kOverlap = 1e-6;

// A stretch of the clip: render times, and the source times at its ends.
struct Passage {
    double from, to;
    double sourceFrom, sourceTo;
};

double Between(double a, double x, double b) noexcept {
    return std::clamp(x, std::min(a, b), std::max(a, b));
}

// The source time inside a passage, whose ends it has not.
double SourceIn(const SpeedSnapshot& clip, const Passage& p, double t) {
    return Between(p.sourceFrom,
                   clip.GetSourceTime(std::clamp(t, p.from + kInside, p.to - kInside)), p.sourceTo);
}

// Where a passage shows a source time.
double RenderIn(const SpeedSnapshot& clip, const Passage& p, double source) {
    const bool rises = p.sourceTo >= p.sourceFrom;
    double a = p.from;
    double b = p.to;
    for (int i = 0; i < 60; ++i) {
        const double middle = 0.5 * (a + b);
        ((SourceIn(clip, p, middle) < source) == rises ? a : b) = middle;
    }
    return 0.5 * (a + b);
}

// The source time that a passage begins or ends with: that of the keyframe there, unless the clip
// jumps to it.
double SourceAtEdge(const SpeedSnapshot& clip, double t, double inwards) {
    constexpr double kMostPassed = 1e-4;
    const double inside = clip.GetSourceTime(t + inwards);
    const double there = clip.GetSourceTime(t);
    return std::fabs(there - inside) < kMostPassed ? there : inside;
}

std::vector<Passage> PassagesOf(const SpeedSnapshot& clip) {
    const SpeedState& state = SpeedSnapshotAccess::StateOf(clip);
    const TimeMap& map = state.Map();
    const double length = clip.GetRenderTotalTime();
    std::vector<double> edges = {0.0, length};
    const auto freezes = state.freezes->Freezes();
    for (std::size_t i = 0; i < freezes.size(); ++i) {
        const double start = state.Placed().RenderStart(i);
        edges.insert(edges.end(), {start, start + freezes[i].duration});
    }
    std::size_t before = 0;
    for (std::size_t i = 0; i < map.RenderCount(); ++i) {
        const double time = map.RenderKey(i).time;
        while (before < freezes.size() && state.Placed().MapTime(before) < time - kTimeTolerance) {
            ++before;
        }
        edges.push_back(time + state.freezes->DurationBefore(before));
    }
    for (const TimeRange& range : FindShownRange(clip).backwards) {
        edges.insert(edges.end(), {range.from, range.to});
    }
    std::sort(edges.begin(), edges.end());
    std::vector<Passage> passages;
    double from = 0.0;
    for (const double edge : edges) {
        const double to = std::min(edge, length);
        if (to - from <= (to == length ? 0.0 : kShortest)) {
            continue;
        }
        if (to - from <= kShortest) {  // the end belongs to the last one
            break;
        }
        passages.push_back(
            {from, to, SourceAtEdge(clip, from, kInside), SourceAtEdge(clip, to, -kInside)});
        from = to;
    }
    return passages;
}

// A stretch of the curve that is made, where the other one is smooth: its times, and those of the
// other curve at its ends.
struct Smooth {
    double from, to;
    double otherFrom, otherTo;
    const Passage* passage;
};

// One or two numbers.
using Numbers = std::array<double, 2>;

Numbers Minus(const Numbers& a, const Numbers& b) noexcept {
    return {a[0] - b[0], a[1] - b[1]};
}

bool IsSameValue(const ValAny& a, const ValAny& b) {
    return a.Kind() == b.Kind() && (a.Kind() == ValAny::kBool     ? a.AsBool() == b.AsBool()
                                    : a.Kind() == ValAny::kString ? a.AsString() == b.AsString()
                                                                  : a.AsDouble() == b.AsDouble());
}

double SizeOf(const Numbers& a) noexcept {
    return std::hypot(a[0], a[1]);
}

struct Cubic {
    Numbers start, end;
    Numbers slope0, slope1;  // over the whole of it

    Numbers At(double u) const noexcept {
        Numbers value{};
        for (std::size_t i = 0; i < value.size(); ++i) {
            const double rise = end[i] - start[i];
            const double c = 3.0 * rise - 2.0 * slope0[i] - slope1[i];
            const double d = slope0[i] - 2.0 * rise + slope1[i];
            value[i] = ((d * u + c) * u + slope0[i]) * u + start[i];
        }
        return value;
    }
};

enum class Way { ToRender, ToSource };

class Carrier {
public:
    Carrier(const CurveSnapshot& from, const SpeedSnapshot& along, Way direction, double missed)
        : curve(from),
          asDoubles(from.ToParameter()),
          clip(along),
          way(direction),
          tolerance(missed),
          type(from.GetParameterType()) {
        if (type == ParameterInt) {
            asDoubles.SetParameterType(ParameterDouble);
        }
        samples = asDoubles.Snapshot();
    }

    CurveEditResult Run(Parameter& carried) {
        if (!(tolerance > 0.0)) {
            return {"the tolerance is not above 0"};
        }
        const TimeMap& map = SpeedSnapshotAccess::StateOf(clip).Map();
        if (curve.GetKeyFramesCount() == 0 || map.SourceCount() == 0) {
            return {"the curve or the clip has no keyframes"};
        }
        if (!map.IsOneToOne()) {
            return {"keyframes of the clip meet on the timeline"};
        }
        passages = PassagesOf(clip);
        if (passages.empty()) {
            return {"the clip is too short"};
        }
        FindStretches();
        for (std::size_t i = 0; i + 1 < stretches.size(); ++i) {
            if (stretches[i + 1].from < stretches[i].to - kOverlap) {
                return {"the clip shows source time " + std::to_string(stretches[i + 1].from) +
                        " s more than once"};
            }
        }
        try {
            IsNumeric() ? CarryNumbers() : CarryOthers();
        } catch (const AnyBadAccess&) {
            return {"the curve has values that are none of its kind"};
        }
        carried.Restore(Made().Snapshot());
        return {};
    }

private:
    bool IsPath() const noexcept { return type == ParameterPoint; }
    bool IsNumeric() const noexcept { return type != ParameterBool && type != ParameterString; }

    // In ascending order of the curve that is made.
    void FindStretches() {
        std::vector<double> keys;
        keys.reserve(static_cast<std::size_t>(curve.GetKeyFramesCount()));
        for (int i = 0; i < curve.GetKeyFramesCount(); ++i) {
            keys.push_back(curve.GetKeyframe(i).GetTime());
        }
        for (const Passage& p : passages) {
            const bool toRender = way == Way::ToRender;
            if (!toRender && std::fabs(p.sourceTo - p.sourceFrom) <= kShortest) {  // as in freezes
                continue;
            }
            // The other curve's keyframes in it, in the order in which it passes them.
            const double begin = toRender ? p.sourceFrom : p.from;
            const double finish = toRender ? p.sourceTo : p.to;
            std::vector<double> passed;
            for (const double key : keys) {
                if (key > std::min(begin, finish) && key < std::max(begin, finish)) {
                    passed.push_back(key);
                }
            }
            if (begin > finish) {
                std::reverse(passed.begin(), passed.end());
            }
            passed.push_back(finish);
            double other = begin;
            double from = toRender ? p.from : p.sourceFrom;
            for (std::size_t i = 0; i < passed.size(); ++i) {
                const double next = passed[i];
                const bool isLast = i + 1 == passed.size();
                const double to = isLast ? (toRender ? p.to : p.sourceTo)
                                         : (toRender ? RenderIn(clip, p, next) : Shown(p, next));
                if (!isLast && std::fabs(to - from) <= kShortest) {
                    continue;
                }
                stretches.push_back({from, to, other, next, &p});
                from = to;
                other = next;
            }
        }
        for (Smooth& s : stretches) {
            if (s.from > s.to) {
                std::swap(s.from, s.to);
                std::swap(s.otherFrom, s.otherTo);
            }
        }
        if (!stretches.empty() && stretches.front().from > stretches.back().from) {
            std::reverse(stretches.begin(), stretches.end());
        }
    }
    double Shown(const Passage& p, double t) const { return SourceIn(clip, p, t); }
    // The time of the other curve, inside a stretch.
    double OtherAt(const Smooth& s, double x) const {
        const double other =
            way == Way::ToRender ? Shown(*s.passage, x) : RenderIn(clip, *s.passage, x);
        const double margin = std::min(kInside, 0.25 * std::fabs(s.otherTo - s.otherFrom));
        const double low = std::min(s.otherFrom, s.otherTo);
        const double high = std::max(s.otherFrom, s.otherTo);
        return std::clamp(other, low + margin, high - margin);
    }
    Numbers NumbersAt(double time) const {
        const Curve& from = SnapshotAccess::CurveOf(samples);
        if (!IsPath() && from.Count() > 1) {
            const SegmentShape shape(from.SegmentAt(time));
            // A piece that followed the steps of the bisection would need a keyframe for each.
            if (shape.IsPlanar()) {
                return {from.Ratio() * shape.ValueAt(shape.ParameterAt(time)), 0.0};
            }
        }
        return NumbersOf(samples.GetValue(time, false));
    }
    Numbers NumbersOf(const ValAny& value) const {
        if (IsPath()) {
            const Pointd point = value.AsPoint();
            return {point.x, point.y};
        }
        double number = 0.0;
        if (!ReadNumber(value, number)) {
            throw AnyBadAccess();
        }
        return {number, 0.0};
    }
    Numbers At(const Smooth& s, double x) const { return NumbersAt(OtherAt(s, x)); }
    // At an end of a stretch: that of the keyframe there, unless the curve jumps at it.
    Numbers AtEnd(const Smooth& s, bool isStart) const {
        const Numbers inside = At(s, isStart ? s.from : s.to);
        const Numbers there = NumbersAt(isStart ? s.otherFrom : s.otherTo);
        return SizeOf(Minus(inside, there)) <= 1e-3 * tolerance * range ? there : inside;
    }

    void CarryOthers() {
        for (const Smooth& s : stretches) {
            const ValAny value = curve.GetValue(OtherAt(s, 0.5 * (s.from + s.to)), false);
            if (values.empty() || !IsSameValue(values.back(), value)) {
                Put(s.from, value, Type::Hold);
            }
        }
    }

    void CarryNumbers() {
        FindRange();
        for (std::size_t i = 0; i < stretches.size(); ++i) {
            const Smooth& s = stretches[i];
            Numbers end = AtEnd(s, false);
            const bool jumps =
                i + 1 < stretches.size() &&
                SizeOf(Minus(AtEnd(stretches[i + 1], true), end)) > 1e-2 * tolerance * range;
            Numbers start = AtEnd(s, true);
            if (IsHeld(s, start)) {
                Hold(s.from, start);
                rest = start;
                continue;
            }
            const double to = jumps ? s.to - std::min(kShortest, 0.5 * (s.to - s.from)) : s.to;
            CarryStretch(s, to, start, end);
            if (jumps) {
                Hold(to, end);
            }
            rest = end;
        }
        if (!stretches.empty() && (handles.empty() || !IsSame(heldValue, rest) || !isHolding)) {
            Hold(stretches.back().to, rest);
        }
        // Before its first keyframe a curve rests anyway.
        if (keyframes.size() > 1 && keyframes[0].GetInterpolation() == Type::Hold &&
            IsSame(NumbersOf(values[0]), NumbersOf(values[1]))) {
            keyframes.erase(keyframes.begin());
            handles.erase(handles.begin());
        }
    }
    void FindRange() {
        Numbers low{};
        Numbers high{};
        bool isFirst = true;
        for (const Smooth& s : stretches) {
            for (int i = 0; i <= 16; ++i) {
                const Numbers value = At(s, s.from + (s.to - s.from) * i / 16.0);
                for (std::size_t k = 0; k < value.size(); ++k) {
                    low[k] = isFirst ? value[k] : std::min(low[k], value[k]);
                    high[k] = isFirst ? value[k] : std::max(high[k], value[k]);
                }
                isFirst = false;
            }
        }
        range = SizeOf(Minus(high, low));
    }
    bool IsSame(const Numbers& a, const Numbers& b) const noexcept {
        return SizeOf(Minus(a, b)) <= kRounding * range;
    }
    bool IsHeld(const Smooth& s, const Numbers& value) const {
        for (int i = 1; i < 16; ++i) {
            if (!IsSame(value, At(s, s.from + (s.to - s.from) * i / 16.0))) {
                return false;
            }
        }
        return true;
    }
    Cubic Through(const Smooth& s, double from, double to, const Numbers& start,
                  const Numbers& end) const {
        Cubic made{start, end, {}, {}};
        const Numbers quarter = At(s, from + 0.25 * (to - from));
        const Numbers late = At(s, from + 0.75 * (to - from));
        for (std::size_t i = 0; i < start.size(); ++i) {
            const double rise = end[i] - start[i];
            // The rest is u (1 - u) (a + b u).
            const double at1 = 16.0 / 3.0 * (quarter[i] - start[i] - 0.25 * rise);
            const double at3 = 16.0 / 3.0 * (late[i] - start[i] - 0.75 * rise);
            const double b = 2.0 * (at3 - at1);
            const double a = at1 - 0.25 * b;
            made.slope0[i] = rise + a;
            made.slope1[i] = rise - a - b;
        }
        return made;
    }
    bool Fits(const Smooth& s, double from, double to, const Cubic& cubic) const {
        constexpr int kSamples = 96;
        for (int i = 1; i < kSamples; ++i) {
            const double u = static_cast<double>(i) / kSamples;
            // A part is left for what lies between the samples.
            if (!(SizeOf(Minus(cubic.At(u), At(s, from + u * (to - from)))) <=
                  0.85 * tolerance * range)) {
                return false;
            }
        }
        return true;
    }
    void CarryStretch(const Smooth& s, double to, const Numbers& startValue,
                      const Numbers& endValue) {
        Numbers start = startValue;
        for (double from = s.from; from < to;) {
            // The longest piece that fits, to a hundredth.
            const auto make = [&](double stop) {
                return Through(s, from, stop, start, stop == to ? endValue : At(s, stop));
            };
            double stop = to;
            Cubic piece = make(stop);
            if (!Fits(s, from, stop, piece)) {
                double fits = 0.0;
                double fails = to - from;
                while (fails - fits > 0.01 * fails && fails > 4.0 * kShortest) {
                    const double middle = fits > 0.0 ? 0.5 * (fits + fails) : 0.5 * fails;
                    (Fits(s, from, from + middle, make(from + middle)) ? fits : fails) = middle;
                }
                stop = std::min(from + std::max(fits, 2.0 * kShortest), to);
                stop = to - stop < 2.0 * kShortest ? to : stop;
                piece = make(stop);
            }
            Draw(from, stop, piece);
            start = piece.end;
            from = stop;
        }
    }

    // What is made

    struct Handles {
        bool hasRight = false;
        bool hasLeft = false;
        Pointd left, right;
    };
    void Put(double time, const ValAny& value, Type interpolation) {
        keyframes.emplace_back(time, value, interpolation);
        values.push_back(value);
        handles.emplace_back();
        if (hasPending) {
            handles.back().hasLeft = true;
            handles.back().left = pendingLeft;
            hasPending = false;
        }
    }
    ValAny ValueOf(const Numbers& n) const {
        return IsPath() ? ValAny(Pointd{n[0], n[1]}) : ValAny(n[0]);
    }
    void Hold(double time, const Numbers& value) {
        if (!isHolding || !IsSame(heldValue, value)) {
            // A path's segment reads no handle on the side of a keyframe that holds.
            const bool hasHandle = IsPath() && hasPending;
            if (hasHandle) {
                Put(time, ValueOf(value), Type::Hermite);
                SetHandles({value[0], value[1]}, {value[0], value[1]});
            }
            Put(hasHandle ? time + kShortest : time, ValueOf(value), Type::Hold);
        }
        isHolding = true;
        heldValue = value;
    }
    void Draw(double from, double to, const Cubic& c) {
        isHolding = false;
        bool isStraight = !IsPath();
        for (const Numbers& slope : {c.slope0, c.slope1}) {
            isStraight = isStraight && IsSame(slope, Minus(c.end, c.start));
        }
        Put(from, ValueOf(c.start), isStraight ? Type::Linear : Type::Hermite);
        const double span = to - from;
        if (IsPath()) {
            SetHandles({c.start[0] + c.slope0[0] / 3.0, c.start[1] + c.slope0[1] / 3.0},
                       {c.end[0] - c.slope1[0] / 3.0, c.end[1] - c.slope1[1] / 3.0});
        } else if (!isStraight) {
            SetHandles({c.slope0[0] / span, 0.0}, {c.slope1[0] / span, 0.0});
        }
    }
    void SetHandles(Pointd right, Pointd left) {
        handles.back().hasRight = true;
        handles.back().right = right;
        hasPending = true;
        pendingLeft = left;
    }
    Parameter Made() {
        Parameter made = curve.ToParameter();
        made.ClearKeyFrames();
        if (type == ParameterInt) {
            made.SetParameterType(ParameterDouble);
        }
        made.SetBaseRatio(ValAny(nullptr));
        made.AddPoints(keyframes.data(), keyframes.size());
        for (std::size_t i = 0; i < handles.size(); ++i) {
            const int index = static_cast<int>(i);
            if (handles[i].hasLeft) {
                made.SetPointControlLeftParam(index, handles[i].left.x, handles[i].left.y);
            }
            if (handles[i].hasRight) {
                made.SetPointControlRightParam(index, handles[i].right.x, handles[i].right.y);
            }
        }
        return made;
    }

    const CurveSnapshot& curve;
    Parameter asDoubles;
    CurveSnapshot samples;
    const SpeedSnapshot& clip;
    const Way way;
    const double tolerance;
    const ParameterTypeEnum type;
    std::vector<Passage> passages;
    std::vector<Smooth> stretches;
    double range = 0.0;

    std::vector<TimeValuePair> keyframes;
    std::vector<ValAny> values;
    std::vector<Handles> handles;
    bool hasPending = false;  // a left handle of the next keyframe
    Pointd pendingLeft{};
    bool isHolding = false;
    Numbers heldValue{};
    Numbers rest{};
};

}  // namespace

CurveEditResult CarryToRenderTime(const CurveSnapshot& curve, const SpeedSnapshot& clip,
                                  Parameter& carried, double tolerance) {
    return Carrier(curve, clip, Way::ToRender, tolerance).Run(carried);
}

CurveEditResult CarryToSourceTime(const CurveSnapshot& curve, const SpeedSnapshot& clip,
                                  Parameter& carried, double tolerance) {
    return Carrier(curve, clip, Way::ToSource, tolerance).Run(carried);
}

}  // namespace core
