#pragma once

// Polynomials in one variable and their real roots.

#include <array>
#include <cmath>
#include <cstddef>

namespace core {

/// c[0] + c[1] u + ... + c[Degree] u^Degree.
template <std::size_t Degree>
struct Polynomial {
    std::array<double, Degree + 1> c{};

    /// Horner's scheme.
    double At(double u) const noexcept {
        double sum = c[Degree];
        for (std::size_t i = Degree; i-- > 0;) {
            sum = sum * u + c[i];
        }
        return sum;
    }

    Polynomial<Degree - 1> Derivative() const noexcept {
        Polynomial<Degree - 1> d;
        for (std::size_t i = 1; i <= Degree; ++i) {
            d.c[i - 1] = static_cast<double>(i) * c[i];
        }
        return d;
    }
};

/// Real roots, ascending; a multiple root may stand more than once.
struct RealRoots {
    std::array<double, 2> root{};
    int count = 0;

    void Add(double value) noexcept {
        if (std::isfinite(value) && count < 2) {
            root[static_cast<std::size_t>(count++)] = value;
        }
    }
    const double* begin() const noexcept { return root.data(); }
    const double* end() const noexcept { return root.data() + count; }
};

/// The real roots that are not negative. A leading coefficient below 1e-20 in
/// magnitude counts as zero, and the next lower degree is solved; a constant has
/// no roots. Roots are as exact as the closed form gives them: polish them with
/// `RootInBracket` where the last digits count.
RealRoots SolveQuadratic(const Polynomial<2>& p) noexcept;

/// The root of `f` between `a` and `b`, in either order, by Newton's method kept
/// inside the bracket by bisection.
///
/// `f(u, slope)` answers the value and stores the derivative; it must be
/// monotone between `a` and `b`. Where `f` has the same sign at both ends, the
/// end with the smaller magnitude is the answer. `guess` may be anything.
template <class Function>
double RootInBracket(const Function& f, double a, double b, double guess) noexcept {
    // Every round of bisection halves the bracket, so a double is exhausted long
    // before this; Newton needs three to six rounds.
    constexpr int kMostRounds = 128;

    double slope = 0.0;
    const double fa = f(a, slope);
    const double fb = f(b, slope);
    if (fa == 0.0) {
        return a;
    }
    if (fb == 0.0) {
        return b;
    }
    if ((fa < 0.0) == (fb < 0.0)) {
        return std::fabs(fa) <= std::fabs(fb) ? a : b;
    }
    double below = fa < 0.0 ? a : b;
    double above = fa < 0.0 ? b : a;
    const auto isInside = [&](double u) { return (u - below) * (u - above) < 0.0; };
    double u = isInside(guess) ? guess : 0.5 * (a + b);
    double width = std::fabs(b - a);
    for (int round = 0; round < kMostRounds; ++round) {
        const double value = f(u, slope);
        if (value == 0.0) {
            return u;
        }
        (value < 0.0 ? below : above) = u;
        double next = u - value / slope;
        // Bisect where Newton leaves the bracket or does not halve its own step.
        const double step = std::fabs(next - u);
        if (!isInside(next) || step > 0.5 * width) {
            next = 0.5 * (below + above);
        }
        width = std::fabs(next - u);
        if (next == u || next == below || next == above) {
            return next;
        }
        u = next;
    }
    return u;
}

}  // namespace core
