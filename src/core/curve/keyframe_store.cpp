#include "core/curve/keyframe_store.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace core {
namespace {

// Wider than the match itself, so that the rounding of a sum can't hide a match.
constexpr double kSearchMargin = 2.0 * kTimeTolerance;

}  // namespace

KeyframeStore::Range KeyframeStore::MatchesOf(double t) const noexcept {
    const auto times = Times();
    const auto from = std::lower_bound(times.begin(), times.end(), t - kSearchMargin);
    auto first = static_cast<std::size_t>(from - times.begin());
    while (first < Count() && times[first] < t && !Matches(times[first], t)) {
        ++first;
    }
    std::size_t last = first;
    while (last < Count() && Matches(times[last], t)) {
        ++last;
    }
    return {first, last};
}

std::size_t KeyframeStore::Find(double t) const noexcept {
    const Range range = MatchesOf(t);
    std::size_t nearest = kNone;
    for (std::size_t i = range.first; i < range.last; ++i) {
        if (nearest == kNone || std::fabs(TimeOf(i) - t) < std::fabs(TimeOf(nearest) - t)) {
            nearest = i;
        }
    }
    return nearest;
}

void KeyframeStore::Assign(std::vector<TimeValuePair> sorted, std::vector<HandSet> sides) {
    std::vector<double> times;
    times.reserve(sorted.size() + 2);
    times.push_back(keyTimes.front());
    for (const TimeValuePair& keyframe : sorted) {
        times.push_back(keyframe.GetTime());
    }
    times.push_back(keyTimes.back());
    keyTimes = std::move(times);
    keyframes = std::move(sorted);
    handSets = std::move(sides);
}

void KeyframeStore::Reserve(std::size_t count) {
    if (count > keyframes.capacity() || count > handSets.capacity() ||
        count + 2 > keyTimes.capacity()) {
        const std::size_t grown = std::max(count, 2 * keyframes.size());
        keyframes.reserve(grown);
        handSets.reserve(grown);
        keyTimes.reserve(grown + 2);
    }
}

void KeyframeStore::Insert(std::size_t index, TimeValuePair keyframe, HandSet sides) {
    Reserve(Count() + 1);
    const auto offset = static_cast<std::ptrdiff_t>(index);
    keyTimes.insert(keyTimes.begin() + offset + 1, keyframe.GetTime());
    handSets.insert(handSets.begin() + offset, sides);
    keyframes.insert(keyframes.begin() + offset, std::move(keyframe));
}

void KeyframeStore::Erase(std::size_t first, std::size_t last) noexcept {
    const auto from = static_cast<std::ptrdiff_t>(first);
    const auto to = static_cast<std::ptrdiff_t>(last);
    keyTimes.erase(keyTimes.begin() + from + 1, keyTimes.begin() + to + 1);
    handSets.erase(handSets.begin() + from, handSets.begin() + to);
    keyframes.erase(keyframes.begin() + from, keyframes.begin() + to);
}

void KeyframeStore::Replace(std::size_t index, TimeValuePair keyframe, HandSet sides) noexcept {
    keyTimes[index + 1] = keyframe.GetTime();
    handSets[index] = sides;
    keyframes[index] = std::move(keyframe);
}

void KeyframeStore::SetHandle(std::size_t index, Side side, Pointd handle,
                              bool isHandSet) noexcept {
    if (side == Side::Left) {
        keyframes[index].SetLeftDerivativeEx(handle.x, handle.y);
        handSets[index].left = isHandSet;
    } else {
        keyframes[index].SetRightDerivativeEx(handle.x, handle.y);
        handSets[index].right = isHandSet;
    }
}

}  // namespace core
