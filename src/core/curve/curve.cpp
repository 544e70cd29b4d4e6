#include "core/curve/curve.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

// The keyframes and their blocks. Edits are in curve_edits.cpp, what follows from the
// keyframes in curve_derived.cpp.

namespace core {
namespace {

// Wider than the match itself, so that the rounding of a sum can't hide a match.
constexpr double kSearchMargin = 2.0 * kTimeTolerance;

}  // namespace

void CurveBlock::Reserve(std::size_t needed) {
    if (needed > keyframes.capacity()) {
        ForgetDerived();  // it refers to what moves now
        keyframes.reserve(std::min(std::max(needed, 4 * keyframes.size()), kMost));
    }
}

void CurveBlock::ForgetDerived() noexcept {
    prepared.Reset();
    areas.Reset();
    extension.Reset();
}

Curve::Curve(ParameterSettings newSettings, ValAny newConstant,
             std::vector<TimeValuePair> keyframes, const LoadedHandles& handles)
    : settings(std::move(newSettings)),
      constant(std::move(newConstant)),
      maintainsPathHandles(handles.keepsThirds) {
    UpdateSampling();
    const auto addBlock = [this](std::vector<TimeValuePair> row, const HandSet* sides) {
        auto block = Shared<CurveBlock>::Make();
        for (std::size_t i = 0; i < row.size(); ++i) {
            block->times.push_back(row[i].GetTime());
            block->handSets.push_back(sides[i]);
        }
        block->keyframes = std::move(row);
        InsertBlock(slots.size(), std::move(block));
    };
    const std::size_t all = keyframes.size();
    if (0 < all && all <= CurveBlock::kMost) {
        addBlock(std::move(keyframes), handles.sides.data());
    } else {
        for (std::size_t first = 0; first < all; first += CurveBlock::kMost) {
            const std::size_t last = std::min(first + CurveBlock::kMost, all);
            addBlock({std::make_move_iterator(keyframes.data() + first),
                      std::make_move_iterator(keyframes.data() + last)},
                     handles.sides.data() + first);
        }
    }
    CountFrom(0);
}

std::vector<TimeValuePair> Curve::Keyframes() const {
    std::vector<TimeValuePair> all;
    all.reserve(count);
    for (const Slot& slot : slots) {
        all.insert(all.end(), slot.block->keyframes.begin(), slot.block->keyframes.end());
    }
    return all;
}

std::vector<HandSet> Curve::HandSets() const {
    std::vector<HandSet> all;
    all.reserve(count);
    for (const Slot& slot : slots) {
        all.insert(all.end(), slot.block->handSets.begin(), slot.block->handSets.end());
    }
    return all;
}

// No earlier block than if all were full, as they are in a curve that was built in order.
Curve::Place Curve::PlaceOf(std::size_t index) const noexcept {
    std::size_t block = std::min(index / CurveBlock::kMost, slots.size() - 1);
    if (index - slots[block].before >= slots[block].block->times.size()) {
        const auto behind = std::upper_bound(
            slots.begin() + static_cast<std::ptrdiff_t>(block), slots.end(), index,
            [](std::size_t wanted, const Slot& slot) { return wanted < slot.before; });
        block = static_cast<std::size_t>(behind - slots.begin()) - 1;
    }
    return {block, index - slots[block].before};
}

bool Curve::StepBack(Place& place) const noexcept {
    if (place.offset > 0) {
        --place.offset;
        return true;
    }
    if (place.block == 0) {
        return false;
    }
    --place.block;
    place.offset = slots[place.block].block->times.size() - 1;
    return true;
}

bool Curve::StepAhead(Place& place) const noexcept {
    if (place.offset + 1 < slots[place.block].block->times.size()) {
        ++place.offset;
        return true;
    }
    if (place.block + 1 == slots.size()) {
        return false;
    }
    place = {place.block + 1, 0};
    return true;
}

std::size_t Curve::UpperBound(double t) const noexcept {
    const std::size_t behind = core::UpperBound(starts, t);
    if (behind == 0) {
        return 0;
    }
    const Slot& slot = slots[behind - 1];
    return slot.before + slot.block->LastUpTo(t) + 1;
}

Curve::Range Curve::MatchesOf(double t) const noexcept {
    // A curve that is built in order.
    if (count == 0 || t - slots.back().block->times.back() > kSearchMargin) {
        return {count, count};
    }
    std::size_t first = UpperBound(t);
    while (first > 0 && TimeOf(first - 1) >= t - kSearchMargin) {
        --first;
    }
    double time = 0.0;
    const auto readTime = [&](std::size_t index) {
        if (index >= count) {
            return false;
        }
        time = TimeOf(index);
        return true;
    };
    while (readTime(first) && time < t && !TimesMatch(time, t)) {
        ++first;
    }
    std::size_t last = first;
    while (readTime(last) && TimesMatch(time, t)) {
        ++last;
    }
    return {first, last};
}

std::size_t Curve::Find(double t) const noexcept {
    const std::size_t behind = core::UpperBound(starts, t);
    double toNext = behind < starts.size() ? starts[behind] - t : kTimeTolerance;
    if (behind == 0) {
        return toNext < kTimeTolerance ? 0 : kNone;
    }
    const auto& times = slots[behind - 1].block->times;
    const std::size_t next = slots[behind - 1].block->LastUpTo(t) + 1;
    toNext = next < times.size() ? times[next] - t : toNext;
    const double sinceLast = t - times[next - 1];
    if (!(sinceLast < kTimeTolerance) && !(toNext < kTimeTolerance)) {
        return kNone;
    }
    return slots[behind - 1].before + (sinceLast <= toNext ? next - 1 : next);
}

void Curve::BeginEdit() noexcept {
    before.Reset();
    blockSegments.Reset();
    searches.count.store(0, std::memory_order_relaxed);
    areas.Reset();
    asNumbers.Reset();
    digest.Reset();
}

void Curve::OwnAround(std::size_t first, std::size_t last) {
    if (count == 0) {
        return;
    }
    const std::size_t from = PlaceOf(first > 4 ? std::min(first, count) - 4 : 0).block;
    const std::size_t to = PlaceOf(std::min(last + 4, count - 1)).block;
    for (std::size_t block = from; block <= to; ++block) {
        slots[block].block.Own();
    }
}

void Curve::InsertBlock(std::size_t place, Shared<CurveBlock> block) {
    starts.reserve(starts.size() + 1 > starts.capacity() ? 2 * starts.size() + 1 : 0);
    slots.reserve(slots.size() + 1 > slots.capacity() ? 2 * slots.size() + 1 : 0);
    const auto offset = static_cast<std::ptrdiff_t>(place);
    starts.insert(starts.begin() + offset, block->times.empty() ? 0.0 : block->times.front());
    slots.insert(slots.begin() + offset, Slot{0, std::move(block)});
}

// Counts keyframes again from `block` on.
void Curve::CountFrom(std::size_t block) noexcept {
    std::size_t sum =
        block > 0 ? slots[block - 1].before + slots[block - 1].block->times.size() : 0;
    for (std::size_t i = block; i < slots.size(); ++i) {
        slots[i].before = sum;
        sum += slots[i].block->times.size();
    }
    count = sum;
}

// Behind the keyframe before it. Where its block is full, one that is built in order gets
// a new block, which leaves full ones behind, and any other is cut in the middle.
Curve::Place Curve::PlaceForOneMore(std::size_t index) {
    Place place{0, 0};
    if (index > 0) {
        place = PlaceOf(index - 1);
        ++place.offset;
    }
    constexpr std::size_t kMost = CurveBlock::kMost;
    if (slots.empty() || slots[place.block].block->times.size() == kMost) {
        auto fresh = Shared<CurveBlock>::Make();
        fresh->Reserve(1);
        if (slots.empty() || place.offset == 0) {
            InsertBlock(place.block, std::move(fresh));
        } else if (place.offset == kMost) {
            place = {place.block + 1, 0};
            InsertBlock(place.block, std::move(fresh));
        } else {
            constexpr std::size_t kHalf = kMost / 2;
            fresh->Reserve(kMost);
            InsertBlock(place.block + 1, fresh);
            CurveBlock& full = slots[place.block].block.Own();
            const auto middle = full.keyframes.begin() + kHalf;
            fresh->keyframes.assign(std::make_move_iterator(middle),
                                    std::make_move_iterator(full.keyframes.end()));
            full.keyframes.erase(middle, full.keyframes.end());
            full.times.MoveTail(kHalf, fresh->times);
            full.handSets.MoveTail(kHalf, fresh->handSets);
            full.ForgetDerived();
            starts[place.block + 1] = fresh->times.front();
            if (place.offset > kHalf) {
                place = {place.block + 1, place.offset - kHalf};
            }
        }
        CountFrom(place.block > 0 ? place.block - 1 : 0);
    }
    CurveBlock& block = slots[place.block].block.Own();
    block.Reserve(block.times.size() + 1);
    return place;
}

void Curve::Insert(Place place, TimeValuePair keyframe, HandSet sides) noexcept {
    CurveBlock& block = *slots[place.block].block;
    block.times.insert(place.offset, keyframe.GetTime());
    block.handSets.insert(place.offset, sides);
    block.keyframes.insert(block.keyframes.begin() + static_cast<std::ptrdiff_t>(place.offset),
                           std::move(keyframe));
    block.ForgetDerived();
    starts[place.block] = block.times.front();
    CountFrom(place.block);
}

void Curve::Erase(std::size_t first, std::size_t last) noexcept {
    while (last > first) {
        const Place place = PlaceOf(last - 1);
        CurveBlock& block = *slots[place.block].block;
        const std::size_t erased = std::min(last - first, place.offset + 1);
        if (erased == block.times.size()) {
            const auto slot = static_cast<std::ptrdiff_t>(place.block);
            starts.erase(starts.begin() + slot);
            slots.erase(slots.begin() + slot);
        } else {
            const std::size_t to = place.offset + 1;
            const auto end = block.keyframes.begin() + static_cast<std::ptrdiff_t>(to);
            block.keyframes.erase(end - static_cast<std::ptrdiff_t>(erased), end);
            block.times.erase(to - erased, to);
            block.handSets.erase(to - erased, to);
            block.ForgetDerived();
            starts[place.block] = block.times.front();
        }
        CountFrom(place.block);
        last -= erased;
    }
}

void Curve::Replace(std::size_t index, TimeValuePair keyframe, HandSet sides) noexcept {
    const Place place = PlaceOf(index);
    CurveBlock& block = *slots[place.block].block;
    block.times[place.offset] = keyframe.GetTime();
    block.keyframes[place.offset] = std::move(keyframe);
    block.handSets[place.offset] = sides;
    starts[place.block] = block.times.front();
}

void Curve::Touch(std::size_t first, std::size_t last) noexcept {
    if (count == 0) {
        return;
    }
    Place place = PlaceOf(std::min(first > 2 ? first - 2 : 0, count - 1));
    const std::size_t end = std::min(last + 2, count);
    while (place.block < slots.size() && slots[place.block].before + place.offset < end) {
        CurveBlock& block = *slots[place.block].block;
        block.areas.Reset();
        block.extension.Reset();
        PreparedBlock* prepared = block.prepared.Peek();
        const std::size_t blockEnd = std::min(end - slots[place.block].before, block.times.size());
        for (std::size_t i = place.offset; i < blockEnd && prepared != nullptr; ++i) {
            if (!PrepareOne(place.block, i, *prepared, false)) {
                block.prepared.Reset();
                prepared = nullptr;
            }
        }
        place = {place.block + 1, 0};
    }
}

}  // namespace core
