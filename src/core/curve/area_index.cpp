#include "core/curve/area_index.h"

#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace core {
namespace {

// Sums of areas are rounded to about this part of all the area summed.
constexpr double kSumRounding = 1e-15;
// The most that an answer may miss the area by, relative, and absolute below 1;
// callers are promised ten times as much.
constexpr double kMostMissed = 1e-10;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

}  // namespace

// Knuth's two-sum: the rounding error of an addition, exactly.
void AreaSum::Add(double x) noexcept {
    const double sum = high + x;
    const double part = sum - high;
    low += (high - (sum - part)) + (x - part);
    high = sum;
}

BlockAreas::BlockAreas(std::span<const Segment> segments) : most(-kInfinity), least(kInfinity) {
    upTo.resize(segments.size() + 1);
    highest.resize(segments.size());
    lowest.resize(segments.size());
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const AreaExtremes extremes = SegmentAreaExtremes(segments[i]);
        highest[i] = upTo[i].high + extremes.highest;
        lowest[i] = upTo[i].high + extremes.lowest;
        isRising = isRising && highest[i] >= most;
        most = std::max(most, highest[i]);
        least = std::min(least, lowest[i]);
        turnover += extremes.highest - extremes.lowest;
        upTo[i + 1] = upTo[i];
        upTo[i + 1].Add(extremes.whole);
    }
}

AreaIndex::AreaIndex(std::vector<Block> row, double before, double after)
    : blocks(std::move(row)), valueBefore(before), valueAfter(after) {
    const std::size_t count = blocks.size();
    starts.resize(count);
    sums.resize(count);
    highestSoFar.resize(count);
    negatedLowestSoFar.resize(count);
    AreaSum sum;
    double high = -kInfinity;
    double negatedLow = -kInfinity;
    for (std::size_t i = 0; i < count; ++i) {
        const BlockAreas& areas = *blocks[i].areas;
        starts[i] = blocks[i].times.front() + blocks[i].offset;
        sums[i] = sum;
        high = std::max(high, sum.high + areas.most);
        negatedLow = std::max(negatedLow, -(sum.high + areas.least));
        highestSoFar[i] = high;
        negatedLowestSoFar[i] = negatedLow;
        sum = sum.Plus(areas.upTo.back());
        turnover += areas.turnover;
    }
}

AreaIndex::Place AreaIndex::PlaceOf(double t) const noexcept {
    if (t <= starts.front()) {
        return {0, t < starts.front() ? -1 : 0};
    }
    const std::size_t behind = UpperBound(starts, t);
    // Rounding of the difference must not move `t` past a keyframe.
    const Block& block = blocks[behind - 1];
    std::size_t next = UpperBound(block.times, t - block.offset);
    while (next < block.times.size() && block.times[next] + block.offset <= t) {
        ++next;
    }
    while (next > 1 && block.times[next - 1] + block.offset > t) {
        --next;
    }
    return {behind - 1, static_cast<std::ptrdiff_t>(std::max<std::size_t>(next, 1)) - 1};
}

AreaIndex::Place AreaIndex::Next(Place p) const noexcept {
    const bool isLast =
        p.segment + 1 == static_cast<std::ptrdiff_t>(blocks[p.block].segments.size());
    return isLast && p.block + 1 < blocks.size() ? Place{p.block + 1, 0}
                                                 : Place{p.block, p.segment + 1};
}

AreaIndex::Place AreaIndex::Previous(Place p) const noexcept {
    return p.segment == 0 && p.block > 0
               ? Place{p.block - 1,
                       static_cast<std::ptrdiff_t>(blocks[p.block - 1].segments.size()) - 1}
               : Place{p.block, p.segment - 1};
}

AreaSum AreaIndex::SumAt(Place p) const noexcept {
    return sums[p.block].Plus(blocks[p.block].areas->upTo[static_cast<std::size_t>(p.segment)]);
}

double AreaIndex::AreaIn(Place p, double from, double to) const noexcept {
    if (IsBefore(p) || IsAfter(p)) {
        return (IsBefore(p) ? valueBefore : valueAfter) * (to - from);
    }
    const Block& block = blocks[p.block];
    return SegmentArea(block.segments[static_cast<std::size_t>(p.segment)], from - block.offset,
                       to - block.offset);
}

double AreaIndex::Area(double from, double to) const noexcept {
    if (to < from) {
        return -Area(to, from);
    }
    const Place first = PlaceOf(from);
    const Place last = PlaceOf(to);
    if (first == last) {
        return AreaIn(first, from, to);
    }
    // From a keyframe on, its whole segment is summed already.
    const bool startsAtKeyframe = !IsBefore(first) && StartOf(first) == from;
    const Place next = startsAtKeyframe ? first : Next(first);
    const double before = startsAtKeyframe ? 0.0 : AreaIn(first, from, StartOf(next));
    const double between = SumAt(last).Minus(SumAt(next));
    const double after = AreaIn(last, StartOf(last), to);
    return before + between + after;
}

