#include "core/curve/segment_split.h"

#include "core/curve/cubic_bezier.h"
#include "core/curve/easing.h"
#include "core/curve/numbers.h"

#include <core/curve/time_unit.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

// Every rule has a form in which a part of the segment is a segment again:
//
//  - Hermite: value and slope of the cubic are the new keyframe's. Slopes are per unit of
//    time, so that those of the ends stay.
//  - the Beziers: de Casteljau's control points.
//  - a line that belongs to one end (type 26): its slope, which the rule multiplies by the
//    duration, divided by the new duration.
//  - an easing: the time-value Bezier, or the Hermite cubics, that it is.
//
// Letters: (t0, y0) and (t1, y1) are the ends, dt and dv the differences, u the progress in
// time, s the parameter of a time-value Bezier, p the progress of an easing.

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// A cubic is a line where what bends it is rounding.
constexpr double kStraight = 1e-13;
// Control points may lie this much of the piece outside it, by rounding.
constexpr double kOutside = 1e-9;
// Of the span of an elastic segment. Half of it would take a fifth more keyframes.
constexpr double kElasticTolerance = 0.9e-4;
// From here on the elastic swing stays within the tolerance of its value here.
constexpr double kElasticRest = 0.994;

bool IsFinite(const std::optional<Pointd>& handle) noexcept {
    return !handle || (std::isfinite(handle->x) && std::isfinite(handle->y));
}

bool IsFinite(const SplitKey& key) {
    double number = 0.0;
    const bool isNumber = ReadNumber(key.value, number);
    return std::isfinite(key.time) && (!isNumber || std::isfinite(number)) && IsFinite(key.left) &&
           IsFinite(key.right);
}

SegmentSplit Refused(const char* reason) {
    SegmentSplit split;
    split.refusal = reason;
    return split;
}

// What a split must keep: numbers are finite, and no two keyframes match.
SegmentSplit Checked(SegmentSplit split, double t0, double t1) {
    double last = t0;
    for (const SplitKey& key : split.inner) {
        if (key.time - last < kTimeTolerance) {
            return Refused("the segment is too short for the keyframes that its shape takes");
        }
        if (!IsFinite(key)) {
            return Refused("its numbers are too large");
        }
        last = key.time;
    }
    if (t1 - last < kTimeTolerance) {
        return Refused("the segment is too short for the keyframes that its shape takes");
    }
    if (!IsFinite(split.startRight) || !IsFinite(split.endLeft)) {
        return Refused("its numbers are too large");
    }
    return split;
}

SegmentSplit SplitHold(const SegmentEnds& e, double t) {
    SegmentSplit split;
    split.startType = e.type0;
    split.inner = {{t, e.y0, Type::Hold, {}, {}}};
    return split;
}

SegmentSplit SplitHermite(const SegmentEnds& e, double t) {
    const double dt = e.t1 - e.t0;
    const double dv = e.y1 - e.y0;
    const double d0 = dt * e.rx;
    SegmentSplit split;
    split.startType = e.type0;
    if (e.type1 == Type::Extrapolate) {
        // A line through the start, d0 per unit of time.
        const double y = e.y0 + d0 * (t - e.t0);
        split.startRight = Pointd{d0, 0.0};
        split.inner = {{t, y, e.type0, Pointd{d0, 0.0}, Pointd{d0 / (e.t1 - t), 0.0}}};
        return split;
    }
    const double d1 = dt * e.lx;
    const double c2 = 3.0 * dv - 2.0 * d0 - d1;
    const double c3 = d0 - 2.0 * dv + d1;
    const double u = (t - e.t0) / dt;
    const double y = ((c3 * u + c2) * u + d0) * u + e.y0;
    const Pointd slope = {((3.0 * c3 * u + 2.0 * c2) * u + d0) / dt, 0.0};
    const bool isStraight =
        std::fabs(c2) + std::fabs(c3) <= kStraight * (std::fabs(dv) + std::fabs(d0));
    // Between two linear ones the start's handle would count for both ends.
    const bool isLinear = e.type0 == Type::Linear;
    const Type type = isLinear && !isStraight ? Type::Hermite : e.type0;
    split.inner = {{t, y, type, slope, slope}};
    if (!(isLinear && isStraight && e.type1 == Type::Linear)) {
        split.endLeft = Pointd{e.lx, e.ly};
    }
    return split;
}

