#include "core/curve/big_parameter_impl.h"

#include <algorithm>
#include <cmath>
#include <utility>

// Every edit that can change an automatic handle goes the same way: make the change, then
// write the handles of the keyframes around it again. What a caller has set by hand is not
// among them and stays.

namespace core {
namespace {

bool IsFinite(Pointd handle) noexcept {
    return std::isfinite(handle.x) && std::isfinite(handle.y);
}

}  // namespace

void BigParameterImpl::Edited(std::size_t first, std::size_t last) {
    prepared.MarkStaleAround(first, last);
    lastSegment = std::min(lastSegment, state.keyframes.Count());
    areasAreValid = false;
    digestIsValid = false;
    OnEdited();
}

void BigParameterImpl::RefreshHandle(std::size_t index, Side side) {
    KeyframeStore& keyframes = state.keyframes;
    keyframes.SetHandle(index, side,
                        AutomaticHandleAt(keyframes.All(), index, side, state.IsPath()), false);
}

// Before the first keyframe the index wraps and lies outside.
void BigParameterImpl::RefreshAutomatic(std::size_t index) {
    const KeyframeStore& keyframes = state.keyframes;
    if (!MaintainsHandles() || index >= keyframes.Count() ||
        keyframes[index].GetInterpolation() == KeyframeInterpolationType::Extrapolate) {
        return;
    }
    const HandSet sides = keyframes.HandSetOf(index);
    if (!sides.left) {
        RefreshHandle(index, Side::Left);
    }
    if (!sides.right) {
        RefreshHandle(index, Side::Right);
    }
}

int BigParameterImpl::Insert(TimeValuePair keyframe, bool refreshesHandles) {
    KeyframeStore& keyframes = state.keyframes;
    if (state.type == ParameterBool || state.type == ParameterString) {
        keyframe.SetInterpolation(KeyframeInterpolationType::Hold);
    }
    const KeyframeStore::Range matches = keyframes.MatchesOf(keyframe.GetTime());
    const std::size_t index = matches.first;
    if (matches.first == matches.last) {
        keyframes.Reserve(keyframes.Count() + 1);
        prepared.ReserveOneMore();
        keyframes.Insert(index, std::move(keyframe), HandSet{});
        prepared.InsertKeyframe(index);
    } else {
        keyframes.Replace(index, std::move(keyframe), HandSet{});
        keyframes.Erase(index + 1, matches.last);
        prepared.EraseKeyframes(index + 1, matches.last);
    }
    if (refreshesHandles) {
        RefreshHandle(index, Side::Left);
        RefreshHandle(index, Side::Right);
        RefreshAutomatic(index - 1);
        RefreshAutomatic(index + 1);
    }
    Edited(index, index);
    return static_cast<int>(index);
}

int BigParameterImpl::AddPoint(double time, ValAny value, KeyframeInterpolationType type) {
    if (!std::isfinite(time)) {
        return -1;
    }
    const RecursiveLock lock(mutex);
    return Insert(TimeValuePair(time, std::move(value), type), state.type != ParameterPoint);
}

void BigParameterImpl::AddPointEx(double time, ValAny value, KeyframeInterpolationType type) {
    if (!std::isfinite(time)) {
        return;
    }
    const RecursiveLock lock(mutex);
    // Before the marker is set: from here on nothing fails.
    state.keyframes.Reserve(state.keyframes.Count() + 1);
    prepared.ReserveOneMore();
    state.maintainsPathHandles = true;
    Insert(TimeValuePair(time, std::move(value), type), true);
}

bool BigParameterImpl::RemovePoint(int index) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    const auto removed = static_cast<std::size_t>(index);
    state.keyframes.Erase(removed, removed + 1);
    prepared.EraseKeyframes(removed, removed + 1);
    RefreshAutomatic(removed - 1);
    RefreshAutomatic(removed);
    Edited(removed > 0 ? removed - 1 : 0, removed);
    return true;
}

