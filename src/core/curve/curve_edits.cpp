#include "core/curve/curve.h"

#include <algorithm>
#include <utility>

// Every edit that can change an automatic handle goes the same way: make the change, then
// write the handles of the keyframes around it again. What a caller has set by hand is not
// among them and stays.

namespace core {

// Handles

Pointd Curve::AutomaticHandle(Place place, Side side) const {
    const CurveBlock& block = *slots[place.block].block;
    const TimeValuePair* previous = nullptr;
    if (place.offset > 0) {
        previous = &block.keyframes[place.offset - 1];
    } else if (place.block > 0) {
        previous = &slots[place.block - 1].block->keyframes.back();
    }
    return AutomaticHandleOf(previous, block.keyframes[place.offset],
                             Following(place.block, place.offset), side,
                             settings.type == ParameterPoint);
}

void Curve::WriteHandle(Place place, Side side, Pointd handle, bool isHandSet) noexcept {
    CurveBlock& block = *slots[place.block].block;
    if (side == Side::Left) {
        block.keyframes[place.offset].SetLeftDerivativeEx(handle.x, handle.y);
        block.handSets[place.offset].left = isHandSet;
    } else {
        block.keyframes[place.offset].SetRightDerivativeEx(handle.x, handle.y);
        block.handSets[place.offset].right = isHandSet;
    }
}

// Before the first keyframe the index wraps and lies outside.
void Curve::Follow(std::size_t index) {
    if (index >= count || (settings.type == ParameterPoint && !maintainsPathHandles)) {
        return;
    }
    const Place place = PlaceOf(index);
    const CurveBlock& block = *slots[place.block].block;
    if (block.keyframes[place.offset].GetInterpolation() ==
        KeyframeInterpolationType::Extrapolate) {
        return;
    }
    for (const Side side : {Side::Left, Side::Right}) {
        const HandSet& sides = block.handSets[place.offset];
        if (!(side == Side::Left ? sides.left : sides.right)) {
            WriteHandle(place, side, AutomaticHandle(place, side), false);
        }
    }
}

// Edits

std::size_t Curve::Add(TimeValuePair keyframe, PathHandles paths) {
    BeginEdit();
    if (settings.type == ParameterBool || settings.type == ParameterString) {
        keyframe.SetInterpolation(KeyframeInterpolationType::Hold);
    }
    const Range matches = MatchesOf(keyframe.GetTime());
    const std::size_t index = matches.first;
    OwnAround(index, matches.last);
    if (matches.first == matches.last) {
        Insert(PlaceForOneMore(index), std::move(keyframe), HandSet{});
    } else {
        Replace(index, std::move(keyframe), HandSet{});
        Erase(index + 1, matches.last);
    }
    const bool isMaintained = paths == PathHandles::Maintained;
    maintainsPathHandles = maintainsPathHandles || isMaintained;
    if (isMaintained || settings.type != ParameterPoint) {
        const Place place = PlaceOf(index);
        for (const Side side : {Side::Left, Side::Right}) {
            WriteHandle(place, side, AutomaticHandle(place, side), false);
        }
        Follow(index - 1);
        Follow(index + 1);
    }
    Touch(index, index);
    return index;
}

void Curve::Remove(std::size_t first, std::size_t last) {
    BeginEdit();
    OwnAround(first, first);
    OwnAround(last, last);
    Erase(first, last);
    Follow(first - 1);
    Follow(first);
    Touch(first, first);
}

void Curve::Clear() noexcept {
    BeginEdit();
    starts.clear();
    slots.clear();
    count = 0;
}

void Curve::SetValue(std::size_t index, ValAny value) {
    BeginEdit();
    OwnAround(index, index);
    const Place place = PlaceOf(index);
    slots[place.block].block->keyframes[place.offset].SetValue(std::move(value));
    Follow(index - 1);
    Follow(index);
    Follow(index + 1);
    Touch(index, index);
}

bool Curve::CanMove(std::size_t index, double time) const noexcept {
    const Range matches = MatchesOf(time);
    return matches.first == matches.last || (matches.first == index && matches.last == index + 1);
}

void Curve::Move(std::size_t from, double time) {
    BeginEdit();
    // The place among the other keyframes.
    std::size_t to = UpperBound(time);
    to -= to > from ? 1 : 0;

    TimeValuePair moved = (*this)[from];
    const Place place = PlaceOf(from);
    const HandSet sides = slots[place.block].block->handSets[place.offset];
    moved.SetTime(time);
    OwnAround(from, from);
    if (from == to) {
        Replace(from, std::move(moved), sides);
    } else {
        // Inserted first, because that is what may fail.
        const std::size_t ahead = to > from ? to + 1 : to;
        OwnAround(ahead, ahead);
        Insert(PlaceForOneMore(ahead), std::move(moved), sides);
        const std::size_t old = to < from ? from + 1 : from;
        Erase(old, old + 1);
        // The two between which it was.
        const std::size_t behind = from < to ? from : from + 1;
        Follow(behind - 1);
        Follow(behind);
        Touch(from, from);
    }
    Follow(to - 1);
    Follow(to);
    Follow(to + 1);
    Touch(to, to);
}

// A side is automatic as long as it is given the automatic numbers exactly.
void Curve::SetHandles(std::size_t index, const Pointd* left, const Pointd* right) {
    BeginEdit();
    OwnAround(index, index);
    const Place place = PlaceOf(index);
    if (left != nullptr) {
        WriteHandle(place, Side::Left, *left, *left != AutomaticHandle(place, Side::Left));
    }
    if (right != nullptr) {
        WriteHandle(place, Side::Right, *right, *right != AutomaticHandle(place, Side::Right));
    }
    Touch(index, index);
}

}  // namespace core
