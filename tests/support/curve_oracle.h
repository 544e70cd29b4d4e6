#pragma once

#include <core/curve/parameter.h>

#include <string>
#include <vector>

/// A second, slow and plain implementation of the curve, to hold the library
/// against. It searches linearly, solves by bisection, integrates numerically,
/// keeps nothing between two calls, and shares no code with the library.
namespace plain {

/// A keyframe. Curves of numbers use `value`, curves of points `point`.
struct Key {
    double time = 0.0;
    double value = 0.0;
    int type = 1;
    core::Pointd left = {};
    core::Pointd right = {};
    core::Pointd point = {};
};
using Curve = std::vector<Key>;

/// The interpolated number, without base ratio or range.
struct Sample {
    double value = 0.0;
    /// The magnitude of the terms that were summed: rounding errors scale with it.
    double scale = 0.0;
    /// The order of operations is part of the rule, so equal means bit for bit.
    bool exact = false;
    /// Time was solved for, to a tolerance: the curve is a staircase.
    bool bisected = false;
};
Sample SampleAt(const Curve& curve, double time);

/// The point on the path of a point parameter.
core::Pointd PointAt(const Curve& curve, double time);

/// Seconds, also where `time` counts 100-nanosecond ticks.
double Seconds(double time);

/// One cubic of a Bezier curve, in power form; and where it reaches `x`, by the
/// bisection that ends within 5e-05.
struct Cubic {
    Cubic(double p0, double p1, double p2, double p3);
    double At(double u) const;
    double Bisect(double x) const;
    double a, b, c, d, p3;
};
/// Time along a time-value Bezier segment, in seconds.
Cubic BezierTime(const Key& from, const Key& to);

/// Whether the segments of this type, or those that end in it, solve for time.
bool IsBezier(int type);

/// The integral of `SampleAt` by adaptive Simpson quadrature, and a bound of how
/// far an exact method may be from it: where `SampleAt` bisects, its result is a
/// staircase around the curve.
struct Quadrature {
    double area = 0.0;
    double tolerance = 0.0;
};
Quadrature Integrate(const Curve& curve, double from, double to);

/// `curve` with automatic handles. NaN where the handle is not used by the
/// segment on its side, or where what it means is the segment's choice.
Curve WithAutomaticHandles(Curve curve);

/// The library's curve of the same keyframes with the same handles ...
core::Parameter Build(const Curve& curve);
/// ... or with those that it sets itself.
core::Parameter BuildAutomatic(const Curve& curve);
/// The library's curve of points with the same handles.
core::Parameter BuildPath(const Curve& curve);
/// The keyframes of a curve of numbers, with their handles.
Curve ReadBack(core::IKeyFrame& parameter);

/// `curve` as text, for the report of a failed case.
std::string Print(const Curve& curve);

}  // namespace plain
