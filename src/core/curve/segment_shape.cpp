#include "core/curve/segment_shape.h"

#include "core/curve/easing.h"
#include "core/curve/numbers.h"

#include <core/curve/time_unit.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace core {
namespace {

using Shape = Segment::Shape;

// A derivative this much smaller than its terms is 0 but for rounding.
constexpr double kVanished = 1e-12;

// d/dp of ElasticSwing: with w = 10 angle and k = 10 ln 2,
// 2^(-10 p) (w cos a - k sin a), where a = (10 p - 0.75) angle.
constexpr double kSwingRate = 10.0 * kElasticAngle;
constexpr double kDecay = 6.931471805599453;

double SwingSlope(double p) noexcept {
    const double a = (10.0 * p - 0.75) * kElasticAngle;
    return std::exp2(-10.0 * p) * (kSwingRate * std::cos(a) - kDecay * std::sin(a));
}

double SumOf(const Polynomial<3>& p) noexcept {
    return std::fabs(p.c[1]) + std::fabs(p.c[2]) + std::fabs(p.c[3]);
}

}  // namespace

SegmentShape::SegmentShape(const Segment& of) : segment(of) {
    const double* c = segment.c;
    switch (segment.shape) {
        case Shape::Constant:
            y.c = {c[0], 0.0, 0.0, 0.0};
            break;
        case Shape::Stored:
            y.c[0] = RequireNumber(segment.Stored());
            break;
        case Shape::Line:
            y.c = {c[0] - c[1] * c[2], c[1], 0.0, 0.0};
            break;
        case Shape::Cubic:
            y.c = {c[0], c[1], c[2], c[3]};
            break;
        case Shape::ValueBezier:
            y.c = {c[0], 3.0 * (c[1] - c[0]), 3.0 * (c[2] - 2.0 * c[1] + c[0]),
                   c[3] - 3.0 * c[2] + 3.0 * c[1] - c[0]};
            break;
        case Shape::TimeValueBezier:
            plane = segment.Curve().bezier;
            y.c = {plane.dy, plane.cy, plane.by, plane.ay};
            break;
        case Shape::CubicEasing:
            plane = segment.Easing().Curve();
            y.c = {c[0], c[1] * plane.cy, c[1] * plane.by, c[1] * plane.ay};
            break;
        case Shape::Elastic:
        case Shape::Bounce:
            break;
        case Shape::Path:
        case Shape::NotNumeric:
            RefuseValues(segment);
    }
}

bool SegmentShape::IsInSeconds() const noexcept {
    return IsPlanar() || segment.shape == Shape::Elastic || segment.shape == Shape::Bounce;
}

double SegmentShape::ParameterAt(double t) const noexcept {
    switch (segment.shape) {
        case Shape::Constant:
        case Shape::Stored:
        case Shape::Line:
            return t;
        case Shape::TimeValueBezier:
            return BezierTimeSolver::SolveExactly(plane, segment.EndInSeconds(), InSeconds(t));
        case Shape::CubicEasing:
            return BezierTimeSolver::SolveExactly(plane, 1.0, segment.EasedProgress(t));
        case Shape::Elastic:
        case Shape::Bounce:
            return segment.EasedProgress(t);
        default:
            return segment.Progress(t);
    }
}

double SegmentShape::TimeAt(double s, bool inTicks) const noexcept {
    double seconds = 0.0;
    switch (segment.shape) {
        case Shape::Constant:
        case Shape::Stored:
        case Shape::Line:
            return s;
        case Shape::TimeValueBezier:
            seconds = plane.X(s);
            break;
        case Shape::CubicEasing:
            seconds = segment.StartInSeconds() + segment.SpanInSeconds() * plane.X(s);
            break;
        case Shape::Elastic:
        case Shape::Bounce:
            seconds = segment.StartInSeconds() + segment.SpanInSeconds() * s;
            break;
        default:
            return segment.from + (segment.To() - segment.from) * s;
    }
    return inTicks ? seconds * kTicksPerSecond : seconds;
}

