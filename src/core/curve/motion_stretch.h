#pragma once

// The dimensions of a motion path to be, stretch by stretch.

#include "core/curve/motion.h"
#include "core/curve/segment.h"

#include <core/curve/interpolation.h>
#include <core/curve/time_value_pair.h>

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace core {

/// The control values of a cubic over a part of a stretch, in Bernstein form.
using Controls = std::array<double, 4>;

inline double Mix(double a, double b, double u) noexcept {
    return (1.0 - u) * a + u * b;
}

class Stretch;

/// A dimension as a row of prepared segments.
class Dimension {
public:
    /// Keyframes are moved to the matching ones of `unionTimes`.
    Dimension(const MotionDimension& source, std::span<const double> unionTimes);

    /// The times inside eased and Bezier segments where the function of time has a
    /// seam.
    void FindSeams(std::vector<double>& seams) const;
    bool EndsInHold() const noexcept {
        return keyframes.empty() || lastType == KeyframeInterpolationType::Hold;
    }

private:
    friend class Stretch;

    std::span<const TimeValuePair> keyframes;
    std::vector<double> times;
    // Before, between and behind the keyframes.
    SegmentRow segments;
    std::unique_ptr<SegmentCurve[]> curves;
    double ratio;
    bool isInteger;
    KeyframeInterpolationType lastType = KeyframeInterpolationType::Extrapolate;
};

/// A dimension over one stretch.
class Stretch {
public:
    Stretch(const Dimension& dimension, double start, double end);

    /// What the dimension samples to at the start.
    double SampleAtStart() const noexcept;
    /// The dimension as a continuous function, up to and including the end.
    double At(double t) const noexcept;
    /// The same over a part of the stretch; what `At` is, or comes near to.
    Controls Over(double from, double to) const noexcept;
    /// How far `controls` are from `At` over a part, in units of what is allowed.
    double ErrorOf(const Controls& controls, double from, double to) const noexcept;

    /// Whether `next`, the stretch after this one, does not go on where this one ends.
    bool JumpsTo(const Stretch& next) const noexcept;
    bool IsConstant() const noexcept;

private:
    using Shape = Segment::Shape;

    const Segment& Shown() const noexcept { return dimension->segments[segment]; }
    const SegmentCurve& ShownCurve() const noexcept { return Shown().Curve(); }
    bool IsFitted() const noexcept;
    double RawAt(double t) const noexcept;
    void SetTolerances() noexcept;

    const Dimension* dimension;
    std::size_t segment;
    double start;
    double end;
    double fitTolerance = 0.0;
    double jumpTolerance = 0.0;
};

}  // namespace core
