#include "core/curve/curve.h"

#include <algorithm>
#include <utility>

// Every edit that can change an automatic handle goes the same way: make the change, then
// write the handles of the keyframes around it again. What a caller has set by hand is not
// among them and stays.

namespace core {

// Handles

HandlePair Curve::AutomaticHandles(Place place) const {
    const CurveBlock& block = *slots[place.block].block;
    const TimeValuePair* previous = nullptr;
    if (place.offset > 0) {
        previous = &block.keyframes[place.offset - 1];
    } else if (place.block > 0) {
        previous = &slots[place.block - 1].block->keyframes.back();
    }
    return AutomaticHandlesOf(previous, block.keyframes[place.offset],
                              Following(place.block, place.offset),
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

// Of a keyframe that an edit has not given its own handles.
void Curve::Follow(Place place) {
    const CurveBlock& block = *slots[place.block].block;
    const HandSet sides = block.handSets[place.offset];
    if ((sides.left && sides.right) || (settings.type == ParameterPoint && !maintainsPathHandles) ||
        block.keyframes[place.offset].GetInterpolation() ==
            KeyframeInterpolationType::Extrapolate) {
        return;
    }
    const HandlePair handles = AutomaticHandles(place);
    if (!sides.left) {
        WriteHandle(place, Side::Left, handles.left, false);
    }
    if (!sides.right) {
        WriteHandle(place, Side::Right, handles.right, false);
    }
}

Shared<Curve> Curve::WithKeyframes(std::vector<TimeValuePair> keyframes,
                                   std::vector<HandSet> sides) const {
    auto made = Shared<Curve>::Make(settings, constant, std::move(keyframes),
                                    LoadedHandles{std::move(sides), maintainsPathHandles});
    for (std::size_t block = 0; block < made->slots.size(); ++block) {
        for (std::size_t i = 0; i < made->slots[block].block->times.size(); ++i) {
            made->Follow({block, i});
        }
    }
    return made;
}

// The keyframe before and the one behind.
void Curve::FollowBeside(Place place) {
    Place other = place;
    if (StepBack(other)) {
        Follow(other);
    }
    if (StepAhead(place)) {
        Follow(place);
    }
}

// The keyframes on both sides of where one was, before the one with this index.
void Curve::FollowGap(std::size_t index) {
    if (index > 0) {
        Follow(PlaceOf(index - 1));
    }
    if (index < count) {
        Follow(PlaceOf(index));
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
    Place place{};
    if (matches.first == matches.last) {
        place = PlaceForOneMore(index);
        Insert(place, std::move(keyframe), HandSet{});
    } else {
        Replace(index, std::move(keyframe), HandSet{});
        Erase(index + 1, matches.last);
        place = PlaceOf(index);
    }
    const bool isMaintained = paths == PathHandles::Maintained;
    maintainsPathHandles = maintainsPathHandles || isMaintained;
    if (isMaintained || settings.type != ParameterPoint) {
        const HandlePair handles = AutomaticHandles(place);
        WriteHandle(place, Side::Left, handles.left, false);
        WriteHandle(place, Side::Right, handles.right, false);
        FollowBeside(place);
    }
    Touch(index, index);
    return index;
}

void Curve::Remove(std::size_t first, std::size_t last) {
    BeginEdit();
    OwnAround(first, first);
    OwnAround(last, last);
    Erase(first, last);
    FollowGap(first);
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
    Follow(place);
    FollowBeside(place);
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
        FollowGap(from < to ? from : from + 1);
        Touch(from, from);
    }
    Follow(PlaceOf(to));
    FollowBeside(PlaceOf(to));
    Touch(to, to);
}

// A side is automatic as long as it is given the automatic numbers exactly.
void Curve::SetHandles(std::size_t index, const Pointd* left, const Pointd* right) {
    BeginEdit();
    OwnAround(index, index);
    const Place place = PlaceOf(index);
    const HandlePair automatic = AutomaticHandles(place);
    if (left != nullptr) {
        WriteHandle(place, Side::Left, *left, *left != automatic.left);
    }
    if (right != nullptr) {
        WriteHandle(place, Side::Right, *right, *right != automatic.right);
    }
    Touch(index, index);
}

void Curve::PutHandles(std::size_t index, HandlePair handles, HandSet sides) {
    BeginEdit();
    OwnAround(index, index);
    const Place place = PlaceOf(index);
    WriteHandle(place, Side::Left, handles.left, sides.left);
    WriteHandle(place, Side::Right, handles.right, sides.right);
    Touch(index, index);
}

void Curve::ResetHandles(std::size_t index) {
    PutHandles(index, AutomaticHandles(PlaceOf(index)), {});
}

}  // namespace core
