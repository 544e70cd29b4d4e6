#include "core/curve/handles.h"

#include "core/curve/segment.h"

#include <core/curve/time_unit.h>

#include <cmath>

namespace core {
namespace {

// Half a unit of the eighth decimal, the last one of a saved number, on each of
// two numbers that are subtracted. Ten times larger, and a handle that a caller
// set by hand could pass for an automatic one.
constexpr double kSavedDifference = 1e-8;

// Numbers of 1e8 and more are saved with all their digits; what is left is the
// rounding of the arithmetic.
constexpr double kRelativeRounding = 1e-14;

enum class Unit { AsStored, Seconds };

double TimeBetween(const HandleKey& a, const HandleKey& b, Unit unit) noexcept {
    return unit == Unit::Seconds ? InSeconds(b.time) - InSeconds(a.time) : b.time - a.time;
}

// A number that can be a handle: overflow gives 0, because a handle that is not
// finite would spoil every sample of its segment.
double FiniteOrZero(double x) noexcept {
    return std::isfinite(x) ? x : 0.0;
}

AutomaticHandle SlopeHandle(double x, double slope, const HandleKey& a, const HandleKey& b,
                            Unit unit, bool slopeIsX) noexcept {
    const double dt = TimeBetween(a, b, unit);
    const double fromTime = kSavedDifference * (1.0 + std::fabs(slope));
    const double fromValue = kRelativeRounding * (std::fabs(a.value) + std::fabs(b.value));
    const double tolerance = kSavedDifference + (dt > 0.0 ? (fromTime + fromValue) / dt : 0.0);
    return slopeIsX ? AutomaticHandle{slope, 0.0, tolerance, kSavedDifference}
                    : AutomaticHandle{x, slope, kSavedDifference, tolerance};
}

// The slope from a to b; 0 where the time does not advance or it overflows.
double SlopeBetween(const HandleKey& a, const HandleKey& b, Unit unit) noexcept {
    const double dt = TimeBetween(a, b, unit);
    return dt > 0.0 ? FiniteOrZero((b.value - a.value) / dt) : 0.0;
}

bool IsHermite(KeyframeInterpolationType type) noexcept {
    return IsIn(type, 7, 11) || NumberOf(type) < 0 || NumberOf(type) > 26;
}

// How a keyframe's own slope is made where its segment asks for one.
enum class SlopeSource { Flat, Neighbours, Segment };

SlopeSource SlopeSourceOf(KeyframeInterpolationType type) noexcept {
    if (type == KeyframeInterpolationType::HermiteFlat) {
        return SlopeSource::Flat;
    }
    return IsHermite(type) || IsBezier(type) ? SlopeSource::Neighbours : SlopeSource::Segment;
}

constexpr AutomaticHandle kZeroHandle{0.0, 0.0, kSavedDifference, kSavedDifference};

// A handle made of a slope: as X alone, or as the Y that goes with `fraction`.
AutomaticHandle FromSlope(const HandleKeys& keys, SlopeSource source, const HandleKey* other,
                          Unit unit, double fraction) noexcept {
    const bool slopeIsX = unit == Unit::AsStored;
    const HandleKey* from = &keys.key;
    const HandleKey* to = &keys.key;
    if (source == SlopeSource::Neighbours) {
        from = keys.previous != nullptr ? keys.previous : from;
        to = keys.next != nullptr ? keys.next : to;
    } else if (source == SlopeSource::Segment && other != nullptr) {
        (other == keys.previous ? from : to) = other;
    }
    if (from == to) {
        return slopeIsX ? kZeroHandle
                        : AutomaticHandle{fraction, 0.0, kSavedDifference, kSavedDifference};
    }
    return SlopeHandle(fraction, SlopeBetween(*from, *to, unit), *from, *to, unit, slopeIsX);
}

// The inner control value that lies a third of the straight way from `key`.
AutomaticHandle InnerControlValue(const HandleKey& key, const HandleKey& other) noexcept {
    const double value = FiniteOrZero(key.value + (other.value - key.value) / 3.0);
    return {value, 0.0,
            2.0 * kSavedDifference +
                kRelativeRounding * (std::fabs(key.value) + std::fabs(other.value)),
            kSavedDifference};
}

// A handle that its segment does not read, or that has no segment, follows the
// keyframe's own type.
AutomaticHandle HandleOfOwnType(const HandleKeys& keys, double fraction) noexcept {
    const KeyframeInterpolationType type = keys.key.type;
    if (IsBezier(type)) {
        return FromSlope(keys, SlopeSource::Neighbours, nullptr, Unit::Seconds, fraction);
    }
    if (IsHermite(type)) {
        return FromSlope(keys, SlopeSourceOf(type), nullptr, Unit::AsStored, 0.0);
    }
    return kZeroHandle;
}

constexpr double kLeftFraction = 2.0 / 3.0;
constexpr double kRightFraction = 1.0 / 3.0;

}  // namespace

bool AutomaticHandle::Matches(double otherX, double otherY) const noexcept {
    return std::fabs(x - otherX) <= toleranceX && std::fabs(y - otherY) <= toleranceY;
}

AutomaticHandle AutomaticLeftHandle(const HandleKeys& keys) noexcept {
    using Type = KeyframeInterpolationType;
    const HandleKey* start = keys.previous;
    const Type endType = keys.key.type;
    if (start == nullptr) {
        return HandleOfOwnType(keys, kLeftFraction);
    }
    switch (RuleOf(start->type, endType)) {
        case SegmentRule::ValueBezier:
            return InnerControlValue(keys.key, *start);
        case SegmentRule::TimeValueBezier:
            if (endType == Type::Linear) {
                return {1.0, 0.0, kSavedDifference, kSavedDifference};
            }
            return FromSlope(keys, SlopeSourceOf(endType), start, Unit::Seconds, kLeftFraction);
        case SegmentRule::Hermite:
            if (start->type == Type::Linear) {
                return FromSlope(keys, SlopeSource::Segment, start, Unit::AsStored, 0.0);
            }
            // An eased step is flat at its end too, unless the end is smooth itself.
            if (start->type == Type::HermiteFlat &&
                SlopeSourceOf(endType) == SlopeSource::Segment) {
                return kZeroHandle;
            }
            return FromSlope(keys, SlopeSourceOf(endType), start, Unit::AsStored, 0.0);
        case SegmentRule::Ease:
        case SegmentRule::Extrapolate:
        case SegmentRule::Hold:
            break;
    }
    return HandleOfOwnType(keys, kLeftFraction);
}

AutomaticHandle AutomaticRightHandle(const HandleKeys& keys) noexcept {
    using Type = KeyframeInterpolationType;
    const HandleKey* end = keys.next;
    const Type startType = keys.key.type;
    if (end == nullptr) {
        return HandleOfOwnType(keys, kRightFraction);
    }
    switch (RuleOf(startType, end->type)) {
        case SegmentRule::ValueBezier:
            return InnerControlValue(keys.key, *end);
        case SegmentRule::TimeValueBezier:
            if (startType == Type::Linear) {
                return kZeroHandle;
            }
            return FromSlope(keys, SlopeSourceOf(startType), end, Unit::Seconds, kRightFraction);
        case SegmentRule::Hermite: {
            AutomaticHandle handle =
                FromSlope(keys, SlopeSourceOf(startType), end, Unit::AsStored, 0.0);
            if (startType == Type::Linear && end->type == Type::Extrapolate) {
                // Towards an end of type 26 the handle counts once per duration and
                // once per time unit, so that this one alone meets the end.
                const double dt = end->time - keys.key.time;
                handle.x = FiniteOrZero(handle.x / dt);
                handle.toleranceX *= 2.0 / dt;
            }
            return handle;
        }
        case SegmentRule::Ease:
        case SegmentRule::Extrapolate:
        case SegmentRule::Hold:
            break;
    }
    return HandleOfOwnType(keys, kRightFraction);
}

AutomaticHandle AutomaticPathHandle(Pointd point, const Pointd* neighbour) noexcept {
    const Pointd end = neighbour != nullptr ? *neighbour : point;
    const HandleKey fromX{0.0, point.x};
    const HandleKey toX{0.0, end.x};
    const HandleKey fromY{0.0, point.y};
    const HandleKey toY{0.0, end.y};
    const AutomaticHandle x = InnerControlValue(fromX, toX);
    const AutomaticHandle y = InnerControlValue(fromY, toY);
    return {x.x, y.x, x.toleranceX, y.toleranceX};
}

}  // namespace core
