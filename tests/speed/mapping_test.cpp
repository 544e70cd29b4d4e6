#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <cmath>
#include <list>
#include <utility>

#include "support/speed_words.h"

namespace {

/// A render time and the source time, or the point, that belongs to it.
struct Pair {
    double render;
    double source;
};
using Pairs = std::vector<Pair>;

/// `both` map to each other, the others one way.
void ExpectMap(const char* name, double total, const SpeedKeys& keys, double length,
               const Pairs& both, Pairs toSource = {}, Pairs toRender = {}) {
    SCOPED_TRACE(name);
    auto speed = Speeds(total, keys);
    EXPECT_DOUBLE_EQ(length, speed->GetRenderTotalTime());
    toSource.insert(toSource.end(), both.begin(), both.end());
    toRender.insert(toRender.end(), both.begin(), both.end());
    for (const Pair& pair : toSource) {
        EXPECT_NEAR(pair.source, speed->GetSourceTime(pair.render), 1e-9) << pair.render;
    }
    for (const Pair& pair : toRender) {
        EXPECT_NEAR(pair.render, speed->GetRenderTime(pair.source), 1e-9 + 1e-15 * length)
            << "source " << pair.source;
    }
}

TEST(TimeMap, AnswersWhatFollowsFromTheKeyframes) {
    ExpectMap("normal speed", 10, {{0, 1, kHold}, {10, 1, kHold}}, 10, {{0, 0}, {4, 4}, {10, 10}},
              {{-2, -2}, {11, 10}, {kInfinity, 10}}, {{10, 11}, {-2, -2}});
    ExpectMap("held at 2", 10, {{0, 2, kHold}, {10, 2, kHold}}, 5, {{1, 2}, {5, 10}}, {{8, 10}});
    ExpectMap("the nearer of two keyframes", 10,
              {{0, 1, kHold}, {4, 1, kHold}, {4.00000015, 1, kHold}, {10, 1, kHold}}, 10, {},
              {{4.00000006, 4}, {4.00000009, 4.00000015}});
    ExpectMap("a ramp", 10, {{0, 1, kLine}, {10, 3, kHold}}, 5, {{2.5, 3.75}, {5, 10}});
    ExpectMap("an eased step", 10, {{0, 1, kEasedStep}, {10, 3, kHold}}, 5, {{2.5, 3.4375}});
    ExpectMap("any other type takes the mean", 10, {{0, 1, 17}, {10, 3, kHold}}, 5, {{5, 10}});
    ExpectMap("no length is set", 0, {{0, 2, kHold}, {10, 1, kHold}}, 5, {}, {{1, 2}, {9, 10}},
              {{5, 0}, {5, 3}, {5, 12}, {-1, -2}});
    ExpectMap("the length comes before the exact keyframe", 4,
              {{0, 1, kHold}, {4, 1, kHold}, {8, 1, kHold}, {10, 1, kHold}}, 10, {{3, 3}},
              {{4, 4}, {6, 6}}, {{10, 4}, {10, 6}, {10, 8}});
    ExpectMap("the first keyframe is not at 0", 10, {{2, 2, kHold}, {10, 1, kHold}}, 6, {{2, 2}},
              {{1, 2}, {1.5, 3}, {3, 6}}, {{0.5, 1}, {3, 6}});
    ExpectMap("all before 0", 10, {{-4, 2, kHold}, {-2, 1, kHold}}, 0, {}, {{-3, -6}, {1, -2}},
              {{0, 1}, {0, -5}});
    ExpectMap("zero speed keeps its length", 10,
              {{0, 1, kHold}, {4, 0.0, kHold}, {6, 1, kHold}, {10, 1, kHold}}, 10,
              {{3, 3}, {4, 4}, {6, 6}, {10, 10}}, {{5, 4}, {7, 5}}, {{7, 5}, {9, 7}});
    ExpectMap("at the start of a ramp too", 10, {{0, 0.0, kLine}, {10, 2, kHold}}, 10, {{5, 2.5}});
    ExpectMap("but only exactly 0", 1, {{0, 1e-21, kHold}, {1, 1, kHold}}, 1e21, {{1e21, 1}});
    ExpectMap("speeds that cancel never end, and take their length", 2,
              {{0, 1, kLine}, {2, -1, kHold}}, 2, {{2, 2}}, {{1, 0.5}});
    ExpectMap("keyframes that meet on the render axis", 10,
              {{0, 1, 6}, {5, 100, 6}, {5.000001, 1, 6}, {7, 1, 6}, {10, 1, 6}}, 9.99999901,
              {{4, 4}, {6.99999901, 6.99999901}, {9.99999901, 10}});
    ExpectMap("going back, render time ends at 0", 4, {{0, -1, kHold}, {4, 1, kHold}}, 0, {},
              {{1, 4}}, {{0, 4}});
}

TEST(TimeMap, WithoutKeyframesTimesStayWhatTheyAre) {
    auto speed = Speeds(10, {});
    EXPECT_EQ(0.0, speed->GetRenderTotalTime());
    EXPECT_EQ(3.0, speed->GetSourceTime(3.0));
    EXPECT_EQ(3.0, speed->GetRenderTime(3.0));
    EXPECT_EQ(30.0, speed->RenderTimeToPointTime(30.0));
    EXPECT_EQ(-3.0, speed->PointTimeToRenderTime(-3.0));
    EXPECT_EQ(0.0, speed->GetCurrentFPS(1.0));
}

// Segments that smooth or eased speeds make do not show their exact length; between
// keyframes the source time is the area all the same.
TEST(TimeMap, TheSourceTimeIsTheAreaOfTheRenderCurve) {
    for (int type : gallery::Types()) {
        auto speed = Speeds(9, {{0, 1, type}, {2, 3, kLine}, {5, 0.5, type}, {9, 2, type}});
        auto curve = speed->GetParameterInternal();
        ASSERT_EQ(4, curve->GetKeyFramesCount());
        EXPECT_EQ(speed->GetRenderTotalTime(), curve->GetPointTime(3));
        for (double t = 0.0625; t < curve->GetPointTime(3); t += 0.125) {
            EXPECT_NEAR(curve->GetAreaFromTo(0, t, false, 0, 0), speed->GetSourceTime(t), 1e-12)
                << "type " << type << " at " << t;
            EXPECT_EQ(curve->GetValue(t, false).AsDouble(), speed->GetCurrentFPS(t));
        }
    }
}

void ExpectPoints(const char* name, const SpeedKeys& keys, const Pairs& both, Pairs toPoint = {},
                  Pairs toRender = {}) {
    SCOPED_TRACE(name);
    auto speed = Speeds(10, keys);
    toPoint.insert(toPoint.end(), both.begin(), both.end());
    toRender.insert(toRender.end(), both.begin(), both.end());
    for (const Pair& pair : toPoint) {
        EXPECT_NEAR(pair.source, speed->RenderTimeToPointTime(pair.render), 1e-9) << pair.render;
    }
    for (const Pair& pair : toRender) {
        EXPECT_NEAR(pair.render, speed->PointTimeToRenderTime(pair.source), 1e-9)
            << "point " << pair.source;
    }
}

TEST(PointTime, CountsStandstillsOnBothAxes) {
    auto around = [](double speed, int type) {
        return SpeedKeys{{0, 1, kHold}, {4, speed, type}, {6, 1, kHold}, {10, 1, kHold}};
    };
    ExpectPoints("one standstill", around(0, kHold),
                 {{3, 3}, {4, 4}, {5, 5}, {6, 6}, {6.5, 6.5}, {9, 9}, {10, 10}}, {}, {{10, 12}});
    // Kept on purpose: 8 less the standstill is 6, where there is a keyframe.
    ExpectPoints("what is left meets a keyframe", around(0, kHold), {}, {{8, 8}}, {{6, 8}});
    // From 4 to 6 a ramp up from next to nothing: 4 s of render time.
    ExpectPoints("below 1e-20 is zero", around(9e-21, kLine), {}, {{9, 11}},
                 {{4 + std::sqrt(12.0), 7.5}});
    ExpectPoints("1e-20 is not", around(1e-20, kLine), {}, {{9, 7}}, {{9.5, 7.5}});
    ExpectPoints("within a ramp source passes", {{0, 0, kLine}, {10, 2, kHold}}, {{5, 2.5}});
    ExpectPoints("behind the point it does not count",
                 {{0, 1, kHold}, {6, 0, kHold}, {8, 1, kHold}, {10, 1, kHold}}, {{5, 5}});
    ExpectPoints("nor before 0", {{-4, 0, kHold}, {-2, 1, kHold}, {10, 1, kHold}}, {}, {},
                 {{5, 5}});
}

TEST(SourceTotal, MovesTheKeyframeAtTheEnd) {
    SpeedParameter speed;
    const double shorter = 5.0;
    for (double total : {10.0, 12.0, shorter}) {
        speed.SetSourceTotalTime(total);
        EXPECT_EQ(2, speed.GetKeyFramesCountEx()) << total;
        EXPECT_EQ(total, speed.GetPointTime(1));
    }
    speed.AddPoint(shorter, 3.0, kLinear);
    speed.SetSourceTotalTime(shorter);  // the old one is removed first
    EXPECT_EQ(1.0, speed.GetPointValue(1).AsDouble());
    speed.AddPoint(8.0, 3.0, kLinear);
    speed.SetSourceTotalTime(6.0);  // keyframes beyond stay
    EXPECT_EQ(8.0, speed.GetPointTime(2));
    EXPECT_FALSE(speed.HasPoint(shorter));
    speed.SetSourceTotalTime(0.0);  // takes the place of the first
    speed.SetSourceTotalTime(7.0);  // and at 0 there is no old one to remove
    EXPECT_TRUE(speed.HasPoint(0.0));
    for (double bad : {kNan, kInfinity, -kInfinity}) {
        speed.SetSourceTotalTime(bad);
        speed.SetSourceFPS(bad);
        EXPECT_EQ(7.0, speed.GetSourceTotalTime());
        EXPECT_EQ(25.0, speed.GetSourceFPS());
        EXPECT_EQ(3, speed.GetKeyFramesCountEx());
    }
}

TEST(Speed, TheRenderCurveIsAlwaysRebuiltForTheTotalAndElseWhenInvalid) {
    auto speed = TwoSpeeds();
    auto held = speed->GetParameterInternal();
    ASSERT_EQ(3, held->GetKeyFramesCount());
    held->ClearKeyFrames();
    EXPECT_EQ(6.0, speed->GetSourceTime(5.0));  // not misled
    EXPECT_EQ(0, speed->GetParameterInternal()->GetKeyFramesCount());
    EXPECT_EQ(7.0, speed->GetRenderTotalTime());
    EXPECT_EQ(3, held->GetKeyFramesCount());
    speed->AddPoint(7.0, 1.0, kLinear);
    speed->GetSourceTime(1.0);
    EXPECT_EQ(4, held->GetKeyFramesCount());  // whoever holds it sees the edit
}

TEST(Speed, CopiesAnswerAlikeAndLiveAlone) {
    auto speed = TwoSpeeds();
    speed->AddFreezeFrame(3.0, 2.0);
    speed->SetSourceFPS(30.0);
    speed->SetReverse(true);
    SpeedParameter copy(*speed);
    SpeedParameter assigned;
    assigned = copy;
    SpeedParameter moved(std::move(copy));
    for (SpeedParameter* other : {&assigned, &moved}) {
        EXPECT_EQ(1, other->GetReverse());
        EXPECT_EQ(30.0, other->GetSourceFPS());
        EXPECT_EQ(9.0, other->GetRenderTotalTime());
        for (double t = -1; t < 10; t += 0.25) {
            EXPECT_EQ(speed->GetSourceTime(t), other->GetSourceTime(t));
        }
        EXPECT_NE(speed->GetParameterInternal(), other->GetParameterInternal());
        EXPECT_NE(speed->GetParameterSource(), other->GetParameterSource());
        other->SetFreezeFrameDuration(0, 3.0);
        other->SetReverse(false);
    }
    EXPECT_EQ(9.0, speed->GetRenderTotalTime());
    assigned = *&assigned;
    EXPECT_EQ(10.0, assigned.GetRenderTotalTime());
    // The plain part has the keyframes and none of the rest.
    Parameter plainCopy(*speed);
    EXPECT_EQ(4, plainCopy.GetKeyFramesCount());
}

TEST(Speed, AHandleWithoutItsImplementationAnswersHarmlessly) {
    SpeedParameter movedFrom;
    SpeedParameter owner(std::move(movedFrom));
    SpeedParameter foreign;
    static_cast<Parameter&>(foreign) = Parameter(0.0, 2.0, kLinear, core::ParameterDouble);
    for (SpeedParameter* speed : {&movedFrom, &foreign}) {
        speed->SetSourceTotalTime(5.0);
        speed->SetSourceFPS(5.0);
        EXPECT_EQ(3.0, speed->GetSourceTime(3.0) + speed->GetSourceTotalTime());
        EXPECT_EQ(3.0, speed->GetRenderTime(3.0) + speed->GetRenderTotalTime());
        EXPECT_EQ(3.0, speed->RenderTimeToPointTime(3.0) + speed->GetCurrentFPS(3.0));
        EXPECT_EQ(3.0, speed->PointTimeToRenderTime(3.0) + speed->SetReverse(true));
        EXPECT_EQ(25.0, speed->GetSourceFPS() + speed->GetReverse());
        EXPECT_FALSE(speed->AddFreezeFrame(0.0, 1.0) || speed->SetFreezeFrameDuration(0, 1.0));
        EXPECT_EQ((Velocities{0, 0, 0, 0}), VelocityAt(*speed, 0));
        EXPECT_EQ(0, speed->GetKeyFramesCountEx());
        EXPECT_TRUE(speed->GetParameterInternal() && speed->GetParameterSource());
        EXPECT_EQ(0, speed->RevertSpeedParameter()->GetKeyFramesCount());
        SpeedParameter copy(*speed);
        EXPECT_EQ(speed->GetKeyFramesCount(), copy.GetKeyFramesCount());
        *speed = owner;  // comes back to life
        EXPECT_EQ(1, speed->GetKeyFramesCountEx());
    }
}

// Before its first keyframe a curve runs at that one's speed, here backwards, whatever comes
// behind: the way back from 0 never meets a source time before it.
TEST(Speed, WhatIsNeverReachedIsTheEnd) {
    auto speed = Speeds(20, {{4, -0.5, 26}, {5, 2, kHold}, {20, 1, kHold}});
    EXPECT_EQ(speed->GetRenderTotalTime(), speed->GetRenderTime(-1.0));
}

TEST(Speed, ValuesThatAreNoNumbersThrow) {
    SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);
    speed.AddPoint(5.0, "fast", kLinear);
    using Call = void (*)(SpeedParameter&);
    const Call calls[] = {
        [](SpeedParameter& s) { s.GetSourceTime(1.0); },
        [](SpeedParameter& s) { s.GetRenderTime(1.0); },
        [](SpeedParameter& s) { s.GetRenderTotalTime(); },
        [](SpeedParameter& s) { s.AddFreezeFrame(1.0, 1.0); },
        [](SpeedParameter& s) { SpeedParameter copy(s); },
        [](SpeedParameter& s) { core::ZYLCoreIsNormalSpeed(std::make_shared<SpeedParameter>(s)); },
    };
    for (Call call : calls) {
        EXPECT_THROW(call(speed), core::AnyBadAccess);
        EXPECT_EQ(3, speed.GetKeyFramesCount());
    }
    EXPECT_THROW(SpeedParameter(true).GetSourceTime(1.0), core::AnyBadAccess);
    speed.SetPointValue(1, 2.0f);  // any kind of number will do
    EXPECT_EQ(5 + 2 * 5 / (2.0 + 1), speed.GetRenderTotalTime());
}

