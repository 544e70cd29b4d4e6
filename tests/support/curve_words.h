#pragma once

// The words that the tests of curves have in common.

#include "support/curve_gallery.h"
#include "support/curve_oracle.h"
#include "support/dice.h"

#include <core/curve/parameter.h>
#include <core/curve/time_unit.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

using core::KeyframeInterpolationType;
using core::Parameter;
using core::Pointd;
using core::ValAny;
using plain::Curve;
using plain::Key;
using Times = std::vector<double>;

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
inline constexpr KeyframeInterpolationType kLinear = KeyframeInterpolationType::Linear;

inline double Area(const core::IKeyFrame& curve, double from, double to) {
    return curve.GetAreaFromTo(from, to, false, 0.0, 0.0);
}

/// A keyframe whose handle numbers are often ones that the rules treat on their own.
inline Key RandomKey(Dice& dice, double time, int type) {
    auto handle = [&dice] {
        static const Times special = {0, 1, 0.5, 1.0 / 3, 2.0 / 3, 1e-21, 1e-6, 1 - 1e-6};
        double x = dice.OneIn(3) ? dice.Pick(special) : dice.Between(-0.5, 1.5);
        return Pointd{x, dice.Between(-20, 20)};
    };
    Pointd point = {dice.Between(-10, 10), dice.Between(-10, 10)};
    return {time, dice.Between(-10, 10), type, handle(), handle(), point};
}

/// Whether any call that takes a keyframe's index does something for this one, or
/// answers more than nothing.
inline bool AnyCallTakes(core::IKeyFrame& curve, int index) {
    double a = 7, b = 7, c = 7, d = 7;
    return curve.RemovePoint(index) || curve.SetPointTime(index, 5) ||
           curve.SetPointValue(index, 5.0) || curve.SetPointInterpolationType(index, kLinear) ||
           curve.SetPointControlParam(index, 1, 1) ||
           curve.SetPointControlParamEx(index, 1, 1, 1, 1) ||
           curve.SetPointControlLeftParam(index, 1, 1) ||
           curve.SetPointControlRightParam(index, 1, 1) ||
           curve.GetPointControlParam(index, a, b) ||
           curve.GetPointControlParamEx(index, a, b, c, d) ||
           curve.GetPointControlLeftParam(index, a, b) ||
           curve.GetPointControlRightParam(index, c, d) ||
           !(a == 7 && b == 7 && c == 7 && d == 7) || !curve.GetPointValue(index).IsEmpty() ||
           curve.GetPointTime(index) != 0.0 ||
           curve.GetInterpolationType(index) != KeyframeInterpolationType::Extrapolate;
}

/// How far samples at `time` may differ where a solver with a tolerance of 5e-05 s (and of
/// 1e-6 of an easing) finds them before or after: by what the curve does in twice that.
inline double SolverSlack(const core::CurveSnapshot& curve, double time) {
    const double unit = time >= core::kFirstTickCount ? core::kTicksPerSecond : 1.0;
    const double middle = curve.GetValue(time, false).AsDouble();
    double slack = 0.0;
    for (int i = -24; i <= 24; ++i) {
        const double t = time + i * 5e-6 * unit;
        slack = std::max(slack, std::fabs(curve.GetValue(t, false).AsDouble() - middle));
    }
    return slack;
}
