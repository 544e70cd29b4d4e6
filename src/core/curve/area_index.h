#pragma once

// Areas over a whole curve in O(log n): sums up to each keyframe, and trees that
// find the segment where an area is first reached.

#include "core/curve/area.h"
#include "core/curve/segment.h"

#include <cstddef>
#include <span>
#include <vector>

namespace core {

/// The prepared segments of a curve with n >= 1 keyframes. Segment i runs from
/// keyframe i - 1 to keyframe i; segments 0 and n are the constants outside.
struct CurveView {
    std::span<const double> times;
    std::span<const Segment> segments;
    /// Empty where no segment has a curve.
    std::span<const SegmentCurve> curves;

    std::size_t LastSegment() const noexcept { return times.size(); }
    const CubicBezier& CurveOf(std::size_t segment) const noexcept;
    /// The segment that holds `t`; a keyframe's time belongs to the one it starts.
    std::size_t SegmentAt(double t) const noexcept;
};

/// A complete binary tree of maxima over a row of numbers.
class MaximumTree {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    void Build(std::span<const double> row);
    /// The first index at or after `from` whose number is `bound` or more; kNone
    /// without one. O(log n).
    std::size_t FirstAtLeast(std::size_t from, double bound) const noexcept;
    /// The last such index at or before `from`.
    std::size_t LastAtLeast(std::size_t from, double bound) const noexcept;

private:
    std::size_t count = 0;
    std::size_t leaves = 0;     // a power of two
    std::vector<double> nodes;  // root at 1, children of i at 2 i and 2 i + 1
};

/// Built once after an edit; the questions take the view that it was built from.
class AreaIndex {
public:
    /// O(n). Leaves the index as it was when memory runs out.
    void Build(const CurveView& curve);

    /// The area from `from` to `to`, both finite. O(log n).
    double Area(const CurveView& curve, double from, double to) const noexcept;

    /// The first time from `start` on, backwards for a negative `area`, where the
    /// area from `start`, all values times `ratio`, is `area`; false, leaving `time`
    /// alone, when there is none. O(log n).
    bool Solve(const CurveView& curve, double start, double area, double ratio,
               double& time) const noexcept;

private:
    // A sum with its rounding error, so that the difference of two large sums keeps
    // the digits of a short stretch.
    struct Sum {
        double high = 0.0;
        double low = 0.0;

        void Add(double x) noexcept;
        double Minus(const Sum& other) const noexcept {
            return (high - other.high) + (low - other.low);
        }
    };

    std::vector<Sum> upTo;      // area from the first keyframe to keyframe i
    MaximumTree highest;        // over inner segments: highest area since the first keyframe
    MaximumTree negatedLowest;  // the same for the lowest, negated
    double turnover = 0.0;      // sum of the segments' areas, each without its sign
};

}  // namespace core
