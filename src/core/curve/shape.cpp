#include <core/curve/shape.h>

#include "core/curve/curve.h"
#include "core/curve/numbers.h"
#include "core/curve/segment_shape.h"
#include "core/curve/snapshot_access.h"

#include <core/curve/snapshot.h>
#include <core/curve/time_unit.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

// Intervals are walked in stretches: the part of a segment on which time grows with its
// parameter. That is all of it, unless its shape solves for time and its start counts
// seconds, its end ticks; then the times below the first tick are a stretch of their own.

namespace core {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// A single keyframe's value is sampled as it is stored, without the ratio.
double RatioOf(const Curve& curve) noexcept {
    return curve.Count() > 1 ? curve.Ratio() : 1.0;
}

double SingleValue(const Curve& curve) {
    return curve.Count() == 1 ? RequireNumber(curve[0].PeekValue()) : 0.0;
}

// From `from` to `to` of a segment; `isLast` where the end belongs to it.
struct Stretch {
    const SegmentShape& shape;
    double from;
    double to;
    bool isLast;
};

template <class Visit>
void VisitStretches(const SegmentShape& shape, double from, double to, bool isLast,
                    const Visit& visit) {
    if (shape.IsInSeconds() && from < kFirstTickCount && to >= kFirstTickCount) {
        visit(Stretch{shape, from, std::nextafter(kFirstTickCount, 0.0), true});
        from = kFirstTickCount;
    }
    visit(Stretch{shape, from, to, isLast});
}

// The stretches of a curve from `from` to `to`, in order.
template <class Visit>
void WalkCurve(const Curve& curve, double from, double to, const Visit& visit) {
    const std::size_t count = curve.Count();
    if (count < 2) {
        std::array<Segment, 2> all;
        PrepareConstant(-kInfinity, kInfinity, SingleValue(curve), all.data());
        VisitStretches(SegmentShape(all[0]), from, to, true, visit);
        return;
    }
    const Segment* segment = &curve.SegmentAt(from);
    for (double start = from;;) {
        const bool isLast = !(segment->To() <= to);
        VisitStretches(SegmentShape(*segment), start, isLast ? to : segment->To(), isLast, visit);
        if (isLast || std::isinf(segment->To())) {
            return;
        }
        start = segment->To();
        segment = segment[1].Holds(start) ? segment + 1 : &curve.SegmentAt(start);
    }
}

bool IsNear(double a, double b, double rounding) noexcept {
    return std::fabs(a - b) <= rounding;
}

// Collects the times of a value, stretch by stretch.
class TimesOfValue {
public:
    TimesOfValue(double wanted, double valueRatio) : value(wanted), ratio(valueRatio) {}

    void Add(const Stretch& stretch) {
        const SegmentShape& shape = stretch.shape;
        const double rounding = std::fabs(shape.Rounding() * ratio);
        const bool inTicks = stretch.to >= kFirstTickCount;
        const double last = shape.ParameterAt(stretch.to);
        double a = shape.ParameterAt(stretch.from);
        double atA = ratio * shape.ValueAt(a) - value;
        const auto timeAt = [&](double s) {
            return std::clamp(shape.TimeAt(s, inTicks), stretch.from, stretch.to);
        };
        const auto step = [&](double b) {
            const double atB = ratio * shape.ValueAt(b) - value;
            const bool isAtA = IsNear(atA, 0.0, rounding);
            const bool isAtB = IsNear(atB, 0.0, rounding);
            if (isAtA && isAtB) {
                Rest(timeAt(a), b == last ? stretch.to : timeAt(b));
            } else if (isAtA) {
                Reach(timeAt(a));
            } else if (!isAtB && (atA < 0.0) != (atB < 0.0)) {
                const auto distance = [&](double s, double& slope) {
                    const double at = ratio * shape.ValueAt(s, slope) - value;
                    slope *= ratio;
                    return at;
                };
                Reach(timeAt(RootInBracket(distance, a, b, 0.5 * (a + b))));
            }
            a = b;
            atA = atB;
        };
        for (const double turn : shape.Turns(a, last)) {
            step(turn);
        }
        step(last);
        if (stretch.isLast && IsNear(atA, 0.0, rounding)) {
            Reach(timeAt(last));
        }
    }

    std::vector<double> times;

private:
    void Reach(double time) {
        if (!(time <= restsUntil) && (times.empty() || !(time - times.back() < kTimeTolerance))) {
            times.push_back(time);
        }
    }
    void Rest(double from, double to) {
        Reach(from);
        restsUntil = std::max(restsUntil, to);
    }

    double value;
    double ratio;
    double restsUntil = -kInfinity;
};

}  // namespace

CurveSlopes SlopesAt(const CurveSnapshot& snapshot, double time) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    if (curve.Count() < 2) {
        SingleValue(curve);
        return std::isnan(time) ? CurveSlopes{kNan, kNan} : CurveSlopes{};
    }
    if (std::isnan(time)) {
        return {kNan, kNan};
    }
    using From = SegmentShape::From;
    const Segment& leaving = curve.SegmentAt(time);
    const Segment& arriving =
        leaving.from == time ? curve.SegmentAt(std::nextafter(time, -kInfinity)) : leaving;
    const double ratio = curve.Ratio();
    return {ratio * SegmentShape(arriving).SlopeAt(time, From::Before),
            ratio * SegmentShape(leaving).SlopeAt(time, From::After)};
}

ValueExtremes FindExtremes(const CurveSnapshot& snapshot, double from, double to) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    if (std::isnan(from) || std::isnan(to)) {
        return {kNan, kNan, kNan, kNan};
    }
    const double ratio = RatioOf(curve);
    ValueExtremes found{kInfinity, 0.0, -kInfinity, 0.0};
    WalkCurve(curve, std::min(from, to), std::max(from, to), [&](const Stretch& stretch) {
        const SegmentShape& shape = stretch.shape;
        const auto consider = [&](double s, double time) {
            const double y = ratio * shape.ValueAt(s);
            if (y < found.least) {
                found.least = y;
                found.leastTime = time;
            }
            if (y > found.greatest) {
                found.greatest = y;
                found.greatestTime = time;
            }
        };
        const double first = shape.ParameterAt(stretch.from);
        const double last = shape.ParameterAt(stretch.to);
        const bool inTicks = stretch.to >= kFirstTickCount;
        consider(first, std::isinf(stretch.from) ? stretch.to : stretch.from);
        for (const double s : shape.Turns(first, last)) {
            consider(s, std::clamp(shape.TimeAt(s, inTicks), stretch.from, stretch.to));
        }
        consider(last, stretch.to);
    });
    return found;
}

std::vector<double> FindTimesOfValue(const CurveSnapshot& snapshot, double value, double from,
                                     double to) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    TimesOfValue found(value, RatioOf(curve));
    if (from <= to) {
        WalkCurve(curve, from, to, [&](const Stretch& stretch) { found.Add(stretch); });
    }
    return std::move(found.times);
}

int FindNextKeyframe(const CurveSnapshot& snapshot, double time) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    const Curve::Range matches = curve.MatchesOf(time);
    return matches.last < curve.Count() && !std::isnan(time) ? static_cast<int>(matches.last) : -1;
}

int FindPreviousKeyframe(const CurveSnapshot& snapshot, double time) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    return std::isnan(time) ? -1 : static_cast<int>(curve.MatchesOf(time).first) - 1;
}

}  // namespace core
