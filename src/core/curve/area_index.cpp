#include "core/curve/area_index.h"

#include "core/curve/numbers.h"
#include "core/curve/sorted_times.h"

#include <algorithm>
#include <bit>
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

}  // namespace

const CubicBezier& CurveView::CurveOf(std::size_t segment) const noexcept {
    static constexpr CubicBezier kNoCurve{};
    return curves.empty() ? kNoCurve : curves[segment].bezier;
}

std::size_t CurveView::SegmentAt(double t) const noexcept {
    return UpperBound(times, t);
}

void MaximumTree::Build(std::span<const double> row) {
    const std::size_t needed = std::bit_ceil(std::max<std::size_t>(row.size(), 1));
    std::vector<double> built(2 * needed, -std::numeric_limits<double>::infinity());
    std::copy(row.begin(), row.end(), built.begin() + static_cast<std::ptrdiff_t>(needed));
    for (std::size_t i = needed; i-- > 1;) {
        built[i] = std::max(built[2 * i], built[2 * i + 1]);
    }
    nodes = std::move(built);
    leaves = needed;
    count = row.size();
}

std::size_t MaximumTree::FirstAtLeast(std::size_t from, double bound) const noexcept {
    if (from >= count) {
        return kNone;
    }
    std::size_t node = from + leaves;
    while (nodes[node] < bound) {
        while (node % 2 == 1) {
            node /= 2;
        }
        if (node == 0) {
            return kNone;  // climbed past the root along the right edge
        }
        ++node;
    }
    while (node < leaves) {
        node *= 2;
        node += nodes[node] < bound ? 1U : 0U;
    }
    return node - leaves;
}

std::size_t MaximumTree::LastAtLeast(std::size_t from, double bound) const noexcept {
    if (count == 0) {
        return kNone;
    }
    std::size_t node = std::min(from, count - 1) + leaves;
    while (nodes[node] < bound) {
        while (node % 2 == 0) {
            node /= 2;
        }
        if (node == 1) {
            return kNone;  // climbed to the root along the left edge
        }
        --node;
    }
    while (node < leaves) {
        node = 2 * node + 1;
        node -= nodes[node] < bound ? 1U : 0U;
    }
    return node - leaves;
}

// Knuth's two-sum: the rounding error of an addition, exactly.
void AreaIndex::Sum::Add(double x) noexcept {
    const double sum = high + x;
    const double part = sum - high;
    low += (high - (sum - part)) + (x - part);
    high = sum;
}

void AreaIndex::Build(const CurveView& curve) {
    const std::size_t inner = curve.times.size() - 1;
    std::vector<Sum> sums(inner + 1);
    std::vector<double> highs(inner);
    std::vector<double> negatedLows(inner);
    double sizes = 0.0;
    for (std::size_t i = 0; i < inner; ++i) {
        const AreaExtremes extremes = SegmentAreaExtremes(
            curve.segments[i + 1], curve.CurveOf(i + 1), {curve.times[i], curve.times[i + 1]});
        highs[i] = sums[i].high + extremes.highest;
        negatedLows[i] = -(sums[i].high + extremes.lowest);
        sums[i + 1] = sums[i];
        sums[i + 1].Add(extremes.whole);
        sizes += extremes.highest - extremes.lowest;
    }
    MaximumTree highTree;
    highTree.Build(highs);
    MaximumTree lowTree;
    lowTree.Build(negatedLows);

    upTo = std::move(sums);
    highest = std::move(highTree);
    negatedLowest = std::move(lowTree);
    turnover = sizes;
}

