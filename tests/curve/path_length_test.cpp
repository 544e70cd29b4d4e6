#include <core/curve/path_length.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

using core::FindTimeAtDistance;
using core::GetPathDirections;
using core::GetPathLength;
using core::GetPointAtDistance;
using core::MakeMotionEven;
using Type = KeyframeInterpolationType;

Parameter RandomPath(Dice& dice, const std::vector<int>& types) {
    Curve keys;
    for (int i = 0; i < 4; ++i) {
        keys.push_back(RandomKey(dice, i * 1.5, dice.Pick(types)));
    }
    return plain::BuildPath(keys);
}

// The length of a chain of chords, without the jumps.
double Chords(const core::CurveSnapshot& path, double from, double to) {
    constexpr int kSteps = 45000;
    double length = 0;
    Pointd last = path.GetValue(from, false).AsPoint();
    for (int i = 1; i <= kSteps; ++i) {
        const double before = from + (to - from) * (i - 1) / kSteps;
        const double t = from + (to - from) * i / kSteps;
        const Pointd at = path.GetValue(t, false).AsPoint();
        const int index = path.GetPointIndex(std::floor(t / 1.5 + 1e-12) * 1.5);
        const bool isJump = index > 0 && path.GetKeyframe(index).GetTime() > before &&
                            path.GetKeyframe(index - 1).GetInterpolation() == Type::Hold;
        length += isJump ? 0 : std::hypot(at.x - last.x, at.y - last.y);
        last = at;
    }
    return length;
}

TEST(PathLength, IsThatOfItsChordsAndFindsTimes) {
    Dice dice(71);
    for (int round = 0; round < 40; ++round) {
        Parameter curve = RandomPath(dice, gallery::Types());
        const core::CurveSnapshot path = curve.Snapshot();
        const double whole = GetPathLength(path, -kInfinity, kInfinity);
        ASSERT_NEAR(Chords(path, 0, 4.5), whole, 2e-6 * whole + 1e-9) << curve.Serialize();
        const double a = dice.Between(0, 4.5);
        EXPECT_NEAR(whole, GetPathLength(path, 0, a) + GetPathLength(path, 9, a), 1e-6 * whole);
        // There and back again.
        const double distance = dice.Between(0, 1) * whole;
        double time = -1;
        ASSERT_TRUE(FindTimeAtDistance(path, 0, distance, time));
        EXPECT_NEAR(distance, GetPathLength(path, 0, time), 1e-6 * whole);
        const Pointd at = path.GetValue(time, false).AsPoint();
        const Pointd found = GetPointAtDistance(path, distance);
        EXPECT_EQ(at.x, found.x);
        EXPECT_EQ(at.y, found.y);
        EXPECT_FALSE(FindTimeAtDistance(path, 0, whole * 1.01 + 1e-3, time));
        // Directions are difference quotients.
        const core::PathDirections directions = GetPathDirections(path, a);
        const Pointd p = path.GetValue(a, false).AsPoint();
        const Pointd q = path.GetValue(a + 1e-6, false).AsPoint();
        const double step = std::hypot(q.x - p.x, q.y - p.y);
        if (step > 1e-7) {
            EXPECT_NEAR((q.x - p.x) / step, directions.after.x, 1e-4);
            EXPECT_NEAR((q.y - p.y) / step, directions.after.y, 1e-4);
        }
    }
    // A circle in four well-known quarters is 2.7e-4 off, a straight line exact.
    Parameter line(Pointd{});
    line.AddPoint(0, Pointd{0, 0}, kLinear);
    line.AddPoint(2, Pointd{3, 4}, kLinear);
    EXPECT_NEAR(5, GetPathLength(line.Snapshot(), 0, 2), 1e-9);
    EXPECT_NEAR(0.6, GetPathDirections(line.Snapshot(), 0).after.x, 1e-12);
    EXPECT_NEAR(0.8, GetPathDirections(line.Snapshot(), 2).before.y, 1e-12);
    EXPECT_EQ(0.0, GetPathDirections(line.Snapshot(), 2).after.x);
}

TEST(PathLength, EvenMotionKeepsTheWayAndTheKeyframes) {
    Dice dice(72);
    int added = 0;
    for (int round = 0; round < 60; ++round) {
        Parameter curve = RandomPath(dice, {0, 1, 7, 12, 26});
        if (round == 0) {  // a cusp, after a third of the parameter
            curve.SetPointValue(0, Pointd{0, 0});
            curve.SetPointValue(1, Pointd{1, -0.5});
            curve.SetPointInterpolationType(0, Type::Bezier);
            curve.SetPointInterpolationType(1, Type::Bezier);
            curve.SetPointControlRightParam(0, 1 / 3.0, 1 / 3.0);
            curve.SetPointControlLeftParam(1, -1 / 3.0, 1 / 6.0);
        }
        const int samples = round == 0 ? 20000 : 200;
        const core::CurveSnapshot before = curve.Snapshot();
        ASSERT_TRUE(MakeMotionEven(curve, 0, 4.5)) << curve.Serialize();
        const core::CurveSnapshot after = curve.Snapshot();
        added += curve.GetKeyFramesCount() - 4;
        for (int i = 0; i < 3; ++i) {
            ASSERT_GE(after.GetPointIndex(i * 1.5), 0);
            const double length = GetPathLength(before, i * 1.5, i * 1.5 + 1.5);
            for (int k = 1; k < samples; ++k) {
                const double t = i * 1.5 + 1.5 * k / samples;
                double time = 0;
                ASSERT_TRUE(FindTimeAtDistance(before, i * 1.5, length * k / samples, time));
                const Pointd a = before.GetValue(time, false).AsPoint();
                const Pointd b = after.GetValue(t, false).AsPoint();
                ASSERT_LE(std::hypot(a.x - b.x, a.y - b.y), 1e-6 * length)
                    << before.Serialize() << t;
            }
        }
    }
    EXPECT_LT(added / 180, 64) << "keyframes a segment";
}

TEST(PathLength, OfNothingIsNothing) {
    double time = 7;
    Parameter empty(Pointd{1, 2});
    EXPECT_EQ(0, GetPathLength(empty.Snapshot(), 0, 1));
    EXPECT_FALSE(FindTimeAtDistance(empty.Snapshot(), 0, 1, time));
    EXPECT_FALSE(FindTimeAtDistance(empty.Snapshot(), 0, -1, time));
    EXPECT_EQ(7, time);
    EXPECT_TRUE(std::isnan(GetPathLength(empty.Snapshot(), 0, kNan)));
    EXPECT_THROW(GetPointAtDistance(empty.Snapshot(), 1), core::AnyBadAccess);
    EXPECT_EQ(GetPathDirections(empty.Snapshot(), 1).after, Pointd{});
}

}  // namespace
