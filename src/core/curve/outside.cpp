#include <core/curve/outside.h>

#include "core/curve/curve.h"
#include "core/curve/numbers.h"
#include "core/curve/segment_shape.h"
#include "core/curve/snapshot_access.h"

#include <algorithm>
#include <cmath>

// Every time is some keyframes' time again, in some cycle: t = first + k d + phase with
// 0 <= phase < d. Areas follow from that of one cycle: with F(t) the area from the first
// keyframe to t, A = F(d) and r the rise,
//
//     loop:              F(t) = k A + F(phase)
//     with offset:       F(t) = k A + F(phase) + r (d k (k - 1) / 2 + k phase)
//     there and back:    the same as a loop of 2 d, whose second half mirrors the first
//
// for k < 0 as well.

namespace core {
namespace {

struct Cycle {
    double count;
    double phase;
};

Cycle CycleOf(double sinceFirst, double length) noexcept {
    double phase = std::fmod(sinceFirst, length);
    if (phase < 0.0) {
        phase += length;
    }
    if (!(phase < length)) {
        phase = 0.0;
    }
    return {std::round((sinceFirst - phase) / length), phase};
}

// How fast a path moves at an end of a segment.
Pointd VelocityAt(const Segment& path, double u) noexcept {
    const CubicBezier& b = path.Curve().bezier;
    const double dt = path.To() - path.from;
    return {b.SlopeX(u) / dt, ((3.0 * b.ay * u + 2.0 * b.by) * u + b.cy) / dt};
}

// An upright tangent leads nowhere.
Pointd FiniteOrRest(Pointd slope) noexcept {
    return std::isfinite(slope.x) && std::isfinite(slope.y) ? slope : Pointd{};
}

void ReadEnd(const TimeValuePair& keyframe, Pointd& value) {
    const ValAny& stored = keyframe.PeekValue();
    if (stored.Kind() == ValAny::kPoint) {
        value = stored.AsPoint();
    } else {
        ReadNumber(stored, value.x);
    }
}

}  // namespace

ExtendedCurve::ExtendedCurve(const CurveSnapshot& curve, OutsideRules wanted)
    : snapshot(curve), rules(wanted) {
    const Curve& all = SnapshotAccess::CurveOf(snapshot);
    if (all.Count() < 2) {
        rules = {};
        return;
    }
    first = all.TimeOf(0);
    last = all.TimeOf(all.Count() - 1);
    ReadEnd(all[0], firstValue);
    ReadEnd(all[all.Count() - 1], lastValue);
    const Segment& start = all.SegmentAt(first);
    const Segment& end = all.SegmentAt(std::nextafter(last, first));
    if (start.shape == Segment::Shape::Path) {
        firstSlope = VelocityAt(start, 0.0);
    } else if (start.IsNumeric()) {
        firstSlope.x = SegmentShape(start).SlopeAt(first, SegmentShape::From::After);
    }
    if (end.shape == Segment::Shape::Path) {
        lastSlope = VelocityAt(end, 1.0);
    } else if (end.IsNumeric()) {
        lastSlope.x = SegmentShape(end).SlopeAt(last, SegmentShape::From::Before);
    }
    firstSlope = FiniteOrRest(firstSlope);
    lastSlope = FiniteOrRest(lastSlope);
}

ExtendedCurve::ExtendedCurve(const ExtendedCurve& other) noexcept = default;
ExtendedCurve& ExtendedCurve::operator=(const ExtendedCurve& other) noexcept = default;
ExtendedCurve::~ExtendedCurve() = default;

ValAny ExtendedCurve::GetValue(double time, bool clampToRange) const {
    const bool isBefore = time < first;
    const OutsideRule rule = isBefore         ? rules.before
                             : !(time < last) ? rules.after
                                              : OutsideRule::Hold;
    if (rule == OutsideRule::Hold || !std::isfinite(time)) {
        return snapshot.GetValue(time, clampToRange);
    }
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    const double length = last - first;
    double inside = time;
    Pointd more;
    if (rule == OutsideRule::Linear) {
        inside = isBefore ? std::nextafter(first, time) : last;
        const Pointd& slope = isBefore ? firstSlope : lastSlope;
        const double beyond = time - (isBefore ? first : last);
        more = {slope.x * beyond, slope.y * beyond};
    } else if (rule == OutsideRule::PingPong) {
        const double phase = CycleOf(time - first, 2.0 * length).phase;
        inside = std::min(first + std::min(phase, 2.0 * length - phase), last);
    } else {
        const Cycle cycle = CycleOf(time - first, length);
        inside = std::min(first + cycle.phase, std::nextafter(last, first));
        if (rule == OutsideRule::LoopWithOffset) {
            more = {cycle.count * (lastValue.x - firstValue.x),
                    cycle.count * (lastValue.y - firstValue.y)};
        }
    }
    if (more == Pointd{}) {
        return snapshot.GetValue(inside, clampToRange);
    }
    const Segment& segment = curve.SegmentAt(inside);
    if (segment.IsNumeric()) {
        return curve.Finish(SampleSegment(segment, inside) + more.x, clampToRange);
    }
    ValAny value = snapshot.GetValue(inside, clampToRange);
    if (value.Kind() == ValAny::kPoint) {
        const Pointd place = value.AsPoint();
        value = Pointd{place.x + more.x, place.y + more.y};
    }
    return value;
}

void ExtendedCurve::GetValues(const double* times, std::size_t count, bool clampToRange,
                              double* values) const {
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = GetValue(times[i], clampToRange).AsDouble();
    }
}

