#include <core/curve/path_length.h>

#include "core/curve/cubic_fit.h"
#include "core/curve/curve_draft.h"
#include "core/curve/polynomial.h"
#include "core/curve/snapshot_access.h"

#include <core/curve/any_kind_mismatch.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

// The length of P(u) from a to b is the integral of |P'(u)|: smooth but for cusps, where the
// speed vanishes and the quadrature halves its way towards them.

namespace core {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
// Of the length of a segment's control polygon. Ten times larger would do for 1e-6 of what is
// left of it between two times.
constexpr double kLengthTolerance = 1e-10;
// Of the length of a segment: how far from an even motion.
constexpr double kEvenTolerance = 1e-6;

Pointd Derivative(const CubicBezier& c, double u) noexcept {
    return {c.SlopeX(u), (3.0 * c.ay * u + 2.0 * c.by) * u + c.cy};
}

double SpeedAt(const CubicBezier& c, double u) noexcept {
    return LengthOf(Derivative(c, u));
}

// Five nodes of Gauss and Legendre.
double Quadrature(const CubicBezier& c, double a, double b) noexcept {
    constexpr double kNodes[] = {0.5384693101056831, 0.9061798459386640};
    constexpr double kWeights[] = {0.5688888888888889, 0.4786286704993665, 0.2369268850561891};
    const double middle = 0.5 * (a + b);
    const double half = 0.5 * (b - a);
    double sum = kWeights[0] * SpeedAt(c, middle);
    for (int i = 0; i < 2; ++i) {
        sum += kWeights[i + 1] *
               (SpeedAt(c, middle - half * kNodes[i]) + SpeedAt(c, middle + half * kNodes[i]));
    }
    return sum * half;
}

double AdaptiveLength(const CubicBezier& c, double a, double b, double whole, double tolerance,
                      int halvings) noexcept {
    const double middle = 0.5 * (a + b);
    const double left = Quadrature(c, a, middle);
    const double right = Quadrature(c, middle, b);
    if (halvings == 0 || !(std::fabs(left + right - whole) > tolerance)) {
        return left + right;
    }
    return AdaptiveLength(c, a, middle, left, tolerance, halvings - 1) +
           AdaptiveLength(c, middle, b, right, tolerance, halvings - 1);
}

// The way along one segment.
class SegmentLength {
public:
    explicit SegmentLength(const CubicBezier& of) : curve(of) {
        constexpr double kThird = 1.0 / 3.0;
        const auto size = [](double x, double y) { return std::hypot(x, y); };
        polygon =
            kThird * (size(curve.cx, curve.cy) + size(curve.cx + curve.bx, curve.cy + curve.by) +
                      size(curve.cx + 2.0 * curve.bx + 3.0 * curve.ax,
                           curve.cy + 2.0 * curve.by + 3.0 * curve.ay));
        for (std::size_t i = 0; i < kCells; ++i) {
            upTo[i + 1] = upTo[i] + Between(At(i), At(i + 1));
        }
    }

    double Whole() const noexcept { return upTo[kCells]; }
    double UpTo(double u) const noexcept {
        const auto cell =
            std::min(static_cast<std::size_t>(u * static_cast<double>(kCells)), kCells - 1);
        return upTo[cell] + Between(At(cell), u);
    }
    double ParameterAt(double length) const noexcept {
        const auto behind = std::upper_bound(upTo.begin() + 1, upTo.end() - 1, length);
        const auto cell = static_cast<std::size_t>(behind - upTo.begin()) - 1;
        const auto distance = [&](double u, double& slope) {
            slope = SpeedAt(curve, u);
            return upTo[cell] + Between(At(cell), u) - length;
        };
        const double share = (length - upTo[cell]) / std::max(upTo[cell + 1] - upTo[cell], 1e-300);
        return RootInBracket(distance, At(cell), At(cell + 1),
                             At(cell) + share * (At(cell + 1) - At(cell)));
    }

private:
    static constexpr std::size_t kCells = 16;
    static double At(std::size_t i) noexcept {
        return static_cast<double>(i) / static_cast<double>(kCells);
    }
    double Between(double a, double b) const noexcept {
        constexpr int kMostHalvings = 24;
        return a < b ? AdaptiveLength(curve, a, b, Quadrature(curve, a, b),
                                      kLengthTolerance * polygon, kMostHalvings)
                     : 0.0;
    }

