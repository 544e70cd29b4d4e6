#include "core/speed/source_sweep.h"

#include "core/curve/area.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

// With the speed as a curve of the plane, t = X(u) and v = Y(u), what is shown up to t is
//
//     s(u) = integral of Y X' from 0 to u,
//
// a polynomial. Any u is the parameter of the time X(u), so that whatever u is found for t,
// s(u) is off by |X(u) - t| times the highest speed at most: the residual proves the answer,
// however the parameter was found. It is found from the cubic through two known parameters
// and their derivatives (Hermite), and by Newton's method where that is not near enough.

namespace core {
namespace {

// Of the sums that make a source time, here and where the exact one is made. They come within a
// hundredth of it.
constexpr double kRounding = 1e-13;

}  // namespace

bool SourceSweep::Enter(const TimeMap::Found& found, double size) noexcept {
    if (found.segment != segment) {
        if (!ReadPlaneCurve(*found.segment, curve)) {
            segment = nullptr;
            return false;
        }
        segment = found.segment;
        guess.c[0] = kNone;
        const double y[] = {curve.dy, curve.cy, curve.by, curve.ay};
        const double slopes[] = {curve.cx, 2.0 * curve.bx, 3.0 * curve.ax};
        shown = {};
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t k = 0; k < 3; ++k) {
                shown.c[i + k + 1] += y[i] * slopes[k] / static_cast<double>(i + k + 1);
            }
        }
        // A Bezier lies between its control values.
        fastest = std::max(
            std::max(std::fabs(y[0]), std::fabs(y[0] + y[1] / 3.0)),
            std::max(std::fabs(y[0] + (2.0 * y[1] + y[2]) / 3.0), std::fabs(segment->c[0])));
        fastest = std::max(fastest, std::fabs(y[0] + y[1] + y[2] + y[3]));
    }
    before = found.source;
    const double times = size + std::fabs(found.offset) + std::fabs(curve.ax) +
                         std::fabs(curve.bx) + std::fabs(curve.cx) + std::fabs(curve.dx);
    rounding = kRounding * ((1.0 + fastest) * times + std::fabs(before));
    return true;
}

void SourceSweep::Aim(double from, double to) noexcept {
    const double u0 = ParameterAt(from);
    const double u1 = ParameterAt(to);
    const double span = to - from;
    const double rise = u1 - u0;
    const double r0 = span / curve.SlopeX(u0);
    const double r1 = span / curve.SlopeX(u1);
    guess = {{u0, r0, 3.0 * rise - 2.0 * r0 - r1, r0 + r1 - 2.0 * rise}};
    start = from;
    perSecond = 1.0 / span;
}

// The last parameters lead on to the next ones.
double SourceSweep::ParameterAt(double x) const noexcept {
    double off = 0.0;
    const double u = FindParameter(x, off);
    return u >= 0.0 && u <= 1.0 && std::fabs(off) <= kNearEnough
               ? u
               : BezierTimeSolver::SolveExactly(curve, segment->To(), x);
}

}  // namespace core
