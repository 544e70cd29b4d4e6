#pragma once

// Areas over a whole curve, which is a row of blocks of segments: sums within each
// block, made once for the block, and sums over the blocks, made anew for each curve.

#include "core/curve/area.h"
#include "core/curve/segment.h"

#include <cstddef>
#include <span>
#include <vector>

namespace core {

/// A sum with its rounding error, so that the difference of two large sums keeps the
/// digits of a short stretch.
struct AreaSum {
    double high = 0.0;
    double low = 0.0;

    void Add(double x) noexcept;
    AreaSum Plus(const AreaSum& other) const noexcept {
        AreaSum sum = *this;
        sum.Add(other.high);
        sum.low += other.low;
        return sum;
    }
    double Minus(const AreaSum& other) const noexcept {
        return (high - other.high) + (low - other.low);
    }
};

/// The areas of a block's segments, counted from where the first one starts.
struct BlockAreas {
    explicit BlockAreas(std::span<const Segment> segments);

    std::vector<AreaSum> upTo;    ///< before each segment, and behind the last one
    std::vector<double> highest;  ///< the highest area reached in each segment
    std::vector<double> lowest;
    double most;  ///< the highest in any
    double least;
    double turnover = 0.0;  ///< sum of the segments' areas, each without its sign
    bool isRising = true;   ///< `highest` is in order, as positive values have it
};

/// The areas of a curve with one keyframe or more.
class AreaIndex {
public:
    /// A block as the index reads it; it refers to what the block owns.
    struct Block {
        /// Of its keyframes, on the block's own axis; at least one.
        std::span<const double> times;
        /// One from each keyframe on; none from the last keyframe of the curve.
        std::span<const Segment> segments;
        const BlockAreas* areas;
        /// Where the block's axis starts on that of the curve.
        double offset;
    };

    /// `before` and `after` are the values outside the keyframes. O(blocks).
    AreaIndex(std::vector<Block> blocks, double before, double after);

    /// A segment. Segment -1 of block 0 lies before the first keyframe; the one behind
    /// the last keyframe is the last block's, past its inner ones.
    struct Place {
        std::size_t block;
        std::ptrdiff_t segment;
        bool operator==(const Place&) const = default;
    };
    Place PlaceOf(double t) const noexcept;
    bool IsBefore(Place p) const noexcept { return p.segment < 0; }
    bool IsAfter(Place p) const noexcept {
        return p.block + 1 == blocks.size() &&
               p.segment == static_cast<std::ptrdiff_t>(blocks.back().segments.size());
    }
    Place Next(Place p) const noexcept;
    /// Where a segment starts that is not before the first keyframe.
    double StartOf(Place p) const noexcept {
        return blocks[p.block].times[static_cast<std::size_t>(p.segment)] + blocks[p.block].offset;
    }
    /// The area from the first keyframe to a time that this segment holds.
    double AreaUpTo(Place p, double t) const noexcept {
        return IsBefore(p) ? valueBefore * (t - starts.front())
                           : SumAt(p).high + AreaIn(p, StartOf(p), t);
    }

    /// The area from `from` to `to`, both finite. O(log n).
    double Area(double from, double to) const noexcept;

    /// The first time from `start` on, backwards for a negative `area`, where the
    /// area from `start`, all values times `ratio`, is `area`; false, leaving `time`
    /// alone, when there is none. O(log n) from the first block on and for areas that
    /// lie near, else O(blocks).
    bool Solve(double start, double area, double ratio, double& time) const noexcept;

private:
    Place Previous(Place p) const noexcept;
    // Up to the start of a segment.
    AreaSum SumAt(Place p) const noexcept;
    double AreaIn(Place p, double from, double to) const noexcept;
    Place FirstReaching(Place from, double sign, double bound) const noexcept;
    Place LastReaching(Place from, double sign, double bound) const noexcept;

    std::vector<Block> blocks;
    std::vector<double> starts;        // of the blocks, on the curve's axis
    std::vector<AreaSum> sums;         // before each block
    std::vector<double> highestSoFar;  // up to and including each block
    std::vector<double> negatedLowestSoFar;
    double turnover = 0.0;
    double valueBefore;
    double valueAfter;
};

}  // namespace core
