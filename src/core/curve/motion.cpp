#include "core/curve/motion.h"

#include "core/curve/keyframe_store.h"
#include "core/curve/numbers.h"
#include "core/curve/prepared_curve.h"
#include "core/curve/segment.h"
#include "core/curve/time_unit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

// Merging walks over stretches: the intervals between neighbouring times at which
// either dimension has a keyframe or a seam. Within a stretch each dimension is one
// smooth function of time.
//
//  1. Times of the two dimensions that match are one time, the earlier one.
//  2. A dimension whose shape is a cubic in time gives its control values over any
//     part of the stretch exactly (blossoming). Any other is fitted: the cubic
//     through its values at 0, 1/3, 2/3 and 1 of a piece. Where that is too far off,
//     the piece is halved, the worst one first.
//  3. The keyframe at the start of a stretch has the values that the dimensions
//     sample to there. Where a dimension arrives elsewhere at the end of a stretch,
//     it jumps: a path can only jump at the end of a hold, so a hold is made.
//  4. A path straightens the handle that arrives at a hold. Where that would show,
//     the handle arrives at an ordinary keyframe and the hold starts just after it.

namespace core {
namespace {

using Type = KeyframeInterpolationType;

// The control values of a cubic over a piece, in Bernstein form.
using Controls = std::array<double, 4>;

// Between an added keyframe and the next one: twice what makes them match, so that
// they stay two when a file rounds their times.
constexpr double kNearestKeyframe = 2.0 * KeyframeStore::kTimeTolerance;

// How far a fitted cubic may be off, in spans of its segment's values. Ten times
// smaller takes twice the keyframes; ten times larger is a visible half pixel where
// a path crosses a large picture.
constexpr double kFitTolerance = 1e-5;
constexpr std::size_t kMostPieces = 64;

// What rounding leaves of two values that should be equal.
constexpr double kRounding = 1e-13;

// How near two keyframes between `from` and `to` may be. Far from zero, times are
// further apart than 1e-7.
double NearestKeyframe(double from, double to) noexcept {
    const double size = std::max(std::fabs(from), std::fabs(to));
    return std::max(kNearestKeyframe, 8.0 * std::numeric_limits<double>::epsilon() * size);
}

double Mix(double a, double b, double u) noexcept {
    return (1.0 - u) * a + u * b;
}

// De Casteljau's scheme with another parameter in each of its three rounds.
double Blossom(const Controls& c, double r, double s, double t) noexcept {
    const Controls first = {Mix(c[0], c[1], r), Mix(c[1], c[2], r), Mix(c[2], c[3], r)};
    return Mix(Mix(first[0], first[1], s), Mix(first[1], first[2], s), t);
}

Controls Part(const Controls& c, double from, double to) noexcept {
    return {Blossom(c, from, from, from), Blossom(c, from, from, to), Blossom(c, from, to, to),
            Blossom(c, to, to, to)};
}

double ValueAt(const Controls& c, double u) noexcept {
    return Blossom(c, u, u, u);
}

// The cubic through four values at 0, 1/3, 2/3 and 1.
Controls Through(double f0, double f1, double f2, double f3) noexcept {
    return {f0, (-5.0 * f0 + 18.0 * f1 - 9.0 * f2 + 2.0 * f3) / 6.0,
            (2.0 * f0 - 9.0 * f1 + 18.0 * f2 - 5.0 * f3) / 6.0, f3};
}

class Stretch;

// A dimension as a row of prepared segments.
class Dimension {
public:
    // Keyframes are moved to the matching ones of `unionTimes`.
    Dimension(const MotionDimension& source, std::span<const double> unionTimes);

    // The times inside eased and Bezier segments where the function of time has a
    // seam.
    void FindSeams(std::vector<double>& seams) const;
    bool EndsInHold() const noexcept { return keyframes.empty() || lastType == Type::Hold; }

private:
    friend class Stretch;

    std::span<const TimeValuePair> keyframes;
    std::vector<double> times;
    PreparedCurve curve;
    double ratio;
    bool isInteger;
    Type lastType = Type::Extrapolate;
};

// A dimension over one stretch.
class Stretch {
public:
    Stretch(const Dimension& dimension, double start, double end);

    // What the dimension samples to at the start.
    double SampleAtStart() const noexcept;
    // The dimension as a continuous function, up to and including the end.
    double At(double t) const noexcept;
    // The same over a part of the stretch; what `At` is, or comes near to.
    Controls Over(double from, double to) const noexcept;
    // How far `controls` are from `At` over a part, in units of what is allowed.
    double ErrorOf(const Controls& controls, double from, double to) const noexcept;