    const CubicBezier& curve;
    double polygon = 0.0;
    std::array<double, kCells + 1> upTo{};
};

const CubicBezier& PathOf(const Segment& segment) {
    if (segment.shape != Segment::Shape::Path) {
        throw AnyKindMismatch(ValAny::kDouble, ValAny::kPoint);
    }
    return segment.Curve().bezier;
}

const Curve& PathOf(const CurveSnapshot& snapshot) {
    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    if (curve.Type() != ParameterPoint) {
        throw AnyKindMismatch(curve.Count() > 0 ? curve[0].PeekValue().Kind() : ValAny::kNone,
                              ValAny::kPoint);
    }
    return curve;
}

// Visits the segments between keyframes from `from` to `to`, as parts from u = a to u = b;
// stops where `visit` answers false.
template <class Visit>
void WalkPath(const Curve& curve, double from, double to, const Visit& visit) {
    if (curve.Count() < 2) {
        return;
    }
    const std::size_t place = curve.UpperBound(from);
    for (std::size_t i = place > 0 ? place - 1 : 0; i + 1 < curve.Count(); ++i) {
        const double start = curve.TimeOf(i);
        if (start >= to) {
            return;
        }
        const Segment& segment = curve.SegmentAt(start);
        const double a = std::max(segment.Progress(from), 0.0);
        const double b = std::min(segment.Progress(to), 1.0);
        if (a < b && !visit(segment, PathOf(segment), a, b)) {
            return;
        }
    }
}

// Infinite times as ones beyond all keyframes.
double Bounded(const Curve& curve, double time) noexcept {
    return curve.Count() == 0 ? 0.0
                              : std::clamp(time, curve.TimeOf(0), curve.TimeOf(curve.Count() - 1));
}

Pointd Unit(Pointd p, double sign) noexcept {
    const double length = LengthOf(p);
    return length > 0.0 ? Pointd{sign * p.x / length, sign * p.y / length} : Pointd{};
}

// The first derivative that does not vanish says where the path goes to; where it comes from
// those of even order count the other way.
Pointd DirectionAt(const CubicBezier& c, double u, bool isArriving) noexcept {
    constexpr double kVanished = 1e-9;
    const std::array<Pointd, 3> derivatives = {
        Derivative(c, u),
        {6.0 * c.ax * u + 2.0 * c.bx, 6.0 * c.ay * u + 2.0 * c.by},
        {6.0 * c.ax, 6.0 * c.ay}};
    const double scale = LengthOf({c.ax, c.ay}) + LengthOf({c.bx, c.by}) + LengthOf({c.cx, c.cy});
    double sign = 1.0;
    for (const Pointd& derivative : derivatives) {
        if (LengthOf(derivative) > kVanished * scale) {
            return Unit(derivative, sign);
        }
        sign = isArriving ? -sign : sign;
    }
    return {};
}

// A piece of a segment with an even motion: lengths from and to, and the cubic.
struct EvenPiece {
    double from;
    double to;
    CubicControls cubic;
};

// The even motion along a segment, in cubics.
class EvenMotion {
public:
    explicit EvenMotion(const CubicBezier& path) : curve(path), way(path) {}

