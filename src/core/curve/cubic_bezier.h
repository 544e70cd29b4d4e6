#pragma once

#include <core/curve/pointd.h>

#include <array>
#include <cmath>
#include <cstdint>

namespace core {

/// A cubic Bezier curve of the plane in power form:
///
///     X(u) = ((ax u + bx) u + cx) u + dx,   0 <= u <= 1,   Y alike.
///
/// The order of operations is part of the type: samples are compared bit by bit.
struct CubicBezier {
    double ax, bx, cx, dx;
    double ay, by, cy, dy;

    static CubicBezier FromControlPoints(Pointd p0, Pointd p1, Pointd p2, Pointd p3) noexcept {
        return {p3.x - p0.x - 3.0 * p2.x + 3.0 * p1.x,
                3.0 * p0.x + 3.0 * p2.x - 6.0 * p1.x,
                3.0 * p1.x - 3.0 * p0.x,
                p0.x,
                p3.y - p0.y - 3.0 * p2.y + 3.0 * p1.y,
                3.0 * p0.y + 3.0 * p2.y - 6.0 * p1.y,
                3.0 * p1.y - 3.0 * p0.y,
                p0.y};
    }

    double X(double u) const noexcept { return ((ax * u + bx) * u + cx) * u + dx; }
    double Y(double u) const noexcept { return ((ay * u + by) * u + cy) * u + dy; }
    double SlopeX(double u) const noexcept { return (3.0 * ax * u + 2.0 * bx) * u + cx; }
};

/// Answers the curve parameter for an X of a time-value Bezier.
///
/// The reference is a bisection that stops as soon as X is within a tolerance.
/// The parameter it stops at is not the root but a dyadic number near it, and
/// stored projects were made with the samples that follow from it. This solver
/// finds the root fast and then replays only the rounds of the bisection that
/// decide, so that its answer is the bisection's, bit for bit.
class BezierTimeSolver {
public:
    /// Seconds. Ten times larger, and a steep segment is off by visible steps;
    /// samples in stored projects depend on it as it is.
    static constexpr double kTolerance = 5e-05;
    static constexpr int kMostRounds = 20;

    /// For the X of `curve`, which runs from `curve.dx` to `xEnd`. O(1), some
    /// hundred nanoseconds; to be done once per edit.
    BezierTimeSolver(const CubicBezier& curve, double xEnd) noexcept;
    BezierTimeSolver() = default;

    /// The answer of `Bisect`, in about a third of its time. `curve` and `xEnd` are
    /// those of construction.
    double Solve(const CubicBezier& curve, double xEnd, double x) const noexcept;

    /// The reference: bisection over [0, 1] from 0.5 on, at most 20 rounds.
    static double Bisect(const CubicBezier& curve, double xEnd, double x) noexcept;

    /// The root of X(u) = x to the last digits, for a curve whose X grows from
    /// `curve.dx` to `xEnd`; outside, the nearer end.
    static double SolveExactly(const CubicBezier& curve, double xEnd, double x) noexcept;

private:
    static constexpr int kSteps = 11;

    // kSteps / (xEnd - dx), or 0 where only the bisection itself is safe.
    float stepsPerX = 0.0F;
    // Parameter at X = dx + (xEnd - dx) i / kSteps, as a first guess, in units of
    // 1 / kGuessOne: small, because long curves have many of them.
    static constexpr double kGuessOne = 255.0;
    std::array<std::uint8_t, kSteps + 1> guess{};
};

}  // namespace core
