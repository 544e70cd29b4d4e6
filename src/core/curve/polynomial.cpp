#include "core/curve/polynomial.h"

#include "core/curve/numbers.h"

#include <algorithm>
#include <numbers>

// Letters of this file: a is the leading coefficient, D a discriminant, and a
// polynomial with leading coefficient 1 is called reduced.

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

// Roots of the reduced cubic x^3 + a x^2 + b x + c, of either sign. With
// x = y - a/3 it becomes y^3 - 3 Q y + 2 R = 0, where
//
//     Q = (a^2 - 3 b) / 9,   R = (2 a^3 - 9 a b + 27 c) / 54
//
// R^2 < Q^3: three real roots, y = -2 sqrt(Q) cos((theta + 2 pi k) / 3) with
// cos(theta) = R / sqrt(Q^3) (Viete). Otherwise one (Cardano): y = A + Q / A
// with A = -sign(R) cbrt(|R| + sqrt(R^2 - Q^3)).
RealRoots ReducedCubicRoots(double a, double b, double c) noexcept {
    RealRoots roots;
    const double Q = (a * a - 3.0 * b) / 9.0;
    const double R = (a * (2.0 * a * a - 9.0 * b) + 27.0 * c) / 54.0;
    const double Q3 = Q * Q * Q;
    const double shift = a / 3.0;
    if (R * R < Q3) {
        const double theta = std::acos(std::clamp(R / std::sqrt(Q3), -1.0, 1.0));
        const double size = -2.0 * std::sqrt(Q);
        for (int k = -1; k <= 1; ++k) {
            roots.Add(size * std::cos((theta + 2.0 * std::numbers::pi * k) / 3.0) - shift);
        }
    } else {
        const double A = -std::copysign(std::cbrt(std::fabs(R) + std::sqrt(R * R - Q3)), R);
        const double B = A == 0.0 ? 0.0 : Q / A;
        roots.Add(A + B - shift);
        // A double root of the cubic: the imaginary parts of the other two vanish.
        if (A == B) {
            roots.Add(-A - shift);
        }
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

// Roots of the reduced quartic x^4 + a x^3 + b x^2 + c x + d, of either sign.
// With x = y - a/4 it becomes y^4 + p y^2 + q y + r, which Ferrari splits with a
// positive root m of the resolvent m^3 + p m^2 + (p^2/4 - r) m - q^2/8 = 0 into
//
//     y^2 + p/2 + m = +-(s y - q / (2 s)),   s = sqrt(2 m)
RealRoots ReducedQuarticRoots(double a, double b, double c, double d) noexcept {
    RealRoots roots;
    const double shift = 0.25 * a;
    const double a2 = a * a;
    const double p = b - 0.375 * a2;
    const double q = c - 0.5 * a * b + 0.125 * a * a2;
    const double r = d - 0.25 * a * c + 0.0625 * a2 * b - (3.0 / 256.0) * a2 * a2;

    double m = 0.0;
    for (const double root : ReducedCubicRoots(p, 0.25 * p * p - r, -0.125 * q * q)) {
        m = std::max(m, root);
    }
    if (m <= 0.0 || IsZero(m)) {
        // q vanishes: a quadratic in y^2.
        for (const double y2 : QuadraticRoots(r, p, 1.0)) {
            if (y2 >= 0.0) {
                roots.Add(std::sqrt(y2) - shift);
                roots.Add(-std::sqrt(y2) - shift);
            }
        }
        return roots;
    }
    const double s = std::sqrt(2.0 * m);
    for (const double sign : {1.0, -1.0}) {
        const double constant = 0.5 * p + m + sign * q / (2.0 * s);
        for (const double y : QuadraticRoots(constant, -sign * s, 1.0)) {
            roots.Add(y - shift);
        }
    }
    return roots;
}

}  // namespace

RealRoots SolveQuadratic(const Polynomial<2>& p) noexcept {
    return NotNegativeSorted(QuadraticRoots(p.c[0], p.c[1], p.c[2]));
}

RealRoots SolveCubic(const Polynomial<3>& p) noexcept {
    const double a = p.c[3];
    if (IsZero(a)) {
        return SolveQuadratic({{p.c[0], p.c[1], p.c[2]}});
    }
    return NotNegativeSorted(ReducedCubicRoots(p.c[2] / a, p.c[1] / a, p.c[0] / a));
}

RealRoots SolveQuartic(const Polynomial<4>& p) noexcept {
    const double a = p.c[4];
    if (IsZero(a)) {
        return SolveCubic({{p.c[0], p.c[1], p.c[2], p.c[3]}});
    }
    return NotNegativeSorted(ReducedQuarticRoots(p.c[3] / a, p.c[2] / a, p.c[1] / a, p.c[0] / a));
}

}  // namespace core
