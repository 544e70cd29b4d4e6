#include "plot/levers.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace plot {

namespace {

using core::Pointd;
using core::TimeValuePair;
using Interpolation = core::KeyframeInterpolationType;

// Whether a control point, at a third of a straight segment, lies beside it by more than the
// last digit of a file.
bool IsBent(double control, double third, double length) {
    return std::fabs(control - third) > 1e-8 * length + 1e-9 * (std::fabs(third) + 1.0);
}

// The levers that an editor shows of a segment on a plot; values are scaled by `ratio`.
void SetControls(SegmentLevers& segment, const TimeValuePair& from, const TimeValuePair& to,
                 double ratio) {
    using Group = core::InterpolationGroup;
    core::SegmentCubic cubic;
    if (!core::GetSegmentCubic(from, to, core::ParameterDouble, cubic) ||
        cubic.group == Group::Hold) {
        return;
    }
    segment.startControl = {cubic.startControl.x, cubic.startControl.y * ratio};
    segment.endControl = {cubic.endControl.x, cubic.endControl.y * ratio};
    segment.isCubic = segment.showsStart = segment.showsEnd = cubic.group != Group::Extrapolate;
    segment.isFixed = cubic.group == Group::CubicEasing;
    const bool isFromLinear = from.GetInterpolation() == Interpolation::Linear;
    if (cubic.group == Group::Extrapolate) {  // a line through one of the keyframes
        segment.showsEnd = cubic.end.y == to.GetValue().AsDouble();
        segment.showsStart = !segment.showsEnd;
    } else if (cubic.group == Group::TimeValueBezier) {
        segment.showsStart = !isFromLinear;
        segment.showsEnd = to.GetInterpolation() != Interpolation::Linear;
    } else if (cubic.group == Group::Hermite) {
        const double length = segment.end.x - segment.start.x;
        const double third = (segment.end.y - segment.start.y) / 3.0;
        segment.showsStart =
            !isFromLinear || IsBent(segment.startControl.y - segment.start.y, third, length);
        segment.showsEnd =
            !isFromLinear || (to.GetInterpolation() != Interpolation::Linear &&
                              IsBent(segment.end.y - segment.endControl.y, third, length));
    }
}

SegmentLevers PointLevers(const TimeValuePair& from, const TimeValuePair& to) {
    core::SegmentCubic cubic;
    core::GetSegmentCubic(from, to, core::ParameterPoint, cubic);
    SegmentLevers segment;
    segment.start = cubic.start;
    segment.startControl = cubic.startControl;
    segment.endControl = cubic.endControl;
    segment.end = to.GetValue().AsPoint();
    segment.isCubic = cubic.group != core::InterpolationGroup::Hold;
    segment.showsStart = segment.isCubic && from.GetInterpolation() != Interpolation::Linear;
    segment.showsEnd = segment.isCubic && to.GetInterpolation() != Interpolation::Linear &&
                       to.GetInterpolation() != Interpolation::Hold;
    return segment;
}

// The bounds that stand for no range.
bool IsNoBound(double bound) {
    return std::fabs(bound) == std::numeric_limits<double>::max();
}

constexpr double kNoIntBound = 2147483647.0;

}  // namespace

bool IsTimeValueBezier(Interpolation start, Interpolation end) {
    core::SegmentCubic cubic;
    return core::GetSegmentCubic({0.0, 0.0, start}, {1.0, 1.0, end}, core::ParameterDouble,
                                 cubic) &&
           cubic.group == core::InterpolationGroup::TimeValueBezier;
}

std::vector<TimeValuePair> Keyframes(core::Parameter& parameter) {
    std::vector<TimeValuePair> keys;
    core::ParameterIterator it(&parameter, false);
    for (it.First(); !it.IsDone(); it.Next()) {
        keys.push_back(it.Current());
    }
    return keys;
}

double ShownValue(core::Parameter& parameter, const core::ValAny& value) {
    if (value.Kind() == core::ValAny::kBool) {
        return value.AsBool() ? 1.0 : 0.0;
    }
    const core::ValAny ratio = parameter.GetBaseRatio();
    if (!ratio.IsNumber()) {
        return value.AsDouble();
    }
    return value.AsDouble() * (parameter.GetParameterType() == core::ParameterInt
                                   ? static_cast<double>(ratio.AsInt())
                                   : ratio.AsDouble());
}

bool HasRange(const core::Parameter& parameter, core::ValAny& low, core::ValAny& high) {
    parameter.GetValueRange(low, high);
    if (!low.IsNumber() || !high.IsNumber()) {
        return false;
    }
    const bool isNone = (IsNoBound(low.AsDouble()) && IsNoBound(high.AsDouble())) ||
                        (low.Kind() == core::ValAny::kInt && high.Kind() == core::ValAny::kInt &&
                         low.AsDouble() == -kNoIntBound && high.AsDouble() == kNoIntBound);
    return !isNone;
}

std::vector<SegmentLevers> Levers(core::Parameter& parameter) {
    const std::vector<TimeValuePair> keys = Keyframes(parameter);
    const double ratio = ShownValue(parameter, 1.0);
    std::vector<SegmentLevers> segments;
    for (std::size_t i = 1; i < keys.size(); ++i) {
        if (parameter.GetParameterType() == core::ParameterPoint) {
            segments.push_back(PointLevers(keys[i - 1], keys[i]));
            continue;
        }
        SegmentLevers segment;
        segment.start = {keys[i - 1].GetTime(), ShownValue(parameter, keys[i - 1].GetValue())};
        segment.end = {keys[i].GetTime(), ShownValue(parameter, keys[i].GetValue())};
        segment.startControl = segment.start;
        segment.endControl = segment.end;
        SetControls(segment, keys[i - 1], keys[i], ratio);
        segments.push_back(segment);
    }
    return segments;
}

}  // namespace plot
