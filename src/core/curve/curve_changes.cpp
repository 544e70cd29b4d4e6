#include "core/curve/curve.h"

#include "core/curve/numbers.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

// What two curves have in common. Blocks that they share are passed at once.

namespace core {
namespace {

bool IsSame(double a, double b) noexcept {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

}  // namespace

bool IsSame(const ValAny& a, const ValAny& b) {
    if (a.Kind() != b.Kind()) {
        return false;
    }
    switch (a.Kind()) {
        case ValAny::kNone:
            return true;
        case ValAny::kBool:
            return a.AsBool() == b.AsBool();
        case ValAny::kPoint:
            return IsSame(a.AsPoint().x, b.AsPoint().x) && IsSame(a.AsPoint().y, b.AsPoint().y);
        case ValAny::kString:
            return a.AsString() == b.AsString();
        default:
            return IsSame(a.AsDouble(), b.AsDouble());
    }
}

namespace {

bool HaveSamePoint(const TimeValuePair& a, const TimeValuePair& b) {
    return IsSame(a.GetTime(), b.GetTime()) && IsSame(a.PeekValue(), b.PeekValue());
}

// What the segment on one side of a keyframe takes from it.
bool HaveSameSide(const TimeValuePair& a, const TimeValuePair& b, Side side) {
    Pointd ofA;
    Pointd ofB;
    if (side == Side::Left) {
        a.GetLeftDerivativeEx(ofA.x, ofA.y);
        b.GetLeftDerivativeEx(ofB.x, ofB.y);
    } else {
        a.GetRightDerivativeEx(ofA.x, ofA.y);
        b.GetRightDerivativeEx(ofB.x, ofB.y);
    }
    return HaveSamePoint(a, b) && a.GetInterpolation() == b.GetInterpolation() &&
           IsSame(ofA.x, ofB.x) && IsSame(ofA.y, ofB.y);
}

bool IsSame(const TimeValuePair& a, const TimeValuePair& b) {
    return HaveSameSide(a, b, Side::Left) && HaveSameSide(a, b, Side::Right);
}

}  // namespace

bool Curve::HaveSameSettings(const Curve& a, const Curve& b) {
    return &a == &b ||
           (a.settings.type == b.settings.type && a.settings.version == b.settings.version &&
            IsSame(a.settings.minVal, b.settings.minVal) &&
            IsSame(a.settings.maxVal, b.settings.maxVal) &&
            IsSame(a.settings.baseRatio, b.settings.baseRatio) && IsSame(a.constant, b.constant));
}

std::size_t Curve::CommonStart(const Curve& a, const Curve& b) {
    const std::size_t most = std::min(a.count, b.count);
    std::size_t same = &a == &b ? most : 0;
    while (same < most) {
        const Place inA = a.PlaceOf(same);
        const Place inB = b.PlaceOf(same);
        const CurveBlock& blockA = a.BlockAt(inA.block);
        const CurveBlock& blockB = b.BlockAt(inB.block);
        if (&blockA == &blockB && inA.offset == inB.offset) {
            same += blockA.times.size() - inA.offset;
        } else if (IsSame(blockA.keyframes[inA.offset], blockB.keyframes[inB.offset])) {
            ++same;
        } else {
            break;
        }
    }
    return same;
}

// At the end, of at most `most` keyframes.
std::size_t Curve::CommonEnd(const Curve& a, const Curve& b, std::size_t most) {
    std::size_t same = 0;
    while (same < most) {
        const Place inA = a.PlaceOf(a.count - 1 - same);
        const Place inB = b.PlaceOf(b.count - 1 - same);
        const CurveBlock& blockA = a.BlockAt(inA.block);
        const CurveBlock& blockB = b.BlockAt(inB.block);
        if (&blockA == &blockB && inA.offset == inB.offset) {
            same += inA.offset + 1;
        } else if (IsSame(blockA.keyframes[inA.offset], blockB.keyframes[inB.offset])) {
            ++same;
        } else {
            break;
        }
    }
    return std::min(same, most);
}

// The segments on either side of what differs have changed too, unless they take nothing
// of it: from the last keyframe before to the first one behind that both have.
TimeRange Curve::ChangedBetween(const Curve& a, const Curve& b) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const std::size_t most = std::min(a.count, b.count);
    const std::size_t start = CommonStart(a, b);
    const bool isSame = start == a.count && start == b.count;
    if (!HaveSameSettings(a, b) || (most < 2 && !isSame)) {
        return {-kInfinity, kInfinity};
    }
    if (isSame) {
        return {};
    }
    TimeRange changed = {-kInfinity, kInfinity};
    const auto isAtEdge = [](const TimeValuePair& ofA, const TimeValuePair& ofB, bool isOutermost,
                             Side side) {
        return isOutermost ? HaveSamePoint(ofA, ofB) : HaveSameSide(ofA, ofB, side);
    };
    if (start < most && isAtEdge(a[start], b[start], start == 0, Side::Left)) {
        changed.from = a.TimeOf(start);
    } else if (start > 0) {
        changed.from = a.TimeOf(start - 1);
    }
    const std::size_t end = CommonEnd(a, b, most - start);
    const std::size_t lastOfA = a.count - 1 - end;
    const std::size_t lastOfB = b.count - 1 - end;
    if (start + end < most && isAtEdge(a[lastOfA], b[lastOfB], end == 0, Side::Right)) {
        changed.to = a.TimeOf(lastOfA);
    } else if (end > 0) {
        changed.to = a.TimeOf(lastOfA + 1);
    }
    return changed;
}

}  // namespace core
