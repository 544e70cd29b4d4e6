#include "support/curve_oracle.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

namespace plain {

namespace {

const double kUnsettled = std::numeric_limits<double>::quiet_NaN();
const double kFirstTick = 166666.66666666666;
const double kBisectionTolerance = 5e-05;

/// The number of keyframes at or before a time.
std::size_t CountUpTo(const Curve& curve, double t) {
    std::size_t found = 0;
    while (found < curve.size() && !(curve[found].time > t)) {
        ++found;
    }
    return found;
}

/// The keyframes around a time; beyond the outermost ones a virtual one, whose
/// handles are zero like those that it faces.
std::pair<Key, Key> SegmentAt(const Curve& curve, double t) {
    std::size_t found = CountUpTo(curve, t);
    Key from = curve[found == 0 ? 0 : found - 1];
    Key to = curve[found == curve.size() ? found - 1 : found];
    if (found == 0 || found == curve.size()) {
        from.right = to.left = {};
        (found == 0 ? from : to).type = 26;
        (found == 0 ? from : to).time += found == 0 ? -1.0 : 1.0;
    } else if (from.type == 1 && to.type == 1) {
        to.left.x = from.right.x;
    }
    return {from, to};
}

struct Controls {
    double x1, y1, x2, y2;
};
// From type 16 on.
const Controls kEasings[] = {
    {0.32, 0.0, 0.67, 0.0},   {0.33, 1.0, 0.68, 1.0},  {0.65, 0.0, 0.35, 1.0},
    {0.55, 0.0, 1.0, 0.45},   {0.0, 0.55, 0.45, 1.0},  {0.85, 0.0, 0.15, 1.0},
    {0.36, 0.0, 0.66, -0.56}, {0.34, 1.56, 0.64, 1.0},
};

double EasingCubic(double s, double first, double second) {
    return 3 * ((1 - s) * (1 - s)) * s * first + 3 * (1 - s) * (s * s) * second + s * s * s;
}

double Ease(int type, double p) {
    if (type <= 23) {
        const auto [x1, y1, x2, y2] = kEasings[type - 16];
        double lo = 0.0;
        double hi = 1.0;
        do {
            double m = (lo + hi) / 2.0;
            (p > EasingCubic(m, x1, x2) ? lo : hi) = m;
        } while (hi - lo > 1e-6);
        return EasingCubic((lo + hi) / 2.0, y1, y2);
    }
    if (type == 24) {
        if (p == 0.0 || p == 1.0) {
            return p;
        }
        return std::pow(2.0, -10.0 * p) * std::sin((10.0 * p - 0.75) * 2.0943951023931953) + 1.0;
    }
    auto parabola = [p](double top) { return 7.5625 * ((p - top) * (p - top)); };
    if (p < 0.36363636363636365) {
        return parabola(0.0);
    }
    if (p < 0.7272727272727273) {
        return parabola(0.5454545454545454) + 0.75;
    }
    return p < 0.9090909090909091 ? parabola(0.8181818181818182) + 0.9375
                                  : parabola(0.9545454545454546) + 0.984375;
}

/// A line through (t1, y1): what remains of the Hermite step over one unit of time
/// with the same slope at both ends. Written as a cubic, u^3 would magnify the
/// rounding of the other end far from there; only the line is right.
Sample Line(double t1, double y1, double slope, double t) {
    if (slope == 0.0) {
        return {y1, std::fabs(y1), true};
    }
    double away = slope * (t - t1);
    return {y1 + away, std::fabs(y1) + std::fabs(slope) + std::fabs(away)};
}

Sample Hermite(const Key& from, const Key& to, double d0, double d1, double t) {
    double dv = to.value - from.value;
    double u = (t - from.time) / (to.time - from.time);
    // What cancels inside a coefficient counts too.
    double magnitude = 3 * std::fabs(dv) + 2 * std::fabs(d0) + std::fabs(d1);
    Sample sample = {from.value, std::fabs(from.value)};
    double power = 1.0;
    for (double coefficient : {d0, 3 * dv - 2 * d0 - d1, d0 - 2 * dv + d1}) {
        power *= u;
        // Far from the curve a power is infinite.
        sample.value += coefficient == 0.0 ? 0.0 : coefficient * power;
        sample.scale += magnitude == 0.0 ? 0.0 : magnitude * std::fabs(power);
    }
    return sample;
}

Sample ValueBezier(const Key& from, const Key& to, double t) {
    double u = std::clamp((t - from.time) / (to.time - from.time), 0.0, 1.0);
    double v = 1 - u;
    double c1 = from.right.x;
    double c2 = to.left.x;
    double scale = std::fabs(from.value) + std::fabs(c1) + std::fabs(c2) + std::fabs(to.value);
    return {v * v * v * from.value + 3 * u * v * v * c1 + 3 * u * u * v * c2 + u * u * u * to.value,
            scale};
}

double ControlValue(double y, double offset, double slope) {
    return offset > -1e-20 && offset < 1e-20 ? y + slope : y + offset * slope;
}

Sample TimeValueBezier(const Key& from, const Key& to, double t) {
    double t0 = Seconds(from.time);
    double t1 = Seconds(to.time);
    double x1 = t0 + (t1 - t0) * std::clamp(from.right.x, 0.0, 1.0);
    double x2 = t0 + (t1 - t0) * std::clamp(to.left.x, 0.0, 1.0);
    double y1 = from.type == 1 ? from.value : ControlValue(from.value, x1 - t0, from.right.y);
    double y2 = to.type == 1 ? to.value : ControlValue(to.value, x2 - t1, to.left.y);
    double u = BezierTime(from, to).Bisect(Seconds(t));
    double scale = std::fabs(from.value) + std::fabs(y1) + std::fabs(y2) + std::fabs(to.value);
    return {Cubic(from.value, y1, y2, to.value).At(u), scale, true, true};
}

Sample Evaluate(const Key& from, const Key& to, double t) {
    double d0 = (to.time - from.time) * from.right.x;
    double d1 = (to.time - from.time) * to.left.x;
    auto isFirstGroup = [](const Key& key) { return IsBezier(key.type) && key.type < 13; };
    if (from.type == 26 || (from.type >= 12 && from.type <= 15 && to.type == 26)) {
        return Line(to.time, to.value, d1, t);
    }
    if (from.type == 6) {
        return {from.value, std::fabs(from.value), true};
    }
    if (from.type == 12 && !isFirstGroup(to)) {
        return ValueBezier(from, to, t);
    }
    if (IsBezier(from.type) || IsBezier(to.type)) {
        return TimeValueBezier(from, to, t);
    }
    return to.type == 26 ? Line(from.time, from.value, d0, t) : Hermite(from, to, d0, d1, t);
}

void SetHandles(core::Parameter& parameter, const Curve& curve) {
    int index = 0;
    for (const Key& key : curve) {
        parameter.SetPointControlParamEx(index++, key.left.x, key.left.y, key.right.x, key.right.y);
    }
}

struct Point {
    double t, value;
};

/// Simpson's rule, halving the interval at least three times, so that no step
/// misses a peak, and until two levels agree.
template <class Function>
double Simpson(const Function& f, Point a, Point m, Point b, double tolerance, int depth) {
    double tl = (a.t + m.t) / 2;
    double tr = (m.t + b.t) / 2;
    Point left = {tl, f(tl)};
    Point right = {tr, f(tr)};
    double whole = (b.t - a.t) / 6 * (a.value + 4 * m.value + b.value);
    double halves = (m.t - a.t) / 6 * (a.value + 4 * left.value + m.value) +
                    (b.t - m.t) / 6 * (m.value + 4 * right.value + b.value);
    double change = halves - whole;
    if (depth == 0 || (depth <= 10 && std::fabs(change) <= 15 * tolerance)) {
        return halves + change / 15;
    }
    return Simpson(f, a, left, m, tolerance / 2, depth - 1) +
           Simpson(f, m, right, b, tolerance / 2, depth - 1);
}

/// `from`, `to`, and the times between them in whose neighbourhood the curve jumps
/// or bends.
std::vector<double> Cuts(const Curve& curve, double from, double to) {
    std::vector<double> cuts = {from, to, kFirstTick};
    for (std::size_t i = 0; i < curve.size(); ++i) {
        cuts.push_back(curve[i].time);
        double t0 = Seconds(curve[i].time);
        double span = Seconds(curve[std::min(i + 1, curve.size() - 1)].time) - t0;
        for (double p :
             {0.0, 0.36363636363636365, 0.7272727272727273, 0.9090909090909091, 0.5, 1.0}) {
            for (double near : {-kBisectionTolerance, 0.0, kBisectionTolerance}) {
                cuts.push_back(t0 + p * span + near);
                cuts.push_back((t0 + p * span + near) * 1e7);
            }
        }
    }
    std::erase_if(cuts, [&](double time) { return time < from || time > to; });
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    return cuts;
}

}  // namespace

double Seconds(double time) {
    return time >= kFirstTick ? time / 10000000.0 : time;
}

Cubic::Cubic(double x0, double x1, double x2, double x3)
    : a(x3 - x0 - 3 * x2 + 3 * x1),
      b(3 * x0 + 3 * x2 - 6 * x1),
      c(3 * x1 - 3 * x0),
      d(x0),
      p3(x3) {}

double Cubic::At(double u) const {
    return ((a * u + b) * u + c) * u + d;
}

double Cubic::Bisect(double x) const {
    if (std::fabs(x - d) < kBisectionTolerance) {
        return 0.0;
    }
    if (std::fabs(x - p3) < kBisectionTolerance) {
        return 1.0;
    }
    double lo = 0.0;
    double hi = 1.0;
    double u = 0.5;
    for (int round = 0; round < 20; ++round) {
        if (std::fabs(At(u) - x) < kBisectionTolerance) {
            break;
        }
        (x > At(u) ? lo : hi) = u;
        u = (lo + hi) / 2;
    }
    return u;
}

Cubic BezierTime(const Key& from, const Key& to) {
    double t0 = Seconds(from.time);
    double t1 = Seconds(to.time);
    double x1 = t0 + (t1 - t0) * std::clamp(from.right.x, 0.0, 1.0);
    double x2 = t0 + (t1 - t0) * std::clamp(to.left.x, 0.0, 1.0);
    return Cubic(t0, from.type == 1 ? t0 : x1, to.type == 1 ? t1 : x2, t1);
}

bool IsBezier(int type) {
    return type == 0 || (type >= 2 && type <= 5) || (type >= 13 && type <= 15);
}

Sample SampleAt(const Curve& curve, double t) {
    if (curve.size() < 2) {
        double value = curve.empty() ? 0.0 : curve.front().value;
        return {value, std::fabs(value), true};
    }
    auto [from, to] = SegmentAt(curve, t);
    if (from.type < 16 || from.type > 25) {
        return Evaluate(from, to, t);
    }
    double t0 = Seconds(from.time);
    double p = std::clamp((Seconds(t) - t0) / (Seconds(to.time) - t0), 0.0, 1.0);
    return {from.value + (to.value - from.value) * Ease(from.type, p),
            std::fabs(from.value) + std::fabs(to.value), from.type < 24, from.type < 24};
}

core::Pointd PointAt(const Curve& curve, double t) {
    std::size_t found = CountUpTo(curve, t);
    if (found == 0 || found == curve.size()) {
        return curve[found == 0 ? 0 : found - 1].point;
    }
    const Key& from = curve[found - 1];
    const Key& to = curve[found];
    core::Pointd p0 = from.point;
    core::Pointd p1 = from.type == 1 ? p0 : from.right;
    core::Pointd p3 = to.point;
    core::Pointd p2 = to.type == 1 || to.type == 6 ? p3 : to.left;
    if (from.type == 6) {
        p1 = p2 = p3 = p0;
    }
    double u = (t - from.time) / (to.time - from.time);
    return {Cubic(p0.x, p1.x, p2.x, p3.x).At(u), Cubic(p0.y, p1.y, p2.y, p3.y).At(u)};
}

Quadrature Integrate(const Curve& curve, double from, double to) {
    if (from > to) {
        Quadrature backwards = Integrate(curve, to, from);
        return {-backwards.area, backwards.tolerance};
    }
    Quadrature result;
    const std::vector<double> cuts = Cuts(curve, from, to);
    auto f = [&curve](double t) { return SampleAt(curve, t).value; };
    double previous = f(from);
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        double a = cuts[i];
        double b = cuts[i + 1];
        // A bisection answers with a staircase: in time it is as wide as its
        // tolerance or its last round, so it moves the area by that much for each
        // unit of value that it climbs, its first and last step included; an
        // easing is bisected to 1e-6 of its parameter.
        const int steps = 32;
        double climbed = 0.0;
        double scale = 0.0;
        for (int step = 0; step <= steps; ++step) {
            double t = step == steps ? std::nextafter(b, a) : a + (b - a) * step / steps;
            Sample sample = SampleAt(curve, t);
            climbed += std::fabs(sample.value - previous);
            previous = sample.value;
            scale = std::max(scale, sample.scale);
        }
        climbed += std::fabs(f(b) - previous);
        double tolerance = 1e-11 * scale * (b - a);
        double middle = a + (b - a) / 2;
        if (SampleAt(curve, middle).bisected) {
            auto [start, end] = SegmentAt(curve, middle);
            double ticks = middle >= kFirstTick ? 1e7 : 1.0;
            double stair = kBisectionTolerance * ticks + 3 * (end.time - start.time) * 0x1p-20;
            tolerance += stair * climbed + 3e-6 * scale * (b - a);
        }
        // At `b` the next piece may have begun.
        result.area +=
            Simpson(f, {a, f(a)}, {middle, f(middle)}, {b, previous}, tolerance / 16, 13);
        result.tolerance += 6 * tolerance;
    }
    return result;
}

