#include "core/curve/easing.h"

#include "core/curve/interpolation_table.h"
#include "core/curve/polynomial.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

// The bisection of a cubic-bezier easing always takes its 20 rounds, so that its
// answer is the middle of one of 2^20 cells: the one with
//
//     x(i / 2^20) < p <= x((i + 1) / 2^20)
//
// (open at the outermost cells). x, as computed, grows strictly from grid point
// to grid point for all eight easings, so the cell is found as well by a good
// guess and two evaluations that prove it.

namespace core {
namespace {

constexpr int kRounds = 20;
constexpr double kCells = 1 << kRounds;

}  // namespace

CubicEasing::CubicEasing(Pointd first, Pointd second) noexcept
    : x1(first.x),
      y1(first.y),
      x2(second.x),
      y2(second.y),
      a(1.0 + 3.0 * x1 - 3.0 * x2),
      b(3.0 * x2 - 6.0 * x1),
      c(3.0 * x1) {
    const CubicBezier curve = Curve();
    double s0 = 0.0;
    for (int i = 0; i < kNodes; ++i) {
        const double s1 = BezierTimeSolver::SolveExactly(curve, 1.0, double(i + 1) / kNodes);
        const double rise = s1 - s0;
        // Slopes of the inverse, per node distance. Where X is flat the inverse is
        // vertical; the chord keeps the guess inside the cell, and the proof fails
        // more often there.
        const auto slopeAt = [&](double s) {
            const double slope = 1.0 / (kNodes * curve.SlopeX(s));
            return std::isfinite(slope) && slope < 3.0 * rise ? slope : rise;
        };
        const double d0 = slopeAt(s0);
        const double d1 = slopeAt(s1);
        inverse[static_cast<std::size_t>(i)] = {s0, d0, 3.0 * rise - 2.0 * d0 - d1,
                                                d0 + d1 - 2.0 * rise};
        s0 = s1;
    }
}

double CubicEasing::Bisect(double p) const noexcept {
    double lo = 0.0;
    double hi = 1.0;
    do {
        const double m = (lo + hi) / 2.0;
        if (p > XAt(m)) {
            lo = m;
        } else {
            hi = m;
        }
    } while (hi - lo > 1e-6);
    return (lo + hi) / 2.0;
}

double CubicEasing::Solve(double p) const noexcept {
    if (!(p > 0.0 && p < 1.0)) {
        return Bisect(p);
    }
    const double position = p * kNodes;
    const int node = static_cast<int>(position);
    const auto& h = inverse[static_cast<std::size_t>(node)];
    const double w = position - node;
    const double guess = ((h[3] * w + h[2]) * w + h[1]) * w + h[0];
    double middle = MiddleOfCell(p, guess);
    if (middle >= 0.0) {
        return middle;
    }
    // A step of Newton's method helps where the inverse bends too much for a cubic.
    const double slope = (3.0 * a * guess + 2.0 * b) * guess + c;
    middle = MiddleOfCell(p, guess - (((a * guess + b) * guess + c) * guess - p) / slope);
    return middle >= 0.0 ? middle : Bisect(p);
}

double CubicEasing::MiddleOfCell(double p, double s) const noexcept {
    if (!(s >= 0.0 && s < 1.0)) {
        return -1.0;
    }
    const double cell = static_cast<double>(static_cast<std::int32_t>(s * kCells));
    const double lo = cell / kCells;
    const double hi = (cell + 1.0) / kCells;
    const bool isProven = (cell == 0.0 || p > XAt(lo)) && (hi == 1.0 || !(p > XAt(hi)));
    return isProven ? (lo + hi) / 2.0 : -1.0;
}

const CubicEasing* FindCubicEasing(KeyframeInterpolationType type) noexcept {
    constexpr auto kIsCubic = [](const InterpolationInfo& info) {
        return info.group == InterpolationGroup::CubicEasing;
    };
    constexpr auto kFirst = static_cast<std::size_t>(
        std::find_if(kInterpolations.begin(), kInterpolations.end(), kIsCubic) -
        kInterpolations.begin());
    constexpr auto kCount = static_cast<std::size_t>(
        std::count_if(kInterpolations.begin(), kInterpolations.end(), kIsCubic));
    static const auto table = []<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
        return std::array{CubicEasing(kInterpolations[kFirst + kIndex].firstControl,
                                      kInterpolations[kFirst + kIndex].secondControl)...};
    }
    (std::make_index_sequence<kCount>());
    const InterpolationInfo* const info = InfoOf(type);
    if (info == nullptr || !kIsCubic(*info)) {
        return nullptr;
    }
    return &table[static_cast<std::size_t>(info - kInterpolations.data()) - kFirst];
}

double ElasticSwing(double p) noexcept {
    return std::exp2(-10.0 * p) * std::sin((10.0 * p - 0.75) * kElasticAngle) + 1.0;
}

double EaseOutElastic(double p) noexcept {
    return p == 0.0 || p == 1.0 ? p : ElasticSwing(p);
}

double EaseOutBounce(double p) noexcept {
    std::size_t piece = 0;
    while (piece + 1 < kBouncePieces.size() && !(p < kBouncePieces[piece].end)) {
        ++piece;
    }
    const double d = p - kBouncePieces[piece].top;
    return kBounceSteepness * d * d + kBouncePieces[piece].floor;
}

}  // namespace core
