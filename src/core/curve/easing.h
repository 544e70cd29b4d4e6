#pragma once

// The ten easings: functions e(p) of progress p in [0, 1] that say how far a
// segment has come from its start value (0) to its end value (1).

#include "core/curve/cubic_bezier.h"

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>

#include <array>

namespace core {

/// A cubic-bezier easing with ends (0, 0), (1, 1) and two inner control points.
class CubicEasing {
public:
    CubicEasing(Pointd first, Pointd second) noexcept;

    /// Progress to eased progress, by the parameter that `Bisect` finds.
    double At(double p) const noexcept { return YAt(Solve(p)); }

    /// The answer of `Bisect`, in a fraction of its time.
    double Solve(double p) const noexcept;

    /// The reference: 20 halvings of [0, 1], down to a width of 1e-6. The answer is
    /// the middle of what is left, so e(0) and e(1) come only near 0 and 1.
    ///
    /// Kept on purpose: samples of stored projects follow from it.
    double Bisect(double p) const noexcept;

    /// The easing as a curve of the plane, progress to eased progress.
    CubicBezier Curve() const noexcept {
        return CubicBezier::FromControlPoints({0.0, 0.0}, {x1, y1}, {x2, y2}, {1.0, 1.0});
    }

private:
    // At 64 nodes the table alone finds the cell for nearly every progress.
    static constexpr int kNodes = 64;

    // The middle of the bisection's cell around `s`, or -1 where that is not the
    // cell for p.
    double MiddleOfCell(double p, double s) const noexcept;

    double XAt(double s) const noexcept {
        const double r = 1.0 - s;
        return 3.0 * r * r * s * x1 + 3.0 * r * s * s * x2 + s * s * s;
    }
    double YAt(double s) const noexcept {
        const double r = 1.0 - s;
        return 3.0 * r * r * s * y1 + 3.0 * r * s * s * y2 + s * s * s;
    }

    double x1, y1, x2, y2;
    // X in power form, a s^3 + b s^2 + c s, for Newton's method.
    double a, b, c;
    // Between nodes i and i + 1 the inverse of X is about the Hermite cubic with
    // these power-form coefficients in the fraction of the way.
    std::array<std::array<double, 4>, kNodes> inverse;
};

/// The cubic-bezier easing of a type from 16 to 23, or null for any other type.
/// Built once for the process on first use; read-only afterwards.
const CubicEasing* FindCubicEasing(KeyframeInterpolationType type) noexcept;

/// 2 pi / 3, the elastic easing's angle for a tenth of its progress.
inline constexpr double kElasticAngle = 2.0943951023931953;

/// 2^(-10 p) sin((10 p - 0.75) 2 pi / 3) + 1: how a spring comes to rest.
double ElasticSwing(double p) noexcept;
/// The same with exact ends; at the very end the swing is still 1/2048 above 1.
double EaseOutElastic(double p) noexcept;

/// Four parabolas n (p - top)^2 + floor, each valid up to its end.
struct BouncePiece {
    double end;
    double top;
    double floor;
};
inline constexpr double kBounceSteepness = 7.5625;
inline constexpr std::array<BouncePiece, 4> kBouncePieces = {{
    {0.36363636363636365, 0.0, 0.0},
    {0.7272727272727273, 0.5454545454545454, 0.75},
    {0.9090909090909091, 0.8181818181818182, 0.9375},
    {1.0, 0.9545454545454546, 0.984375},
}};
double EaseOutBounce(double p) noexcept;

}  // namespace core