Curve WithAutomaticHandles(Curve curve) {
    auto isHermite = [](int type) { return type >= 7 && type <= 11; };
    auto secant = [](const Key& a, const Key& b) {
        return (b.value - a.value) / (b.time - a.time);
    };
    for (std::size_t i = 0; i < curve.size(); ++i) {
        Key& key = curve[i];
        bool hasBefore = i > 0;
        bool hasAfter = i + 1 < curve.size();
        const Key& before = curve[hasBefore ? i - 1 : i];
        const Key& after = curve[hasAfter ? i + 1 : i];
        int typeBefore = hasBefore ? before.type : -1;
        int typeAfter = hasAfter ? after.type : -1;
        key.left = key.right = {kUnsettled, kUnsettled};
        if (key.type == 1 && hasAfter && !IsBezier(typeAfter)) {
            key.right.x = secant(key, after);
            // Towards type 26 a segment climbs dt times the handle in each unit of time.
            key.right.x /= typeAfter == 26 ? after.time - key.time : 1.0;
        }
        if (isHermite(key.type)) {
            double slope = key.type == 9 ? 0.0 : secant(before, after);
            if (isHermite(typeAfter) || typeAfter == 1) {
                key.right.x = slope;
            }
            if (isHermite(typeBefore) || typeBefore == 1) {
                key.left.x = typeBefore == 1 ? secant(before, key) : slope;
            }
        }
        if (IsBezier(key.type)) {
            auto usesHandle = [&](int type) {
                return IsBezier(type) || isHermite(type) || type == 1;
            };
            double seconds = Seconds(after.time) - Seconds(before.time);
            double slope = (after.value - before.value) / seconds;
            if (usesHandle(typeAfter)) {
                key.right = {1.0 / 3.0, slope};
            }
            if (usesHandle(typeBefore)) {
                key.left = {2.0 / 3.0, slope};
            }
        }
        if (key.type == 12 && typeAfter == 12) {
            key.right.x = key.value + (after.value - key.value) / 3.0;
        }
        if (key.type == 12 && typeBefore == 12) {
            key.left.x = before.value + (key.value - before.value) * 2.0 / 3.0;
        }
    }
    return curve;
}