double AreaIndex::Area(const CurveView& curve, double from, double to) const noexcept {
    if (to < from) {
        return -Area(curve, to, from);
    }
    const std::size_t first = curve.SegmentAt(from);
    const std::size_t last = curve.SegmentAt(to);
    const auto areaIn = [&curve](std::size_t segment, double a, double b) {
        const TimeInterval times{segment > 0 ? curve.times[segment - 1] : a,
                                 segment < curve.LastSegment() ? curve.times[segment] : b};
        return SegmentArea(curve.segments[segment], curve.CurveOf(segment), times, a, b);
    };
    if (first == last) {
        return areaIn(first, from, to);
    }
    // From a keyframe on, its whole segment is summed already.
    const bool startsAtKeyframe = first > 0 && curve.times[first - 1] == from;
    const std::size_t keyframe = startsAtKeyframe ? first - 1 : first;
    const double before = startsAtKeyframe ? 0.0 : areaIn(first, from, curve.times[first]);
    const double between = upTo[last - 1].Minus(upTo[keyframe]);
    const double after = areaIn(last, curve.times[last - 1], to);
    return before + between + after;
}

bool AreaIndex::Solve(const CurveView& curve, double start, double area, double ratio,
                      double& time) const noexcept {
    if (std::fabs(area) < kNegligible) {
        time = start;
        return true;
    }
    const bool isForward = area > 0.0;
    const double valueSign = ratio < 0.0 ? -1.0 : 1.0;
    const double size = std::fabs(area / ratio);
    const double tolerance = std::min(kSumRounding * (turnover + size),
                                      kMostMissed * std::max(std::fabs(1.0 / ratio), size));
    const std::size_t n = curve.LastSegment();
    double missing = size;
    if (!std::isfinite(missing)) {
        return false;
    }

    // Beyond the outermost keyframe the value is a constant; `from` is the near end.
    const auto solveOutside = [&](double from) {
        const double value = valueSign * curve.segments[isForward ? n : 0].c[0];
        const double way = missing <= 0.0 ? 0.0 : missing / value;
        const double found = isForward ? from + way : from - way;
        if (!(way >= 0.0) || !std::isfinite(found)) {
            return false;
        }
        time = found;
        return true;
    };
    // A little more tolerant than the trees: what they find has to be found again.
    const auto solveIn = [&](std::size_t segment, double from, double to) {
        const TimeInterval times{segment > 0 ? curve.times[segment - 1] : std::min(from, to),
                                 segment < n ? curve.times[segment] : std::max(from, to)};
        return SolveSegmentArea(curve.segments[segment], curve.CurveOf(segment), times, from, to,
                                valueSign, 4.0 * tolerance, missing, time);
    };

    // The way to the next keyframe, or off the curve at once.
    std::size_t segment = curve.SegmentAt(start);
    if (!isForward && segment > 0 && curve.times[segment - 1] == start) {
        --segment;
    }
    if (segment == (isForward ? n : 0)) {
        return solveOutside(start);
    }
    const std::size_t keyframe = isForward ? segment : segment - 1;
    if (solveIn(segment, start, curve.times[keyframe])) {
        return true;
    }

    // From that keyframe a tree finds the one segment to look into. Inner segment i
    // of the trees runs from keyframe i to keyframe i + 1.
    const Sum& reached = upTo[keyframe];
    const double treeSign = isForward ? valueSign : -valueSign;
    const MaximumTree& tree = treeSign > 0.0 ? highest : negatedLowest;
    const double bound = missing + treeSign * reached.high - tolerance;
    std::size_t inner = MaximumTree::kNone;
    if (isForward) {
        inner = tree.FirstAtLeast(keyframe, bound);
    } else if (keyframe > 0) {
        inner = tree.LastAtLeast(keyframe - 1, bound);
    }
    const std::size_t outermost = isForward ? n - 1 : 0;
    const std::size_t near =
        inner == MaximumTree::kNone ? outermost : (isForward ? inner : inner + 1);
    missing -= treeSign * upTo[near].Minus(reached);
    if (inner == MaximumTree::kNone) {
        return solveOutside(curve.times[near]);
    }
    return solveIn(inner + 1, curve.times[near], curve.times[isForward ? near + 1 : near - 1]);
}

}  // namespace core