    /// Of a segment that takes `time`.
    std::vector<EvenPiece> Pieces(double time) const {
        // At a cusp, where only ever shorter pieces help, as many as have room in time.
        constexpr int kUsual = 12;
        constexpr int kMost = 20;
        const int room = static_cast<int>(std::log2(time / (4.0 * kTimeTolerance)));
        std::vector<EvenPiece> pieces;
        Append(0.0, way.Whole(), std::clamp(room, kUsual, kMost), pieces);
        return pieces;
    }
    double Length() const noexcept { return way.Whole(); }

private:
    struct Place {
        Pointd at;
        Pointd before;
        Pointd after;
    };
    Place PlaceAt(double length) const noexcept {
        const double u = length <= 0.0           ? 0.0
                         : length >= way.Whole() ? 1.0
                                                 : way.ParameterAt(length);
        return {
            {curve.X(u), curve.Y(u)}, DirectionAt(curve, u, true), DirectionAt(curve, u, false)};
    }

    // The cubic with the ends' places and, the length being the time, their directions.
    void Append(double from, double to, int halvings, std::vector<EvenPiece>& pieces) const {
        constexpr int kProbes = 8;
        const Place a = PlaceAt(from);
        const Place b = PlaceAt(to);
        const double third = (to - from) / 3.0;
        const CubicControls cubic = {a.at,
                                     {a.at.x + third * a.after.x, a.at.y + third * a.after.y},
                                     {b.at.x - third * b.before.x, b.at.y - third * b.before.y},
                                     b.at};
        bool isNear = true;
        for (int i = 1; i < kProbes && isNear; ++i) {
            const double u = static_cast<double>(i) / kProbes;
            const Pointd wanted = PlaceAt(from + (to - from) * u).at;
            const Pointd made = PointAt(cubic, u);
            // A third of what is allowed: it grows between probes.
            isNear = LengthOf({made.x - wanted.x, made.y - wanted.y}) <=
                     kEvenTolerance / 3.0 * way.Whole();
        }
        if (isNear || halvings == 0) {
            pieces.push_back({from, to, cubic});
            return;
        }
        const double middle = 0.5 * (from + to);
        Append(from, middle, halvings - 1, pieces);
        Append(middle, to, halvings - 1, pieces);
    }

    const CubicBezier& curve;
    SegmentLength way;
};

// Appends the even motion from keyframe `index` on, without the keyframe at its end.
std::string AppendEven(const Curve& curve, std::size_t index, KeyframeStretch& stretch) {
    using Type = KeyframeInterpolationType;
    const TimeValuePair& start = curve[index];
    SegmentForm form;
    if (start.PeekValue().Kind() != ValAny::kPoint ||
        curve[index + 1].PeekValue().Kind() != ValAny::kPoint ||
        !ReadForm(start, curve[index + 1], curve.Type(), form)) {
        return "the curve is no path of points";
    }
    stretch.keyframes.push_back(start);
    stretch.sides.push_back(curve.HandSetOf(index));
    const EvenMotion even(PathOf(curve.SegmentAt(start.GetTime())));
    if (form.kind == SegmentForm::Kind::Held || !(even.Length() > 0.0)) {
        stretch.forms.push_back(form);
        return {};
    }
    const Type type = form.type == Type::Linear ? Type::Bezier : form.type;
    const double dt = curve.TimeOf(index + 1) - start.GetTime();
    for (const EvenPiece& piece : even.Pieces(dt)) {
        if (dt * (piece.to - piece.from) / even.Length() < 2.0 * kTimeTolerance) {
            return "the segment at keyframe " + std::to_string(index) +
                   " is too short for the keyframes of an even motion";
        }
        if (piece.from > 0.0) {
            stretch.keyframes.emplace_back(start.GetTime() + dt * piece.from / even.Length(),
                                           piece.cubic[0], type);
            stretch.sides.emplace_back();
        }
        SegmentForm part;
        part.kind = SegmentForm::Kind::Path;
        part.type = type;
        part.first = piece.cubic[1];
        part.second = piece.cubic[2];
        stretch.forms.push_back(part);
    }
    return {};
}

}  // namespace

