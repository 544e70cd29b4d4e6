// What the two handle numbers of a keyframe mean depends on the interpolation
// types at both ends of the segment. All but the springy easings come down to a
// cubic Bezier over (time, value), whose inner control points an editor shows:
//
//     group            control points of the segment (t0, y0) .. (t1, y1), D = t1 - t0
//     time-value       (t0 + a D, y0 + a D ry),  (t0 + c D, y1 + (c - 1) D ly),
//                      with a = rx and c = lx clamped to [0, 1]
//     Hermite          (t0 + D/3, y0 + rx D/3),  (t1 - D/3, y1 - lx D/3)
//     value Bezier     (t0 + D/3, rx),           (t1 - D/3, lx)
//     cubic easings    four constants of the type, stretched over the segment
//     points           (rx, ry),                 (lx, ly), places of their own
//
// (rx, ry) is the right handle of the start, (lx, ly) the left one of the end.

#include "support/levers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

namespace example {

namespace {

using core::Pointd;
using core::TimeValuePair;
using Interpolation = core::KeyframeInterpolationType;

// Inner control points of the easings 16 to 23 on the unit square.
struct EasingControls {
    double x1, y1, x2, y2;
};
constexpr std::array<EasingControls, 8> kEasings = {{
    {0.32, 0.0, 0.67, 0.0},    // EaseInCubic
    {0.33, 1.0, 0.68, 1.0},    // EaseOutCubic
    {0.65, 0.0, 0.35, 1.0},    // EaseInOutCubic
    {0.55, 0.0, 1.0, 0.45},    // EaseInCirc
    {0.0, 0.55, 0.45, 1.0},    // EaseOutCirc
    {0.85, 0.0, 0.15, 1.0},    // EaseInOutCirc
    {0.36, 0.0, 0.66, -0.56},  // EaseInBack
    {0.34, 1.56, 0.64, 1.0},   // EaseOutBack
}};

int Number(Interpolation type) {
    return static_cast<int>(type);
}

bool IsLowBezier(Interpolation type) {
    const int number = Number(type);
    return number == 0 || (number >= 2 && number <= 5);
}

bool IsHighBezier(Interpolation type) {
    const int number = Number(type);
    return number >= 13 && number <= 15;
}

struct Handle {
    double x = 0.0;
    double y = 0.0;
};

Handle Right(const TimeValuePair& key) {
    Handle handle;
    key.GetRightDerivativeEx(handle.x, handle.y);
    return handle;
}

Handle Left(const TimeValuePair& key) {
    Handle handle;
    key.GetLeftDerivativeEx(handle.x, handle.y);
    return handle;
}

SegmentLevers PointLevers(const TimeValuePair& from, const TimeValuePair& to) {
    const Handle r = Right(from);
    const Handle l = Left(to);
    SegmentLevers segment;
    segment.start = from.GetValue().AsPoint();
    segment.end = to.GetValue().AsPoint();
    segment.isCubic = from.GetInterpolation() != Interpolation::Hold;
    segment.showsStart = segment.isCubic && from.GetInterpolation() != Interpolation::Linear;
    segment.showsEnd = segment.isCubic && to.GetInterpolation() != Interpolation::Linear &&
                       to.GetInterpolation() != Interpolation::Hold;
    segment.startControl = segment.showsStart ? Pointd{r.x, r.y} : segment.start;
    segment.endControl = segment.showsEnd ? Pointd{l.x, l.y} : segment.end;
    return segment;
}

// How far a time-value handle rises over `offset`. One without an offset rises by
// the slope itself, as in the curve.
double Rise(double offset, double slope) {
    return offset == 0.0 ? slope : offset * slope;
}

bool IsBackwards(Interpolation type0, Interpolation type1) {
    return type0 == Interpolation::Extrapolate ||
           (Number(type0) >= 12 && Number(type0) <= 15 && type1 == Interpolation::Extrapolate);
}

// Whether a handle of a straight segment has another slope than the segment, by more than
// the last digit of a file.
bool IsBent(double handle, double slope, double length) {
    return std::fabs(handle - slope) > 1e-8 + 1e-9 * (std::fabs(slope) + 1.0 / length);
}

// The rules of the evaluator in its own order; handles are scaled by `ratio` like
// the values.
void SetControls(SegmentLevers& segment, Interpolation type0, Interpolation type1, Handle r,
                 Handle l, double ratio) {
    const Pointd p0 = segment.start;
    const Pointd p3 = segment.end;
    const double length = p3.x - p0.x;
    const double third = length / 3.0;
    segment.isCubic = segment.showsStart = segment.showsEnd = true;

    if (Number(type0) >= Number(Interpolation::EaseInCubic) &&
        Number(type0) <= Number(Interpolation::EaseOutBack)) {
        const EasingControls& e =
            kEasings[static_cast<std::size_t>(Number(type0) - Number(Interpolation::EaseInCubic))];
        segment.startControl = {p0.x + e.x1 * length, p0.y + e.y1 * (p3.y - p0.y)};
        segment.endControl = {p0.x + e.x2 * length, p0.y + e.y2 * (p3.y - p0.y)};
        segment.isFixed = true;
        return;
    }
    const bool backwards = IsBackwards(type0, type1);
    if (backwards || type0 == Interpolation::Hold || type0 == Interpolation::EaseOutElastic ||
        type0 == Interpolation::EaseOutBounce) {
        segment.isCubic = segment.showsStart = segment.showsEnd = false;
        if (backwards) {  // a line through the end, whose slope is the length times lx
            segment.showsEnd = true;
            segment.endControl = {p3.x - third, p3.y - third * length * l.x * ratio};
        }
        return;
    }
    if (IsTimeValueBezier(type0, type1)) {
        const double a = std::clamp(r.x, 0.0, 1.0);
        const double c = std::clamp(l.x, 0.0, 1.0);
        segment.startControl = {p0.x + a * length, p0.y + Rise(a * length, r.y) * ratio};
        segment.endControl = {p0.x + c * length, p3.y + Rise((c - 1.0) * length, l.y) * ratio};
        if (type0 == Interpolation::Linear) {
            segment.startControl = p0;
            segment.showsStart = false;
        }
        if (type1 == Interpolation::Linear) {
            segment.endControl = p3;
            segment.showsEnd = false;
        }
        return;
    }
    if (type0 == Interpolation::ValueBezier) {
        segment.startControl = {p0.x + third, r.x * ratio};
        segment.endControl = {p3.x - third, l.x * ratio};
        return;
    }
    if (type0 == Interpolation::Linear && type1 == Interpolation::Linear) {
        l.x = r.x;  // one slope serves both sides
    }
    segment.startControl = {p0.x + third, p0.y + third * r.x * ratio};
    segment.endControl = {p3.x - third, p3.y - third * l.x * ratio};
    if (type1 == Interpolation::Extrapolate) {  // a line from the start, as above
        segment.startControl.y = p0.y + third * length * r.x * ratio;
        segment.isCubic = segment.showsEnd = false;
    } else if (type0 == Interpolation::Linear) {
        const double slope = (p3.y - p0.y) / length;
        segment.showsStart = IsBent(r.x * ratio, slope, length);
        segment.showsEnd = type1 != Interpolation::Linear && IsBent(l.x * ratio, slope, length);
    }
}

// The bounds that stand for no range.
bool IsNoBound(double bound) {
    return std::fabs(bound) == std::numeric_limits<double>::max();
}

constexpr double kNoIntBound = 2147483647.0;

}  // namespace

bool IsTimeValueBezier(Interpolation start, Interpolation end) {
    const bool isEasing = Number(start) >= Number(Interpolation::EaseInCubic) &&
                          Number(start) <= Number(Interpolation::EaseOutBounce);
    if (isEasing || start == Interpolation::Hold || IsBackwards(start, end)) {
        return false;
    }
    if (IsLowBezier(start) || IsLowBezier(end)) {
        return true;
    }
    return start != Interpolation::ValueBezier && (IsHighBezier(start) || IsHighBezier(end));
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
        SetControls(segment, keys[i - 1].GetInterpolation(), keys[i].GetInterpolation(),
                    Right(keys[i - 1]), Left(keys[i]), ratio);
        segments.push_back(segment);
    }
    return segments;
}

}  // namespace example
