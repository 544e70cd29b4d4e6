#include <core/curve/easings.h>
#include <core/curve/time_unit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "support/curve_words.h"

namespace {

using core::ApplyNamedEasing;
using core::CubicBezierEasing;
using core::GetSegmentEasing;
using core::NamedEasing;
using core::SetSegmentEasing;
using Type = KeyframeInterpolationType;

// The easing by bisection to the last digit.
double Eased(const CubicBezierEasing& e, double p) {
    const auto bezier = [](double a, double b, double u) {
        return 3 * (1 - u) * (1 - u) * u * a + 3 * (1 - u) * u * u * b + u * u * u;
    };
    double low = 0;
    double high = 1;
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2;
        (bezier(e.x1, e.x2, middle) < p ? low : high) = middle;
    }
    return bezier(e.y1, e.y2, low);
}

// In any neighbourhood the segment follows the easing, the others stay what they were, and it
// reads back.
TEST(Easings, SetInEveryNeighbourhoodOfTypes) {
    Dice dice(61);
    int done = 0;
    for (const int before : gallery::Types()) {
        for (const int behind : gallery::Types()) {
            const Curve keys = {RandomKey(dice, 0, dice.Pick(gallery::Types())),
                                RandomKey(dice, 1, before),
                                RandomKey(dice, 2, dice.Pick(gallery::Types())),
                                RandomKey(dice, 4, behind), RandomKey(dice, 5, dice.Below(28))};
            Parameter curve = dice.OneIn(2) ? plain::Build(keys) : plain::BuildAutomatic(keys);
            const CubicBezierEasing easing = {dice.Between(0, 1), dice.Between(-0.5, 1.5),
                                              dice.Between(0, 1), dice.Between(-0.5, 1.5)};
            const core::CurveSnapshot was = curve.Snapshot();
            const core::CurveEditResult result = SetSegmentEasing(curve, 2, easing);
            if (!result) {
                EXPECT_TRUE(was == curve.Snapshot());
                continue;
            }
            ++done;
            const core::CurveSnapshot now = curve.Snapshot();
            const double from = curve.GetPointValue(2).AsDouble();
            const double to = curve.GetPointValue(3).AsDouble();
            for (int i = 1; i < 100; ++i) {
                const double t = i * 0.0503;
                const double y = now.GetValue(t, false).AsDouble();
                const bool isEased = t > 2 && t < 4;
                const double wanted = isEased ? from + (to - from) * Eased(easing, (t - 2) / 2)
                                              : was.GetValue(t, false).AsDouble();
                const double slack =
                    1e-9 * (1 + std::fabs(wanted)) + SolverSlack(now, t) + SolverSlack(was, t);
                ASSERT_NEAR(wanted, y, slack) << plain::Print(keys) << " at " << t;
            }
            CubicBezierEasing read;
            ASSERT_TRUE(GetSegmentEasing(now, 2, read));
            ASSERT_NEAR(easing.x1, read.x1, 1e-12);
            ASSERT_NEAR(easing.y1, read.y1, 1e-9);
            ASSERT_NEAR(easing.x2, read.x2, 1e-12);
            ASSERT_NEAR(easing.y2, read.y2, 1e-9);
        }
    }
    EXPECT_GT(done, 850);
}

// Ten thousand times each, on rises and falls, in seconds and ticks.
TEST(Easings, NamedOnesComeAsNearAsTheySay) {
    int most = 0;
    for (int number = 0; number < core::kNamedEasingCount; ++number) {
        const NamedEasing& easing = *core::GetNamedEasing(number);
        EXPECT_EQ(&easing, core::FindNamedEasing(easing.name));
        EXPECT_LE(easing.error, 2e-3) << easing.name;
        EXPECT_EQ(easing.isCubic, easing.cubic.x1 != 0 || easing.cubic.x2 != 1) << easing.name;
        for (const double unit : {1.0, core::kTicksPerSecond}) {
            Parameter curve;
            curve.AddPoint(1 * unit, 10.0, Type::Hermite);
            curve.AddPoint(3 * unit, -40.0, kLinear);
            ASSERT_TRUE(ApplyNamedEasing(curve, 0, easing)) << easing.name;
            most = std::max(most, curve.GetKeyFramesCount() - 2);
            const core::CurveSnapshot now = curve.Snapshot();
            for (int i = 0; i <= 10000; ++i) {
                const double p = i / 10000.0;
                const double t = (1 + 2 * p) * unit;
                const double wanted = 10 - 50 * core::EasedProgress(easing, p);
                // Hermite segments are found without a solver.
                const bool isSolved = easing.isCubic && std::fabs(easing.cubic.x1 - 1.0 / 3) > 1e-9;
                ASSERT_NEAR(wanted, now.GetValue(t, false).AsDouble(),
                            50 * easing.error + 1e-9 + (isSolved ? SolverSlack(now, t) : 0.0))
                    << easing.name << " at " << p;
            }
        }
        // In, out and in-out are each other's mirror images.
        const std::string name = easing.name;
        const std::size_t end = name.size() - std::min<std::size_t>(3, name.size());
        if (name.substr(end) == "-in") {
            const NamedEasing* out = core::FindNamedEasing((name.substr(0, end) + "-out").c_str());
            ASSERT_NE(nullptr, out);
            for (double p = 0; p <= 1; p += 0.01) {
                EXPECT_NEAR(core::EasedProgress(easing, p), 1 - core::EasedProgress(*out, 1 - p),
                            easing.isCubic ? 1e-5 : 1e-15);
            }
        }
    }
    EXPECT_LE(most, 10);
    EXPECT_EQ(nullptr, core::FindNamedEasing("sine"));
    EXPECT_EQ(nullptr, core::FindNamedEasing(nullptr));
    EXPECT_EQ(nullptr, core::GetNamedEasing(26));
    EXPECT_EQ(nullptr, core::GetNamedEasing(-1));
    const NamedEasing unknown = {"sine", true, {0.25, 0.0, 0.75, 1.0}, 0.0};
    EXPECT_NEAR(0.5, core::EasedProgress(unknown, 0.5), 1e-12);
    EXPECT_TRUE(std::isnan(core::EasedProgress(*core::GetNamedEasing(9), kNan)));
    Parameter line = plain::Build({{0, 1, 1}, {1, 2, 1}});
    EXPECT_EQ("there is no easing of that name", ApplyNamedEasing(line, 0, unknown).reason);
    const NamedEasing& back = *core::FindNamedEasing("back-in-out");
    EXPECT_NEAR(-0.1, std::min(core::EasedProgress(back, 0.2), core::EasedProgress(back, 0.24)),
                0.02);
}

}  // namespace
