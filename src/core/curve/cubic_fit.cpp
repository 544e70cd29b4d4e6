#include "core/curve/cubic_fit.h"

// Letters: b0 to b3 are the Bernstein polynomials, (1 - u)^3 to u^3, c0 to c3 the control
// points. The least squares of |sum bi(u) ci - p| over all samples (u, p) solve A c = r with
// Aij = sum bi bj, ri = sum bi p.

namespace core {
namespace {

// The weight of what bends the cubic, per sample: far above rounding, far below what a sample
// that has a say leaves of it.
constexpr double kStiffness = 1e-12;

Pointd Between(Pointd a, Pointd b, double u) noexcept {
    return {a.x + (b.x - a.x) * u, a.y + (b.y - a.y) * u};
}

std::array<double, 4> BernsteinAt(double u) noexcept {
    const double v = 1.0 - u;
    return {v * v * v, 3.0 * v * v * u, 3.0 * v * u * u, u * u * u};
}

struct NormalEquations {
    std::array<std::array<double, 4>, 4> a{};
    std::array<Pointd, 4> r{};

    void Add(const std::array<double, 4>& row, Pointd value) noexcept {
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                a[i][j] += row[i] * row[j];
            }
            r[i].x += row[i] * value.x;
            r[i].y += row[i] * value.y;
        }
    }
    // Of the sums below the diagonal, all.
    void Mirror() noexcept {
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t j = i + 1; j < 4; ++j) {
                a[i][j] = a[j][i];
            }
        }
    }
    void Pin(std::size_t k, Pointd value) noexcept {
        for (std::size_t i = 0; i < 4; ++i) {
            r[i].x -= a[i][k] * value.x;
            r[i].y -= a[i][k] * value.y;
            a[i][k] = a[k][i] = 0.0;
        }
        a[k][k] = 1.0;
        r[k] = value;
    }
    // By elimination; A is positive definite.
    std::array<Pointd, 4> Solve() noexcept {
        for (std::size_t k = 0; k < 4; ++k) {
            for (std::size_t i = k + 1; i < 4; ++i) {
                const double factor = a[i][k] / a[k][k];
                for (std::size_t j = k; j < 4; ++j) {
                    a[i][j] -= factor * a[k][j];
                }
                r[i] = {r[i].x - factor * r[k].x, r[i].y - factor * r[k].y};
            }
        }
        for (std::size_t i = 4; i-- > 0;) {
            for (std::size_t j = i + 1; j < 4; ++j) {
                r[i] = {r[i].x - a[i][j] * r[j].x, r[i].y - a[i][j] * r[j].y};
            }
            r[i] = {r[i].x / a[i][i], r[i].y / a[i][i]};
        }
        return r;
    }
};

}  // namespace

CubicControls FitCubic(std::span<const FitSample> samples, const Pointd* first,
                       const Pointd* last) noexcept {
    const double start = samples.front().time;
    const double span = samples.back().time - start;
    NormalEquations normal;
    // Values from the first one on, so that large ones keep their digits.
    const Pointd base = first != nullptr ? *first : samples.front().value;
    const auto sinceBase = [&](Pointd p) { return Pointd{p.x - base.x, p.y - base.y}; };
    for (const FitSample& sample : samples) {
        normal.Add(BernsteinAt((sample.time - start) / span), sinceBase(sample.value));
    }
    const double weight = std::sqrt(kStiffness * static_cast<double>(samples.size()));
    normal.Add({weight, -2.0 * weight, weight, 0.0}, {});
    normal.Add({0.0, weight, -2.0 * weight, weight}, {});
    normal.Mirror();
    if (first != nullptr) {
        normal.Pin(0, {});
    }
    if (last != nullptr) {
        normal.Pin(3, sinceBase(*last));
    }
    CubicControls cubic = normal.Solve();
    for (Pointd& control : cubic) {
        control = {control.x + base.x, control.y + base.y};
    }
    if (first != nullptr) {
        cubic[0] = *first;
    }
    if (last != nullptr) {
        cubic[3] = *last;
    }
    return cubic;
}

Pointd PointAt(const CubicControls& c, double u) noexcept {
    const std::array<double, 4> b = BernsteinAt(u);
    return {b[0] * c[0].x + b[1] * c[1].x + b[2] * c[2].x + b[3] * c[3].x,
            b[0] * c[0].y + b[1] * c[1].y + b[2] * c[2].y + b[3] * c[3].y};
}

// By the polar form: the control points are (a, a, a), (a, a, b), (a, b, b) and (b, b, b).
CubicControls PartOf(const CubicControls& c, double a, double b) noexcept {
    const auto step = [&](double u) {
        return std::array<Pointd, 3>{Between(c[0], c[1], u), Between(c[1], c[2], u),
                                     Between(c[2], c[3], u)};
    };
    const auto blossom = [](const std::array<Pointd, 3>& q, double u, double v) {
        return Between(Between(q[0], q[1], u), Between(q[1], q[2], u), v);
    };
    const std::array<Pointd, 3> atA = step(a);
    const std::array<Pointd, 3> atB = step(b);
    return {blossom(atA, a, a), blossom(atA, a, b), blossom(atB, b, a), blossom(atB, b, b)};
}

}  // namespace core
