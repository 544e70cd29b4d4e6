#include <core/curve/bake.h>

#include "core/curve/big_parameter_impl.h"
#include "core/curve/curve.h"
#include "core/curve/curve_draft.h"
#include "core/curve/numbers.h"
#include "core/curve/snapshot_access.h"

#include <core/curve/parameter.h>
#include <core/curve/snapshot.h>
#include <core/curve/time_unit.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace core {
namespace {

using Type = KeyframeInterpolationType;

bool IsBase(TimeBase base) noexcept {
    return base.units > 0 && base.seconds > 0;
}

bool IsTicks(TimeBase base) noexcept {
    return static_cast<double>(base.units) / static_cast<double>(base.seconds) == kTicksPerSecond;
}

CurveEditResult Refused(std::string reason) {
    return {std::move(reason)};
}

std::string KeyframeAt(std::size_t index, double time) {
    return "keyframe " + std::to_string(index) + " would be at " + TimeText(time);
}

// How many units of `to` one of `from` is.
double FactorOf(TimeBase from, TimeBase to) noexcept {
    return (static_cast<double>(to.units) * static_cast<double>(from.seconds)) /
           (static_cast<double>(to.seconds) * static_cast<double>(from.units));
}

// Whether a curve in this base may hold the time.
bool Belongs(double time, TimeBase base) noexcept {
    return time == 0.0 || (time >= kFirstTickCount) == IsTicks(base);
}

// What one unit of time becomes, and what one second becomes as time-value Beziers read it.
struct Scales {
    double time;
    double read;
};

// A handle of a time-value Bezier, in fractions of a segment from `start` to `end`, and the
// same after both were scaled. One without an offset from its keyframe, which `side` is in
// fractions, says a rise instead of a slope; rounding must not make one the other.
Pointd ScaledPlanar(Pointd handle, const SegmentEnds& e, double t0, double t1, double side,
                    double scale) noexcept {
    const auto offset = [&](double start, double end) {
        const double fraction = std::clamp(handle.x, 0.0, 1.0);
        return (start + (end - start) * fraction) - (side > 0.0 ? end : start);
    };
    const double before = offset(InSeconds(e.t0), InSeconds(e.t1));
    if (std::fabs(before) < kNegligible) {
        return {side, handle.y};
    }
    if (std::fabs(offset(InSeconds(t0), InSeconds(t1))) < kNegligible) {
        return {side, before * handle.y};
    }
    return {handle.x, handle.y / scale};
}

// The right handle of the start and the left one of the end say in new units what they
// said. A slope is divided once; that of a line that belongs to one end (type 26) twice,
// because the rule multiplies it by the duration; one without an offset in time is a rise.
void ScaleHandles(const SegmentEnds& e, double t0, double t1, const Scales& scales, Pointd& right,
                  Pointd& left) {
    switch (RuleOf(e.type0, e.type1)) {
        case SegmentRule::Hermite:
            right.x /= scales.time;
            left.x /= scales.time;
            if (e.type1 == Type::Extrapolate) {
                right.x /= scales.time;
            }
            break;
        case SegmentRule::Extrapolate:
            left.x /= scales.time * scales.time;
            break;
        case SegmentRule::TimeValueBezier:
            right = ScaledPlanar(right, e, t0, t1, 0.0, scales.read);
            left = ScaledPlanar(left, e, t0, t1, 1.0, scales.read);
            break;
        case SegmentRule::ValueBezier:
        case SegmentRule::Ease:
        case SegmentRule::Hold:
            break;
    }
}

bool IsFinite(const TimeValuePair& keyframe) {
    Pointd left;
    Pointd right;
    keyframe.GetLeftDerivativeEx(left.x, left.y);
    keyframe.GetRightDerivativeEx(right.x, right.y);
    return std::isfinite(keyframe.GetTime()) && std::isfinite(left.x) && std::isfinite(left.y) &&
           std::isfinite(right.x) && std::isfinite(right.y);
}

// The handles of numbers; those of paths are places, and stay. What an automatic handle
// makes of a line that belongs to one end depends on the unit, so that it is set by hand then;
// but for those of linear keyframes, which meet the other end in any unit.
void ScaleAllHandles(const Curve& curve, const Scales& scales, std::vector<TimeValuePair>& made,
                     std::vector<HandSet>& sides) {
    for (std::size_t i = 0; i + 1 < made.size(); ++i) {
        SegmentEnds ends{};
        if (!ReadEnds(curve[i], curve[i + 1], curve.Type() == ParameterPoint, ends)) {
            continue;
        }
        Pointd right = {ends.rx, ends.ry};
        // As stored: between two linear keyframes, `ends` has the start's for both.
        Pointd left;
        curve[i + 1].GetLeftDerivativeEx(left.x, left.y);
        ScaleHandles(ends, made[i].GetTime(), made[i + 1].GetTime(), scales, right, left);
        made[i].SetRightDerivativeEx(right.x, right.y);
        made[i + 1].SetLeftDerivativeEx(left.x, left.y);
        const SegmentRule rule = RuleOf(ends.type0, ends.type1);
        if (rule == SegmentRule::Extrapolate) {
            sides[i + 1].left = true;
        } else if (rule == SegmentRule::Hermite && ends.type1 == Type::Extrapolate &&
                   ends.type0 != Type::Linear) {
            sides[i].right = true;
        }
    }
}

}  // namespace

