#pragma once

// The keyframes of a curve, sorted by time, no two of them matching, and which of their
// handles a caller has set.

#include "core/curve/handles.h"
#include "core/curve/sorted_times.h"

#include <core/curve/time_unit.h>
#include <core/curve/time_value_pair.h>

#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace core {

class KeyframeStore {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    static bool Matches(double a, double b) noexcept {
        const double difference = a - b;
        return difference > -kTimeTolerance && difference < kTimeTolerance;
    }

    std::size_t Count() const noexcept { return keyframes.size(); }
    const TimeValuePair& operator[](std::size_t index) const noexcept { return keyframes[index]; }
    double TimeOf(std::size_t index) const noexcept { return keyTimes[index + 1]; }
    std::span<const double> Times() const noexcept { return {keyTimes.data() + 1, Count()}; }

    /// The number of keyframes at or before `t`, which is the index of the first
    /// one after it. NaN lies behind all keyframes. O(log n).
    std::size_t UpperBound(double t) const noexcept { return core::UpperBound(Times(), t); }
    /// Whether `UpperBound(t)` is `segment`, for any `segment` up to `Count()` and a
    /// `t` below infinity.
    bool Holds(std::size_t segment, double t) const noexcept {
        return keyTimes[segment] <= t && t < keyTimes[segment + 1];
    }

    /// The index of the keyframe that matches `t`, the nearest one should two do so,
    /// or kNone.
    std::size_t Find(double t) const noexcept;

    /// The keyframes that match `t`: indices `first` up to before `last`. Where none
    /// does, `first` is the place for a new one.
    struct Range {
        std::size_t first;
        std::size_t last;
    };
    Range MatchesOf(double t) const noexcept;

    std::span<const TimeValuePair> All() const noexcept { return keyframes; }
    HandSet HandSetOf(std::size_t index) const noexcept { return handSets[index]; }
    /// Takes keyframes that are in time order, no two of them matching, in place of
    /// those that it has, and as many `sides`.
    void Assign(std::vector<TimeValuePair> sorted, std::vector<HandSet> sides);

    /// Makes room for `count` keyframes; the next insertions up to it don't throw.
    void Reserve(std::size_t count);
    /// The place must keep the order. Throws nothing when there is room.
    void Insert(std::size_t index, TimeValuePair keyframe, HandSet sides);
    void Erase(std::size_t first, std::size_t last) noexcept;
    /// Replaces a keyframe by one whose time keeps the order.
    void Replace(std::size_t index, TimeValuePair keyframe, HandSet sides) noexcept;

    void SetValue(std::size_t index, ValAny value) noexcept {
        keyframes[index].SetValue(std::move(value));
    }
    void SetHandle(std::size_t index, Side side, Pointd handle, bool isHandSet) noexcept;

private:
    std::vector<TimeValuePair> keyframes;
    std::vector<HandSet> handSets;
    // The times once more, close together for the search, between two sentinels.
    std::vector<double> keyTimes = {-std::numeric_limits<double>::infinity(),
                                    std::numeric_limits<double>::infinity()};
};

}  // namespace core
