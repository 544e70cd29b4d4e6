#include "core/curve/area.h"

#include "core/curve/easing.h"
#include "core/curve/polynomial.h"

#include <core/curve/time_unit.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

// A segment is cut into pieces of three kinds, each with a closed integral:
//
//     cubic       v(u) = c0 + c1 u + c2 u^2 + c3 u^3,      t = start + span u
//     parametric  v(u) = Y(u),  t = X(u)  (time-value Bezier, cubic easings)
//     elastic     v(u) = y0 + dy e(u),                     t = start + span u
//
// Integrals between two parameters are taken by the quadrature that is exact for
// the kind (Simpson for a cubic; Gauss-Legendre with three points for Y X', which
// has degree five), because the difference of two antiderivatives would cancel
// for short stretches. The elastic easing has its antiderivative.
//
// To find where an area is reached, a piece is cut again where its value changes
// sign; between cuts the area is monotone, and a bracketed root is the only one.
//
// Bezier and easing segments read their times in either unit. A segment whose
// ends lie on two sides of the threshold between the units is first cut there;
// each half then maps its times to seconds by one factor.

namespace core {
namespace {

// In the keyframes' own unit.
struct TimeInterval {
    double from;
    double to;
};

struct Piece {
    enum class Kind { Cubic, Parametric, Elastic };

    Kind kind;
    double from;  // times, in the keyframes' unit
    double to;
    double unit;  // x = t / unit
    // u = (x - start) / span; a parametric piece solves X(u) = x instead, for x
    // from start to start + span.
    double start;
    double span;
    std::array<double, 4> c;  // Cubic: c0 to c3. Elastic: y0 and dy.
    CubicBezier curve;        // Parametric

    double ParameterAt(double t) const noexcept {
        const double x = t / unit;
        return kind == Kind::Parametric ? BezierTimeSolver::SolveExactly(curve, start + span, x)
                                        : (x - start) / span;
    }
    double TimeAt(double u) const noexcept {
        const double x = kind == Kind::Parametric ? curve.X(u) : start + span * u;
        return std::clamp(x * unit, from, to);
    }
    // The value as a cubic in u, for the two kinds where it is one.
    Polynomial<3> Value() const noexcept {
        return kind == Kind::Cubic ? Polynomial<3>{c}
                                   : Polynomial<3>{{curve.dy, curve.cy, curve.by, curve.ay}};
    }
    // Without the jump to its exact end that an elastic easing makes: it has no
    // area, and it would hide a change of sign before it.
    double ValueAt(double u) const noexcept {
        return kind == Kind::Elastic ? c[0] + c[1] * ElasticSwing(u) : Value().At(u);
    }
    // 0 where it isn't known, which makes a bracketed search bisect.
    double ValueSlopeAt(double u) const noexcept {
        return kind == Kind::Elastic ? 0.0 : Value().Derivative().At(u);
    }
    // dt/du, the factor between an area over u and an area over time.
    double TimeSlopeAt(double u) const noexcept {
        return unit * (kind == Kind::Parametric ? curve.SlopeX(u) : span);
    }
    double Area(double u0, double u1) const noexcept;
};

// The antiderivative of 2^(-10 p) sin((10 p - 0.75) w), w = 2 pi / 3. With
// k = 10 ln 2, m = 10 w and theta = m p - 0.75 w:
//
//     -e^(-k p) (k sin(theta) + m cos(theta)) / (k^2 + m^2)
double ElasticAntiderivative(double p) noexcept {
    constexpr double w = kElasticAngle;
    constexpr double k = 10.0 * std::numbers::ln2;
    constexpr double m = 10.0 * w;
    const double theta = (10.0 * p - 0.75) * w;
    return -std::exp2(-10.0 * p) * (k * std::sin(theta) + m * std::cos(theta)) / (k * k + m * m);
}

// The integral of a cubic over u, by Simpson's rule.
double CubicIntegral(const Polynomial<3>& v, double u0, double u1) noexcept {
    return (u1 - u0) * (v.At(u0) + 4.0 * v.At(0.5 * (u0 + u1)) + v.At(u1)) / 6.0;
}

double Piece::Area(double u0, double u1) const noexcept {
    const double width = u1 - u0;
    const double middle = 0.5 * (u0 + u1);
    switch (kind) {
        case Kind::Cubic:
            return unit * span * CubicIntegral(Value(), u0, u1);
        case Kind::Parametric: {
            // Gauss-Legendre, nodes at 0 and +-sqrt(3/5), weights 8/9 and 5/9.
            const double offset = 0.5 * width * 0.7745966692414834;
            const auto f = [this](double u) { return curve.Y(u) * curve.SlopeX(u); };
            return unit * 0.5 * width *
                   (5.0 * (f(middle - offset) + f(middle + offset)) + 8.0 * f(middle)) / 9.0;
        }
        case Kind::Elastic:
            break;
    }
    const double eased = ElasticAntiderivative(u1) - ElasticAntiderivative(u0);
    return unit * span * ((c[0] + c[1]) * width + c[1] * eased);
}

// At most: two units, and in each what lies before and behind the curve's own
// time and the four parabolas of a bounce. Pieces past `count` are not set.
struct Pieces {
    std::array<Piece, 12> piece;
    std::size_t count = 0;

