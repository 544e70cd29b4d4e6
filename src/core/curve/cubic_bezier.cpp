#include "core/curve/cubic_bezier.h"

#include "core/curve/polynomial.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>

// Why the bisection's answer can be had without walking it.
//
// X grows with u, because the inner control points lie inside the segment. Let
// W = (wl, wr) be an interval with X(wl) < x - tolerance and X(wr) > x +
// tolerance. No round stops at a midpoint outside W, and a midpoint outside W
// is far enough from the root that rounding can't turn its comparison. The
// bisection visits dyadic numbers, coarse ones first, and always keeps W inside
// its bracket until a midpoint falls into W; that midpoint is therefore the
// coarsest dyadic number c of W. So:
//
//  1. find the root roughly, choose W a little wider than the tolerance, and
//     prove it by evaluating X at both ends;
//  2. compute c with bit operations;
//  3. go on with the bisection from c, which is usually its last round.
//
// Whatever can't be proven falls back to the whole bisection.

namespace core {
namespace {

// The finest midpoint that the rounds reach lies 21 halvings deep.
constexpr int kFinestLevel = BezierTimeSolver::kMostRounds + 1;
constexpr double kFinestCount = 1 << kFinestLevel;

// Rounding of X must stay far below the tolerance for comparisons to be safe.
// Up to this size of the times it is below 1e-8; the margin is ten times that.
constexpr double kLargestSafeX = 1e7;
constexpr double kMargin = 1e-7;

// From the table's guess on. A third one proves hardly any W that two do not.
constexpr int kMostSteps = 2;

// W is this much wider than the tolerance asks, to allow for a rough root. Wider
// costs a further round more often, narrower fails to prove W more often.
constexpr double kWidening = 1.05;

// The rounds of the bisection from the midpoint u of [lo, hi] on.
double BisectFrom(const CubicBezier& curve, double x, double lo, double hi, double u,
                  int rounds) noexcept {
    for (int round = 0; round < rounds; ++round) {
        const double at = curve.X(u);
        if (std::fabs(at - x) < BezierTimeSolver::kTolerance) {
            break;
        }
        if (x > at) {
            lo = u;
        } else {
            hi = u;
        }
        u = (lo + hi) / 2.0;
    }
    return u;
}

}  // namespace

BezierTimeSolver::BezierTimeSolver(const CubicBezier& curve, double xEnd) noexcept {
    const double span = xEnd - curve.dx;
    if (!(span > 0.0) || !(std::fabs(curve.dx) < kLargestSafeX) ||
        !(std::fabs(xEnd) < kLargestSafeX)) {
        return;
    }
    stepsPerX = static_cast<float>(kSteps / span);
    for (int i = 1; i <= kSteps; ++i) {
        const double u = SolveExactly(curve, xEnd, curve.dx + span * i / kSteps);
        guess[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::lround(u * kGuessOne));
    }
}

double BezierTimeSolver::Bisect(const CubicBezier& curve, double xEnd, double x) noexcept {
    if (std::fabs(x - curve.dx) < kTolerance) {
        return 0.0;
    }
    if (std::fabs(x - xEnd) < kTolerance) {
        return 1.0;
    }
    return BisectFrom(curve, x, 0.0, 1.0, 0.5, kMostRounds);
}

double BezierTimeSolver::Solve(const CubicBezier& curve, double xEnd, double x) const noexcept {
    const double fromStart = x - curve.dx;
    if (!(fromStart >= kTolerance && xEnd - x >= kTolerance && stepsPerX > 0.0F)) {
        return Bisect(curve, xEnd, x);
    }

    // The root: linear interpolation of the table, then a step of Chebyshev's method,
    // d = f/f', u - d (1 + d f''/(2 f')), which converges cubically; another one where W
    // can't be proven yet.
    const double position = fromStart * stepsPerX;
    const int step = std::min(static_cast<int>(position), kSteps - 1);
    const double left = guess[static_cast<std::size_t>(step)];
    const double right = guess[static_cast<std::size_t>(step) + 1];
    double root = (left + (right - left) * (position - step)) * (1.0 / kGuessOne);
    double wl = 0.0;
    double wr = 0.0;
    for (int attempt = 0;; ++attempt) {
        if (attempt == kMostSteps) {
            return BisectFrom(curve, x, 0.0, 1.0, 0.5, kMostRounds);
        }
        const double inverseSlope = 1.0 / curve.SlopeX(root);
        const double d = (curve.X(root) - x) * inverseSlope;
        root -= d * (1.0 + d * (3.0 * curve.ax * root + curve.bx) * inverseSlope);

        // The ends of the segment bound W: x lies more than the tolerance inside.
        const double reach = kWidening * kTolerance * inverseSlope;
        wl = root - reach;
        wr = root + reach;
        if (wl < wr && (wl > 0.0 ? curve.X(wl) < x - (kTolerance + kMargin) : wr > 0.0) &&
            (wr < 1.0 ? curve.X(wr) > x + (kTolerance + kMargin) : wl < 1.0)) {
            break;
        }
        root = std::clamp(root, 0.0, 1.0);
    }

    // The midpoints strictly inside W, counted at the finest level, are before + 1
    // to last; 0 and 1 are none.
    const auto before = static_cast<std::int32_t>(std::max(wl, 0.0) * kFinestCount);
    const double end = std::min(wr, 1.0) * kFinestCount;
    const auto past = static_cast<std::int32_t>(end);
    const std::int32_t last = past - (past < end ? 0 : 1);
    if (last <= before) {
        // W holds no midpoint: no round stops, and the last one leaves the middle
        // of the finest bracket.
        return (before | 1) / kFinestCount;
    }
    const int zeros =
        static_cast<int>(std::bit_width(static_cast<std::uint32_t>(before ^ last))) - 1;
    assert(zeros >= 0);  // because before < last
    const double u = ((last >> zeros) << zeros) / kFinestCount;
    if (zeros == 0 || std::fabs(curve.X(u) - x) < kTolerance) {
        return u;
    }
    const double half = (1 << zeros) / kFinestCount;
    return BisectFrom(curve, x, u - half, u + half, u, zeros);
}

double BezierTimeSolver::SolveExactly(const CubicBezier& curve, double xEnd, double x) noexcept {
    if (!(x > curve.dx)) {
        return 0.0;
    }
    if (!(x < xEnd)) {
        return 1.0;
    }
    const auto distance = [&](double u, double& slope) {
        slope = curve.SlopeX(u);
        return curve.X(u) - x;
    };
    return RootInBracket(distance, 0.0, 1.0, (x - curve.dx) / (xEnd - curve.dx));
}

}  // namespace core
