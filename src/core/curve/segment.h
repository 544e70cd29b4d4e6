#pragma once

// One segment of a curve: how its two keyframes' types decide its shape, what
// of it is computed when a keyframe changes, and how it is sampled.

#include "core/curve/cubic_bezier.h"
#include "core/curve/easing.h"
#include "core/curve/interpolation_table.h"

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_unit.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace core {

/// The rule that a pair of types selects, in the order in which they are tried.
enum class SegmentRule : std::uint8_t {
    Ease,             ///< the start eases; handles are ignored
    Extrapolate,      ///< the line that arrives at the end, extended backwards
    Hold,             ///< the start value
    ValueBezier,      ///< cubic Bezier on the value; handle X are control values
    TimeValueBezier,  ///< cubic Bezier in the time-value plane
    Hermite,          ///< cubic Hermite; handle X are slopes
};

constexpr SegmentRule RuleOf(KeyframeInterpolationType start,
                             KeyframeInterpolationType end) noexcept {
    using Group = InterpolationGroup;
    const Group from = GroupOf(start);
    const Group to = GroupOf(end);
    if (from == Group::CubicEasing || from == Group::ClosedEasing) {
        return SegmentRule::Ease;
    }
    if (from == Group::Extrapolate ||
        (to == Group::Extrapolate &&
         (from == Group::ValueBezier || from == Group::LateTimeValueBezier))) {
        return SegmentRule::Extrapolate;
    }
    if (from == Group::Hold) {
        return SegmentRule::Hold;
    }
    if (from == Group::TimeValueBezier || to == Group::TimeValueBezier) {
        return SegmentRule::TimeValueBezier;
    }
    if (from == Group::ValueBezier) {
        return SegmentRule::ValueBezier;
    }
    if (from == Group::LateTimeValueBezier || to == Group::LateTimeValueBezier) {
        return SegmentRule::TimeValueBezier;
    }
    return SegmentRule::Hermite;
}

/// The numbers of a segment's two keyframes: t0, y0, type0 and the right handle
/// (rx, ry) of the start; t1, y1, type1 and the left handle (lx, ly) of the end.
struct SegmentEnds {
    double t0, y0, rx, ry;
    double t1, y1, lx, ly;
    KeyframeInterpolationType type0, type1;
};

/// Reads the ends of the segment between two keyframes of a curve of numbers, or of
/// a point parameter whose values are numbers (`isPoint`). False, leaving `ends`
/// open, where a value is none.
bool ReadEnds(const TimeValuePair& start, const TimeValuePair& end, bool isPoint,
              SegmentEnds& ends);

/// The part of a `TimeValueBezier` or `Path` segment that other shapes lack.
struct SegmentCurve {
    CubicBezier bezier;
    BezierTimeSolver solver;
};
static_assert(sizeof(SegmentCurve) == 80);

/// A segment ready for sampling. What depends on the keyframes alone is in it.
///
/// Segments lie in rows, and each one ends where the next one starts: a curve of many
/// keyframes keeps one for each of them. So none is copied, and one alone is a row of two,
/// the second of which is where the first one ends. The coefficients of the two Bezier
/// shapes are kept apart, in `SegmentCurve`.
struct Segment {
    enum class Shape : std::uint8_t {
        Constant,         ///< c[0]
        Line,             ///< c[0] + c[1] (t - c[2]); t may lie far outside
        Cubic,            ///< c[0] + c[1] u + c[2] u^2 + c[3] u^3
        ValueBezier,      ///< Bernstein form with control values c
        TimeValueBezier,  ///< Y of the curve where its X is the time
        CubicEasing,      ///< c[0] + c[1] e(u), `easing` is e
        Elastic,          ///< the same with `EaseOutElastic`
        Bounce,           ///< the same with `EaseOutBounce`
        Stored,           ///< the start keyframe's value in its own kind
        Path,             ///< a point: X and Y of the curve at u
        NotNumeric,       ///< a value of kind c[0] can't be read as the shape needs it
    };

    double from = -std::numeric_limits<double>::infinity();
    double c[4] = {};  ///< c[3] is what `Refer` puts there, where the shape has a reference
    Shape shape = Shape::Constant;

    Segment() = default;
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    double To() const noexcept { return this[1].from; }
    /// Holds every time t with from <= t < To(); none before it is prepared.
    bool Holds(double t) const noexcept { return from <= t && t < To(); }
    /// A row of two segments that hold no time.
    static const Segment* Nowhere() noexcept;

    template <class T>
    void Refer(const T* object) noexcept {
        c[3] = std::bit_cast<double>(object);
    }
    const CubicEasing& Easing() const noexcept { return Referred<CubicEasing>(); }
    const SegmentCurve& Curve() const noexcept { return Referred<SegmentCurve>(); }
    const ValAny& Stored() const noexcept { return Referred<ValAny>(); }
    bool IsNumeric() const noexcept {
        return shape != Shape::Stored && shape != Shape::Path && shape != Shape::NotNumeric;
    }
    bool HasCurve() const noexcept {
        return shape == Shape::TimeValueBezier || shape == Shape::Path;
    }
    double Progress(double t) const noexcept { return (t - from) / (To() - from); }
    /// The value of a `Cubic`, by Estrin's scheme: its two halves overlap. Only for
    /// u in [0, 1]: elsewhere u^2 could overflow and meet a coefficient of 0.
    double CubicAt(double t) const noexcept {
        const double u = Progress(t);
        return (c[3] * u + c[2]) * (u * u) + (c[1] * u + c[0]);
    }
    /// The value of a `TimeValueBezier`.
    double CurveAt(double t) const noexcept {
        const SegmentCurve& curve = Curve();
        return curve.bezier.Y(curve.solver.Solve(curve.bezier, EndInSeconds(), InSeconds(t)));
    }
    /// Of the time-value Bezier and the easings, which run in seconds.
    double StartInSeconds() const noexcept { return InSeconds(from); }
    double EndInSeconds() const noexcept { return InSeconds(To()); }
    double SpanInSeconds() const noexcept { return EndInSeconds() - StartInSeconds(); }
    /// Progress of a time in either unit, clamped to [0, 1].
    double EasedProgress(double t) const noexcept;

private:
    template <class T>
    const T& Referred() const noexcept {
        return *std::bit_cast<const T*>(c[3]);
    }
};
static_assert(sizeof(Segment) == 48);

/// A row of segments, and where the last one ends.
class SegmentRow {
public:
    SegmentRow() = default;
    explicit SegmentRow(std::size_t count) : row(count + 1) {}

    std::size_t size() const noexcept { return row.empty() ? 0 : row.size() - 1; }
    Segment& operator[](std::size_t i) noexcept { return row[i]; }
    const Segment& operator[](std::size_t i) const noexcept { return row[i]; }
    operator std::span<const Segment>() const noexcept { return {row.data(), size()}; }

private:
    std::vector<Segment> row;
};

/// Prepares a segment between two numeric keyframes, and where the one behind it starts.
/// `curve` is written for the shape `TimeValueBezier` alone, and the segment refers to it.
void PrepareSegment(const SegmentEnds& ends, Segment* into, SegmentCurve& curve) noexcept;

/// Throws the `AnyKindMismatch` of a segment that is not numeric, or of a path.
[[noreturn]] void RefuseValues(const Segment& segment);

/// The same for one value everywhere, as before the first and after the last keyframe.
void PrepareConstant(double from, double to, double value, Segment* into) noexcept;

/// The four control points of a segment.
using PathControls = std::array<Pointd, 4>;
/// Those of the segment between two keyframes of a path, whose values are points and whose
/// handles are absolute positions. On the side of a `Linear` keyframe, and towards the start
/// of a hold, a handle lies on its keyframe; a held segment lies on its start.
PathControls PathControlPoints(const TimeValuePair& start, const TimeValuePair& end);
/// Those of a `TimeValueBezier` segment, as (seconds, value).
PathControls TimeValueControls(const SegmentEnds& ends) noexcept;

/// Prepares a path's segment, whose curve parameter is the progress in time.
void PreparePath(double t0, double t1, const PathControls& points, Segment* into,
                 SegmentCurve& curve) noexcept;

/// The value at `t`, for the numeric shapes.
double SampleSegment(const Segment& segment, double t) noexcept;

}  // namespace core
