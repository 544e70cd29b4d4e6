#include "core/curve/motion.h"

#include "core/curve/motion_stretch.h"
#include "core/curve/segment.h"
#include "core/curve/sorted_times.h"

#include <algorithm>
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

// Between an added keyframe and the next one: twice what makes them match, so that
// they stay two when a file rounds their times.
constexpr double kNearestKeyframe = 2.0 * kTimeTolerance;

constexpr std::size_t kMostPieces = 64;

// How near two keyframes between `from` and `to` may be. Far from zero, times are
// further apart than 1e-7.
double NearestKeyframe(double from, double to) noexcept {
    const double size = std::max(std::fabs(from), std::fabs(to));
    return std::max(kNearestKeyframe, 8.0 * std::numeric_limits<double>::epsilon() * size);
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
    // Not std::unique, which asks for an equivalence: to match is none.
    std::size_t kept = 0;
    for (const double time : times) {
        if (kept == 0 || !TimesMatch(times[kept - 1], time)) {
            times[kept++] = time;
        }
    }
    times.resize(kept);
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
