#include "core/curve/big_parameter_impl.h"

#include "core/curve/numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

// Every edit that can change an automatic handle goes the same way: note which
// handles of the keyframes around it still follow, make the change, write those
// handles again. What a caller has set by hand is not among them and stays.

namespace core {
namespace {

// The handles that follow from the neighbours as they are now; zero where the
// values have none.

AutomaticHandle PathHandleAt(const KeyframeStore& keyframes, std::size_t index, bool left) {
    const auto readPoint = [&keyframes](std::size_t i, Pointd& point) {
        if (i >= keyframes.Count() || keyframes[i].PeekValue().Kind() != ValAny::kPoint) {
            return false;
        }
        point = keyframes[i].PeekValue().AsPoint();
        return true;
    };
    Pointd own;
    Pointd other;
    if (!readPoint(index, own)) {
        return {};
    }
    // Before the first keyframe the index wraps and lies outside the store.
    const bool hasOther = readPoint(left ? index - 1 : index + 1, other);
    return AutomaticPathHandle(own, hasOther ? &other : nullptr);
}

AutomaticHandle ValueHandleAt(const KeyframeStore& keyframes, std::size_t index, bool left) {
    const auto readKey = [&keyframes](std::size_t i, HandleKey& key) {
        if (i >= keyframes.Count()) {
            return false;
        }
        key.time = keyframes.TimeOf(i);
        key.type = keyframes[i].GetInterpolation();
        return ReadNumber(keyframes[i].PeekValue(), key.value);
    };
    HandleKeys keys{};
    HandleKey previous;
    HandleKey next;
    if (!readKey(index, keys.key)) {
        return {};
    }
    keys.previous = readKey(index - 1, previous) ? &previous : nullptr;
    keys.next = readKey(index + 1, next) ? &next : nullptr;
    return left ? AutomaticLeftHandle(keys) : AutomaticRightHandle(keys);
}

}  // namespace

void BigParameterImpl::Edited(std::size_t first, std::size_t last) {
    prepared.MarkStaleAround(first, last);
    lastSegment = std::min(lastSegment, state.keyframes.Count());
    areasAreValid = false;
    digestIsValid = false;
    OnEdited();
}

AutomaticHandle BigParameterImpl::AutomaticHandleOf(std::size_t index, bool left) const {
    return state.type == ParameterPoint ? PathHandleAt(state.keyframes, index, left)
                                        : ValueHandleAt(state.keyframes, index, left);
}

BigParameterImpl::Sides BigParameterImpl::FollowingSides(std::size_t index) const {
    const TimeValuePair& keyframe = state.keyframes[index];
    if (!MaintainsHandles() ||
        keyframe.GetInterpolation() == KeyframeInterpolationType::Extrapolate) {
        return {};
    }
    double leftX = 0.0;
    double leftY = 0.0;
    double rightX = 0.0;
    double rightY = 0.0;
    keyframe.GetLeftDerivativeEx(leftX, leftY);
    keyframe.GetRightDerivativeEx(rightX, rightY);
    return {AutomaticHandleOf(index, true).Matches(leftX, leftY),
            AutomaticHandleOf(index, false).Matches(rightX, rightY)};
}

void BigParameterImpl::RefreshHandles(std::size_t index, Sides sides) {
    if (sides.left) {
        const AutomaticHandle handle = AutomaticHandleOf(index, true);
        state.keyframes.SetLeftHandle(index, handle.x, handle.y);
    }
    if (sides.right) {
        const AutomaticHandle handle = AutomaticHandleOf(index, false);
        state.keyframes.SetRightHandle(index, handle.x, handle.y);
    }
}

int BigParameterImpl::Insert(TimeValuePair keyframe, bool refreshesHandles) {
    KeyframeStore& keyframes = state.keyframes;
    if (state.type == ParameterBool || state.type == ParameterString) {
        keyframe.SetInterpolation(KeyframeInterpolationType::Hold);
    }
    const KeyframeStore::Range matches = keyframes.MatchesOf(keyframe.GetTime());
    const std::size_t index = matches.first;
    const bool hasPrevious = index > 0;
    const bool hasNext = matches.last < keyframes.Count();
    const Sides previousSides = hasPrevious ? FollowingSides(index - 1) : Sides{};
    const Sides nextSides = hasNext ? FollowingSides(matches.last) : Sides{};

    if (matches.first == matches.last) {
        keyframes.Reserve(keyframes.Count() + 1);
        prepared.ReserveOneMore();
        keyframes.Insert(index, std::move(keyframe));
        prepared.InsertKeyframe(index);
    } else {
        keyframes.Replace(index, std::move(keyframe));
        keyframes.Erase(index + 1, matches.last);
        prepared.EraseKeyframes(index + 1, matches.last);
    }
    if (refreshesHandles) {
        RefreshHandles(index, {true, true});
        if (hasPrevious) {
            RefreshHandles(index - 1, previousSides);
        }
        if (hasNext) {
            RefreshHandles(index + 1, nextSides);
        }
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
    const bool hasPrevious = removed > 0;
    const bool hasNext = removed + 1 < state.keyframes.Count();
    const Sides previousSides = hasPrevious ? FollowingSides(removed - 1) : Sides{};
    const Sides nextSides = hasNext ? FollowingSides(removed + 1) : Sides{};
    state.keyframes.Erase(removed, removed + 1);
    prepared.EraseKeyframes(removed, removed + 1);
    if (hasPrevious) {
        RefreshHandles(removed - 1, previousSides);
    }
    if (hasNext) {
        RefreshHandles(removed, nextSides);
    }
    Edited(hasPrevious ? removed - 1 : 0, removed);
    return true;
}

void BigParameterImpl::RemoveKeyFramesAfterTime(double time) {
    const RecursiveLock lock(mutex);
    const std::size_t kept = state.keyframes.UpperBound(time);
    const std::size_t count = state.keyframes.Count();
    if (kept == count) {
        return;
    }
    const Sides sides = kept > 0 ? FollowingSides(kept - 1) : Sides{};
    state.keyframes.Erase(kept, count);
    prepared.EraseKeyframes(kept, count);
    if (kept > 0) {
        RefreshHandles(kept - 1, sides);
    }
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
    const std::size_t first = changed > 0 ? changed - 1 : 0;
    const std::size_t last = std::min(changed + 1, state.keyframes.Count() - 1);
    std::array<Sides, 3> sides{};
    for (std::size_t i = first; i <= last; ++i) {
        sides[i - first] = FollowingSides(i);
    }
    state.keyframes.SetValue(changed, std::move(value));
    for (std::size_t i = first; i <= last; ++i) {
        RefreshHandles(i, sides[i - first]);
    }
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

    // The keyframe and its neighbours at both places, by their indices before the
    // move. One that stands there twice is only written twice.
    std::array<std::size_t, 5> around{};
    std::array<Sides, 5> sides{};
    std::size_t count = 0;
    const std::size_t others = keyframes.Count() - 1;
    const auto indexAmongAll = [from](std::size_t other) {
        return other >= from ? other + 1 : other;
    };
    around[count++] = from;
    for (const std::size_t place : {from, to}) {
        if (place > 0) {
            around[count++] = indexAmongAll(place - 1);
        }
        if (place < others) {
            around[count++] = indexAmongAll(place);
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        sides[i] = FollowingSides(around[i]);
    }

    TimeValuePair moved = keyframes[from];
    moved.SetTime(time);
    if (from == to) {
        keyframes.Replace(from, std::move(moved));
    } else {
        keyframes.Erase(from, from + 1);
        keyframes.Insert(to, std::move(moved));
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t old = around[i];
        std::size_t now = to;
        if (old != from) {
            now = old > from ? old - 1 : old;
            now += now >= to ? 1 : 0;
        }
        RefreshHandles(now, sides[i]);
    }
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

bool BigParameterImpl::SetPointControlParam(int index, double x, double y) {
    const RecursiveLock lock(mutex);
    double leftX = 0.0;
    double leftY = 0.0;
    double rightX = 0.0;
    double rightY = 0.0;
    return GetPointControlParamEx(index, leftX, leftY, rightX, rightY) &&
           SetPointControlParamEx(index, x, leftY, y, rightY);
}

bool BigParameterImpl::SetPointControlParamEx(int index, double leftX, double leftY, double rightX,
                                              double rightY) {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    const auto changed = static_cast<std::size_t>(index);
    state.keyframes.SetLeftHandle(changed, leftX, leftY);
    state.keyframes.SetRightHandle(changed, rightX, rightY);
    Edited(changed, changed);
    return true;
}

bool BigParameterImpl::SetPointControlLeftParam(int index, double x, double y) {
    const RecursiveLock lock(mutex);
    double rightX = 0.0;
    double rightY = 0.0;
    return GetPointControlRightParam(index, rightX, rightY) &&
           SetPointControlParamEx(index, x, y, rightX, rightY);
}

bool BigParameterImpl::SetPointControlRightParam(int index, double x, double y) {
    const RecursiveLock lock(mutex);
    double leftX = 0.0;
    double leftY = 0.0;
    return GetPointControlLeftParam(index, leftX, leftY) &&
           SetPointControlParamEx(index, leftX, leftY, x, y);
}

}  // namespace core