// The line through the end, d1 per unit of time.
SegmentSplit SplitExtrapolated(const SegmentEnds& e, double t) {
    const double d1 = (e.t1 - e.t0) * e.lx;
    SegmentSplit split;
    split.startType = e.type0;
    split.inner = {
        {t, e.y1 + d1 * (t - e.t1), Type::Extrapolate, Pointd{d1 / (t - e.t0), 0.0}, {}}};
    split.endLeft = Pointd{d1 / (e.t1 - t), e.ly};
    return split;
}

Pointd Between(Pointd a, Pointd b, double u) noexcept {
    return {a.x + (b.x - a.x) * u, a.y + (b.y - a.y) * u};
}

using Controls = std::array<Pointd, 4>;

// The point of the polar form at (a, b, c): de Casteljau's, with a parameter of its own in
// each step. The part from a to b has the control points (a, a, a), (a, a, b), (a, b, b) and
// (b, b, b).
Pointd Blossom(const Controls& p, double a, double b, double c) noexcept {
    const Pointd q0 = Between(p[0], p[1], a);
    const Pointd q1 = Between(p[1], p[2], a);
    const Pointd q2 = Between(p[2], p[3], a);
    return Between(Between(q0, q1, b), Between(q1, q2, b), c);
}

Controls Part(const Controls& p, double a, double b) noexcept {
    return {Blossom(p, a, a, a), Blossom(p, a, a, b), Blossom(p, a, b, b), Blossom(p, b, b, b)};
}

SegmentSplit SplitValueBezier(const SegmentEnds& e, double t) {
    const double u = (t - e.t0) / (e.t1 - e.t0);
    const Controls points = {{{0.0, e.y0}, {0.0, e.rx}, {0.0, e.lx}, {0.0, e.y1}}};
    const Controls left = Part(points, 0.0, u);
    const Controls right = Part(points, u, 1.0);
    SegmentSplit split;
    split.startType = e.type0;
    split.startRight = Pointd{left[1].y, e.ry};
    split.inner = {{t, left[3].y, e.type0, Pointd{left[2].y, 0.0}, Pointd{right[1].y, 0.0}}};
    split.endLeft = Pointd{right[2].y, e.ly};
    return split;
}

// Time-value Beziers

// Whether a keyframe's handles can say it: their fractions lie in [0, 1].
bool Fits(const Controls& p) noexcept {
    const double room = kOutside * (p[3].x - p[0].x);
    return p[1].x <= p[3].x + room && p[2].x >= p[0].x - room;
}

// The handle that puts a control point to `point`, from an anchor at one end of a segment
// from `start` on; the offset is the evaluator's, to its rounding.
Pointd HandleTo(Pointd point, Pointd anchor, double start, double span) noexcept {
    const double fraction = std::clamp((point.x - start) / span, 0.0, 1.0);
    const double offset = (start + span * fraction) - anchor.x;
    const double rise = point.y - anchor.y;
    return {fraction, std::fabs(offset) < kNegligible ? rise : rise / offset};
}

double FromSeconds(double seconds, const SegmentEnds& e) noexcept {
    return e.t1 >= kFirstTickCount ? seconds * kTicksPerSecond : seconds;
}

