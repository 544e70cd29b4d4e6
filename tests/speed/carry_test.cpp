#include <core/curve/shape.h>
#include <core/speed/carry.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/speed_words.h"

namespace {

using core::CarryToRenderTime;
using core::CarryToSourceTime;
using core::Parameter;
using core::Pointd;
using core::SpeedSnapshot;

constexpr double kLength = 20.0;

SpeedSnapshot RandomClip(Dice& dice, int freezes) {
    SpeedParameter speed;
    speed.SetSourceTotalTime(kLength);
    for (int i = dice.Below(6); i > 0; --i) {
        speed.AddPoint(dice.Between(0, kLength - 0.1), dice.Between(0.3, 4),
                       KeyframeInterpolationType(dice.Pick(std::vector<int>{6, 1, 9, 12, 18})));
    }
    for (int i = dice.Below(freezes + 1); i > 0; --i) {
        speed.AddFreezeFrame(dice.Between(0, 21), dice.Between(0.1, 2));
    }
    speed.SetReverse(dice.OneIn(2));
    return speed.Snapshot();
}

Parameter RandomCurve(Dice& dice, const std::vector<int>& types) {
    Parameter curve;
    for (int i = 2 + dice.Below(6); i > 0; --i) {
        curve.AddPoint(dice.Between(-3, kLength + 3), dice.Between(-5, 5),
                       KeyframeInterpolationType(dice.Pick(types)));
    }
    return curve;
}

double ValueAt(const Parameter& curve, double time) {
    return curve.Snapshot().GetValue(time, false).AsDouble();
}

// By how much a value is not what the curve answers at a time. The steps of a bisection, which
// a carried curve does not follow, count as one.
double Missed(const Parameter& curve, double time, double value) {
    constexpr double kStep = 1e-4;
    const core::ValueExtremes steps = FindExtremes(curve.Snapshot(), time - kStep, time + kStep);
    return std::min(std::fabs(ValueAt(curve, time) - value),
                    std::max({0.0, value - steps.greatest, steps.least - value}));
}

// Times right at a keyframe apart, where a value may jump, each picture has the value that it
// had in the source; and back.
TEST(Carry, LeavesOnEachPictureWhatWasThere) {
    int keyframes = 0;
    int made = 0;
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const bool goesBack = dice.OneIn(2);
        const SpeedSnapshot clip = RandomClip(dice, goesBack ? 0 : 3);
        const Parameter curve = RandomCurve(dice, gallery::Types());
        Parameter carried;
        const auto done = CarryToRenderTime(curve.Snapshot(), clip, carried);
        ASSERT_TRUE(done) << done.reason;
        keyframes += curve.GetKeyFramesCount() + clip.Keyframes().GetKeyFramesCount();
        made += carried.GetKeyFramesCount();
        Parameter back;
        ASSERT_TRUE(!goesBack || CarryToSourceTime(carried.Snapshot(), clip, back));
        const core::ValueExtremes bounds = FindExtremes(curve.Snapshot(), 0, kLength);
        const double most = 1e-3 * (bounds.greatest - bounds.least) + 1e-9;
        const double length = clip.GetRenderTotalTime();
        for (int i = 1; i < 500; ++i) {
            const double t = length * i / 500.0137;
            const double s = clip.GetSourceTime(t);
            ASSERT_LE(Missed(curve, s, ValueAt(carried, t)), most) << "at " << t;
            ASSERT_TRUE(!goesBack || Missed(curve, s, ValueAt(back, s)) <= 2 * most) << s;
        }
    }
    EXPECT_LT(made, 1.2 * keyframes);
}

TEST(Carry, TakesEveryKindOfValue) {
    const auto ramp = Speeds(8, {{0, 1, kLine}, {8, 3, kHold}});
    ramp->AddFreezeFrame(4, 1);
    for (const bool reverse : {false, true}) {
        ramp->SetReverse(reverse);
        const SpeedSnapshot clip = ramp->Snapshot();
        Parameter path(Pointd{0, 0});
        path.AddPointEx(0, Pointd{0, 0}, KeyframeInterpolationType::Bezier);
        path.AddPointEx(5, Pointd{100, 40}, KeyframeInterpolationType::Linear);
        path.AddPointEx(8, Pointd{-20, 10}, KeyframeInterpolationType::Hold);
        path.SetPointControlRightParam(0, 70, -90);
        Parameter text(std::string("a"));
        text.AddPoint(0, std::string("a"), KeyframeInterpolationType::Hold);
        text.AddPoint(5, std::string("b"), KeyframeInterpolationType::Hold);
        Parameter whole(1);
        whole.AddPoint(0, 1, KeyframeInterpolationType::Linear);
        whole.AddPoint(8, 1000, KeyframeInterpolationType::Linear);
        Parameter carriedPath, carriedText, carriedWhole;
        ASSERT_TRUE(CarryToRenderTime(path.Snapshot(), clip, carriedPath));
        ASSERT_TRUE(CarryToRenderTime(text.Snapshot(), clip, carriedText));
        ASSERT_TRUE(CarryToRenderTime(whole.Snapshot(), clip, carriedWhole));
        for (double t = 0.003; t < 5; t += 0.017) {
            const double s = clip.GetSourceTime(t);
            const Pointd wanted = path.GetValue(s, false).AsPoint();
            const Pointd point = carriedPath.GetValue(t, false).AsPoint();
            EXPECT_LT(std::hypot(wanted.x - point.x, wanted.y - point.y), 0.15) << t;
            EXPECT_EQ(text.GetValue(s, false).AsString(),
                      carriedText.GetValue(t, false).AsString());
            EXPECT_NEAR(1 + 999 * s / 8, carriedWhole.GetValue(t, false).AsDouble(), 1);
        }
        EXPECT_EQ(2, carriedText.GetKeyFramesCount());
    }
}

TEST(Carry, RefusesWhatCantBe) {
    Dice dice(1);
    const Parameter curve = RandomCurve(dice, {1});
    Parameter carried(5.0);
    const core::CurveSnapshot before = carried.Snapshot();
    const SpeedSnapshot clip = TwoSpeeds()->Snapshot();
    const SpeedSnapshot swings = Speeds(10, {{0, -1, kLine}, {10, 3, kHold}})->Snapshot();
    EXPECT_FALSE(CarryToRenderTime(curve.Snapshot(), clip, carried, 0));
    EXPECT_FALSE(CarryToRenderTime(curve.Snapshot(), clip, carried, kNan));
    EXPECT_FALSE(CarryToRenderTime(Parameter().Snapshot(), clip, carried));
    EXPECT_FALSE(CarryToRenderTime(curve.Snapshot(), Speeds(0, {{0, 1, 6}})->Snapshot(), carried));
    EXPECT_FALSE(CarryToSourceTime(curve.Snapshot(), swings, carried));
    EXPECT_EQ(before, carried.Snapshot());
    EXPECT_TRUE(CarryToRenderTime(curve.Snapshot(), swings, carried));
}

}  // namespace
