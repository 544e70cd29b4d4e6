#include "core/curve/handles.h"

#include "core/curve/numbers.h"
#include "core/curve/segment.h"

#include <core/curve/time_unit.h>

#include <cmath>

namespace core {
namespace {

enum class Unit { AsStored, Seconds };

double TimeBetween(const HandleKey& a, const HandleKey& b, Unit unit) noexcept {
    return unit == Unit::Seconds ? InSeconds(b.time) - InSeconds(a.time) : b.time - a.time;
}

// A number that can be a handle: overflow gives 0, because a handle that is not
// finite would spoil every sample of its segment.
double FiniteOrZero(double x) noexcept {
    return std::isfinite(x) ? x : 0.0;
}

// The slope from a to b; 0 where the time does not advance or it overflows.
double SlopeBetween(const HandleKey& a, const HandleKey& b, Unit unit) noexcept {
    const double dt = TimeBetween(a, b, unit);
    return dt > 0.0 ? FiniteOrZero((b.value - a.value) / dt) : 0.0;
}

bool IsHermite(KeyframeInterpolationType type) noexcept {
    return GroupOf(type) == InterpolationGroup::Hermite;
}

// How a keyframe's own slope is made where its segment asks for one.
enum class SlopeSource { Flat, Neighbours, Segment };

SlopeSource SlopeSourceOf(KeyframeInterpolationType type) noexcept {
    if (type == KeyframeInterpolationType::HermiteFlat) {
        return SlopeSource::Flat;
    }
    return IsHermite(type) || IsBezier(type) ? SlopeSource::Neighbours : SlopeSource::Segment;
}

constexpr Pointd kZeroHandle{0.0, 0.0};

// A handle made of a slope: as X alone, or as the Y that goes with `fraction`.
Pointd FromSlope(const HandleKeys& keys, SlopeSource source, const HandleKey* other, Unit unit,
                 double fraction) noexcept {
    const HandleKey* from = &keys.key;
    const HandleKey* to = &keys.key;
    if (source == SlopeSource::Neighbours) {
        from = keys.previous != nullptr ? keys.previous : from;
        to = keys.next != nullptr ? keys.next : to;
    } else if (source == SlopeSource::Segment && other != nullptr) {
        (other == keys.previous ? from : to) = other;
    }
    const double slope = from != to ? SlopeBetween(*from, *to, unit) : 0.0;
    return unit == Unit::AsStored ? Pointd{slope, 0.0} : Pointd{fraction, slope};
}

// The inner control value that lies a third of the straight way from `value`.
double InnerControlValue(double value, double other) noexcept {
    return FiniteOrZero(value + (other - value) / 3.0);
}

// A handle that its segment does not read, or that has no segment, follows the
// keyframe's own type.
Pointd HandleOfOwnType(const HandleKeys& keys, double fraction) noexcept {
    const KeyframeInterpolationType type = keys.key.type;
    if (IsBezier(type)) {
        return FromSlope(keys, SlopeSource::Neighbours, nullptr, Unit::Seconds, fraction);
    }
    if (IsHermite(type)) {
        return FromSlope(keys, SlopeSourceOf(type), nullptr, Unit::AsStored, 0.0);
    }
    return kZeroHandle;
}

}  // namespace

Pointd AutomaticLeftHandle(const HandleKeys& keys) noexcept {
    using Type = KeyframeInterpolationType;
    const HandleKey* start = keys.previous;
    const Type endType = keys.key.type;
    if (start == nullptr) {
        return HandleOfOwnType(keys, kLeftFraction);
    }
    switch (RuleOf(start->type, endType)) {
        case SegmentRule::ValueBezier:
            return {InnerControlValue(keys.key.value, start->value), 0.0};
        case SegmentRule::TimeValueBezier:
            if (endType == Type::Linear) {
                return {1.0, 0.0};
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

Pointd AutomaticRightHandle(const HandleKeys& keys) noexcept {
    using Type = KeyframeInterpolationType;
    const HandleKey* end = keys.next;
    const Type startType = keys.key.type;
    if (end == nullptr) {
        return HandleOfOwnType(keys, kRightFraction);
    }
    switch (RuleOf(startType, end->type)) {
        case SegmentRule::ValueBezier:
            return {InnerControlValue(keys.key.value, end->value), 0.0};
        case SegmentRule::TimeValueBezier:
            if (startType == Type::Linear) {
                return kZeroHandle;
            }
            return FromSlope(keys, SlopeSourceOf(startType), end, Unit::Seconds, kRightFraction);
        case SegmentRule::Hermite: {
            Pointd handle = FromSlope(keys, SlopeSourceOf(startType), end, Unit::AsStored, 0.0);
            if (startType == Type::Linear && end->type == Type::Extrapolate) {
                // Towards an end of type 26 the handle counts once per duration and
                // once per time unit, so that this one alone meets the end.
                handle.x = FiniteOrZero(handle.x / (end->time - keys.key.time));
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

Pointd AutomaticPathHandle(Pointd point, const Pointd* neighbour) noexcept {
    const Pointd end = neighbour != nullptr ? *neighbour : point;
    return {InnerControlValue(point.x, end.x), InnerControlValue(point.y, end.y)};
}

namespace {

bool ReadPoint(const TimeValuePair* keyframe, Pointd& point) {
    if (keyframe == nullptr || keyframe->PeekValue().Kind() != ValAny::kPoint) {
        return false;
    }
    point = keyframe->PeekValue().AsPoint();
    return true;
}

bool ReadKey(const TimeValuePair* keyframe, HandleKey& key) {
    if (keyframe == nullptr) {
        return false;
    }
    key.time = keyframe->GetTime();
    key.type = keyframe->GetInterpolation();
    return ReadNumber(keyframe->PeekValue(), key.value);
}

}  // namespace

HandlePair AutomaticHandlesOf(const TimeValuePair* previous, const TimeValuePair& keyframe,
                              const TimeValuePair* next, bool isPath) {
    if (isPath) {
        Pointd own;
        Pointd before;
        Pointd behind;
        if (!ReadPoint(&keyframe, own)) {
            return {};
        }
        return {AutomaticPathHandle(own, ReadPoint(previous, before) ? &before : nullptr),
                AutomaticPathHandle(own, ReadPoint(next, behind) ? &behind : nullptr)};
    }
    HandleKeys keys{};
    HandleKey before;
    HandleKey behind;
    if (!ReadKey(&keyframe, keys.key)) {
        return {};
    }
    keys.previous = ReadKey(previous, before) ? &before : nullptr;
    keys.next = ReadKey(next, behind) ? &behind : nullptr;
    return {AutomaticLeftHandle(keys), AutomaticRightHandle(keys)};
}

}  // namespace core
