#pragma once

// A segment of numbers as a curve with a parameter: its slope, where it turns, where it has
// a value.

#include "core/curve/polynomial.h"
#include "core/curve/segment.h"

#include <array>
#include <cstddef>

namespace core {

/// Parameters, ascending.
class ParameterRow {
public:
    /// As many as an elastic segment turns.
    static constexpr std::size_t kMost = 24;

    void Add(double s) noexcept {
        if (count < kMost) {
            row[count++] = s;
        }
    }
    const double* begin() const noexcept { return row.data(); }
    const double* end() const noexcept { return row.data() + count; }

private:
    std::array<double, kMost> row{};
    std::size_t count = 0;
};

/// Value and time over a parameter s: the progress, or that of the Bezier where the shape
/// is one in the plane of time and value; the time of a line. Time grows with s.
class SegmentShape {
public:
    /// Of a segment that outlives it. Throws `AnyBadAccess` where its values are no numbers.
    explicit SegmentShape(const Segment& segment);

    /// The parameter at a time of the segment, its end included.
    double ParameterAt(double t) const noexcept;
    /// The time of a parameter, in ticks or in seconds where the shape has both.
    double TimeAt(double s, bool inTicks) const noexcept;
    double ValueAt(double s, double& derivative) const noexcept;
    double ValueAt(double s) const noexcept {
        double derivative = 0.0;
        return ValueAt(s, derivative);
    }
    /// dy/dt at a time, of what arrives there or of what leaves it.
    enum class From { Before, After };
    double SlopeAt(double t, From side) const noexcept;
    /// Where the value turns between two parameters, themselves left out; between two of
    /// these it is monotone.
    ParameterRow Turns(double from, double to) const noexcept;
    /// Numbers this far from a value are equal to it but for rounding.
    double Rounding() const noexcept;
    /// Whether times below the first tick and times from there on are told apart.
    bool IsInSeconds() const noexcept;
    /// Whether samples are found by bisection; the values here have none of its tolerance.
    bool IsPlanar() const noexcept {
        return segment.shape == Segment::Shape::TimeValueBezier ||
               segment.shape == Segment::Shape::CubicEasing;
    }

private:
    double SlopeInPlane(double s) const noexcept;

    const Segment& segment;
    Polynomial<3> y;  // of the shapes that are cubics in s
    CubicBezier plane{};
};

}  // namespace core
