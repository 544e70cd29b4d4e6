#include <core/curve/handle_edits.h>
#include <core/curve/shape.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "support/curve_words.h"

namespace {

using core::AlignHandles;
using core::BreakHandles;
using core::HandleSide;
using core::IsHandleSet;
using core::PreventOvershoot;
using core::ResetHandles;

bool HasHandles(const Parameter& curve, int start) {
    const int type0 = static_cast<int>(curve.Snapshot().GetKeyframe(start).GetInterpolation());
    return type0 < 16 || type0 >= 26;
}

// Ten thousand times a segment between its keyframes' values, and one way only.
void ExpectMonotone(Parameter& curve, int start, const std::string& what) {
    const core::CurveSnapshot now = curve.Snapshot();
    const double from = curve.GetPointTime(start);
    const double to = curve.GetPointTime(start + 1);
    const double a = curve.GetPointValue(start).AsDouble();
    const double b = curve.GetPointValue(start + 1).AsDouble();
    const double slack = 1e-12 * (std::fabs(a) + std::fabs(b));
    double last = a;
    for (int i = 0; i < 10000; ++i) {
        const double y = now.GetValue(from + (to - from) * i / 10000, false).AsDouble();
        ASSERT_GE(y, std::min(a, b) - slack) << what << " segment " << start << " at " << i;
        ASSERT_LE(y, std::max(a, b) + slack) << what << " segment " << start << " at " << i;
        // A line through one keyframe may jump at the other.
        if (i > 0) {
            ASSERT_GE((y - last) * (b - a), -slack * std::fabs(b - a)) << what << " at " << i;
        }
        last = y;
    }
}

TEST(PreventOvershoot, KeepsEveryPairOfTypesBetweenItsKeyframes) {
    Dice dice(31);
    for (const int type0 : gallery::Types()) {
        for (const int type1 : gallery::Types()) {
            const Curve keys = {RandomKey(dice, 0, dice.Pick(gallery::Types())),
                                RandomKey(dice, 1, type0), RandomKey(dice, 2.5, type1),
                                RandomKey(dice, 4, dice.Pick(gallery::Types()))};
            Parameter curve = dice.OneIn(2) ? plain::Build(keys) : plain::BuildAutomatic(keys);
            const core::CurveSnapshot before = curve.Snapshot();
            ASSERT_TRUE(PreventOvershoot(curve, 1, 4));
            for (int i = 1; i < 3; ++i) {
                if (HasHandles(curve, i)) {
                    ExpectMonotone(curve, i, plain::Print(keys));
                }
            }
            // What lies outside the range has not moved, and once is enough.
            for (const double t : {-0.5, 0.0, 0.3, 0.9, 4.0, 5.0}) {
                ASSERT_EQ(before.GetValue(t, false).AsDouble(), curve.GetValue(t, false).AsDouble())
                    << plain::Print(keys) << t;
            }
            const core::CurveSnapshot once = curve.Snapshot();
            ASSERT_TRUE(PreventOvershoot(curve, 1, 4));
            ASSERT_TRUE(once == curve.Snapshot()) << plain::Print(keys);
        }
    }
}

// Random curves of smooth keyframes: no corner comes, and a speed above zero stays there.
TEST(PreventOvershoot, KeepsSmoothKeyframesSmoothAndSpeedsPositive) {
    Dice dice(32);
    for (int round = 0; round < 200; ++round) {
        Parameter curve;
        const bool isBezier = dice.OneIn(2);
        double time = 0.0;
        for (int i = 0; i < 8; ++i, time += dice.Between(0.05, 2)) {
            curve.AddPoint(
                time, dice.OneIn(3) ? 0.01 : dice.Between(0.01, 5),
                isBezier ? KeyframeInterpolationType::Bezier : KeyframeInterpolationType::Hermite);
        }
        ASSERT_TRUE(PreventOvershoot(curve, 0, 1e9));
        const core::CurveSnapshot now = curve.Snapshot();
        EXPECT_GE(FindExtremes(now, 0, time).least, 0.01 - 1e-13);
        for (int i = 1; i < 7; ++i) {
            const core::CurveSlopes slopes = SlopesAt(now, curve.GetPointTime(i));
            EXPECT_NEAR(slopes.before, slopes.after, 1e-9 * (1 + std::fabs(slopes.before)));
        }
    }
}

TEST(HandleStates, AreAutomaticSetAndResetSideBySide) {
    for (const auto type : {KeyframeInterpolationType::Hermite, KeyframeInterpolationType::Bezier,
                            KeyframeInterpolationType::ValueBezier}) {
        Parameter curve;
        for (const double t : {0.0, 1.0, 3.0, 4.0}) {
            curve.AddPoint(t, t * t, type);
        }
        const core::CurveSnapshot automatic = curve.Snapshot();
        EXPECT_FALSE(IsHandleSet(automatic, 1, HandleSide::Left));
        // Broken, it stays where it is while its neighbours move; reset, it follows.
        ASSERT_TRUE(BreakHandles(curve, 1));
        EXPECT_TRUE(IsHandleSet(curve.Snapshot(), 1, HandleSide::Left));
        EXPECT_TRUE(IsHandleSet(curve.Snapshot(), 1, HandleSide::Right));
        EXPECT_FALSE(IsHandleSet(curve.Snapshot(), 2, HandleSide::Left));
        EXPECT_FALSE(IsHandleSet(curve.Snapshot(), 4, HandleSide::Left));
        double x = 0, y = 0, movedX = 0, movedY = 0;
        curve.GetPointControlLeftParam(1, x, y);
        curve.SetPointValue(2, -9.0);
        curve.SetPointValue(0, 5.0);
        curve.GetPointControlLeftParam(1, movedX, movedY);
        EXPECT_EQ(x, movedX);
        EXPECT_EQ(y, movedY);
        curve.Restore(automatic);
        curve.SetPointControlRightParam(1, 0.25, 7.0);
        const double wanted = SlopesAt(curve.Snapshot(), 1).after;
        ASSERT_TRUE(AlignHandles(curve, 1, HandleSide::Right));
        EXPECT_NEAR(wanted, SlopesAt(curve.Snapshot(), 1).before, 1e-12 * std::fabs(wanted));
        EXPECT_NEAR(wanted, SlopesAt(curve.Snapshot(), 1).after, 1e-12 * std::fabs(wanted));
        ASSERT_TRUE(ResetHandles(curve, 0, 0.5));
        EXPECT_TRUE(IsHandleSet(curve.Snapshot(), 1, HandleSide::Right));
        ASSERT_TRUE(ResetHandles(curve, 0, 4));
        EXPECT_TRUE(automatic == curve.Snapshot());
    }
    Parameter path(Pointd{});
    for (int i = 0; i < 3; ++i) {
        path.AddPointEx(i, Pointd{i * 2.0, i * 1.0}, KeyframeInterpolationType::Bezier);
    }
    path.SetPointControlRightParam(1, 2, 4);  // straight up, three long
    ASSERT_TRUE(AlignHandles(path, 1, HandleSide::Right));
    double x = 0, y = 0;
    path.GetPointControlLeftParam(1, x, y);
    EXPECT_NEAR(2, x, 1e-15);
    EXPECT_NEAR(1 - std::hypot(2.0 / 3, 1.0 / 3), y, 1e-15);
}

}  // namespace
