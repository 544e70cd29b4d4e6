#include "core/curve/big_parameter_impl.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

// The edits: what is asked is checked, and the curve makes the change.

namespace core {
namespace {

bool IsFinite(Pointd handle) noexcept {
    return std::isfinite(handle.x) && std::isfinite(handle.y);
}

}  // namespace

int BigParameterImpl::AddPoint(double time, ValAny value, KeyframeInterpolationType type) {
    if (!std::isfinite(time)) {
        return -1;
    }
    const RecursiveLock lock(mutex);
    const std::size_t index =
        BeginEdit().Add(TimeValuePair(time, std::move(value), type), Curve::PathHandles::AsTheyAre);
    Edited();
    return static_cast<int>(index);
}

void BigParameterImpl::AddPointEx(double time, ValAny value, KeyframeInterpolationType type) {
    if (!std::isfinite(time)) {
        return;
    }
    const RecursiveLock lock(mutex);
    BeginEdit().Add(TimeValuePair(time, std::move(value), type), Curve::PathHandles::Maintained);
    Edited();
}

// In order, an insertion finds its block at hand.
void BigParameterImpl::AddPoints(std::span<const TimeValuePair> keyframes) {
    // Times and places, close together for the sort; of equal times the later place stays.
    std::vector<std::pair<double, std::size_t>> order;
    order.reserve(keyframes.size());
    for (std::size_t i = 0; i < keyframes.size(); ++i) {
        order.emplace_back(keyframes[i].GetTime(), i);
    }
    std::sort(order.begin(), order.end());
    constexpr std::size_t kAhead = 8;
    for (std::size_t next = 0; next < order.size(); ++next) {
        const auto& [time, i] = order[next];
        // A keyframe lies in two cache lines, anywhere.
        const std::size_t soon = order[std::min(next + kAhead, order.size() - 1)].second;
        __builtin_prefetch(&keyframes[soon]);
        __builtin_prefetch(&keyframes[soon].PeekValue() + 1);
        AddPoint(time, keyframes[i].GetValue(), keyframes[i].GetInterpolation());
    }
}

bool BigParameterImpl::RemovePoint(int index) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    const auto removed = static_cast<std::size_t>(index);
    BeginEdit().Remove(removed, removed + 1);
    Edited();
    return true;
}

void BigParameterImpl::RemoveKeyFramesAfterTime(double time) {
    const RecursiveLock lock(mutex);
    const std::size_t kept = curve->UpperBound(time);
    if (kept < curve->Count()) {
        BeginEdit().Remove(kept, curve->Count());
        Edited();
    }
}

void BigParameterImpl::ClearKeyFrames() {
    const RecursiveLock lock(mutex);
    BeginEdit().Clear();
    Edited();
}

bool BigParameterImpl::SetPointValue(int index, ValAny value) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    BeginEdit().SetValue(static_cast<std::size_t>(index), std::move(value));
    Edited();
    return true;
}

bool BigParameterImpl::SetPointTime(int index, double time) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index) || !std::isfinite(time) ||
        !curve->CanMove(static_cast<std::size_t>(index), time)) {
        return false;
    }
    BeginEdit().Move(static_cast<std::size_t>(index), time);
    Edited();
    return true;
}

bool BigParameterImpl::SetPointInterpolationType(int index, KeyframeInterpolationType type) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    TimeValuePair keyframe = KeyframeOf(index);
    if (keyframe.GetInterpolation() != type) {
        keyframe.SetInterpolation(type);
        BeginEdit().Add(std::move(keyframe), Curve::PathHandles::AsTheyAre);
        Edited();
    }
    return true;
}

bool BigParameterImpl::SetPointControlParam(int index, double x, double y) {
    const RecursiveLock lock(mutex);
    Pointd left;
    Pointd right;
    return GetPointControlParamEx(index, left.x, left.y, right.x, right.y) &&
           SetPointControlParamEx(index, x, left.y, y, right.y);
}

bool BigParameterImpl::SetPointControlParamEx(int index, double leftX, double leftY, double rightX,
                                              double rightY) {
    const Pointd left = {leftX, leftY};
    const Pointd right = {rightX, rightY};
    return SetHandles(index, &left, &right);
}

bool BigParameterImpl::SetPointControlLeftParam(int index, double x, double y) {
    const Pointd left = {x, y};
    return SetHandles(index, &left, nullptr);
}

bool BigParameterImpl::SetPointControlRightParam(int index, double x, double y) {
    const Pointd right = {x, y};
    return SetHandles(index, nullptr, &right);
}

// Either handle may be null, and stays then.
bool BigParameterImpl::SetHandles(int index, const Pointd* left, const Pointd* right) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index) || (left != nullptr && !IsFinite(*left)) ||
        (right != nullptr && !IsFinite(*right))) {
        return false;
    }
    BeginEdit().SetHandles(static_cast<std::size_t>(index), left, right);
    Edited();
    return true;
}

}  // namespace core
