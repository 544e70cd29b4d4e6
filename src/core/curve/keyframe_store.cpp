#include "core/curve/keyframe_store.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace core {
namespace {

// Wider than the match itself, so that the rounding of a sum can't hide a match.
constexpr double kSearchMargin = 2.0 * KeyframeStore::kTimeTolerance;

}  // namespace

// Three pivots a round instead of one: their loads and comparisons overlap, and
// there are half as many rounds. Sums instead of conditions, because a condition
// becomes a branch, and random times mispredict every other one.
std::size_t KeyframeStore::UpperBound(double t) const noexcept {
    // Not "<=": NaN has to go right.
    const auto isNotAfter = [t](double keyTime) {
        return static_cast<std::size_t>(!(keyTime > t));
    };
    const double* const begin = keyTimes.data() + 1;
    const double* base = begin;
    std::size_t length = Count();
    while (length > 3) {
        const std::size_t quarter = length / 4;
        const std::size_t passed = isNotAfter(base[quarter - 1]) +
                                   isNotAfter(base[2 * quarter - 1]) +
                                   isNotAfter(base[3 * quarter - 1]);
        base += passed * quarter;
        length -= 3 * quarter;
    }
    auto index = static_cast<std::size_t>(base - begin);
    for (std::size_t i = 0; i < length; ++i) {
        index += isNotAfter(base[i]);
    }
    return index;
}

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

void KeyframeStore::Reserve(std::size_t count) {
    if (count > keyframes.capacity() || count + 2 > keyTimes.capacity()) {
        const std::size_t grown = std::max(count, 2 * keyframes.size());
        keyframes.reserve(grown);
        keyTimes.reserve(grown + 2);
    }
}

void KeyframeStore::Insert(std::size_t index, TimeValuePair keyframe) {
    Reserve(Count() + 1);
    const auto offset = static_cast<std::ptrdiff_t>(index);
    keyTimes.insert(keyTimes.begin() + offset + 1, keyframe.GetTime());
    keyframes.insert(keyframes.begin() + offset, std::move(keyframe));
}

void KeyframeStore::Erase(std::size_t first, std::size_t last) noexcept {
    const auto from = static_cast<std::ptrdiff_t>(first);
    const auto to = static_cast<std::ptrdiff_t>(last);
    keyTimes.erase(keyTimes.begin() + from + 1, keyTimes.begin() + to + 1);
    keyframes.erase(keyframes.begin() + from, keyframes.begin() + to);
}

void KeyframeStore::Replace(std::size_t index, TimeValuePair keyframe) noexcept {
    keyTimes[index + 1] = keyframe.GetTime();
    keyframes[index] = std::move(keyframe);
}

}  // namespace core