void BigParameterImpl::RemoveKeyFramesAfterTime(double time) {
    const RecursiveLock lock(mutex);
    const std::size_t kept = state.keyframes.UpperBound(time);
    const std::size_t count = state.keyframes.Count();
    if (kept == count) {
        return;
    }
    state.keyframes.Erase(kept, count);
    prepared.EraseKeyframes(kept, count);
    RefreshAutomatic(kept - 1);
    Edited(kept > 0 ? kept - 1 : 0, kept);
}

void BigParameterImpl::ClearKeyFrames() {
    const RecursiveLock lock(mutex);
    const std::size_t count = state.keyframes.Count();
    state.keyframes.Erase(0, count);
    prepared.EraseKeyframes(0, count);
    Edited(0, 0);
}

bool BigParameterImpl::SetPointValue(int index, ValAny value) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    const auto changed = static_cast<std::size_t>(index);
    state.keyframes.SetValue(changed, std::move(value));
    RefreshAutomatic(changed - 1);
    RefreshAutomatic(changed);
    RefreshAutomatic(changed + 1);
    Edited(changed, changed);
    return true;
}

bool BigParameterImpl::SetPointTime(int index, double time) {
    const RecursiveLock lock(mutex);
    KeyframeStore& keyframes = state.keyframes;
    if (!IsValid(index) || !std::isfinite(time)) {
        return false;
    }
    const auto from = static_cast<std::size_t>(index);
    const KeyframeStore::Range matches = keyframes.MatchesOf(time);
    for (std::size_t i = matches.first; i < matches.last; ++i) {
        if (i != from) {
            return false;
        }
    }
    // The place among the other keyframes.
    std::size_t to = keyframes.UpperBound(time);
    to -= to > from ? 1 : 0;

    TimeValuePair moved = keyframes[from];
    const HandSet sides = keyframes.HandSetOf(from);
    moved.SetTime(time);
    if (from == to) {
        keyframes.Replace(from, std::move(moved), sides);
    } else {
        keyframes.Erase(from, from + 1);
        keyframes.Insert(to, std::move(moved), sides);
        // The two between which it was.
        const std::size_t behind = from < to ? from : from + 1;
        RefreshAutomatic(behind - 1);
        RefreshAutomatic(behind);
    }
    RefreshAutomatic(to - 1);
    RefreshAutomatic(to);
    RefreshAutomatic(to + 1);
    Edited(std::min(from, to), std::max(from, to));
    return true;
}

bool BigParameterImpl::SetPointInterpolationType(int index, KeyframeInterpolationType type) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    TimeValuePair keyframe = state.keyframes[static_cast<std::size_t>(index)];
    if (keyframe.GetInterpolation() != type) {
        keyframe.SetInterpolation(type);
        Insert(std::move(keyframe), state.type != ParameterPoint);
    }
    return true;
}

// A side is automatic as long as it is given the automatic numbers exactly.
void BigParameterImpl::GiveHandle(std::size_t index, Side side, Pointd handle) {
    const Pointd automatic = AutomaticHandleAt(state.keyframes.All(), index, side, state.IsPath());
    state.keyframes.SetHandle(index, side, handle, handle != automatic);
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
    const RecursiveLock lock(mutex);
    const Pointd left = {leftX, leftY};
    const Pointd right = {rightX, rightY};
    if (!IsValid(index) || !IsFinite(left) || !IsFinite(right)) {
        return false;
    }
    const auto changed = static_cast<std::size_t>(index);
    GiveHandle(changed, Side::Left, left);
    GiveHandle(changed, Side::Right, right);
    Edited(changed, changed);
    return true;
}

bool BigParameterImpl::SetPointControlLeftParam(int index, double x, double y) {
    return GiveOneHandle(index, Side::Left, {x, y});
}

bool BigParameterImpl::SetPointControlRightParam(int index, double x, double y) {
    return GiveOneHandle(index, Side::Right, {x, y});
}

bool BigParameterImpl::GiveOneHandle(int index, Side side, Pointd handle) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index) || !IsFinite(handle)) {
        return false;
    }
    const auto changed = static_cast<std::size_t>(index);
    GiveHandle(changed, side, handle);
    Edited(changed, changed);
    return true;
}

}  // namespace core
