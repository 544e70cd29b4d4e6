#include <core/curve/insert_keyframe.h>
#include <core/curve/time_unit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

using core::InsertKeyframe;
using core::KeyframeInsertion;

bool IsSolved(int start, int end) {
    return (start >= 16 && start <= 23) || plain::IsBezier(start) || plain::IsBezier(end) ||
           (start == 25 && end == 26);
}

// The least and the greatest value of keyframes and samples.
double SpanOf(const core::CurveSnapshot& curve, double first, double last) {
    double low = kInfinity;
    double high = -kInfinity;
    for (int i = 0; i <= 400; ++i) {
        const double y = curve.GetValue(first + (last - first) * i / 400, false).AsDouble();
        low = std::min(low, y);
        high = std::max(high, y);
    }
    for (int i = 0; i < curve.GetKeyFramesCount(); ++i) {
        const double y = curve.GetKeyframe(i).GetValue().AsDouble();
        low = std::min(low, y);
        high = std::max(high, y);
    }
    return high - low;
}

// Compares the answers of both around and between the keyframes of `after`.
void ExpectSame(const core::CurveSnapshot& before, const core::CurveSnapshot& after,
                const std::string& what) {
    const int count = after.GetKeyFramesCount();
    const double first = after.GetKeyframe(0).GetTime();
    const double last = after.GetKeyframe(count - 1).GetTime();
    const double span = SpanOf(before, first, last);
    for (int i = -1; i < count; ++i) {
        const double from = i < 0 ? first - 1.0 : after.GetKeyframe(i).GetTime();
        const double to = i + 1 < count ? after.GetKeyframe(i + 1).GetTime() : last + 1.0;
        for (int k = 0; k < 24; ++k) {
            const double t = from + (to - from) * k / 24;
            // Ticks below the first one count as seconds.
            if (t < core::kFirstTickCount && last >= core::kFirstTickCount && t != 0.0) {
                continue;
            }
            const int at = before.GetPointIndex(t);
            int start = 0;
            while (start + 1 < before.GetKeyFramesCount() &&
                   before.GetKeyframe(start + 1).GetTime() <= t) {
                ++start;
            }
            const int type0 = static_cast<int>(before.GetKeyframe(start).GetInterpolation());
            const int type1 = static_cast<int>(before.GetKeyframe(start + 1).GetInterpolation());
            double slack = 1e-9 * span + 1e-12 * std::fabs(before.GetValue(t, false).AsDouble());
            slack += type0 == 24 || type0 == 25 ? 1e-4 * span : 0.0;
            slack += IsSolved(type0, type1) ? SolverSlack(before, t) + 2e-6 * span : 0.0;
            ASSERT_NEAR(before.GetValue(t, false).AsDouble(), after.GetValue(t, false).AsDouble(),
                        slack)
                << what << "\nat " << t << ", keyframe " << at << ", types " << type0 << " "
                << type1;
        }
    }
}

void InsertAndCompare(Parameter& curve, double time, const std::string& what) {
    const core::CurveSnapshot before = curve.Snapshot();
    const KeyframeInsertion done = InsertKeyframe(curve, time);
    const core::CurveSnapshot after = curve.Snapshot();
    if (!done) {
        EXPECT_TRUE(before == after) << what << done.reason;
        return;
    }
    EXPECT_EQ(curve.GetPointIndex(time), done.index) << what;
    EXPECT_EQ(before.GetKeyFramesCount() + done.added, after.GetKeyFramesCount()) << what;
    ExpectSame(before, after, what + " cut at " + std::to_string(time));
}

TEST(InsertKeyframe, KeepsEveryExhibitOfTheGallery) {
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        const double first = exhibit.curve.front().time;
        const double last = exhibit.curve.back().time;
        Dice dice(5);
        for (int i = 0; i < 12; ++i) {
            Parameter curve = gallery::Build(exhibit);
            InsertAndCompare(curve, first + (last - first) * dice.Between(-0.1, 1.1), exhibit.name);
        }
    }
}

// Every type before, at and behind the segment, with automatic handles and odd ones.
TEST(InsertKeyframe, KeepsEveryNeighbourhoodOfTypes) {
    Dice dice(6);
    for (const int type0 : gallery::Types()) {
        for (const int type1 : gallery::Types()) {
            const int before = dice.Pick(gallery::Types());
            const int behind = dice.Pick(gallery::Types());
            Curve keys = {RandomKey(dice, 0, before), RandomKey(dice, 1, type0),
                          RandomKey(dice, 2.5, type1), RandomKey(dice, 4, behind)};
            const bool isHandSet = dice.OneIn(2);
            Parameter curve = isHandSet ? plain::Build(keys) : plain::BuildAutomatic(keys);
            const std::string what = plain::Print(keys) + (isHandSet ? "hand-set" : "automatic");
            InsertAndCompare(curve, dice.Between(1, 2.5), what);
            InsertAndCompare(curve, dice.Between(1, 2.5), what + ", again");
        }
    }
}