// The pieces of `points`, which run in seconds, from cut to cut. X grows with s, and its
// slope is a parabola; a piece on one side of the parabola's lowest point always fits:
// three times the slope at either end is then no less than its mean over the piece.
SegmentSplit SplitTimeValue(const SegmentEnds& e, const Controls& points, Type inner, double t) {
    const CubicBezier curve =
        CubicBezier::FromControlPoints(points[0], points[1], points[2], points[3]);
    const double s = BezierTimeSolver::SolveExactly(curve, points[3].x, InSeconds(t));
    const double steepest = -curve.bx / (3.0 * curve.ax);
    std::vector<double> cuts = {0.0, s, 1.0};
    std::vector<double> times = {e.t0, t, e.t1};
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        if (!Fits(Part(points, cuts[i], cuts[i + 1])) && cuts[i] < steepest &&
            steepest < cuts[i + 1]) {
            const auto place = static_cast<std::ptrdiff_t>(i) + 1;
            times.insert(times.begin() + place, FromSeconds(curve.X(steepest), e));
            cuts.insert(cuts.begin() + place, steepest);
            break;
        }
    }
    SegmentSplit split;
    split.startType = e.type0;
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        const Controls part = Part(points, cuts[i], cuts[i + 1]);
        const Pointd start = {InSeconds(times[i]), part[0].y};
        const Pointd end = {InSeconds(times[i + 1]), part[3].y};
        const double span = end.x - start.x;
        const Pointd right = HandleTo(part[1], start, start.x, span);
        const Pointd left = HandleTo(part[2], end, start.x, span);
        (i == 0 ? split.startRight : split.inner.back().right) = right;
        if (i + 2 < cuts.size()) {
            split.inner.push_back({times[i + 1], end.y, inner, left, {}});
        } else {
            split.endLeft = left;
        }
    }
    return split;
}

SegmentSplit SplitTimeValueBezier(const SegmentEnds& e, double t) {
    SegmentCurve made{};
    std::array<Segment, 2> row;
    PrepareSegment(e, row.data(), made);
    // Its control points, from the power form's definition in `CubicBezier`.
    const CubicBezier& c = made.bezier;
    const Pointd p0 = {InSeconds(e.t0), e.y0};
    const Pointd p1 = {c.dx + c.cx / 3.0, c.dy + c.cy / 3.0};
    const Pointd p2 = {p1.x + (c.cx + c.bx) / 3.0, p1.y + (c.cy + c.by) / 3.0};
    const Pointd p3 = {InSeconds(e.t1), e.y1};
    return SplitTimeValue(e, {p0, p1, p2, p3}, IsBezier(e.type0) ? e.type0 : Type::Bezier, t);
}

// Easings

// The start stops to be an eased one; its new type makes a time-value Bezier, because the
// new keyframe is one, and leaves the rule of the segment that arrives as it is.
Type StartInsteadOfEasing(std::optional<Type> previous, Type easing) noexcept {
    for (const Type type : {Type::Bezier, Type::Bezier13}) {
        if (!previous || RuleOf(*previous, type) == RuleOf(*previous, easing)) {
            return type;
        }
    }
    return Type::Hermite;
}

SegmentSplit SplitCubicEasing(const SegmentEnds& e, const CubicEasing& easing,
                              std::optional<Type> previous, double t) {
    const CubicBezier c = easing.Curve();
    const Pointd start = {InSeconds(e.t0), e.y0};
    const double span = InSeconds(e.t1) - start.x;
    const double dv = e.y1 - e.y0;
    const auto place = [&](double x, double y) {
        return Pointd{start.x + span * x, start.y + dv * y};
    };
    const Pointd p1 = {c.cx / 3.0, c.cy / 3.0};
    const Pointd p2 = {p1.x + (c.cx + c.bx) / 3.0, p1.y + (c.cy + c.by) / 3.0};
    SegmentSplit split = SplitTimeValue(
        e, {start, place(p1.x, p1.y), place(p2.x, p2.y), {start.x + span, e.y1}}, Type::Bezier, t);
    split.startType = StartInsteadOfEasing(previous, e.type0);
    split.freesEnd = e.type1 == Type::Linear;
    return split;
}

// A cubic of an easing, from one progress to another, with eased progress and slopes.
struct EasedPiece {
    double from, to;
    double y0, y1;
    double d0, d1;
};

// The parabolas are cubics.
std::vector<EasedPiece> BouncePieces(double cut) {
    std::vector<EasedPiece> pieces;
    double from = 0.0;
    for (const BouncePiece& bounce : kBouncePieces) {
        const auto add = [&](double to) {
            const double a = from - bounce.top;
            const double b = to - bounce.top;
            pieces.push_back({from, to, kBounceSteepness * a * a + bounce.floor,
                              kBounceSteepness * b * b + bounce.floor, 2.0 * kBounceSteepness * a,
                              2.0 * kBounceSteepness * b});
            from = to;
        };
        if (from < cut && cut < bounce.end) {
            add(cut);
        }
        add(bounce.end);
    }
    return pieces;
}