void ExtendedCurve::GetValues(const double* times, std::size_t count, bool clampToRange,
                              Pointd* values) const {
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = GetValue(times[i], clampToRange).AsPoint();
    }
}

double ExtendedCurve::CycleArea() const {
    return snapshot.GetAreaFromTo(first, last);
}

// From the first keyframe on.
double ExtendedCurve::AreaUpTo(double time) const {
    const bool isBefore = time < first;
    const OutsideRule rule = isBefore         ? rules.before
                             : !(time < last) ? rules.after
                                              : OutsideRule::Hold;
    const double length = last - first;
    const auto upTo = [this](double phase) {
        return snapshot.GetAreaFromTo(first, std::min(first + phase, last));
    };
    // A bool's samples know no lines and no rise.
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    const bool isNumber = curve.Type() != ParameterBool;
    const double ratio = isNumber ? curve.Ratio() : 0.0;
    switch (rule) {
        case OutsideRule::Linear: {
            const double beyond = time - (isBefore ? first : last);
            const double slope = isBefore ? firstSlope.x : lastSlope.x;
            return snapshot.GetAreaFromTo(first, time) + ratio * slope * beyond * beyond / 2.0;
        }
        case OutsideRule::Loop:
        case OutsideRule::LoopWithOffset: {
            const Cycle cycle = CycleOf(time - first, length);
            const double k = cycle.count;
            double area = k * CycleArea() + upTo(cycle.phase);
            if (rule == OutsideRule::LoopWithOffset) {
                area += ratio * (lastValue.x - firstValue.x) *
                        (length * k * (k - 1.0) / 2.0 + k * cycle.phase);
            }
            return area;
        }
        case OutsideRule::PingPong: {
            const Cycle cycle = CycleOf(time - first, 2.0 * length);
            const double whole = CycleArea();
            const double part = cycle.phase <= length
                                    ? upTo(cycle.phase)
                                    : 2.0 * whole - upTo(2.0 * length - cycle.phase);
            return 2.0 * cycle.count * whole + part;
        }
        case OutsideRule::Hold:
            break;
    }
    return snapshot.GetAreaFromTo(first, time);
}

double ExtendedCurve::GetAreaFromTo(double from, double to) const {
    if (!std::isfinite(from) || !std::isfinite(to)) {
        return 0.0;
    }
    const auto isInside = [this](double t) { return first <= t && t < last; };
    if ((isInside(from) && isInside(to)) || !(first < last)) {
        return snapshot.GetAreaFromTo(from, to);
    }
    return AreaUpTo(to) - AreaUpTo(from);
}

}  // namespace core