// Automatic handles of times that a file has cut are not quite what they would be anew.
TEST(InsertKeyframe, KeepsLoadedCurves) {
    using Type = KeyframeInterpolationType;
    Parameter saved;
    for (int i = 0; i < 6; ++i) {
        saved.AddPoint(i / 3e3, std::sin(i),
                       i == 2   ? Type::EaseInCubic
                       : i == 3 ? kLinear
                                : Type::Hermite);
    }
    Parameter loaded;
    ASSERT_EQ(0, loaded.Desialize(saved.Serialize().c_str()));
    InsertAndCompare(loaded, 2.5 / 3e3, saved.Serialize());
}

TEST(InsertKeyframe, CutsPathsAndHeldValues) {
    Dice dice(7);
    for (int round = 0; round < 200; ++round) {
        Curve keys;
        for (int i = 0; i < 4; ++i) {
            keys.push_back(RandomKey(dice, i, dice.Pick(gallery::Types())));
        }
        Parameter path = plain::BuildPath(keys);
        const core::CurveSnapshot before = path.Snapshot();
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(InsertKeyframe(path, dice.Between(-1, 4)));
        }
        for (int i = 0; i < 100; ++i) {
            const double t = dice.Between(-1, 4);
            const Pointd a = before.GetValue(t, false).AsPoint();
            const Pointd b = path.GetValue(t, false).AsPoint();
            ASSERT_LT(std::hypot(a.x - b.x, a.y - b.y), 1e-9) << plain::Print(keys) << t;
        }
    }
    Parameter text(std::string("Act 1"));
    text.AddPoint(0, "Act 1", kLinear);
    text.AddPoint(1, "Act 2", kLinear);
    ASSERT_TRUE(InsertKeyframe(text, 0.5));
    EXPECT_EQ("Act 1", text.GetPointValue(1).AsString());
    EXPECT_EQ("Act 2", text.GetValue(1, false).AsString());
}

// What is straight stays straight when its keyframes are dragged; ten cuts of an easing give
// eleven Beziers, not more; an elastic segment takes few keyframes.
TEST(InsertKeyframe, SetsNoMoreThanItMust) {
    Parameter line;
    line.AddPoint(0, 0.1, kLinear);
    line.AddPoint(3, 7.3, kLinear);
    ASSERT_TRUE(InsertKeyframe(line, 1.1));
    line.SetPointValue(1, -4.0);
    EXPECT_NEAR(line.GetValue(0.55, false).AsDouble(), -1.95, 1e-12);
    EXPECT_NEAR(line.GetValue(2.05, false).AsDouble(), 1.65, 1e-12);

    // A curve at rest gets handles of a third.
    Parameter resting;
    resting.AddPoint(0, 1.0, KeyframeInterpolationType::Bezier);
    ASSERT_TRUE(InsertKeyframe(resting, 2));
    double x = 0, y = 0;
    resting.GetPointControlRightParam(0, x, y);
    EXPECT_EQ((Pointd{1.0 / 3, 0}), (Pointd{x, y}));
    resting.GetPointControlLeftParam(1, x, y);
    EXPECT_EQ((Pointd{2.0 / 3, 0}), (Pointd{x, y}));

    const struct {
        KeyframeInterpolationType type;
        int most;
    } rows[] = {{KeyframeInterpolationType::EaseInOutCubic, 1},
                {KeyframeInterpolationType::EaseInOutCirc, 2},
                {KeyframeInterpolationType::EaseOutBounce, 4},
                {KeyframeInterpolationType::EaseOutElastic, 17}};
    for (const auto& row : rows) {
        for (const double time : {0.01, 0.3, 0.5, 0.77, 0.999}) {
            Parameter eased;
            eased.AddPoint(0, 0.0, row.type);
            eased.AddPoint(1, 1.0, kLinear);
            const KeyframeInsertion done = InsertKeyframe(eased, time);
            ASSERT_TRUE(done) << done.reason;
            EXPECT_LE(done.added, row.most) << int(row.type);
            EXPECT_EQ(0, InsertKeyframe(eased, time).added);
        }
    }
}

TEST(InsertKeyframe, KeepsWholeNumbersAndRefusesWithoutACurve) {
    Parameter counter(3);
    counter.AddPoint(0, 0, kLinear);
    counter.AddPoint(4, 8, kLinear);
    EXPECT_TRUE(InsertKeyframe(counter, 1.5));
    EXPECT_EQ(ValAny::kInt, counter.GetPointValue(1).Kind());
    Parameter moved(std::move(counter));
    EXPECT_EQ("the curve was moved away", InsertKeyframe(counter, 1).reason);
}

}  // namespace