// The cubic through both ends and the two places between them where the fourth Chebyshev
// polynomial, stretched so that its outer roots are the ends, has its inner ones: 1/sqrt(2)
// from either end. Its error is nearly the least that a cubic with these ends can have, a
// sixth of that of one with the slopes of the swing.
EasedPiece ElasticPiece(double from, double to) {
    constexpr double kInner = 0.29289321881345254;
    const double y0 = ElasticSwing(from);
    const double y1 = ElasticSwing(to);
    const double h = to - from;
    // y0 + (y1 - y0) u + u (1 - u) (a + b u)
    const auto bend = [&](double u) {
        return (ElasticSwing(from + u * h) - y0 - (y1 - y0) * u) / (u * (1.0 - u));
    };
    const double q0 = bend(kInner);
    const double q1 = bend(1.0 - kInner);
    const double b = (q1 - q0) / (1.0 - 2.0 * kInner);
    const double a = q0 - b * kInner;
    return {from, to, y0, y1, (y1 - y0 + a) / h, (y1 - y0 - a - b) / h};
}

bool IsNearSwing(const EasedPiece& piece) {
    constexpr int kProbes = 16;
    const double h = piece.to - piece.from;
    const double d0 = piece.d0 * h;
    const double d1 = piece.d1 * h;
    const double dv = piece.y1 - piece.y0;
    for (int i = 1; i < kProbes; ++i) {
        const double u = static_cast<double>(i) / kProbes;
        const double y =
            (((d0 - 2.0 * dv + d1) * u + (3.0 * dv - 2.0 * d0 - d1)) * u + d0) * u + piece.y0;
        if (!(std::fabs(y - ElasticSwing(piece.from + u * h)) <= kElasticTolerance)) {
            return false;
        }
    }
    return true;
}

// The longest pieces that keep the tolerance, from the start on: with knots at 0, the cut and
// the rest, no other way needs fewer.
std::vector<EasedPiece> ElasticPieces(double cut) {
    constexpr int kHalvings = 12;
    std::vector<EasedPiece> pieces;
    double from = 0.0;
    for (const double knot : {std::min(cut, kElasticRest), kElasticRest}) {
        while (from < knot) {
            EasedPiece piece = ElasticPiece(from, knot);
            double fits = from;
            double fails = knot;
            for (int i = 0; i < kHalvings && !IsNearSwing(piece); ++i) {
                const double middle = 0.5 * (fits + fails);
                (IsNearSwing(ElasticPiece(from, middle)) ? fits : fails) = middle;
                if (i + 1 == kHalvings) {
                    piece = ElasticPiece(from, fits > from ? fits : fails);
                }
            }
            pieces.push_back(piece);
            from = piece.to;
        }
    }
    return pieces;
}

SegmentSplit SplitClosedEasing(const SegmentEnds& e, double t) {
    const bool isElastic = e.type0 == Type::EaseOutElastic;
    const double dt = e.t1 - e.t0;
    const double dv = e.y1 - e.y0;
    const double cut = (t - e.t0) / dt;
    const std::vector<EasedPiece> pieces = isElastic ? ElasticPieces(cut) : BouncePieces(cut);
    const auto timeAt = [&](double p) { return p == cut ? t : e.t0 + p * dt; };
    // Cubics in time: Hermite ones, unless the end would make another shape of the last; then
    // all of them are time-value Beziers of even time, whose start may be of any type.
    const bool isPlanar = !isElastic && (RuleOf(Type::Hermite, e.type1) != SegmentRule::Hermite ||
                                         e.type1 == Type::Extrapolate);
    const double perSecond = dv / (InSeconds(e.t1) - InSeconds(e.t0));
    const auto handle = [&](double fraction, double d) {
        return isPlanar ? Pointd{fraction, d * perSecond} : Pointd{d * dv / dt, 0.0};
    };
    const auto left = [&](double d) { return handle(2.0 / 3.0, d); };
    const auto right = [&](double d) { return handle(1.0 / 3.0, d); };

    SegmentSplit split;
    split.startType = Type::Hermite;
    split.startRight = right(pieces.front().d0);
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        const EasedPiece& piece = pieces[i];
        split.inner.push_back({timeAt(piece.from), e.y0 + dv * piece.y0,
                               isPlanar ? Type::Bezier : Type::Hermite, left(pieces[i - 1].d1),
                               right(piece.d0)});
    }
    const EasedPiece& last = pieces.back();
    if (isElastic) {
        const ValAny rest = e.y0 + dv * last.y1;
        split.inner.push_back({timeAt(last.to), rest, Type::Hold, left(last.d1), {}});
        if (cut > kElasticRest) {
            split.inner.push_back({t, rest, Type::Hold, {}, {}});
        }
    } else {
        split.endLeft = left(last.d1);
    }
    return split;
}