TEST(Polynomials, AreTheSpeedItsIntegralAndItsInverse) {
    const double a = 1.5, b = -2, c = 3, d = 0.5;
    for (double x : {-2.0, 0.0, 0.3, 7.0}) {
        const double h = 1e-4;
        double slope = (SpeedParameter::SampleX(x + h, a, b, c, d, 4) -
                        SpeedParameter::SampleX(x - h, a, b, c, d, 4)) /
                       (2 * h);
        EXPECT_NEAR(SpeedParameter::PrimeX(x, a, b, c, d), slope, 1e-5);
        double area = SpeedParameter::SampleX(x, a, b, c, d, 0);
        EXPECT_NEAR(x, SpeedParameter::SolveX(x + 0.5, a, b, c, d, -area, 1e-12), 1e-9);
    }
    EXPECT_EQ(4.0, SpeedParameter::SampleX(0, a, b, c, d, 4));
    EXPECT_EQ(2.0, SpeedParameter::SolveX(1, 1, 0, 0, 0, -2, 1e-9));
    // A fourfold root is approached by quarters: it takes some 1,100 rounds.
    EXPECT_LT(SpeedParameter::SolveX(1e75, 0, 0, 0, 1, 0, 1e-70), 1e-69);
}

TEST(NormalSpeed, IsTwoKeyframesOrMoreOfExactlyOne) {
    auto is = [](const SpeedKeys& keys) {
        return core::ZYLCoreIsNormalSpeed(std::shared_ptr<SpeedParameter>(Speeds(10, keys)));
    };
    EXPECT_FALSE(core::ZYLCoreIsNormalSpeed(nullptr));
    EXPECT_FALSE(is({{0, 1, kHold}}));
    EXPECT_TRUE(is({{0, 1, kHold}, {10, 1, kLine}}));
    EXPECT_FALSE(is({{0, 1, kHold}, {10, 1.0000001, kHold}}));
    auto reversed = std::make_shared<SpeedParameter>();
    reversed->SetSourceTotalTime(10.0);
    reversed->SetReverse(true);
    EXPECT_TRUE(core::ZYLCoreIsNormalSpeed(reversed));
}