double GetPathLength(const CurveSnapshot& snapshot, double from, double to) {
    const Curve& curve = PathOf(snapshot);
    if (std::isnan(from) || std::isnan(to)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    double length = 0.0;
    WalkPath(curve, Bounded(curve, std::min(from, to)), Bounded(curve, std::max(from, to)),
             [&](const Segment&, const CubicBezier& c, double a, double b) {
                 const SegmentLength way(c);
                 length += (b < 1.0 ? way.UpTo(b) : way.Whole()) - (a > 0.0 ? way.UpTo(a) : 0.0);
                 return true;
             });
    return length;
}

bool FindTimeAtDistance(const CurveSnapshot& snapshot, double from, double distance, double& time) {
    const Curve& curve = PathOf(snapshot);
    if (!(distance >= 0.0) || std::isnan(from)) {
        return false;
    }
    if (distance == 0.0) {
        time = from;
        return true;
    }
    double left = distance;
    bool isFound = false;
    double reached = 0.0;
    WalkPath(curve, Bounded(curve, from), kInfinity,
             [&](const Segment& segment, const CubicBezier& c, double a, double) {
                 const SegmentLength way(c);
                 const double start = a > 0.0 ? way.UpTo(a) : 0.0;
                 // What rounding leaves of the last segment is reached at its end.
                 const double missing = start + left - way.Whole();
                 if (missing > kLengthTolerance * distance) {
                     left = missing;
                     return true;
                 }
                 const double u = missing >= 0.0 ? 1.0 : way.ParameterAt(start + left);
                 reached = segment.from + (segment.To() - segment.from) * u;
                 isFound = true;
                 return false;
             });
    if (isFound) {
        time = reached;
    }
    return isFound;
}

Pointd GetPointAtDistance(const CurveSnapshot& snapshot, double distance) {
    const Curve& curve = PathOf(snapshot);
    double time = distance > 0.0 ? kInfinity : -kInfinity;
    if (curve.Count() > 0) {
        FindTimeAtDistance(snapshot, curve.TimeOf(0), distance, time);
    }
    return snapshot.GetValue(Bounded(curve, time), false).AsPoint();
}

PathDirections GetPathDirections(const CurveSnapshot& snapshot, double time) {
    const Curve& curve = PathOf(snapshot);
    if (curve.Count() < 2 || std::isnan(time)) {
        return {};
    }
    const auto direction = [&](double at, bool isArriving) -> Pointd {
        if (at < curve.TimeOf(0) || at >= curve.TimeOf(curve.Count() - 1)) {
            return {};
        }
        const Segment& segment = curve.SegmentAt(at);
        return DirectionAt(PathOf(segment), std::clamp(segment.Progress(time), 0.0, 1.0),
                           isArriving);
    };
    return {direction(std::nextafter(time, -kInfinity), true), direction(time, false)};
}

CurveEditResult MakeMotionEven(KeyframeHandle& handle, double from, double to) {
    return EditCurve(handle, [&](const Curve& curve, Shared<Curve>& draft) {
        std::string fault = FaultOfBounds(from, to);
        if (!fault.empty()) {
            return fault;
        }
        if (curve.Type() != ParameterPoint) {
            return std::string("the curve is no path of points");
        }
        const Curve::Range range = KeyframesFrom(curve, from, to);
        if (range.last - range.first < 2) {
            return fault;
        }
        KeyframeStretch stretch;
        for (std::size_t i = range.first; i + 1 < range.last; ++i) {
            fault = AppendEven(curve, i, stretch);
            if (!fault.empty()) {
                return fault;
            }
        }
        stretch.keyframes.push_back(curve[range.last - 1]);
        stretch.sides.push_back(curve.HandSetOf(range.last - 1));
        return ReplaceStretch(curve, range, std::move(stretch), draft);
    });
}

}  // namespace core