    Pieces() noexcept {}

    void Add(const Piece& added) noexcept {
        if (added.to > added.from) {
            piece[count++] = added;
        }
    }
    const Piece* begin() const noexcept { return piece.data(); }
    const Piece* end() const noexcept { return piece.data() + count; }
};

Piece ConstantPiece(TimeInterval times, double value) noexcept {
    return {Piece::Kind::Cubic, times.from, times.to, 1.0, times.from, 1.0, {value}, {}};
}

// A cubic easing's progress and what is eased, as time in seconds and value.
CubicBezier PlacedEasing(const Segment& s) noexcept {
    const double span = s.SpanInSeconds();
    CubicBezier scaled = s.Easing().Curve();
    scaled.ax *= span;
    scaled.bx *= span;
    scaled.cx *= span;
    scaled.dx = s.StartInSeconds();
    scaled.ay *= s.c[1];
    scaled.by *= s.c[1];
    scaled.cy *= s.c[1];
    scaled.dy = s.c[0];
    return scaled;
}

// The part of an eased or time-value Bezier segment where x runs with the time
// from the segment's start to its end, all in one unit.
void AddRunningPieces(Pieces& pieces, const Segment& s, TimeInterval times, double unit) noexcept {
    const double y0 = s.c[0];
    const double dy = s.c[1];
    const double start = s.StartInSeconds();
    const double span = s.SpanInSeconds();
    Piece piece{Piece::Kind::Cubic, times.from, times.to, unit, start, span, {y0, dy}, {}};
    switch (s.shape) {
        case Segment::Shape::TimeValueBezier:
            piece.kind = Piece::Kind::Parametric;
            piece.curve = s.Curve().bezier;
            pieces.Add(piece);
            break;
        case Segment::Shape::CubicEasing:
            piece.kind = Piece::Kind::Parametric;
            piece.curve = PlacedEasing(s);
            pieces.Add(piece);
            break;
        case Segment::Shape::Elastic:
            piece.kind = Piece::Kind::Elastic;
            pieces.Add(piece);
            break;
        default: {  // Bounce
            // y0 + dy (n (u - top)^2 + floor), multiplied out.
            constexpr double n = kBounceSteepness;
            double from = times.from;
            for (const BouncePiece& parabola : kBouncePieces) {
                const double end = (start + span * parabola.end) * unit;
                piece.from = from;
                piece.to = std::clamp(end, from, times.to);
                if (&parabola == &kBouncePieces.back()) {
                    piece.to = times.to;
                }
                piece.c = {y0 + dy * (n * parabola.top * parabola.top + parabola.floor),
                           -2.0 * dy * n * parabola.top, dy * n, 0.0};
                from = piece.to;
                pieces.Add(piece);
            }
            break;
        }
    }
}

// The stretch of a segment whose times are read in one unit. Where they run
// ahead of the segment's own seconds, or behind them, the value stands still.
void AddUnitPieces(Pieces& pieces, const Segment& s, TimeInterval times, double unit) noexcept {
    if (!(times.to > times.from)) {
        return;
    }
    const double first = s.c[0];
    const double last = s.c[0] + s.c[1];
    const double span = s.SpanInSeconds();
    if (!(span > 0.0)) {
        // Read in seconds the end does not lie behind the start. An easing then
        // stays at its start before the threshold and at its end from there on; the
        // bisection of a Bezier segment runs to the opposite ends.
        const bool isBezier = s.shape == Segment::Shape::TimeValueBezier;
        const bool isBeforeThreshold = unit == 1.0;
        pieces.Add(ConstantPiece(times, isBezier == isBeforeThreshold ? last : first));
        return;
    }
    const double start = std::clamp(s.StartInSeconds() * unit, times.from, times.to);
    const double end = std::clamp((s.StartInSeconds() + span) * unit, start, times.to);
    pieces.Add(ConstantPiece({times.from, start}, first));
    AddRunningPieces(pieces, s, {start, end}, unit);
    pieces.Add(ConstantPiece({end, times.to}, last));
}

// A segment without easing or curve is one piece.
Piece PolynomialPiece(const Segment& s) noexcept {
    const double* c = s.c;
    Piece piece{Piece::Kind::Cubic, s.from, s.To(), 1.0, s.from, s.To() - s.from, {}, {}};
    switch (s.shape) {
        case Segment::Shape::Constant:
            piece.c = {c[0]};
            break;
        case Segment::Shape::ValueBezier:
            // From control values to power form.
            piece.c = {c[0], 3.0 * (c[1] - c[0]), 3.0 * (c[2] - 2.0 * c[1] + c[0]),
                       c[3] - 3.0 * c[2] + 3.0 * c[1] - c[0]};
            break;
        case Segment::Shape::Line:
            piece.start = c[2];
            piece.span = 1.0;
            piece.c = {c[0], c[1]};
            break;
        default:
            piece.c = {c[0], c[1], c[2], c[3]};
            break;
    }
    return piece;
}

bool IsPolynomial(const Segment& s) noexcept {
    return s.shape == Segment::Shape::Constant || s.shape == Segment::Shape::Line ||
           s.shape == Segment::Shape::Cubic || s.shape == Segment::Shape::ValueBezier;
}

Pieces PiecesOf(const Segment& s) noexcept {
    Pieces pieces;
    if (IsPolynomial(s)) {
        pieces.Add(PolynomialPiece(s));
        return pieces;
    }
    // No clamp: keyframes of a curve that is played back may stand in no order.
    const double border = std::min(std::max(kFirstTickCount, s.from), s.To());
    AddUnitPieces(pieces, s, {s.from, border}, 1.0);
    AddUnitPieces(pieces, s, {border, s.To()}, kTicksPerSecond);
    return pieces;
}

// Parameters at which a piece's value may turn, ascending, inside (u0, u1).
struct Cuts {
    std::array<double, 8> at{};
    std::size_t count = 0;

