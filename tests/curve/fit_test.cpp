#include <core/curve/bake.h>
#include <core/curve/fit.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

using core::CurveSnapshot;
using core::FitKeyframes;
using core::ReduceKeyframes;
using Type = KeyframeInterpolationType;

// Ten thousand times a segment of what is left.
void ExpectNear(const CurveSnapshot& before, const CurveSnapshot& after, double error,
                const std::string& what) {
    for (int i = 0; i + 1 < after.GetKeyFramesCount(); ++i) {
        const double from = after.GetKeyframe(i).GetTime();
        const double to = after.GetKeyframe(i + 1).GetTime();
        for (int k = 0; k < 10000; ++k) {
            const double t = from + (to - from) * k / 10000;
            const double a = before.GetValue(t, false).AsDouble();
            const double b = after.GetValue(t, false).AsDouble();
            if (!(std::fabs(a - b) <= error * (1 + 1e-9))) {
                ASSERT_NEAR(a, b, error + SolverSlack(before, t) + SolverSlack(after, t))
                    << what << " at " << t;
            }
        }
    }
}

// A slow wave with keyframes of many types close to each other, so that most can go.
Parameter Wave(Dice& dice, int count, const std::vector<int>& types, bool isHandSet) {
    Parameter curve;
    double time = dice.OneIn(2) ? 0.0 : -3.0;
    for (int i = 0; i < count; ++i, time += dice.Between(0.05, 0.4)) {
        const int index = curve.AddPoint(time, std::sin(time) + dice.Between(-0.002, 0.002),
                                         static_cast<Type>(dice.Pick(types)));
        if (isHandSet && dice.OneIn(3)) {
            curve.SetPointControlRightParam(index, dice.Between(0, 1), dice.Between(-1, 1));
        }
    }
    return curve;
}

TEST(ReduceKeyframes, StaysWithinTheErrorAtEveryTime) {
    Dice dice(51);
    int before = 0;
    int after = 0;
    for (int round = 0; round < 150; ++round) {
        const std::vector<int> few = {dice.Pick(gallery::Types()), dice.Pick(gallery::Types())};
        Parameter curve = Wave(dice, 24, dice.OneIn(2) ? few : gallery::Types(), dice.OneIn(3));
        const CurveSnapshot whole = curve.Snapshot();
        const double error = std::pow(10, dice.Between(-3, -0.5));
        ASSERT_TRUE(ReduceKeyframes(curve, -1, 2, error));
        ASSERT_LE(curve.GetKeyFramesCount(), 24);
        before += 24;
        after += curve.GetKeyFramesCount();
        const std::string what = whole.Serialize() + "\n" + curve.Serialize();
        ExpectNear(whole, curve.Snapshot(), error, what);
        // Keyframes that stay have their values; outside the range nothing changes.
        for (int i = 0; i < curve.GetKeyFramesCount(); ++i) {
            const int index = whole.GetPointIndex(curve.GetPointTime(i));
            ASSERT_GE(index, 0) << what;
            ASSERT_EQ(whole.GetKeyframe(index).GetValue().AsDouble(),
                      curve.GetPointValue(i).AsDouble());
        }
        for (const double t : {-2.9, -2.0, -1.5, 2.5, 3.1, 4.0}) {
            ASSERT_NEAR(whole.GetValue(t, false).AsDouble(), curve.GetValue(t, false).AsDouble(),
                        SolverSlack(whole, t) + 1e-12)
                << what << t;
        }
    }
    EXPECT_LT(after, before * 9 / 10);
}

TEST(ReduceKeyframes, FindsTheTenKeyframesOfABakedMinute) {
    Dice dice(52);
    for (const Type type : {Type::Hermite, Type::Bezier, Type::ValueBezier, Type::EaseInOutCubic}) {
        Parameter curve;
        Parameter path(Pointd{});
        for (int i = 0; i < 10; ++i) {
            const double time = i == 0 ? 0 : i == 9 ? 60 : 60.0 / 9 * (i + dice.Between(-0.4, 0.4));
            curve.AddPoint(time, dice.Between(0, 100), type);
            path.AddPointEx(time, Pointd{dice.Between(0, 100), dice.Between(0, 100)}, Type::Bezier);
        }
        for (Parameter* smooth : {&curve, &path}) {
            Parameter baked;
            ASSERT_TRUE(BakeCurve(smooth->Snapshot(), core::TimeBase::Seconds(),
                                  core::TimeBase::Frames(24), 0, 60, baked));
            const CurveSnapshot minute = baked.Snapshot();
            ASSERT_EQ(1441, baked.GetKeyFramesCount());
            ASSERT_TRUE(ReduceKeyframes(baked, 0, 60, 0.1));
            // The others have corners between frames, or are no cubics in time.
            const bool isSmooth =
                smooth == &curve && (type == Type::Hermite || type == Type::Bezier);
            EXPECT_LE(baked.GetKeyFramesCount(), isSmooth ? 14 : 40);
            for (int i = 0; i <= 20000; ++i) {
                const ValAny a = minute.GetValue(i * 0.003, false);
                const ValAny b = baked.GetValue(i * 0.003, false);
                const double away = smooth == &path ? std::hypot(a.AsPoint().x - b.AsPoint().x,
                                                                 a.AsPoint().y - b.AsPoint().y)
                                                    : std::fabs(a.AsDouble() - b.AsDouble());
                ASSERT_LE(away, 0.1 * (1 + 1e-9));
            }
        }
    }
}

TEST(FitKeyframes, ComesWithinTheErrorOfEverySample) {
    Dice dice(53);
    for (const double noise : {0.0, 0.5, 0.9}) {
        for (const int count : {1, 2, 3, 10, 1000, 20000}) {
            std::vector<double> times;
            std::vector<double> values;
            std::vector<Pointd> places;
            for (int i = 0; i < count; ++i) {
                times.push_back((i + dice.Between(0, 0.5)) / 24);
                const double error = 0.01 * noise;
                values.push_back(50 + std::sin(times.back()) + dice.Between(-error, error));
                places.push_back({values.back(), std::cos(times.back())});
            }
            const auto n = static_cast<std::size_t>(count);
            Parameter numbers;
            Parameter path;
            ASSERT_TRUE(FitKeyframes(times.data(), values.data(), n, 0.01, numbers));
            ASSERT_TRUE(FitKeyframes(times.data(), places.data(), n, 0.01, path));
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_NEAR(values[i], numbers.GetValue(times[i], false).AsDouble(), 0.01 + 1e-12);
                const Pointd at = path.GetValue(times[i], false).AsPoint();
                ASSERT_LE(std::hypot(places[i].x - at.x, places[i].y - at.y), 0.01 + 1e-12);
            }
            if (count == 1000) {
                EXPECT_LE(numbers.GetKeyFramesCount(), noise < 0.6 ? 60 : 200);
            }
        }
    }
}

TEST(FitKeyframes, RefusesWhatIsNoRowOfSamples) {
    Parameter curve;
    const double times[] = {0, 1, 1};
    const double values[] = {0, kNan, 1};
    EXPECT_EQ("there are no samples", FitKeyframes(times, values, 0, 1, curve).reason);
    EXPECT_EQ("sample 1 is not finite", FitKeyframes(times, values, 3, 1, curve).reason);
}

}  // namespace
