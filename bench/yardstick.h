#pragma once

// What the library is measured against: the same question answered by the
// plainest code that holds a lock and searches. Nothing here is shared with the
// library but the keyframes.

#include "inputs.h"

#include <core/curve/interpolation_info.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace bench {

/// A curve behind an uncontended recursive mutex: a plain binary search over a
/// contiguous array of times, then `Segment::At(t)`.
///
/// Times to be sampled lie inside the curve.
template <class Segment>
class Yardstick {
public:
    /// One `Segment(from, to)` for each pair of neighbouring keyframes.
    explicit Yardstick(const std::vector<core::TimeValuePair>& keys) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            times.push_back(keys[i].GetTime());
            if (i + 1 < keys.size()) {
                segments.emplace_back(keys[i], keys[i + 1]);
            }
        }
    }

    auto GetValue(double t) {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        const auto next = std::upper_bound(times.begin(), times.end(), t);
        return segments[static_cast<std::size_t>(next - times.begin()) - 1].At(t);
    }

private:
    std::recursive_mutex mutex;
    std::vector<double> times;
    std::vector<Segment> segments;
};

/// The cubic between two keyframes whose handles are slopes (the Hermite types and
/// `Linear`), in powers of the time since the first: c0 + c1 x + c2 x^2 + c3 x^3.
struct HermiteCubic {
    HermiteCubic(const core::TimeValuePair& from, const core::TimeValuePair& to)
        : start(from.GetTime()) {
        const double dt = to.GetTime() - start;
        const double y0 = from.GetValue().AsDouble();
        const double dv = to.GetValue().AsDouble() - y0;
        const double d0 = dt * from.GetRightDerivative();
        const double d1 = dt * to.GetLeftDerivative();
        c0 = y0;
        c1 = d0 / dt;
        c2 = (3.0 * dv - 2.0 * d0 - d1) / (dt * dt);
        c3 = (d0 - 2.0 * dv + d1) / (dt * dt * dt);
    }
    double At(double t) const {
        const double x = t - start;
        return ((c3 * x + c2) * x + c1) * x + c0;
    }

    double start, c0, c1, c2, c3;
};

/// The floor of all figures: no sampler that locks, searches and evaluates does less.
using Floor = Yardstick<HermiteCubic>;

/// The start value.
struct Step {
    Step(const core::TimeValuePair& from, const core::TimeValuePair&)
        : value(from.GetValue().AsDouble()) {}
    double At(double) const { return value; }

    double value;
};

/// X or Y of a cubic Bezier, in power form.
struct BezierCubic {
    BezierCubic(double p0, double p1, double p2, double p3)
        : a(p3 - p0 - 3.0 * p2 + 3.0 * p1),
          b(3.0 * p0 + 3.0 * p2 - 6.0 * p1),
          c(3.0 * p1 - 3.0 * p0),
          d(p0) {}
    double At(double u) const { return ((a * u + b) * u + c) * u + d; }

    double a, b, c, d;
};

/// The curve parameter where `x`, from x0 to x3, reaches `target`: by bisection that
/// ends within 5e-05, or after 20 rounds.
inline double BisectBezier(const BezierCubic& x, double x0, double x3, double target) {
    constexpr double kTolerance = 5e-05;
    if (std::fabs(target - x0) < kTolerance) {
        return 0.0;
    }
    if (std::fabs(target - x3) < kTolerance) {
        return 1.0;
    }
    double lo = 0.0;
    double hi = 1.0;
    double u = 0.5;
    for (int round = 0; round < 20; ++round) {
        const double at = x.At(u);
        if (std::fabs(at - target) < kTolerance) {
            break;
        }
        if (target > at) {
            lo = u;
        } else {
            hi = u;
        }
        u = (lo + hi) / 2.0;
    }
    return u;
}

/// A time-value Bezier segment between two keyframes in seconds, each sample worked
/// out from the keyframes.
struct BisectedBezier {
    BisectedBezier(const core::TimeValuePair& from, const core::TimeValuePair& to)
        : t0(from.GetTime()),
          y0(from.GetValue().AsDouble()),
          t1(to.GetTime()),
          y1(to.GetValue().AsDouble()) {
        from.GetRightDerivativeEx(rx, ry);
        to.GetLeftDerivativeEx(lx, ly);
    }
    double At(double t) const {
        const double x1 = t0 + (t1 - t0) * std::clamp(rx, 0.0, 1.0);
        const double x2 = t0 + (t1 - t0) * std::clamp(lx, 0.0, 1.0);
        const BezierCubic x(t0, x1, x2, t1);
        const BezierCubic y(y0, Control(y0, x1 - t0, ry), Control(y1, x2 - t1, ly), y1);
        return y.At(BisectBezier(x, t0, t1, t));
    }
    static double Control(double value, double offset, double slope) {
        return std::fabs(offset) < 1e-20 ? value + slope : value + offset * slope;
    }

    double t0, y0, rx, ry, t1, y1, lx, ly;
};

/// The cubic-bezier easings, whose inner control points the library knows.
inline std::vector<const core::InterpolationInfo*> CubicEasings() {
    std::vector<const core::InterpolationInfo*> easings;
    for (int number = 0; number < core::kInterpolationCount; ++number) {
        const auto* const info = core::FindInterpolation(core::KeyframeInterpolationType{number});
        if (info->group == core::InterpolationGroup::CubicEasing) {
            easings.push_back(info);
        }
    }
    return easings;
}

/// One coordinate of an easing with inner control numbers `first` and `second`.
inline double EasingCubic(double s, double first, double second) {
    const double r = 1.0 - s;
    return 3.0 * r * r * s * first + 3.0 * r * s * s * second + s * s * s;
}

