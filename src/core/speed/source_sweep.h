#pragma once

// Source times in a row, for answers that need not their last digits.

#include "core/curve/cubic_bezier.h"
#include "core/curve/polynomial.h"
#include "core/speed/time_map.h"

#include <cmath>
#include <limits>

namespace core {

/// The source times of a stretch of one segment, each with the bound of its error, in a small
/// part of the time that the exact ones take. For Bezier speeds, lines, and the easings that are
/// cubics; of the others all but elastic ones and the bounce are as fast.
class SourceSweep {
public:
    struct Near {
        double source;
        double error;  ///< at most so much from what `TimeMap` answers; NaN where none is known
    };

    /// Whether a segment's speeds may be of the kind.
    static bool Suits(const Segment& speeds) noexcept {
        using Shape = Segment::Shape;
        return speeds.shape == Shape::TimeValueBezier || speeds.shape == Shape::CubicEasing ||
               speeds.shape == Shape::ValueBezier || speeds.shape == Shape::Line;
    }
    /// Goes to the segment that was found; `size` is that of the largest time or source time
    /// that rounding may be of. False where the segment's speeds are of another kind.
    bool Enter(const TimeMap::Found& found, double size) noexcept;
    /// Prepares for the times from `from` to `to` of the segment.
    void Aim(double from, double to) noexcept;
    Near At(double x) const noexcept {
        double off = 0.0;
        const double u = FindParameter(x, off);
        const double error = u >= 0.0 && u <= 1.0 ? std::fabs(off) * fastest + rounding : kNone;
        return {before + shown.At(u), error};
    }

private:
    static constexpr int kMostRounds = 3;
    // Seconds. Ten times more would ask for the exact answer once in 1,000 frames.
    static constexpr double kNearEnough = 4e-8;
    static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

    // By Newton's method from where the cubic leads; `off` is by how much its time is too late.
    double FindParameter(double x, double& off) const noexcept {
        double u = guess.At((x - start) * perSecond);
        off = curve.X(u) - x;
        for (int round = 0; round < kMostRounds && !(std::fabs(off) <= kNearEnough); ++round) {
            u -= off / curve.SlopeX(u);
            off = curve.X(u) - x;
        }
        return u;
    }
    double ParameterAt(double x) const noexcept;

    const Segment* segment = nullptr;
    CubicBezier curve{};
    Polynomial<6> shown;  // the integral of Y X' over the parameter
    double before = 0.0;
    double fastest = 0.0;  // a bound of |Y|
    double rounding = 0.0;
    // The parameter over the time, in between two times where it is known.
    Polynomial<3> guess;
    double start = 0.0;
    double perSecond = 0.0;
};

}  // namespace core