    // Whether `next`, the stretch after this one, does not go on where this one ends.
    bool JumpsTo(const Stretch& next) const noexcept;
    bool IsConstant() const noexcept;

private:
    using Shape = Segment::Shape;

    const Segment& Shown() const noexcept { return dimension->curve.segments[segment]; }
    const SegmentCurve& ShownCurve() const noexcept { return dimension->curve.curves[segment]; }
    bool IsFitted() const noexcept;
    double RawAt(double t) const noexcept;
    void SetTolerances() noexcept;

    const Dimension* dimension;
    std::size_t segment;
    double start;
    double end;
    double fitTolerance = 0.0;
    double jumpTolerance = 0.0;
};

Dimension::Dimension(const MotionDimension& source, std::span<const double> unionTimes)
    : keyframes(source.keyframes),
      // A single keyframe is sampled as it is stored.
      ratio(source.keyframes.size() > 1 ? source.ratio : 1.0),
      isInteger(source.keyframes.size() > 1 && source.isInteger) {
    const std::size_t count = keyframes.size();
    times.reserve(count);
    for (const TimeValuePair& keyframe : keyframes) {
        times.push_back(unionTimes[UpperBound(unionTimes, keyframe.GetTime()) - 1]);
    }
    const auto constantOf = [this](std::size_t i) {
        double number = 0.0;
        ReadNumber(keyframes[i].PeekValue(), number);
        return ConstantSegment(number);
    };
    curve.Start(count);
    curve.segments.front() = count > 0 ? constantOf(0) : ConstantSegment(0.0);
    curve.segments.back() = count > 0 ? constantOf(count - 1) : ConstantSegment(0.0);
    for (std::size_t i = 1; i < count; ++i) {
        SegmentEnds ends{};
        ReadEnds(keyframes[i - 1], keyframes[i], false, ends);
        ends.t0 = times[i - 1];
        ends.t1 = times[i];
        SegmentCurve segmentCurve{};
        const Segment prepared = PrepareSegment(ends, segmentCurve);
        curve.Keep(i, prepared, segmentCurve);
    }
    if (count > 0) {
        lastType = keyframes[count - 1].GetInterpolation();
    }
}

void Dimension::FindSeams(std::vector<double>& seams) const {
    using Shape = Segment::Shape;
    for (std::size_t i = 1; i < times.size(); ++i) {
        const double t0 = times[i - 1];
        const double t1 = times[i];
        const Segment& s = curve.segments[i];
        const auto add = [&](double time) {
            if (time > t0 && time < t1) {
                seams.push_back(time);
            }
        };
        // A segment that begins in seconds and ends in ticks goes by in each unit.
        const auto addSeconds = [&](double seconds) {
            if (seconds < kFirstTickCount) {
                add(seconds);
            }
            if (seconds * kTicksPerSecond >= kFirstTickCount) {
                add(seconds * kTicksPerSecond);
            }
        };
        const bool isEased =
            s.shape == Shape::CubicEasing || s.shape == Shape::Elastic || s.shape == Shape::Bounce;
        if (s.shape == Shape::Bounce) {
            for (const BouncePiece& piece : kBouncePieces) {
                addSeconds(s.start + s.span * piece.end);
            }
        }
        if ((isEased || s.shape == Shape::TimeValueBezier) && t0 < kFirstTickCount &&
            t1 > kFirstTickCount) {
            add(kFirstTickCount);
            addSeconds(s.start + s.span);
        }
    }
}

Stretch::Stretch(const Dimension& source, double from, double to)
    : dimension(&source), segment(UpperBound(source.times, from)), start(from), end(to) {
    SetTolerances();
}

bool Stretch::IsConstant() const noexcept {
    const Segment& s = Shown();
    switch (s.shape) {
        case Shape::Constant:
            return true;
        case Shape::ValueBezier:
            return s.c[1] == s.c[0] && s.c[2] == s.c[0] && s.c[3] == s.c[0];
        case Shape::TimeValueBezier: {
            const CubicBezier& b = ShownCurve().bezier;
            return b.ay == 0.0 && b.by == 0.0 && b.cy == 0.0;
        }
        default:
            return s.c[1] == 0.0 && s.c[2] == 0.0 && s.c[3] == 0.0;
    }
}

bool Stretch::IsFitted() const noexcept {
    const Shape shape = Shown().shape;
    return shape == Shape::TimeValueBezier || shape == Shape::CubicEasing ||
           shape == Shape::Elastic;
}

double Stretch::RawAt(double t) const noexcept {
    const Segment& s = Shown();
    // In the unit of the stretch, at its end too.
    const double seconds = start >= kFirstTickCount ? t / kTicksPerSecond : t;
    const double p = std::clamp(s.Progress(seconds), 0.0, 1.0);
    switch (s.shape) {
        case Shape::TimeValueBezier: {
            const SegmentCurve& c = ShownCurve();
            return c.bezier.Y(BezierTimeSolver::SolveExactly(c.bezier, c.xEnd, seconds));
        }
        case Shape::CubicEasing: {
            const CubicBezier easing = s.easing->Curve();
            return s.c[0] + s.c[1] * easing.Y(BezierTimeSolver::SolveExactly(easing, 1.0, p));
        }
        case Shape::Elastic:
            return s.c[0] + s.c[1] * ElasticSwing(p);
        case Shape::Bounce:
            return s.c[0] + s.c[1] * EaseOutBounce(p);
        default:
            return SampleSegment(s, nullptr, t);
    }
}

double Stretch::At(double t) const noexcept {
    const double value = RawAt(t) * dimension->ratio;
    return dimension->isInteger && IsConstant() ? TruncateToInt(value) : value;
}

// A cubic easing is sampled a millionth of its span off its own keyframe; there the
// keyframe's value is the better answer, because the segment before ends in it too.
double Stretch::SampleAtStart() const noexcept {
    const SegmentCurve* shown = dimension->curve.curves.empty() ? nullptr : &ShownCurve();
    const bool isAtKeyframe = segment > 0 && dimension->times[segment - 1] == start;
    const double raw = isAtKeyframe ? RawAt(start) : SampleSegment(Shown(), shown, start);
    const double value = raw * dimension->ratio;
    return dimension->isInteger ? TruncateToInt(value) : value;
}

// From the span and the size of the values on the stretch.
void Stretch::SetTolerances() noexcept {
    const int steps = IsFitted() ? 16 : 1;
    double least = std::numeric_limits<double>::infinity();
    double most = -least;
    for (int i = 0; i <= steps; ++i) {
        const double value = At(Mix(start, end, static_cast<double>(i) / steps));
        least = std::min(least, value);
        most = std::max(most, value);
    }
    double size = 0.0;
    if (Shown().shape == Shape::TimeValueBezier) {
        const CubicBezier& b = ShownCurve().bezier;
        size = std::fabs(b.ay) + std::fabs(b.by) + std::fabs(b.cy) + std::fabs(b.dy);
    } else {
        for (const double c : Shown().c) {
            size += std::fabs(c);
        }
    }
    size = size * std::fabs(dimension->ratio) + std::max(std::fabs(least), std::fabs(most));
    fitTolerance = kFitTolerance * (most - least) + kRounding * size;
    // Integers jump when they change by 1 at once.
    jumpTolerance = dimension->isInteger ? 1.0 - 1e-9 : kRounding * size;
}

Controls Stretch::Over(double from, double to) const noexcept {
    const Segment& s = Shown();
    Controls whole{};
    switch (s.shape) {
        case Shape::Constant: {
            const double value = At(from);
            return {value, value, value, value};
        }
        case Shape::Cubic:
            whole = {s.c[0], s.c[0] + s.c[1] / 3.0, s.c[0] + (2.0 * s.c[1] + s.c[2]) / 3.0,
                     s.c[0] + s.c[1] + s.c[2] + s.c[3]};
            break;
        case Shape::ValueBezier:
            whole = {s.c[0], s.c[1], s.c[2], s.c[3]};
            break;
        default:
            return Through(At(from), At(Mix(from, to, 1.0 / 3.0)), At(Mix(from, to, 2.0 / 3.0)),
                           At(to));
    }
    Controls part = Part(whole, s.Progress(from), s.Progress(to));
    for (double& control : part) {
        control *= dimension->ratio;
    }
    return part;
}

double Stretch::ErrorOf(const Controls& controls, double from, double to) const noexcept {
    if (!IsFitted()) {
        return 0.0;
    }
    double error = 0.0;
    // Near where a cubic through four values is furthest from the fifth.
    for (const double u : {0.125, 0.5, 0.875}) {
        error = std::max(error, std::fabs(ValueAt(controls, u) - At(Mix(from, to, u))));
    }
    return fitTolerance > 0.0 ? error / fitTolerance : 0.0;
}

bool Stretch::JumpsTo(const Stretch& next) const noexcept {
    // Within one segment only a change of the time's unit can make it jump.
    if (next.segment == segment && end != kFirstTickCount) {
        return false;
    }
    const double there = dimension->isInteger ? next.SampleAtStart() : next.At(end);
    return std::fabs(At(end) - there) > std::max(jumpTolerance, next.jumpTolerance);
}

// A part of a stretch over which the path is one cubic.
struct Piece {
    double start;
    double end;
    Controls x;
    Controls y;
    double error;
};

Piece MakePiece(const Stretch& x, const Stretch& y, double start, double end) noexcept {
    Piece piece{start, end, x.Over(start, end), y.Over(start, end), 0.0};
    // A piece too short to be halved is as good as it gets.
    if (end - start >= 4.0 * NearestKeyframe(start, end)) {
        piece.error = std::max(x.ErrorOf(piece.x, start, end), y.ErrorOf(piece.y, start, end));
    }
    return piece;
}

std::vector<Piece> FitPieces(const Stretch& x, const Stretch& y, double start, double end) {
    std::vector<Piece> pieces = {MakePiece(x, y, start, end)};
    while (pieces.size() < kMostPieces) {
        const auto worst =
            std::max_element(pieces.begin(), pieces.end(),
                             [](const Piece& a, const Piece& b) { return a.error < b.error; });
        if (!(worst->error > 1.0)) {
            break;
        }
        const double middle = Mix(worst->start, worst->end, 0.5);
        const double pieceEnd = worst->end;
        *worst = MakePiece(x, y, worst->start, middle);
        pieces.insert(worst + 1, MakePiece(x, y, middle, pieceEnd));
    }
    return pieces;
}

// The path under construction.
class PathWriter {
public:
    // A keyframe where the last piece ends; its outgoing handle lies on it.
    void Arrive(double time, Pointd point) {
        TimeValuePair keyframe(time, point, Type::Bezier);
        if (path.empty()) {
            incoming = point;
        }
        keyframe.SetLeftDerivativeEx(incoming.x, incoming.y);
        keyframe.SetRightDerivativeEx(point.x, point.y);
        isBent = incoming != point;
        path.push_back(std::move(keyframe));
        incoming = point;
    }

