#include <core/curve/bake.h>
#include <core/curve/snapshot.h>
#include <core/curve/time_unit.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

using core::CurveSnapshot;
using core::TimeBase;

const TimeBase kNtsc = TimeBase::Frames(30000, 1001);

// Answers at `t` and at `t * factor`; where they are found by bisection, to its tolerance.
void ExpectScaled(Parameter& before, Parameter& after, double factor, const std::string& what) {
    const int count = before.GetKeyFramesCount();
    const CurveSnapshot curve = before.Snapshot();
    for (int i = 0; i + 1 < count; ++i) {
        const double from = before.GetPointTime(i);
        const double to = before.GetPointTime(i + 1);
        for (int k = 1; k < 16; ++k) {
            const double t = from + (to - from) * k / 16;
            const double wanted = before.GetValue(t, false).AsDouble();
            if (t * factor < core::kFirstTickCount && factor * to >= core::kFirstTickCount) {
                continue;  // ticks below the first one
            }
            const double slack = 1e-9 * (1 + std::fabs(wanted)) + SolverSlack(curve, t);
            ASSERT_NEAR(wanted, after.GetValue(t * factor, false).AsDouble(), slack)
                << what << " at " << t << " times " << factor;
        }
    }
}

TEST(TimeBases, KeepWhatCurvesAnswerAndWhichHandlesAreAutomatic) {
    std::vector<Parameter> curves;
    Dice dice(11);
    for (const int type0 : gallery::Types()) {
        for (const int type1 : gallery::Types()) {
            const Curve keys = {RandomKey(dice, 0, dice.Pick(gallery::Types())),
                                RandomKey(dice, 1, type0), RandomKey(dice, 2.5, type1),
                                RandomKey(dice, 4, dice.Pick(gallery::Types()))};
            curves.push_back(dice.OneIn(2) ? plain::Build(keys) : plain::BuildAutomatic(keys));
        }
    }
    for (const TimeBase& base : {TimeBase::Ticks(), kNtsc, TimeBase::Frames(240)}) {
        const double factor = double(base.units) / double(base.seconds);
        for (Parameter& curve : curves) {
            const std::string what = curve.Serialize();
            Parameter changed(curve);
            ASSERT_TRUE(ChangeTimeBase(changed, TimeBase::Seconds(), base));
            ExpectScaled(curve, changed, factor, what);
            Parameter back(changed);
            ASSERT_TRUE(ChangeTimeBase(back, base, TimeBase::Seconds()));
            ExpectScaled(curve, back, 1.0, what + " and back");
            for (int i = 0; i < curve.GetKeyFramesCount(); ++i) {
                ASSERT_NEAR(curve.GetPointTime(i), back.GetPointTime(i), 1e-15);
            }
            // Handles that follow go on to do so, unless a line of type 26 has set them.
            if (what.find("\"Interpolation\": 26") != std::string::npos) {
                continue;
            }
            Parameter edited(curve);
            edited.SetPointValue(2, 7.0);
            changed.SetPointValue(2, 7.0);
            ExpectScaled(edited, changed, factor, what + ", edited");
        }
    }
}

// Each frame of a baked curve has the sample that it was, bit for bit, ratio and kind too.
TEST(BakeCurve, KeepsEveryFrame) {
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        Parameter curve = gallery::Build(exhibit);
        const double first = exhibit.curve.front().time;
        const double last = exhibit.curve.back().time;
        const bool isTicks = last >= core::kFirstTickCount;
        const double unit = isTicks ? core::kTicksPerSecond : 1.0;
        if (last - first > 1e3 * unit) {
            continue;
        }
        for (const core::ParameterTypeEnum type : {core::ParameterDouble, core::ParameterInt}) {
            curve.SetParameterType(type);
            curve.SetBaseRatio(-3.0);
            Parameter baked;
            const bool isDone =
                bool(BakeCurve(curve.Snapshot(), isTicks ? TimeBase::Ticks() : TimeBase::Seconds(),
                               kNtsc, first - unit, last + unit, baked));
            // A single keyframe is answered as it is stored, here no integer.
            ASSERT_EQ(isDone, type == core::ParameterDouble || exhibit.curve.size() > 1);
            if (!isDone) {
                continue;
            }
            const double frames = (last - first + 2 * unit) / unit * 30000 / 1001;
            EXPECT_NEAR(frames, baked.GetKeyFramesCount(), 1.0) << exhibit.name;
            for (int i = 0; i < baked.GetKeyFramesCount(); ++i) {
                const double t = baked.GetPointTime(i);
                const double n = t / unit * 30000 / 1001;
                ASSERT_NEAR(n, std::round(n), 1e-9 * (1 + std::fabs(n))) << exhibit.name;
                ASSERT_EQ(curve.GetValue(t, false).AsDouble(), baked.GetValue(t, false).AsDouble())
                    << exhibit.name;
                ASSERT_EQ(curve.GetValue(t, false).Kind(), baked.GetValue(t, false).Kind());
            }
        }
    }
}

TEST(BakeCurve, HoldsTextsMovesPathsEvenlyAndRefusesTheRest) {
    Parameter text(std::string("one"));
    text.AddPoint(0, "one", kLinear);
    text.AddPoint(1, "two", kLinear);
    Parameter baked(1.0);
    ASSERT_TRUE(BakeCurve(text.Snapshot(), TimeBase::Seconds(), TimeBase::Frames(4), 0, 2, baked));
    EXPECT_EQ(9, baked.GetKeyFramesCount());
    EXPECT_EQ("one", baked.GetValue(0.99, false).AsString());
    for (int n = 0; n < 300; ++n) {  // the frame at both bounds
        const double time = n * 1001.0 / 30000;
        ASSERT_TRUE(BakeCurve(text.Snapshot(), TimeBase::Seconds(), kNtsc, time, time, baked));
        ASSERT_EQ(time, baked.GetPointTime(0));
    }
    Parameter path(Pointd{});
    path.AddPointEx(0, Pointd{0, 0}, KeyframeInterpolationType::Bezier);
    path.AddPointEx(4, Pointd{8, 4}, KeyframeInterpolationType::Bezier);
    ASSERT_TRUE(BakeCurve(path.Snapshot(), TimeBase::Seconds(), TimeBase::Frames(1), 0, 4, path));
    EXPECT_EQ(5, path.GetKeyFramesCount());
    for (double t = 0; t < 4; t += 0.17) {
        EXPECT_NEAR(2 * t, path.GetValue(t, false).AsPoint().x, 1e-12);
    }
}

}  // namespace