/// The parameter of an easing at progress p: by bisection down to 1e-6.
inline double BisectEasing(double p, double x1, double x2) {
    double lo = 0.0;
    double hi = 1.0;
    do {
        const double m = (lo + hi) / 2.0;
        if (p > EasingCubic(m, x1, x2)) {
            lo = m;
        } else {
            hi = m;
        }
    } while (hi - lo > 1e-6);
    return (lo + hi) / 2.0;
}

/// The progress of an eased segment of keyframes in seconds.
struct EasedSpan {
    EasedSpan(const core::TimeValuePair& from, const core::TimeValuePair& to)
        : t0(from.GetTime()),
          y0(from.GetValue().AsDouble()),
          t1(to.GetTime()),
          y1(to.GetValue().AsDouble()) {}
    double Progress(double t) const { return std::clamp((t - t0) / (t1 - t0), 0.0, 1.0); }

    double t0, y0, t1, y1;
};

struct BisectedEasing : EasedSpan {
    BisectedEasing(const core::TimeValuePair& from, const core::TimeValuePair& to)
        : EasedSpan(from, to),
          first(core::FindInterpolation(from.GetInterpolation())->firstControl),
          second(core::FindInterpolation(from.GetInterpolation())->secondControl) {}
    double At(double t) const {
        const double s = BisectEasing(Progress(t), first.x, second.x);
        return y0 + (y1 - y0) * EasingCubic(s, first.y, second.y);
    }

    core::Pointd first;
    core::Pointd second;
};

struct Elastic : EasedSpan {
    using EasedSpan::EasedSpan;
    double At(double t) const {
        const double p = Progress(t);
        const double e =
            p == 0.0 || p == 1.0
                ? p
                : std::pow(2.0, -10.0 * p) * std::sin((10.0 * p - 0.75) * 2.0943951023931953) + 1.0;
        return y0 + (y1 - y0) * e;
    }
};

struct Bounce : EasedSpan {
    using EasedSpan::EasedSpan;
    static double Ease(double p) {
        constexpr double n = 7.5625;
        if (p < 0.36363636363636365) {
            return n * p * p;
        }
        if (p < 0.7272727272727273) {
            p -= 0.5454545454545454;
            return n * p * p + 0.75;
        }
        if (p < 0.9090909090909091) {
            p -= 0.8181818181818182;
            return n * p * p + 0.9375;
        }
        p -= 0.9545454545454546;
        return n * p * p + 0.984375;
    }
    double At(double t) const { return y0 + (y1 - y0) * Ease(Progress(t)); }
};

/// A cubic motion path; handles are positions.
struct Path {
    Path(const core::TimeValuePair& from, const core::TimeValuePair& to)
        : start(from.GetTime()),
          span(to.GetTime() - start),
          x(Along(from, to, &core::Pointd::x)),
          y(Along(from, to, &core::Pointd::y)) {}
    core::Pointd At(double t) const {
        const double u = (t - start) / span;
        return {x.At(u), y.At(u)};
    }
    static BezierCubic Along(const core::TimeValuePair& from, const core::TimeValuePair& to,
                             double core::Pointd::*axis) {
        core::Pointd right;
        core::Pointd left;
        from.GetRightDerivativeEx(right.x, right.y);
        to.GetLeftDerivativeEx(left.x, left.y);
        return {from.GetValue().AsPoint().*axis, right.*axis, left.*axis,
                to.GetValue().AsPoint().*axis};
    }

    double start, span;
    BezierCubic x, y;
};

/// The area from the first keyframe on, of a curve of `HermiteCubic` segments above
/// zero: a lock, a binary search, a prefix sum and a quartic by Horner.
class PlainArea {
public:
    explicit PlainArea(const std::vector<core::TimeValuePair>& keys) {
        double area = 0.0;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            times.push_back(keys[i].GetTime());
            areas.push_back(area);
            if (i + 1 < keys.size()) {
                segments.emplace_back(keys[i], keys[i + 1]);
                area += Quartic(segments[i], keys[i + 1].GetTime() - times[i]);
            }
        }
    }

    double AreaTo(double t) {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        const auto next = std::upper_bound(times.begin(), times.end(), t);
        const auto i = static_cast<std::size_t>(next - times.begin()) - 1;
        return areas[i] + Quartic(segments[i], t - times[i]);
    }

    /// The time where `AreaTo` reaches `area`: Newton's method on the segment, held
    /// within a bracket that each step narrows.
    double TimeOf(double area) {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        const auto next = std::upper_bound(areas.begin(), areas.end(), area);
        const auto i = static_cast<std::size_t>(next - areas.begin()) - 1;
        const HermiteCubic& s = segments[i];
        const double wanted = area - areas[i];
        double lo = 0.0;
        double hi = times[i + 1] - times[i];
        double x = hi * wanted / Quartic(s, hi);
        for (int round = 0; round < 53; ++round) {
            const double missing = wanted - Quartic(s, x);
            (missing > 0.0 ? lo : hi) = x;
            const double slope = ((s.c3 * x + s.c2) * x + s.c1) * x + s.c0;
            double stepped = x + missing / slope;
            if (!(stepped > lo && stepped < hi)) {
                stepped = (lo + hi) / 2.0;
            }
            if (std::fabs(stepped - x) <= 1e-15 * hi) {
                break;
            }
            x = stepped;
        }
        return times[i] + x;
    }

private:
    static double Quartic(const HermiteCubic& s, double x) {
        return (((s.c3 / 4.0 * x + s.c2 / 3.0) * x + s.c1 / 2.0) * x + s.c0) * x;
    }

    std::recursive_mutex mutex;
    std::vector<double> times;
    std::vector<double> areas;
    std::vector<HermiteCubic> segments;
};

}  // namespace bench