    // The handles of the segment that leaves the last keyframe.
    void Leave(Pointd right, Pointd left) {
        path.back().SetRightDerivativeEx(right.x, right.y);
        incoming = left;
    }

    // The path stays where it is until `end`, where it goes on at `next`.
    void Stay(double end, Pointd next, bool jumps) {
        const double start = path.back().GetTime();
        const double step = NearestKeyframe(start, end);
        if (isBent && jumps && end - start >= 2.0 * step) {
            const Pointd point = path.back().PeekValue().AsPoint();
            Arrive(start + step, point);
        }
        // Where there is no room for that, the path gets there as fast as it can.
        if (!isBent) {
            path.back().SetInterpolation(Type::Hold);
        }
        incoming = next;
    }

    std::vector<TimeValuePair> Finish(bool endsInHold) {
        if (endsInHold && !path.empty() && !isBent) {
            path.back().SetInterpolation(Type::Hold);
        }
        return std::move(path);
    }

private:
    std::vector<TimeValuePair> path;
    Pointd incoming;
    // Whether the last keyframe's incoming handle does not lie on it.
    bool isBent = false;
};

Pointd PointOf(const Controls& x, const Controls& y, std::size_t i) noexcept {
    return {x[i], y[i]};
}

// Pieces from the keyframe at their start, which is written, up to but without the
// keyframe at their end.
void WritePieces(const std::vector<Piece>& pieces, PathWriter& writer) {
    for (const Piece& piece : pieces) {
        if (&piece != &pieces.front()) {
            writer.Arrive(piece.start, PointOf(piece.x, piece.y, 0));
        }
        writer.Leave(PointOf(piece.x, piece.y, 1), PointOf(piece.x, piece.y, 2));
    }
}

// A stretch, whose first keyframe is written, up to but without the next one, which
// is going to be at `next`.
void WriteStretch(const Stretch& x, const Stretch& y, double start, double end, bool jumps,
                  Pointd next, PathWriter& writer) {
    if (x.IsConstant() && y.IsConstant()) {
        writer.Stay(end, next, jumps);
        return;
    }
    const double step = NearestKeyframe(start, end);
    if (!jumps || end - start < 4.0 * step) {
        WritePieces(FitPieces(x, y, start, end), writer);
        return;
    }
    // Up to the hold, which the last keyframe but one reaches in a straight line.
    const double holdStart = end - step;
    const double before = holdStart - step;
    const Pointd from = {x.At(before), y.At(before)};
    const Pointd held = {x.At(holdStart), y.At(holdStart)};
    WritePieces(FitPieces(x, y, start, before), writer);
    writer.Arrive(before, from);
    writer.Leave({Mix(from.x, held.x, 1.0 / 3.0), Mix(from.y, held.y, 1.0 / 3.0)}, held);
    writer.Arrive(holdStart, held);
    writer.Stay(end, next, true);
}

// The times of all keyframes; of those that match, the earliest.
std::vector<double> UnionOfTimes(const MotionDimension& x, const MotionDimension& y) {
    std::vector<double> times;
    times.reserve(x.keyframes.size() + y.keyframes.size());
    for (const MotionDimension* dimension : {&x, &y}) {
        for (const TimeValuePair& keyframe : dimension->keyframes) {
            times.push_back(keyframe.GetTime());
        }
    }
    std::sort(times.begin(), times.end());
    const auto last = std::unique(times.begin(), times.end(), KeyframeStore::Matches);
    times.erase(last, times.end());
    return times;
}

// Seams that are not at keyframes already become keyframes.
void AddSeams(const Dimension& dimension, std::vector<double>& times) {
    std::vector<double> seams;
    dimension.FindSeams(seams);
    std::sort(seams.begin(), seams.end());
    const std::vector<double> keyTimes = times;
    double previousSeam = -std::numeric_limits<double>::infinity();
    for (const double seam : seams) {
        const std::size_t after = UpperBound(keyTimes, seam);
        const double previous = std::max(keyTimes[after - 1], previousSeam);
        const double nearest = NearestKeyframe(previous, keyTimes[after]);
        if (seam - previous > nearest && keyTimes[after] - seam > nearest) {
            times.push_back(seam);
            previousSeam = seam;
        }
    }
    std::sort(times.begin(), times.end());
}

}  // namespace

std::vector<TimeValuePair> SplitPath(std::span<const TimeValuePair> path,
                                     double Pointd::*dimension) {
    std::vector<TimeValuePair> part;
    part.reserve(path.size());
    const TimeValuePair* previous = nullptr;
    for (const TimeValuePair& keyframe : path) {
        if (keyframe.PeekValue().Kind() != ValAny::kPoint) {
            continue;
        }
        const bool isHeld = keyframe.GetInterpolation() == Type::Hold;
        TimeValuePair number(keyframe.GetTime(), keyframe.PeekValue().AsPoint().*dimension,
                             isHeld ? Type::Hold : Type::ValueBezier);
        if (previous != nullptr && previous->GetInterpolation() != Type::Hold) {
            const PathControls points = PathControlPoints(*previous, keyframe);
            part.back().SetRightDerivative(points[1].*dimension);
            number.SetLeftDerivative(points[2].*dimension);
        }
        part.push_back(std::move(number));
        previous = &keyframe;
    }
    return part;
}

std::vector<TimeValuePair> MergeDimensions(const MotionDimension& x, const MotionDimension& y) {
    std::vector<double> times = UnionOfTimes(x, y);
    if (times.empty()) {
        return {};
    }
    const Dimension xDimension(x, times);
    const Dimension yDimension(y, times);
    AddSeams(xDimension, times);
    AddSeams(yDimension, times);

    const auto timeOf = [&times](std::size_t i) { return times[std::min(i, times.size() - 1)]; };
    PathWriter writer;
    Stretch xHere(xDimension, timeOf(0), timeOf(1));
    Stretch yHere(yDimension, timeOf(0), timeOf(1));
    const Pointd first = {xHere.SampleAtStart(), yHere.SampleAtStart()};
    const double earlier = timeOf(0) - NearestKeyframe(timeOf(0), timeOf(0));
    const Stretch xBefore(xDimension, earlier, timeOf(0));
    const Stretch yBefore(yDimension, earlier, timeOf(0));
    if (xBefore.JumpsTo(xHere) || yBefore.JumpsTo(yHere)) {
        writer.Arrive(earlier, {xBefore.At(earlier), yBefore.At(earlier)});
        writer.Stay(timeOf(0), first, true);
    }
    writer.Arrive(timeOf(0), first);
    for (std::size_t i = 1; i < times.size(); ++i) {
        const Stretch xNext(xDimension, timeOf(i), timeOf(i + 1));
        const Stretch yNext(yDimension, timeOf(i), timeOf(i + 1));
        const Pointd next = {xNext.SampleAtStart(), yNext.SampleAtStart()};
        const bool jumps = xHere.JumpsTo(xNext) || yHere.JumpsTo(yNext);
        WriteStretch(xHere, yHere, timeOf(i - 1), timeOf(i), jumps, next, writer);
        writer.Arrive(timeOf(i), next);
        xHere = xNext;
        yHere = yNext;
    }
    return writer.Finish(xDimension.EndsInHold() && yDimension.EndsInHold());
}

}  // namespace core