    void Add(double u, double u0, double u1) noexcept {
        if (u > u0 && u < u1 && count < at.size()) {
            at[count++] = u;
        }
    }
};

Cuts TurningPoints(const Piece& piece, double u0, double u1) noexcept {
    Cuts cuts;
    if (piece.kind != Piece::Kind::Elastic) {
        // Moved to u0, because the finder drops negative roots.
        const Polynomial<2> slope = piece.Value().Derivative();
        const Polynomial<2> moved{{slope.At(u0), 2.0 * slope.c[2] * u0 + slope.c[1], slope.c[2]}};
        for (const double root : SolveQuadratic(moved)) {
            cuts.Add(u0 + root, u0, u1);
        }
        return cuts;
    }
    // The derivative of 2^(-10 p) sin(theta) vanishes where
    // tan(theta) = 2 pi / (3 ln 2); theta grows by pi every 0.15.
    constexpr double w = kElasticAngle;
    const double first = (std::atan2(w, std::numbers::ln2) / w + 0.75) / 10.0;
    for (int half = -1; half < 7; ++half) {
        cuts.Add(first + 0.15 * half, u0, u1);
    }
    return cuts;
}

// A cubic lies between its control values: where those have one sign, it keeps it.
bool KeepsSign(const Piece& piece, double low, double high) noexcept {
    if (piece.kind == Piece::Kind::Elastic || low < 0.0 || high > 1.0) {
        return false;
    }
    const std::array<double, 4> c = piece.Value().c;
    const double b1 = c[0] + c[1] / 3.0;
    const double b2 = c[0] + (2.0 * c[1] + c[2]) / 3.0;
    const double b3 = c[0] + c[1] + c[2] + c[3];
    return std::min(std::min(c[0], b1), std::min(b2, b3)) >= 0.0 ||
           std::max(std::max(c[0], b1), std::max(b2, b3)) <= 0.0;
}

// Walks the stretches of one piece, from u0 to u1 in either order, in which the
// value keeps its sign; `visit(a, b)` answers whether to go on.
template <class Visitor>
void ForEachSignedStretch(const Piece& piece, double u0, double u1, const Visitor& visit) {
    const double low = std::min(u0, u1);
    const double high = std::max(u0, u1);
    if (KeepsSign(piece, low, high)) {
        visit(u0, u1);
        return;
    }
    Cuts turns = TurningPoints(piece, low, high);
    if (u1 < u0) {
        std::reverse(turns.at.begin(), turns.at.begin() + turns.count);
    }
    const auto value = [&piece](double u, double& slope) {
        slope = piece.ValueSlopeAt(u);
        return piece.ValueAt(u);
    };
    double stretchStart = u0;
    double turn = u0;
    double atTurn = piece.ValueAt(u0);
    for (std::size_t i = 0; i <= turns.count; ++i) {
        const double nextTurn = i < turns.count ? turns.at[i] : u1;
        const double atNextTurn = piece.ValueAt(nextTurn);
        double cut = u1;
        if (atTurn * atNextTurn < 0.0) {
            cut = RootInBracket(value, turn, nextTurn, 0.5 * (turn + nextTurn));
        } else if (atNextTurn == 0.0) {
            cut = nextTurn;
        }
        if (cut != u1) {
            if (!visit(stretchStart, cut)) {
                return;
            }
            stretchStart = cut;
        }
        turn = nextTurn;
        atTurn = atNextTurn;
    }
    visit(stretchStart, u1);
}

// How far it is to an area, at a rate that starts as r0 and changes evenly by k:
//
//     r0 w + k w^2 / 2 = area
//
// in the form that does not cancel; what is reached where the rate is 0 counts as reached.
// NaN at a standstill.
double EvenWay(double r0, double k, double area) noexcept {
    const double D = std::max(r0 * r0 + 2.0 * k * area, 0.0);
    return 2.0 * area / (r0 + std::copysign(std::sqrt(D), r0));
}

// A held or a linear value; what bends it is rounding.
bool RunsEvenly(const Segment& s) noexcept {
    constexpr double kRounding = 1e-14;
    return s.shape == Segment::Shape::Constant ||
           (s.shape == Segment::Shape::Cubic &&
            std::fabs(s.c[2]) + std::fabs(s.c[3]) <=
                kRounding * (std::fabs(s.c[0]) + std::fabs(s.c[1])));
}

// The parameter between a and b where the area from a, times `sign`, reaches
// `area`; it is monotone there and reaches it. The guess is that of an even rate.
double SolveStretch(const Piece& piece, double a, double b, double sign, double area) noexcept {
    const auto rateAt = [&](double u) { return sign * piece.ValueAt(u) * piece.TimeSlopeAt(u); };
    const double r0 = rateAt(a);
    const double guess = a + EvenWay(r0, (rateAt(b) - r0) / (b - a), area);
    const auto missing = [&](double u, double& slope) {
        slope = rateAt(u);
        return sign * piece.Area(a, u) - area;
    };
    return RootInBracket(missing, a, b, guess);
}

}  // namespace

double SegmentArea(const Segment& segment, double from, double to) noexcept {
    if (to < from) {
        return -SegmentArea(segment, to, from);
    }
    if (segment.shape == Segment::Shape::Constant) {
        return segment.c[0] * (to - from);
    }
    if (segment.shape == Segment::Shape::Cubic) {
        const double* c = segment.c;
        return (segment.To() - segment.from) * CubicIntegral({{c[0], c[1], c[2], c[3]}},
                                                             segment.Progress(from),
                                                             segment.Progress(to));
    }
    const auto areaIn = [from, to](const Piece& piece) {
        const double a = std::max(from, piece.from);
        const double b = std::min(to, piece.to);
        return a < b ? piece.Area(piece.ParameterAt(a), piece.ParameterAt(b)) : 0.0;
    };
    if (IsPolynomial(segment)) {
        return areaIn(PolynomialPiece(segment));
    }
    double sum = 0.0;
    for (const Piece& piece : PiecesOf(segment)) {
        sum += areaIn(piece);
    }
    return sum;
}

bool ReadPlaneCurve(const Segment& s, CubicBezier& curve) noexcept {
    if (IsPolynomial(s)) {
        // Over the progress; a line's own parameter is the time.
        const Piece piece = PolynomialPiece(s);
        const double span = s.To() - s.from;
        const bool isLine = s.shape == Segment::Shape::Line;
        const std::array<double, 4>& c = piece.c;
        curve = {0.0, 0.0, span, s.from, c[3], c[2], c[1], c[0]};
        curve.cy = isLine ? c[1] * span : c[1];
        curve.dy = isLine ? piece.ValueAt(piece.ParameterAt(s.from)) : c[0];
        return s.from < s.To();
    }
    const bool isEasing = s.shape == Segment::Shape::CubicEasing;
    if ((!isEasing && s.shape != Segment::Shape::TimeValueBezier) || !(s.from < s.To()) ||
        !(s.To() < kFirstTickCount)) {
        return false;
    }
    curve = isEasing ? PlacedEasing(s) : s.Curve().bezier;
    return true;
}

AreaExtremes SegmentAreaExtremes(const Segment& segment) noexcept {
    AreaExtremes extremes{0.0, 0.0, 0.0};
    const auto goOn = [&extremes](double area) {
        extremes.whole += area;
        extremes.highest = std::max(extremes.highest, extremes.whole);
        extremes.lowest = std::min(extremes.lowest, extremes.whole);
    };
    for (const Piece& piece : PiecesOf(segment)) {
        ForEachSignedStretch(piece, piece.ParameterAt(piece.from), piece.ParameterAt(piece.to),
                             [&](double a, double b) {
                                 goOn(piece.Area(a, b));
                                 return true;
                             });
    }
    return extremes;
}

bool SolveSegmentArea(const Segment& segment, double start, double end, double valueSign,
                      double tolerance, double& missing, double& time) noexcept {
    const bool isForward = start <= end;
    const double sign = isForward ? valueSign : -valueSign;
    if (RunsEvenly(segment)) {
        const double v0 = SampleSegment(segment, start);
        const double v1 = SampleSegment(segment, end);
        if (v0 * v1 >= 0.0) {
            const double area = sign * 0.5 * (v0 + v1) * (end - start);
            if (area < missing - tolerance) {
                missing -= area;
                return false;
            }
            const double way = EvenWay(sign * v0, sign * (v1 - v0) / (end - start), missing);
            time = std::isnan(way)
                       ? start
                       : std::clamp(start + way, std::min(start, end), std::max(start, end));
            return true;
        }
    }
    bool isFound = false;
    const auto solveInPiece = [&](const Piece& piece) {
        const double near = std::clamp(start, piece.from, piece.to);
        const double far = std::clamp(end, piece.from, piece.to);
        if (near == far) {
            return;
        }
        const auto solveIn = [&](double a, double b) {
            const double area = sign * piece.Area(a, b);
            if (area < missing - tolerance) {
                missing -= area;
                return true;
            }
            const double reached = piece.TimeAt(SolveStretch(piece, a, b, sign, missing));
            time = std::clamp(reached, std::min(near, far), std::max(near, far));
            isFound = true;
            return false;
        };
        ForEachSignedStretch(piece, piece.ParameterAt(near), piece.ParameterAt(far), solveIn);
    };
    if (IsPolynomial(segment)) {
        solveInPiece(PolynomialPiece(segment));
        return isFound;
    }
    const Pieces pieces = PiecesOf(segment);
    for (std::size_t i = 0; i < pieces.count && !isFound; ++i) {
        solveInPiece(pieces.piece[isForward ? i : pieces.count - 1 - i]);
    }
    return isFound;
}

}  // namespace core