// The first inner segment from `from` on in which the area since the first keyframe,
// times `sign`, reaches `bound`; the one behind the last keyframe without any. NaN
// counts as reached, so that an overflow is met and not passed.
AreaIndex::Place AreaIndex::FirstReaching(Place from, double sign, double bound) const noexcept {
    const auto blockReaches = [&](std::size_t block) {
        const BlockAreas& areas = *blocks[block].areas;
        return !(sign * (sums[block].high + (sign > 0.0 ? areas.most : areas.least)) < bound);
    };
    const auto firstIn = [&](std::size_t block, std::size_t i) {
        const BlockAreas& areas = *blocks[block].areas;
        const double sum = sums[block].high;
        const std::vector<double>& reached = sign > 0.0 ? areas.highest : areas.lowest;
        const auto isBelow = [=](double area, double wanted) {
            return sign * (sum + area) < wanted;
        };
        const auto begin = reached.begin() + static_cast<std::ptrdiff_t>(i);
        const auto found = areas.isRising && sign > 0.0
                               ? std::lower_bound(begin, reached.end(), bound, isBelow)
                               : std::find_if_not(begin, reached.end(), [=](double area) {
                                     return isBelow(area, bound);
                                 });
        return found - reached.begin();
    };
    const auto sizeOf = [&](std::size_t block) {
        return static_cast<std::ptrdiff_t>(blocks[block].segments.size());
    };
    std::size_t block = from.block;
    if (from.segment > 0) {
        const std::ptrdiff_t i = firstIn(block, static_cast<std::size_t>(from.segment));
        if (i < sizeOf(block)) {
            return {block, i};
        }
        ++block;
    }
    // Where a block before this one reaches it too, the search says nothing.
    const std::vector<double>& soFar = sign > 0.0 ? highestSoFar : negatedLowestSoFar;
    const auto found = std::lower_bound(soFar.begin(), soFar.end(), bound);
    block = std::max(block, static_cast<std::size_t>(found - soFar.begin()));
    while (block < blocks.size() && !blockReaches(block)) {
        ++block;
    }
    if (block == blocks.size()) {
        return {block - 1, sizeOf(block - 1)};
    }
    return {block, std::min(firstIn(block, 0), sizeOf(block) - 1)};
}

// The same backwards from `from`; the one before the first keyframe without any.
AreaIndex::Place AreaIndex::LastReaching(Place from, double sign, double bound) const noexcept {
    for (Place p = from; !IsBefore(p); p = Previous(p)) {
        const BlockAreas& areas = *blocks[p.block].areas;
        const double sum = sums[p.block].high;
        const auto i = static_cast<std::size_t>(p.segment);
        // At its end, a block is passed at once.
        if (i + 1 == areas.highest.size() &&
            sign * (sum + (sign > 0.0 ? areas.most : areas.least)) < bound) {
            p.segment = 0;
        } else if (!(sign * (sum + (sign > 0.0 ? areas.highest[i] : areas.lowest[i])) < bound)) {
            return p;
        }
    }
    return {0, -1};
}

bool AreaIndex::Solve(double start, double area, double ratio, double& time) const noexcept {
    if (std::fabs(area) < kNegligible) {
        time = start;
        return true;
    }
    const bool isForward = area > 0.0;
    const double valueSign = ratio < 0.0 ? -1.0 : 1.0;
    const double size = std::fabs(area / ratio);
    const double tolerance = std::min(kSumRounding * (turnover + size),
                                      kMostMissed * std::max(std::fabs(1.0 / ratio), size));
    double missing = size;
    if (!std::isfinite(missing)) {
        return false;
    }

    // Beyond the outermost keyframe the value is a constant; `from` is the near end.
    const auto solveOutside = [&](double from) {
        const double value = valueSign * (isForward ? valueAfter : valueBefore);
        const double way = missing <= 0.0 ? 0.0 : missing / value;
        const double found = isForward ? from + way : from - way;
        if (!(way >= 0.0) || !std::isfinite(found)) {
            return false;
        }
        time = found;
        return true;
    };
    // A little more tolerant than the search: what it finds has to be found again.
    const auto solveIn = [&](Place p, double from, double to) {
        if (IsBefore(p) || IsAfter(p)) {
            std::array<Segment, 2> outer;
            PrepareConstant(std::min(from, to), std::max(from, to),
                            IsBefore(p) ? valueBefore : valueAfter, outer.data());
            return SolveSegmentArea(outer[0], from, to, valueSign, 4.0 * tolerance, missing, time);
        }
        const Block& block = blocks[p.block];
        if (!SolveSegmentArea(block.segments[static_cast<std::size_t>(p.segment)],
                              from - block.offset, to - block.offset, valueSign, 4.0 * tolerance,
                              missing, time)) {
            return false;
        }
        time += block.offset;
        return true;
    };

    // The way to the next keyframe, or off the curve at once.
    Place place = PlaceOf(start);
    const bool isAtKeyframe = !IsBefore(place) && StartOf(place) == start;
    if (isAtKeyframe && !isForward) {
        place = Previous(place);
    }
    if (isForward ? IsAfter(place) : IsBefore(place)) {
        return solveOutside(start);
    }
    // From a keyframe the search takes in the whole segment, but not with solveIn's tolerance.
    const bool isSearched = isAtKeyframe && missing > 4.0 * tolerance;
    const Place keyframe = isForward == isSearched ? place : Next(place);
    if (!isSearched && solveIn(place, start, StartOf(keyframe))) {
        return true;
    }

    // From that keyframe on, the one segment to look into is searched for.
    const AreaSum reached = SumAt(keyframe);
    const double sign = isForward ? valueSign : -valueSign;
    const double bound = missing + sign * reached.high - tolerance;
    const Place found = isForward ? FirstReaching(keyframe, sign, bound)
                                  : LastReaching(Previous(keyframe), sign, bound);
    const Place near = isForward ? found : Next(found);
    missing -= sign * SumAt(near).Minus(reached);
    if (isForward ? IsAfter(found) : IsBefore(found)) {
        return solveOutside(StartOf(near));
    }
    return solveIn(found, StartOf(near), StartOf(isForward ? Next(found) : found));
}

}  // namespace core