// Where the rule solves for time in seconds, the three times must follow each other there
// too. A curve in ticks may start at 0, which both units share.
bool HasOneUnit(const SegmentEnds& e, double t) noexcept {
    const bool isShared = (e.t0 < kFirstTickCount) == (e.t1 < kFirstTickCount) ||
                          (e.t0 == 0.0 && t >= kFirstTickCount);
    return isShared && InSeconds(e.t0) < InSeconds(t) && InSeconds(t) < InSeconds(e.t1);
}

SegmentSplit SplitByRule(const SegmentEnds& e, std::optional<Type> previous, double t) {
    const SegmentRule rule = RuleOf(e.type0, e.type1);
    if ((rule == SegmentRule::Ease || rule == SegmentRule::TimeValueBezier) && !HasOneUnit(e, t)) {
        return Refused("times in seconds and in ticks meet there");
    }
    switch (rule) {
        case SegmentRule::Ease: {
            const CubicEasing* easing = FindCubicEasing(e.type0);
            return easing != nullptr ? SplitCubicEasing(e, *easing, previous, t)
                                     : SplitClosedEasing(e, t);
        }
        case SegmentRule::Extrapolate:
            return SplitExtrapolated(e, t);
        case SegmentRule::Hold:
            return SplitHold(e, t);
        case SegmentRule::ValueBezier:
            return SplitValueBezier(e, t);
        case SegmentRule::TimeValueBezier:
            return SplitTimeValueBezier(e, t);
        case SegmentRule::Hermite:
            break;
    }
    return SplitHermite(e, t);
}

}  // namespace

SegmentSplit SplitSegment(const SegmentEnds& ends, std::optional<Type> previous, double t) {
    return Checked(SplitByRule(ends, previous, t), ends.t0, ends.t1);
}

SegmentSplit SplitPath(const TimeValuePair& start, const TimeValuePair& end, double t) {
    const Controls points = PathControlPoints(start, end);
    const double t0 = start.GetTime();
    const double u = (t - t0) / (end.GetTime() - t0);
    const Controls before = Part(points, 0.0, u);
    const Controls after = Part(points, u, 1.0);
    const Type type = start.GetInterpolation();
    SegmentSplit split;
    split.startType = type;
    if (type == Type::Hold) {
        split.inner = {{t, start.GetValue(), type, {}, {}}};
    } else {
        // On the side of a linear keyframe the control point is the keyframe's place; on the
        // new one both sides need a handle.
        split.startRight = before[1];
        split.inner = {
            {t, before[3], type == Type::Linear ? Type::Bezier : type, before[2], after[1]}};
        split.endLeft = after[2];
    }
    return Checked(std::move(split), t0, end.GetTime());
}

HandlePair HandlesOfRest(Type type, const ValAny& value) {
    double number = 0.0;
    if (value.Kind() == ValAny::kPoint) {
        return {value.AsPoint(), value.AsPoint()};
    }
    switch (RuleOf(type, type)) {
        case SegmentRule::TimeValueBezier:
            return {{2.0 / 3.0, 0.0}, {1.0 / 3.0, 0.0}};
        case SegmentRule::ValueBezier:
            ReadNumber(value, number);
            return {{number, 0.0}, {number, 0.0}};
        default:
            return {{0.0, 0.0}, {0.0, 0.0}};
    }
}

}  // namespace core
