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

/// The segment that holds a time, with the virtual ones around the keyframes.
struct Segment {
    double t0, y0, rx, ry;
    int type0;
    double t1, y1, lx, ly;
    int type1;
};

Segment SegmentAt(const Curve& curve, double t) {
    std::size_t found = 0;
    while (found < curve.size() && !(curve[found].time > t)) {
        ++found;
    }
    if (found == curve.size()) {
        const Key& last = curve.back();
        return {last.time, last.value, 0, 0, last.type, last.time + 1.0, last.value, 0, 0, 26};
    }
    if (found == 0) {
        const Key& first = curve.front();
        return {first.time - 1.0, first.value, 0, 0, 26, first.time, first.value, 0, 0, first.type};
    }
    const Key& from = curve[found - 1];
    const Key& to = curve[found];
    Segment s = {from.time, from.value, from.right.x, from.right.y, from.type,
                 to.time,   to.value,   to.left.x,    to.left.y,    to.type};
    if (s.type0 == 1 && s.type1 == 1) {
        s.lx = s.rx;
    }
    return s;
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

double Ease(int type, double p) {
    if (type <= 23) {
        const Controls& k = kEasings[type - 16];
        double lo = 0.0;
        double hi = 1.0;
        do {
            double m = (lo + hi) / 2.0;
            if (p > EasingCubic(m, k.x1, k.x2)) {
                lo = m;
            } else {
                hi = m;
            }
        } while (hi - lo > 1e-6);
        return EasingCubic((lo + hi) / 2.0, k.y1, k.y2);
    }
    if (type == 24) {
        if (p == 0.0 || p == 1.0) {
            return p;
        }
        return std::pow(2.0, -10.0 * p) * std::sin((10.0 * p - 0.75) * 2.0943951023931953) + 1.0;
    }
    const double n = 7.5625;
    if (p < 0.36363636363636365) {
        return n * (p * p);
    }
    if (p < 0.7272727272727273) {
        p -= 0.5454545454545454;
        return n * (p * p) + 0.75;
    }
    if (p < 0.9090909090909091) {
        p -= 0.8181818181818182;
        return n * (p * p) + 0.9375;
    }
    p -= 0.9545454545454546;
    return n * (p * p) + 0.984375;
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

Sample Hermite(double t0, double y0, double d0, double t1, double y1, double d1, double t) {
    double dv = y1 - y0;
    double u = (t - t0) / (t1 - t0);
    const double coefficients[] = {d0, 3 * dv - 2 * d0 - d1, d0 - 2 * dv + d1};
    Sample sample = {y0, std::fabs(y0)};
    double power = 1.0;
    for (double coefficient : coefficients) {
        power *= u;
        if (coefficient != 0.0) {
            sample.value += coefficient * power;
        }
        // What cancels inside a coefficient counts too.
        double magnitude = 3 * std::fabs(dv) + 2 * std::fabs(d0) + std::fabs(d1);
        if (magnitude != 0.0) {
            sample.scale += magnitude * std::fabs(power);
        }
    }
    return sample;
}

double ControlValue(double y, double offset, double slope) {
    return offset > -1e-20 && offset < 1e-20 ? y + slope : y + offset * slope;
}

Sample TimeValueBezier(const Key& from, const Key& to, double t) {
    Cubic x = BezierTime(from, to);
    double t0 = Seconds(from.time);
    double t1 = Seconds(to.time);
    double a = std::min(std::max(from.right.x, 0.0), 1.0);
    double c = std::min(std::max(to.left.x, 0.0), 1.0);
    double y1 = ControlValue(from.value, t0 + (t1 - t0) * a - t0, from.right.y);
    double y2 = ControlValue(to.value, t0 + (t1 - t0) * c - t1, to.left.y);
    if (to.type == 1) {
        y2 = to.value;
    }
    if (from.type == 1) {
        y1 = from.value;
    }
    double u = x.Bisect(Seconds(t));
    double scale = std::fabs(from.value) + std::fabs(y1) + std::fabs(y2) + std::fabs(to.value);
    return {Cubic(from.value, y1, y2, to.value).At(u), scale, true, true};
}

Sample Evaluate(const Segment& s, double t) {
    const double t0 = s.t0;
    const double y0 = s.y0;
    const double y1 = s.y1;
    double dt = s.t1 - s.t0;
    double d0 = dt * s.rx;
    double d1 = dt * s.lx;
    if (s.type0 == 26 || (s.type0 >= 12 && s.type0 <= 15 && s.type1 == 26)) {
        return Line(s.t1, y1, d1, t);
    }
    if (s.type0 == 6) {
        return {y0, std::fabs(y0), true};
    }
    auto firstGroup = [](int type) { return IsBezier(type) && type < 13; };
    if (!firstGroup(s.type0) && !firstGroup(s.type1)) {
        if (s.type0 == 12) {
            double u = (t - t0) / dt;
            if (u <= 0) {
                return {y0, std::fabs(y0), true};
            }
            if (u >= 1) {
                return {y1, std::fabs(y1), true};
            }
            double v = 1 - u;
            return {v * v * v * y0 + 3 * u * v * v * s.rx + 3 * u * u * v * s.lx + u * u * u * y1,
                    std::fabs(y0) + std::fabs(s.rx) + std::fabs(s.lx) + std::fabs(y1)};
        }
        if (!IsBezier(s.type0) && !IsBezier(s.type1)) {
            return s.type1 == 26 ? Line(t0, y0, d0, t) : Hermite(t0, y0, d0, s.t1, y1, d1, t);
        }
    }
    return TimeValueBezier({s.t0, s.y0, s.type0, {}, {s.rx, s.ry}, {}},
                           {s.t1, s.y1, s.type1, {s.lx, s.ly}, {}, {}}, t);
}

/// Simpson's rule, halving the interval until two levels agree.
double Simpson(const std::function<double(double)>& f, double a, double fa, double b, double fb,
               double m, double fm, double whole, double tolerance, int depth) {
    double left = (a + m) / 2;
    double right = (m + b) / 2;
    double fLeft = f(left);
    double fRight = f(right);
    double first = (m - a) / 6 * (fa + 4 * fLeft + fm);
    double second = (b - m) / 6 * (fm + 4 * fRight + fb);
    double change = first + second - whole;
    if (depth == 0 || std::fabs(change) <= 15 * tolerance) {
        return first + second + change / 15;
    }
    return Simpson(f, a, fa, m, fm, left, fLeft, first, tolerance / 2, depth - 1) +
           Simpson(f, m, fm, b, fb, right, fRight, second, tolerance / 2, depth - 1);
}

/// The integral over [a, b), on which `f` is continuous; the value at `b` may
/// belong to the next piece. Several panels, so that none steps over a peak.
double IntegratePiece(const std::function<double(double)>& f, double a, double b,
                      double tolerance) {
    const int panels = 8;
    double sum = 0.0;
    for (int panel = 0; panel < panels; ++panel) {
        double from = a + (b - a) * panel / panels;
        double to = panel + 1 == panels ? b : a + (b - a) * (panel + 1) / panels;
        if (!(from < to)) {
            continue;
        }
        double m = from + (to - from) / 2;
        double first = f(from);
        double last = f(std::nextafter(to, from));
        double middle = f(m);
        sum += Simpson(f, from, first, to, last, m, middle,
                       (to - from) / 6 * (first + 4 * middle + last), tolerance / panels, 10);
    }
    return sum;
}

/// Times in whose neighbourhood the curve jumps or bends.
std::vector<double> Breaks(const Curve& curve) {
    std::vector<double> breaks = {kFirstTick};
    for (std::size_t i = 0; i < curve.size(); ++i) {
        breaks.push_back(curve[i].time);
        if (i + 1 == curve.size()) {
            break;
        }
        double t0 = Seconds(curve[i].time);
        double t1 = Seconds(curve[i + 1].time);
        for (double p :
             {0.0, 0.36363636363636365, 0.7272727272727273, 0.9090909090909091, 0.5, 1.0}) {
            for (double near : {-kBisectionTolerance, 0.0, kBisectionTolerance}) {
                double seconds = t0 + p * (t1 - t0) + near;
                breaks.push_back(seconds);
                breaks.push_back(seconds * 1e7);
            }
        }
    }
    return breaks;
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
      p0(x0),
      p3(x3) {}

double Cubic::At(double u) const {
    return ((a * u + b) * u + c) * u + d;
}

double Cubic::Bisect(double x) const {
    if (std::fabs(x - p0) < kBisectionTolerance) {
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
        if (x > At(u)) {
            lo = u;
        } else {
            hi = u;
        }
        u = (lo + hi) / 2;
    }
    return u;
}

Cubic BezierTime(const Key& from, const Key& to) {
    double t0 = Seconds(from.time);
    double t1 = Seconds(to.time);
    double a = std::min(std::max(from.right.x, 0.0), 1.0);
    double c = std::min(std::max(to.left.x, 0.0), 1.0);
    double x1 = t0 + (t1 - t0) * a;
    double x2 = t0 + (t1 - t0) * c;
    return Cubic(t0, from.type == 1 ? t0 : x1, to.type == 1 ? t1 : x2, t1);
}

double EasingCubic(double s, double first, double second) {
    return 3 * ((1 - s) * (1 - s)) * s * first + 3 * (1 - s) * (s * s) * second + s * s * s;
}

bool IsBezier(int type) {
    return type == 0 || (type >= 2 && type <= 5) || (type >= 13 && type <= 15);
}

Sample SampleAt(const Curve& curve, double t) {
    if (curve.size() < 2) {
        double value = curve.empty() ? 0.0 : curve.front().value;
        return {value, std::fabs(value), true};
    }
    Segment s = SegmentAt(curve, t);
    if (s.type0 < 16 || s.type0 > 25) {
        return Evaluate(s, t);
    }
    double t0 = Seconds(s.t0);
    double p = (Seconds(t) - t0) / (Seconds(s.t1) - t0);
    p = std::min(std::max(p, 0.0), 1.0);
    return {s.y0 + (s.y1 - s.y0) * Ease(s.type0, p), std::fabs(s.y0) + std::fabs(s.y1),
            s.type0 < 24, s.type0 < 24};
}

core::Pointd PointAt(const Curve& curve, double t) {
    if (curve.size() < 2 || t < curve.front().time) {
        return curve.front().point;
    }
    std::size_t found = 0;
    while (found < curve.size() && !(curve[found].time > t)) {
        ++found;
    }
    if (found == curve.size()) {
        return curve.back().point;
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
    if (curve.empty() || from == to) {
        return result;
    }
    std::vector<double> cuts = {from, to};
    for (double time : Breaks(curve)) {
        if (time > from && time < to) {
            cuts.push_back(time);
        }
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());

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
            Segment segment = SegmentAt(curve, middle);
            double ticks = middle >= kFirstTick ? 1e7 : 1.0;
            double stair = kBisectionTolerance * ticks + 3 * (segment.t1 - segment.t0) * 0x1p-20;
            tolerance += stair * climbed + 3e-6 * scale * (b - a);
        }
        result.area += IntegratePiece(f, a, b, tolerance / 16);
        result.tolerance += 2 * tolerance;
    }
    return result;
}

Curve WithAutomaticHandles(Curve curve) {
    auto isHermite = [](int type) { return type >= 7 && type <= 11; };
    auto secant = [&curve](std::size_t i, std::size_t j, bool inSeconds) {
        double from = inSeconds ? Seconds(curve[i].time) : curve[i].time;
        double to = inSeconds ? Seconds(curve[j].time) : curve[j].time;
        return (curve[j].value - curve[i].value) / (to - from);
    };
    for (std::size_t i = 0; i < curve.size(); ++i) {
        Key& key = curve[i];
        key.left = key.right = {kUnsettled, kUnsettled};
        bool isFirst = i == 0;
        bool isLast = i + 1 == curve.size();
        if (isFirst && isLast) {
            continue;
        }
        std::size_t before = isFirst ? i : i - 1;
        std::size_t after = isLast ? i : i + 1;
        int typeBefore = isFirst ? -1 : curve[before].type;
        int typeAfter = isLast ? -1 : curve[after].type;
        if (key.type == 1 && !isLast && !IsBezier(typeAfter)) {
            key.right.x = secant(i, after, false);
            if (typeAfter == 26) {
                // Its segment climbs dt times the handle in each unit of time.
                key.right.x /= curve[after].time - key.time;
            }
        }
        if (isHermite(key.type)) {
            double slope = key.type == 9 ? 0.0 : secant(before, after, false);
            if (isHermite(typeAfter) || typeAfter == 1) {
                key.right.x = slope;
            }
            if (isHermite(typeBefore)) {
                key.left.x = slope;
            } else if (typeBefore == 1) {
                key.left.x = secant(before, i, false);
            }
        }
        if (IsBezier(key.type)) {
            double slope = secant(before, after, true);
            if (IsBezier(typeAfter) || isHermite(typeAfter) || typeAfter == 1) {
                key.right = {1.0 / 3.0, slope};
            }
            if (IsBezier(typeBefore) || isHermite(typeBefore) || typeBefore == 1) {
                key.left = {2.0 / 3.0, slope};
            }
        }
        if (key.type == 12) {
            if (typeAfter == 12) {
                key.right.x = key.value + (curve[after].value - key.value) / 3.0;
            }
            if (typeBefore == 12) {
                key.left.x = curve[before].value + (key.value - curve[before].value) * 2.0 / 3.0;
            }
        }
    }
    return curve;
}

core::Parameter BuildAutomatic(const Curve& curve) {
    core::Parameter parameter;
    for (const Key& key : curve) {
        parameter.AddPoint(key.time, key.value,
                           static_cast<core::KeyframeInterpolationType>(key.type));
    }
    return parameter;
}

core::Parameter Build(const Curve& curve) {
    core::Parameter parameter = BuildAutomatic(curve);
    int index = 0;
    for (const Key& key : curve) {
        parameter.SetPointControlParamEx(index++, key.left.x, key.left.y, key.right.x, key.right.y);
    }
    return parameter;
}

core::Parameter BuildPath(const Curve& curve) {
    core::Parameter parameter;
    parameter.SetParameterType(core::ParameterPoint);
    for (const Key& key : curve) {
        int index = parameter.AddPoint(key.time, key.point,
                                       static_cast<core::KeyframeInterpolationType>(key.type));
        parameter.SetPointControlParamEx(index, key.left.x, key.left.y, key.right.x, key.right.y);
    }
    return parameter;
}

Curve ReadBack(core::Parameter& parameter) {
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