TEST(SourceTimeSpeed, HasTheSpeedsWithoutTheFreezes) {
    std::shared_ptr<SpeedParameter> speed =
        Speeds(10, {{0, 2, kLine}, {4, 0.00009, kHold}, {6, 0.0001, kHold}, {9, 0, kHold}});
    speed->AddFreezeFrame(1.0, 2.0);
    std::shared_ptr<SpeedParameter> result;
    core::ZYLCoreCreateSourceTimeSpeedObj(nullptr, result);
    EXPECT_EQ(nullptr, result);
    core::ZYLCoreCreateSourceTimeSpeedObj(speed, result);
    ASSERT_NE(nullptr, result);
    EXPECT_EQ(10.0, result->GetSourceTotalTime());
    std::list<double> times;
    EXPECT_EQ(4, result->GetNKeyFramesInRange(0, 10, &times));
    EXPECT_EQ((std::list<double>{0, 1, 6, 10}), times);
    EXPECT_EQ(kLinear, result->GetInterpolationType(0));
    EXPECT_EQ(result->GetPointTime(3) - 10.0 + result->GetParameterInternal()->GetPointTime(3),
              result->GetRenderTotalTime());  // no freezes on top
    core::ZYLCoreCreateSourceTimeSpeedObj(result, result);
    EXPECT_EQ(4, result->GetKeyFramesCountEx());
}

}  // namespace
