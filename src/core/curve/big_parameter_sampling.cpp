#include "core/curve/big_parameter_impl.h"

#include "core/curve/numbers.h"
#include "core/foundation/report.h"

#include <algorithm>
#include <cmath>
#include <utility>

// A sample, in the order in which it is taken: find the segment, prepare it if an
// edit has touched it, evaluate its shape, and turn the number into what the
// parameter's type answers.

namespace core {
namespace {

Segment UnreadableSegment() noexcept {
    Segment segment;
    segment.shape = Segment::Shape::NotNumeric;
    return segment;
}

// Segment `index` of a curve that is read as numbers.
Segment NumericSegment(const KeyframeStore& keyframes, std::size_t index, bool isPoint,
                       SegmentCurve& curve) {
    const std::size_t last = keyframes.Count();
    if (index == 0 || index == last) {
        double value = 0.0;
        const ValAny& stored = keyframes[index == 0 ? 0 : last - 1].PeekValue();
        return ReadNumber(stored, value) ? ConstantSegment(value) : UnreadableSegment();
    }
    SegmentEnds ends{};
    if (!ReadEnds(keyframes[index - 1], keyframes[index], isPoint, ends)) {
        return UnreadableSegment();
    }
    return PrepareSegment(ends, curve);
}

// Prepares what is stale; throws where a value is no number.
void PrepareAsNumbers(const KeyframeStore& keyframes, PreparedCurve& curve) {
    for (std::size_t i = 0; i < curve.segments.size(); ++i) {
        if (curve.segments[i].shape == Segment::Shape::Stale) {
            SegmentCurve segmentCurve{};
            const Segment segment = NumericSegment(keyframes, i, false, segmentCurve);
            curve.Keep(i, segment, segmentCurve);
        }
        if (curve.segments[i].shape == Segment::Shape::NotNumeric) {
            throw AnyBadAccess();
        }
    }
}

// The keyframe whose value a stored segment shows.
std::size_t StoredKeyframe(std::size_t segment) noexcept {
    return segment > 0 ? segment - 1 : 0;
}

bool IsPointValue(const ValAny& value) noexcept {
    return value.Kind() == ValAny::kPoint;
}

Segment PointSegment(const KeyframeStore& keyframes, std::size_t index, SegmentCurve& curve) {
    Segment stored;
    stored.shape = Segment::Shape::Stored;
    if (index == 0 || index == keyframes.Count()) {
        return stored;
    }
    const TimeValuePair& start = keyframes[index - 1];
    const TimeValuePair& end = keyframes[index];
    return PreparePath(start.GetTime(), end.GetTime(), PathControlPoints(start, end), curve);
}

}  // namespace

void BigParameterImpl::PrepareForSampling(std::size_t index) {
    const KeyframeStore& keyframes = state.keyframes;
    const std::size_t start = StoredKeyframe(index);
    const std::size_t end = std::min(index, keyframes.Count() - 1);
    SegmentCurve curve{};
    Segment segment;
    if (state.type == ParameterBool || state.type == ParameterString) {
        segment.shape = Segment::Shape::Stored;
    } else if (state.type == ParameterPoint && IsPointValue(keyframes[start].PeekValue()) &&
               IsPointValue(keyframes[end].PeekValue())) {
        segment = PointSegment(keyframes, index, curve);
    } else {
        segment = NumericSegment(keyframes, index, state.type == ParameterPoint, curve);
    }
    prepared.Keep(index, segment, curve);
}

// The common case is all in here: playback asks a double parameter for times in
// order, on a Hermite or linear curve. The last segment and its successor are
// tried before the search.
ValAny BigParameterImpl::GetValue(double time, bool clampToRange) {
    const RecursiveLock lock(mutex);
    const KeyframeStore& keyframes = state.keyframes;
    // Two keyframes have three segments; fewer, or none yet, are the rare cases.
    if (prepared.segments.size() < 3) {
        if (keyframes.Count() < 2) {
            return keyframes.Count() == 0 ? ValAny(0) : keyframes[0].PeekValue();
        }
        prepared.Start(keyframes.Count());
    }
    if (!keyframes.Holds(lastSegment, time)) {
        const bool isNext =
            lastSegment < keyframes.Count() && keyframes.Holds(lastSegment + 1, time);
        lastSegment = isNext ? lastSegment + 1 : keyframes.UpperBound(time);
    }
    const Segment& segment = prepared.segments[lastSegment];
    if (segment.shape == Segment::Shape::Cubic && sampling.isPlainDouble) {
        const double value = segment.CubicAt(time);
        return clampToRange ? Clamped(value) : value;
    }
    return SampleOther(lastSegment, time, clampToRange);
}

ValAny BigParameterImpl::SampleOther(std::size_t index, double time, bool clampToRange) {
    const Segment& segment = prepared.segments[index];
    if (segment.shape == Segment::Shape::Stale) {
        PrepareForSampling(index);
    }
    const SegmentCurve* curve = prepared.curves.empty() ? nullptr : &prepared.curves[index];
    switch (segment.shape) {
        case Segment::Shape::NotNumeric:
            throw AnyBadAccess();
        case Segment::Shape::Stored:
            return FinishStored(index, clampToRange);
        case Segment::Shape::Path: {
            const double u = segment.Progress(time);
            return Pointd{curve->bezier.X(u), curve->bezier.Y(u)};
        }
        default:
            return Finish(SampleSegment(segment, curve, time), clampToRange);
    }
}

ValAny BigParameterImpl::Finish(double value, bool clampToRange) const {
    if (state.type == ParameterDouble) {
        const double result = value * sampling.ratio;
        return clampToRange ? Clamped(result) : result;
    }
    if (state.type == ParameterInt) {
        const int result = TruncateToInt(value * sampling.integerRatio);
        if (clampToRange && sampling.clamp == Sampling::Clamp::Int) {
            return result > sampling.max   ? static_cast<int>(sampling.max)
                   : result < sampling.min ? static_cast<int>(sampling.min)
                                           : result;
        }
        return result;
    }
    return value;
}

ValAny BigParameterImpl::FinishStored(std::size_t segment, bool clampToRange) const {
    const ValAny& value = state.keyframes[StoredKeyframe(segment)].PeekValue();
    if (clampToRange && sampling.clamp == Sampling::Clamp::Bool && value.Kind() == ValAny::kBool) {
        const double number = value.AsBool() ? 1.0 : 0.0;
        return number > sampling.max   ? sampling.max > 0.0
               : number < sampling.min ? sampling.min > 0.0
                                       : value.AsBool();
    }
    return value;
}

CurveView BigParameterImpl::PrepareForAreas() const {
    const bool sharesSegments = state.type != ParameterBool && state.type != ParameterString &&
                                state.type != ParameterPoint;
    PreparedCurve& curve = sharesSegments ? prepared : preparedAsNumbers;
    if (!areasAreValid) {
        if (!sharesSegments || curve.segments.empty()) {
            curve.Start(state.keyframes.Count());
        }
        PrepareAsNumbers(state.keyframes, curve);
    }
    const CurveView view{state.keyframes.Times(), curve.segments, curve.curves};
    if (!areasAreValid) {
        areas.Build(view);
        areasAreValid = true;
    }
    return view;
}

// A single keyframe's value is sampled as it is stored, without the ratio.
double BigParameterImpl::AreaRatio() const {
    return state.keyframes.Count() > 1 ? sampling.ratio : 1.0;
}

double BigParameterImpl::GetAreaFromTo(double from, double to, bool, double, double) const {
    const RecursiveLock lock(mutex);
    if (state.keyframes.Count() == 0 || !std::isfinite(from) || !std::isfinite(to)) {
        return 0.0;
    }
    const CurveView curve = PrepareForAreas();
    return areas.Area(curve, from, to) * AreaRatio();
}

double BigParameterImpl::SolveTimeBaseArea(double start, double area) const {
    constexpr const char* kFunction = "core::BigParameterImpl::SolveTimeBaseArea";
    const RecursiveLock lock(mutex);
    const std::size_t count = state.keyframes.Count();
    if (count == 0 || !std::isfinite(start) || !std::isfinite(area)) {
        if (std::fabs(area) < kNegligible) {
            return start;
        }
        ReportUnsolved(kFunction, 2228);
        return count == 0 ? start : state.keyframes.TimeOf(count - 1);
    }
    const CurveView curve = PrepareForAreas();
    double time = 0.0;
    if (!areas.Solve(curve, start, area, AreaRatio(), time)) {
        ReportUnsolved(kFunction, 2247);
        time = state.keyframes.TimeOf(count - 1);
    }
    return time;
}

}  // namespace core
