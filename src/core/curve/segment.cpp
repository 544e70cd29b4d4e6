#include "core/curve/segment.h"

#include "core/curve/numbers.h"

#include <core/curve/any_kind_mismatch.h>
#include <core/curve/time_unit.h>

#include <algorithm>
#include <array>
#include <cmath>

// Letters of this file: (t0, y0) and (t1, y1) are the ends of the segment, dt and
// dv the differences of time and value, d0 and d1 the end slopes times dt, u the
// progress along the segment.

namespace core {
namespace {

// Offsets this small are rounding; see `BezierAnchors`.
constexpr double kNoOffset = kNegligible;

void Put(Segment* into, Segment::Shape shape, double from, double to, double c0, double c1 = 0.0,
         double c2 = 0.0, double c3 = 0.0) noexcept {
    into->from = from;
    into->c[0] = c0;
    into->c[1] = c1;
    into->c[2] = c2;
    into->c[3] = c3;
    into->shape = shape;
    into[1].from = to;
}

// The start is replaced by (t1 - 1, y1 - d1) with slope d1, which leaves the line
// through the end, d1 per time unit. Kept on purpose: d1 = dt lx is made with the
// duration of the whole segment, and stored projects show it.
// It is a line to the last digit: far from t1 a cubic term left over from rounding
// would be cubed up.
void PrepareExtrapolated(const SegmentEnds& e, Segment* into) noexcept {
    const double d1 = (e.t1 - e.t0) * e.lx;
    Put(into, Segment::Shape::Line, e.t0, e.t1, e.y1, d1, e.t1);
}

// Hermite form on [t0, t1]:
//
//     y0 + d0 u + (3 dv - 2 d0 - d1) u^2 + (d0 - 2 dv + d1) u^3
//
// For an end of type 26 the end is replaced by (t0 + 1, y0 + d0) with slope d0,
// which leaves the line through the start, d0 per time unit.
void PrepareHermite(const SegmentEnds& e, Segment* into) noexcept {
    const double dt = e.t1 - e.t0;
    const double d0 = dt * e.rx;
    if (e.type1 == KeyframeInterpolationType::Extrapolate) {
        Put(into, Segment::Shape::Line, e.t0, e.t1, e.y0, d0, e.t0);
        return;
    }
    const double d1 = dt * e.lx;
    const double dv = e.y1 - e.y0;
    Put(into, Segment::Shape::Cubic, e.t0, e.t1, e.y0, d0, 3.0 * dv - 2.0 * d0 - d1,
        d0 - 2.0 * dv + d1);
}

// What a slope adds over an offset in time. Kept on purpose: where the offset
// vanishes the slope itself is added, and stored projects show it.
double Rise(double offset, double slope) noexcept {
    return offset > -kNoOffset && offset < kNoOffset ? slope : offset * slope;
}

void PrepareTimeValueBezier(const SegmentEnds& e, Segment* into, SegmentCurve& curve) noexcept {
    const PathControls p = TimeValueControls(e);
    curve.bezier = CubicBezier::FromControlPoints(p[0], p[1], p[2], p[3]);
    curve.solver = BezierTimeSolver(curve.bezier, p[3].x);
    Put(into, Segment::Shape::TimeValueBezier, e.t0, e.t1, e.y0, e.y1 - e.y0);
    into->Refer(&curve);
}

void PrepareEase(const SegmentEnds& e, Segment* into) noexcept {
    const CubicEasing* const easing = FindCubicEasing(e.type0);
    const bool isElastic = e.type0 == KeyframeInterpolationType::EaseOutElastic;
    Put(into,
        easing != nullptr ? Segment::Shape::CubicEasing
        : isElastic       ? Segment::Shape::Elastic
                          : Segment::Shape::Bounce,
        e.t0, e.t1, e.y0, e.y1 - e.y0);
    into->Refer(easing);
}

}  // namespace

bool ReadEnds(const TimeValuePair& start, const TimeValuePair& end, bool isPoint,
              SegmentEnds& ends) {
    if (!ReadNumber(start.PeekValue(), ends.y0) || !ReadNumber(end.PeekValue(), ends.y1)) {
        return false;
    }
    ends.t0 = start.GetTime();
    ends.t1 = end.GetTime();
    start.GetRightDerivativeEx(ends.rx, ends.ry);
    end.GetLeftDerivativeEx(ends.lx, ends.ly);
    ends.type0 = start.GetInterpolation();
    ends.type1 = end.GetInterpolation();
    const bool isLinear = ends.type0 == KeyframeInterpolationType::Linear &&
                          ends.type1 == KeyframeInterpolationType::Linear;
    if (isLinear && !isPoint) {
        ends.lx = ends.rx;
    }
    return true;
}

const Segment* Segment::Nowhere() noexcept {
    static constexpr std::array<Segment, 3> kNowhere = {};
    return kNowhere.data();
}

double Segment::EasedProgress(double t) const noexcept {
    const double p = (InSeconds(t) - StartInSeconds()) / SpanInSeconds();
    return p > 0.0 ? (p < 1.0 ? p : 1.0) : 0.0;
}

void RefuseValues(const Segment& segment) {
    const bool isPath = segment.shape == Segment::Shape::Path;
    throw AnyKindMismatch(
        isPath ? static_cast<int>(ValAny::kPoint) : static_cast<int>(segment.c[0]),
        ValAny::kDouble);
}

void PrepareConstant(double from, double to, double value, Segment* into) noexcept {
    Put(into, Segment::Shape::Constant, from, to, value);
}

void PrepareSegment(const SegmentEnds& e, Segment* into, SegmentCurve& curve) noexcept {
    switch (RuleOf(e.type0, e.type1)) {
        case SegmentRule::Ease:
            return PrepareEase(e, into);
        case SegmentRule::Extrapolate:
            return PrepareExtrapolated(e, into);
        case SegmentRule::Hold:
            return PrepareConstant(e.t0, e.t1, e.y0, into);
        case SegmentRule::ValueBezier:
            return Put(into, Segment::Shape::ValueBezier, e.t0, e.t1, e.y0, e.rx, e.lx, e.y1);
        case SegmentRule::TimeValueBezier:
            return PrepareTimeValueBezier(e, into, curve);
        case SegmentRule::Hermite:
            return PrepareHermite(e, into);
    }
}

// The second control point, too, is measured from the start of the segment.
PathControls TimeValueControls(const SegmentEnds& e) noexcept {
    const Pointd p0{InSeconds(e.t0), e.y0};
    const Pointd p3{InSeconds(e.t1), e.y1};
    const double span = p3.x - p0.x;
    Pointd p1{p0.x + span * std::clamp(e.rx, 0.0, 1.0), 0.0};
    p1.y = p0.y + Rise(p1.x - p0.x, e.ry);
    Pointd p2{p0.x + span * std::clamp(e.lx, 0.0, 1.0), 0.0};
    p2.y = p3.y + Rise(p2.x - p3.x, e.ly);
    if (e.type1 == KeyframeInterpolationType::Linear) {
        p2 = p3;
    }
    if (e.type0 == KeyframeInterpolationType::Linear) {
        p1 = p0;
    }
    return {p0, p1, p2, p3};
}

PathControls PathControlPoints(const TimeValuePair& start, const TimeValuePair& end) {
    using Type = KeyframeInterpolationType;
    const Type startType = start.GetInterpolation();
    const Type endType = end.GetInterpolation();
    const Pointd p0 = start.PeekValue().AsPoint();
    const Pointd p3 = end.PeekValue().AsPoint();
    if (startType == Type::Hold) {
        return {p0, p0, p0, p0};
    }
    PathControls points = {p0, p0, p3, p3};
    if (startType != Type::Linear) {
        start.GetRightDerivativeEx(points[1].x, points[1].y);
    }
    if (endType != Type::Linear && endType != Type::Hold) {
        end.GetLeftDerivativeEx(points[2].x, points[2].y);
    }
    return points;
}

void PreparePath(double t0, double t1, const PathControls& points, Segment* into,
                 SegmentCurve& curve) noexcept {
    curve.bezier = CubicBezier::FromControlPoints(points[0], points[1], points[2], points[3]);
    Put(into, Segment::Shape::Path, t0, t1, 0.0);
    into->Refer(&curve);
}

double SampleSegment(const Segment& segment, double t) noexcept {
    const double* c = segment.c;
    switch (segment.shape) {
        case Segment::Shape::Constant:
            return c[0];
        case Segment::Shape::Line:
            return c[1] * (t - c[2]) + c[0];
        case Segment::Shape::Cubic:
            return segment.CubicAt(t);
        case Segment::Shape::ValueBezier: {
            const double u = segment.Progress(t);
            if (u <= 0.0) {
                return c[0];
            }
            if (u >= 1.0) {
                return c[3];
            }
            const double s = 1.0 - u;
            return s * s * s * c[0] + 3.0 * u * s * s * c[1] + 3.0 * u * u * s * c[2] +
                   u * u * u * c[3];
        }
        case Segment::Shape::TimeValueBezier:
            return segment.CurveAt(t);
        case Segment::Shape::CubicEasing:
            return c[0] + c[1] * segment.Easing().At(segment.EasedProgress(t));
        case Segment::Shape::Elastic:
            return c[0] + c[1] * EaseOutElastic(segment.EasedProgress(t));
        case Segment::Shape::Bounce:
            return c[0] + c[1] * EaseOutBounce(segment.EasedProgress(t));
        case Segment::Shape::Stored:
        case Segment::Shape::Path:
        case Segment::Shape::NotNumeric:
            break;
    }
    return 0.0;
}

}  // namespace core