CurveEditResult ChangeTimeBase(KeyframeHandle& handle, TimeBase from, TimeBase to) {
    if (!IsBase(from) || !IsBase(to)) {
        return Refused("a time base has no units or no seconds");
    }
    const double factor = FactorOf(from, to);
    const Scales scales = {factor, factor / (IsTicks(to) ? kTicksPerSecond : 1.0) *
                                       (IsTicks(from) ? kTicksPerSecond : 1.0)};
    while (BigParameterImpl* impl = handle.p_impl()) {
        const Shared<Curve> base = impl->CurrentCurve();
        std::vector<TimeValuePair> keyframes = base->Keyframes();
        for (std::size_t i = 0; i < keyframes.size(); ++i) {
            const double old = keyframes[i].GetTime();
            // Whole numbers first: many times are then exact.
            const double time = factor >= 1.0 ? old * factor : old / FactorOf(to, from);
            if (!Belongs(old, from)) {
                return Refused("keyframe " + std::to_string(i) + " at " + TimeText(old) +
                               " counts another unit");
            }
            if (!Belongs(time, to)) {
                return Refused(KeyframeAt(i, time) + ", which counts another unit");
            }
            if (i > 0 && time - keyframes[i - 1].GetTime() < kTimeTolerance) {
                return Refused(KeyframeAt(i, time) + ", where keyframe " + std::to_string(i - 1) +
                               " is");
            }
            keyframes[i].SetTime(time);
        }
        std::vector<HandSet> sides = base->HandSets();
        ScaleAllHandles(*base, scales, keyframes, sides);
        for (std::size_t i = 0; i < keyframes.size(); ++i) {
            if (!IsFinite(keyframes[i])) {
                return Refused("the numbers of keyframe " + std::to_string(i) + " are too large");
            }
        }
        BigParameterImpl made(base->WithKeyframes(std::move(keyframes), std::move(sides)));
        if (impl->TakeCurveIfStill(base, made)) {
            return {};
        }
    }
    return Refused("the curve was moved away");
}

CurveEditResult BakeCurve(const CurveSnapshot& snapshot, TimeBase base, TimeBase frames,
                          double from, double to, Parameter& baked) {
    if (!IsBase(base) || !IsBase(frames)) {
        return Refused("a time base or rate has no units or no seconds");
    }
    if (!std::isfinite(from) || !std::isfinite(to)) {
        return Refused("the interval is not finite");
    }
    // Time n is n * up / down: both are whole, so that it is rounded at most twice.
    const double up = static_cast<double>(frames.seconds) * static_cast<double>(base.units);
    const double down = static_cast<double>(frames.units) * static_cast<double>(base.seconds);
    const auto timeOf = [&](double n) { return n * up / down; };
    double first = std::ceil(from * down / up);
    if (timeOf(first - 1.0) >= from) {
        first -= 1.0;
    }
    double last = std::floor(to * down / up);
    if (timeOf(last + 1.0) <= to) {
        last += 1.0;
    }
    const double count = last - first + 1.0;
    if (!(count >= 1.0)) {
        return Refused("the interval holds no frame");
    }
    if (!(count <= std::numeric_limits<int>::max())) {
        return Refused("the interval holds too many frames");
    }
    if (count > 1.0 && !(timeOf(last) - timeOf(last - 1.0) >= kTimeTolerance)) {
        return Refused("frames would match");
    }

    const Curve& curve = SnapshotAccess::CurveOf(snapshot);
    const bool isPath = curve.Type() == ParameterPoint;
    const bool isStraight = curve.Type() == ParameterDouble;
    const bool isText = curve.Type() == ParameterString;
    std::vector<TimeValuePair> keyframes;
    keyframes.reserve(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        const double time = timeOf(first + static_cast<double>(i));
        ValAny value;
        try {
            value = snapshot.GetValue(time, false);
        } catch (const AnyBadAccess&) {
            return Refused("the values there are no numbers");
        }
        double number = 0.0;
        const bool fits =
            isText   ? value.Kind() == ValAny::kString
            : isPath ? value.Kind() == ValAny::kPoint
                     : ReadNumber(value, number) && std::isfinite(number) &&
                           (curve.Type() != ParameterInt || TruncateToInt(number) == number);
        if (!fits) {
            return Refused("the value at " + TimeText(time) + " is none of the curve's kind");
        }
        keyframes.emplace_back(time, std::move(value), isStraight ? Type::Linear : Type::Hold);
    }

    Parameter made(std::make_unique<BigParameterImpl>(curve.Type(), curve.Constant(),
                                                      std::vector<TimeValuePair>()));
    made.SetValueRange(curve.Settings().minVal, curve.Settings().maxVal);
    if (isPath) {
        // At the thirds of the straight way, the motion is even.
        for (const TimeValuePair& keyframe : keyframes) {
            made.AddPointEx(keyframe.GetTime(), keyframe.GetValue(), Type::Bezier);
        }
    } else {
        made.AddPoints(keyframes.data(), keyframes.size());
    }
    baked.Restore(made.Snapshot());
    return {};
}

}  // namespace core