double SegmentShape::ValueAt(double s, double& derivative) const noexcept {
    const double* c = segment.c;
    if (segment.shape == Shape::Elastic) {
        derivative = c[1] * SwingSlope(s);
        return c[0] + c[1] * ElasticSwing(s);
    }
    if (segment.shape == Shape::Bounce) {
        const auto piece = std::find_if(kBouncePieces.begin(), kBouncePieces.end() - 1,
                                        [s](const BouncePiece& p) { return s < p.end; });
        derivative = c[1] * 2.0 * kBounceSteepness * (s - piece->top);
        return c[0] + c[1] * EaseOutBounce(s);
    }
    if (segment.shape == Shape::Line) {
        // Far from its anchor, in the form that is sampled.
        derivative = c[1];
        return c[1] * (s - c[2]) + c[0];
    }
    derivative = y.Derivative().At(s);
    return y.At(s);
}

// The first derivatives of Y and X that do not both vanish decide.
double SegmentShape::SlopeInPlane(double s) const noexcept {
    Polynomial<3> x{{plane.dx, plane.cx, plane.bx, plane.ax}};
    Polynomial<3> rise = y;
    const double xScale = SumOf(x) * kVanished;
    const double yScale = SumOf(y) * kVanished;
    for (int order = 1; order <= 3; ++order) {
        const auto derive = [](Polynomial<3>& p) {
            p.c = {p.c[1], 2.0 * p.c[2], 3.0 * p.c[3], 0.0};
        };
        derive(x);
        derive(rise);
        const double dx = x.At(s);
        const double dy = rise.At(s);
        if (std::fabs(dx) > xScale) {
            return dy / dx;
        }
        if (std::fabs(dy) > yScale) {
            return std::copysign(std::numeric_limits<double>::infinity(), dy);
        }
    }
    return 0.0;
}

double SegmentShape::SlopeAt(double t, From side) const noexcept {
    const double secondsPerUnit = t >= kFirstTickCount ? 1.0 / kTicksPerSecond : 1.0;
    const double s = ParameterAt(t);
    double derivative = 0.0;
    ValueAt(s, derivative);
    switch (segment.shape) {
        case Shape::Constant:
        case Shape::Stored:
            return 0.0;
        case Shape::Line:
            return derivative;
        case Shape::TimeValueBezier:
            return SlopeInPlane(s) * secondsPerUnit;
        case Shape::CubicEasing:
            return SlopeInPlane(s) / segment.SpanInSeconds() * secondsPerUnit;
        case Shape::Bounce: {
            // At a corner, which a time meets but for rounding, the side decides.
            const double p = s + (side == From::Before ? -kVanished : kVanished);
            ValueAt(p, derivative);
            return derivative / segment.SpanInSeconds() * secondsPerUnit;
        }
        case Shape::Elastic:
            return derivative / segment.SpanInSeconds() * secondsPerUnit;
        default:
            return derivative / (segment.To() - segment.from);
    }
}

ParameterRow SegmentShape::Turns(double from, double to) const noexcept {
    ParameterRow turns;
    const auto add = [&](double s) {
        if (from < s && s < to) {
            turns.Add(s);
        }
    };
    switch (segment.shape) {
        case Shape::Constant:
        case Shape::Stored:
        case Shape::Line:
            return turns;
        case Shape::Bounce:
            for (const BouncePiece& piece : kBouncePieces) {
                add(piece.top);
                add(piece.end);
            }
            return turns;
        case Shape::Elastic: {
            // w cos a = k sin a, every half turn.
            constexpr double kHalfTurn = 3.0 / 2.0;
            const double first = std::atan2(kSwingRate, kDecay) / kElasticAngle + 0.75;
            for (int i = 0; i < 8; ++i) {
                add((first + kHalfTurn * (i - 1)) / 10.0);
            }
            return turns;
        }
        default:
            break;
    }
    // Scaled, so that small and large values count alike.
    Polynomial<2> d = y.Derivative();
    const double scale = std::max({std::fabs(d.c[0]), std::fabs(d.c[1]), std::fabs(d.c[2])});
    if (!(scale > 0.0) || !std::isfinite(scale)) {
        return turns;
    }
    for (double& c : d.c) {
        c /= scale;
    }
    for (const double root : SolveQuadratic(d)) {
        add(root);
    }
    return turns;
}

double SegmentShape::Rounding() const noexcept {
    constexpr double kUnits = 8.0 * std::numeric_limits<double>::epsilon();
    return kUnits * (IsInSeconds() && !IsPlanar()
                         ? std::fabs(segment.c[0]) + std::fabs(segment.c[1])
                         : std::fabs(y.c[0]) + SumOf(y));
}

}  // namespace core