core::Parameter BuildAutomatic(const Curve& curve) {
    core::Parameter parameter;
    for (const Key& key : curve) {
        parameter.AddPoint(key.time, key.value, core::KeyframeInterpolationType(key.type));
    }
    return parameter;
}

core::Parameter Build(const Curve& curve) {
    core::Parameter parameter = BuildAutomatic(curve);
    SetHandles(parameter, curve);
    return parameter;
}

core::Parameter BuildPath(const Curve& curve) {
    core::Parameter parameter;
    parameter.SetParameterType(core::ParameterPoint);
    for (const Key& key : curve) {
        parameter.AddPoint(key.time, key.point, core::KeyframeInterpolationType(key.type));
    }
    SetHandles(parameter, curve);
    return parameter;
}

Curve ReadBack(core::IKeyFrame& parameter) {
    Curve curve;
    for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
        Key key;
        key.time = parameter.GetPointTime(i);
        key.value = parameter.GetPointValue(i).AsDouble();
        key.type = static_cast<int>(parameter.GetInterpolationType(i));
        parameter.GetPointControlParamEx(i, key.left.x, key.left.y, key.right.x, key.right.y);
        curve.push_back(key);
    }
    return curve;
}

std::string Print(const Curve& curve) {
    std::string text = "time, value, point, type, left, right\n";
    for (const Key& key : curve) {
        char line[320];
        std::snprintf(line, sizeof line,
                      "{%.17g, %.17g, (%.17g, %.17g), %d, (%.17g, %.17g), (%.17g, %.17g)}\n",
                      key.time, key.value, key.point.x, key.point.y, key.type, key.left.x,
                      key.left.y, key.right.x, key.right.y);
        text += line;
    }
    return text;
}

}  // namespace plain
