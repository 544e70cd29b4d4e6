#include "core/curve/polynomial.h"

#include "core/curve/numbers.h"

namespace core {
namespace {

bool IsZero(double x) noexcept {
    return std::fabs(x) < kNegligible;
}

RealRoots SolveLinear(double c0, double c1) noexcept {
    RealRoots roots;
    if (!IsZero(c1)) {
        roots.Add(-c0 / c1);
    }
    return roots;
}

// Roots of c2 x^2 + c1 x + c0, of either sign:
//
//     q = -(c1 + sign(c1) sqrt(c1^2 - 4 c2 c0)) / 2,   x = q / c2,  x = c0 / q
RealRoots QuadraticRoots(double c0, double c1, double c2) noexcept {
    if (IsZero(c2)) {
        return SolveLinear(c0, c1);
    }
    RealRoots roots;
    const double D = c1 * c1 - 4.0 * c2 * c0;
    if (D < 0.0) {
        return roots;
    }
    const double q = -0.5 * (c1 + std::copysign(std::sqrt(D), c1));
    roots.Add(q / c2);
    if (q != 0.0) {
        roots.Add(c0 / q);
    }
    return roots;
}

RealRoots NotNegativeSorted(const RealRoots& all) noexcept {
    RealRoots kept;
    for (const double root : all) {
        if (!(root >= 0.0)) {
            continue;
        }
        auto place = static_cast<std::size_t>(kept.count++);
        for (; place > 0 && kept.root[place - 1] > root; --place) {
            kept.root[place] = kept.root[place - 1];
        }
        kept.root[place] = root;
    }
    return kept;
}

}  // namespace

RealRoots SolveQuadratic(const Polynomial<2>& p) noexcept {
    return NotNegativeSorted(QuadraticRoots(p.c[0], p.c[1], p.c[2]));
}

}  // namespace core
