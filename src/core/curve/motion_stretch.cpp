#include "core/curve/motion_stretch.h"

#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"

#include <core/curve/time_unit.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace core {
namespace {

// How far a fitted cubic may be off, in spans of its segment's values. Ten times
// smaller takes twice the keyframes; ten times larger is a visible half pixel where
// a path crosses a large picture.
constexpr double kFitTolerance = 1e-5;

// What rounding leaves of two values that should be equal.
constexpr double kRounding = 1e-13;

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

}  // namespace

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
    segments = SegmentRow(count + 1);
    const auto putConstant = [this](std::size_t i, std::size_t place) {
        double number = 0.0;
        ReadNumber(keyframes[i].PeekValue(), number);
        PrepareConstant(times[i], times[i], number, &segments[place]);
    };
    curves = std::make_unique<SegmentCurve[]>(count + 1);
    for (std::size_t i = 1; i < count; ++i) {
        SegmentEnds ends{};
        ReadEnds(keyframes[i - 1], keyframes[i], false, ends);
        ends.t0 = times[i - 1];
        ends.t1 = times[i];
        PrepareSegment(ends, &segments[i], curves[i]);
    }
    if (count > 0) {
        putConstant(0, 0);
        putConstant(count - 1, count);
        lastType = keyframes[count - 1].GetInterpolation();
    }
}

void Dimension::FindSeams(std::vector<double>& seams) const {
    using Shape = Segment::Shape;
    for (std::size_t i = 1; i < times.size(); ++i) {
        const double t0 = times[i - 1];
        const double t1 = times[i];
        const Segment& s = segments[i];
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
                addSeconds(s.StartInSeconds() + s.SpanInSeconds() * piece.end);
            }
        }
        if ((isEased || s.shape == Shape::TimeValueBezier) && t0 < kFirstTickCount &&
            t1 > kFirstTickCount) {
            add(kFirstTickCount);
            addSeconds(s.StartInSeconds() + s.SpanInSeconds());
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
        case Shape::Cubic:
            return s.c[1] == 0.0 && s.c[2] == 0.0 && s.c[3] == 0.0;
        default:
            return s.c[1] == 0.0;
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
    const double p = std::clamp((seconds - s.StartInSeconds()) / s.SpanInSeconds(), 0.0, 1.0);
    switch (s.shape) {
        case Shape::TimeValueBezier: {
            const SegmentCurve& c = ShownCurve();
            return c.bezier.Y(BezierTimeSolver::SolveExactly(c.bezier, s.EndInSeconds(), seconds));
        }
        case Shape::CubicEasing: {
            const CubicBezier easing = s.Easing().Curve();
            return s.c[0] + s.c[1] * easing.Y(BezierTimeSolver::SolveExactly(easing, 1.0, p));
        }
        case Shape::Elastic:
            return s.c[0] + s.c[1] * ElasticSwing(p);
        case Shape::Bounce:
            return s.c[0] + s.c[1] * EaseOutBounce(p);
        default:
            return SampleSegment(s, t);
    }
}

double Stretch::At(double t) const noexcept {
    const double value = RawAt(t) * dimension->ratio;
    return dimension->isInteger && IsConstant() ? TruncateToInt(value) : value;
}

// A cubic easing is sampled a millionth of its span off its own keyframe; there the
// keyframe's value is the better answer, because the segment before ends in it too.
double Stretch::SampleAtStart() const noexcept {
    const bool isAtKeyframe = segment > 0 && dimension->times[segment - 1] == start;
    const double raw = isAtKeyframe ? RawAt(start) : SampleSegment(Shown(), start);
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
    } else if (Shown().shape == Shape::Line) {
        size = std::fabs(Shown().c[0]) + std::fabs(Shown().c[1]);
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

}  // namespace core
