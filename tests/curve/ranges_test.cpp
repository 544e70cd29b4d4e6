#include <core/curve/ranges.h>
#include <core/curve/time_unit.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

using core::CopyRange;
using core::CurveSnapshot;
using core::InsertCurve;
using core::Meeting;
using core::RemoveRange;
using core::ReverseRange;
using core::Ripple;
using core::ScaleRange;
using core::ShiftRange;

// Every pair of types between random neighbours, automatic or set by hand, in seconds or ticks.
void ForEveryPair(int seed,
                  const std::function<void(Parameter&, double, const std::string&)>& body) {
    Dice dice(static_cast<std::uint64_t>(seed));
    for (const int type0 : gallery::Types()) {
        for (const int type1 : gallery::Types()) {
            const double unit = dice.OneIn(4) ? core::kTicksPerSecond : 1.0;
            Curve keys = {RandomKey(dice, 1 * unit, dice.Pick(gallery::Types())),
                          RandomKey(dice, 2 * unit, type0), RandomKey(dice, 3.5 * unit, type1),
                          RandomKey(dice, 5 * unit, dice.Pick(gallery::Types()))};
            Parameter curve = dice.OneIn(2) ? plain::Build(keys) : plain::BuildAutomatic(keys);
            body(curve, unit, plain::Print(keys));
        }
    }
}

// What `after` answers at `timeOf(t)` is what `before` answers at t, inside its segments.
void ExpectMoved(const CurveSnapshot& before, const CurveSnapshot& after, double from, double to,
                 const std::function<double(double)>& timeOf, const std::string& what,
                 double extra = 0.0) {
    for (int k = 1; k < 120; ++k) {
        const double t = from + (to - from) * (k + 0.37) / 121;
        const double wanted = before.GetValue(t, false).AsDouble();
        const double slack = 1e-9 * (1 + std::fabs(wanted)) + SolverSlack(before, t) + extra;
        ASSERT_NEAR(wanted, after.GetValue(timeOf(t), false).AsDouble(), slack)
            << what << " at " << t;
    }
}

TEST(Ranges, ShiftAndScaleMoveWhatCurvesAnswer) {
    ForEveryPair(41, [](Parameter& curve, double unit, const std::string& what) {
        const CurveSnapshot before = curve.Snapshot();
        ASSERT_TRUE(ShiftRange(curve, unit, 5 * unit, 2 * unit)) << what;
        ExpectMoved(
            before, curve.Snapshot(), unit, 5 * unit, [=](double t) { return t + 2 * unit; }, what);
        curve.Restore(before);
        const auto timeOf = [=](double t) { return 3 * unit + (t - 3 * unit) * 0.75; };
        ASSERT_TRUE(ScaleRange(curve, unit, 5 * unit, 3 * unit, 0.75)) << what;
        ExpectMoved(before, curve.Snapshot(), unit, 5 * unit, timeOf, what + "scaled");
        // A part and back: what is set by hand is what it was.
        curve.Restore(before);
        ASSERT_TRUE(ShiftRange(curve, 2 * unit, 3.5 * unit, 0.5 * unit)) << what;
        ASSERT_TRUE(ShiftRange(curve, 2.5 * unit, 4 * unit, -0.5 * unit)) << what;
        ExpectMoved(
            before, curve.Snapshot(), unit, 5 * unit, [](double t) { return t; },
            what + "and back");
    });
    // The slopes that lead out of the range stretch too.
    Parameter curve = plain::Build({{0, 0, 1}, {1, 0, 0, {}, {0.25, 8}}, {2, 0, 0}});
    ASSERT_TRUE(ScaleRange(curve, 0, 1, 1, 0.5));
    EXPECT_EQ(16, plain::ReadBack(curve)[1].right.y);
}

TEST(Ranges, ReversedTwiceAnswerWhatTheyDid) {
    int refused = 0;
    ForEveryPair(42, [&](Parameter& curve, double unit, const std::string& what) {
        const CurveSnapshot before = curve.Snapshot();
        const auto mirror = [=](double t) { return 5.5 * unit - t; };
        if (const core::CurveEditResult done = ReverseRange(curve, 1.7 * unit, 4 * unit); !done) {
            EXPECT_TRUE(before == curve.Snapshot());
            EXPECT_NE(KeyframeInterpolationType::EaseOutBounce,
                      before.GetKeyframe(1).GetInterpolation());
            ++refused;
            return;
        }
        // An elastic segment is kept to 1e-4 of its span.
        const bool isElastic =
            before.GetKeyframe(1).GetInterpolation() == KeyframeInterpolationType::EaseOutElastic;
        ExpectMoved(before, curve.Snapshot(), 2 * unit, 3.5 * unit, mirror, what,
                    isElastic ? 2e-3 : 0.0);
        const CurveSnapshot once = curve.Snapshot();
        if (ReverseRange(curve, 1.7 * unit, 4 * unit)) {
            ExpectMoved(once, curve.Snapshot(), 2 * unit, 3.5 * unit, mirror, what + " again");
        }
    });
    // Lines of type 26 that end in a jump.
    EXPECT_LT(refused, 100);
    Parameter text(std::string("a"));
    for (const char* word : {"a", "b", "c"}) {
        text.AddPoint(text.GetKeyFramesCount(), word, kLinear);
    }
    ASSERT_TRUE(ReverseRange(text, 0, 2));
    EXPECT_EQ("b", text.GetValue(0.5, false).AsString());
    EXPECT_EQ("a", text.GetValue(1.5, false).AsString());
}

TEST(Ranges, PathsMoveAndReverse) {
    Dice dice(43);
    int refused = 0;
    for (int round = 0; round < 300; ++round) {
        Curve keys;
        for (int i = 0; i < 4; ++i) {
            keys.push_back(RandomKey(dice, i, dice.Pick(gallery::Types())));
        }
        Parameter path = plain::BuildPath(keys);
        const CurveSnapshot before = path.Snapshot();
        const bool isDone(ReverseRange(path, 0, 3));
        refused += isDone ? 0 : 1;
        ASSERT_TRUE(ShiftRange(path, 0, 3, 10));
        for (int i = 0; i < 50; ++i) {
            const double t = dice.Between(0, 3);
            const Pointd a = before.GetValue(isDone ? 3 - t : t, false).AsPoint();
            const Pointd b = path.GetValue(10 + t, false).AsPoint();
            ASSERT_LT(std::hypot(a.x - b.x, a.y - b.y), 1e-9) << plain::Print(keys) << t;
        }
    }
    EXPECT_LT(refused, 60);
}

// Cut out, removed and put in again, a range answers what it did; with and without ripple.
TEST(Ranges, CopiesPutInAgainAreTheSame) {
    int done = 0;
    ForEveryPair(44, [&](Parameter& curve, double unit, const std::string& what) {
        const CurveSnapshot before = curve.Snapshot();
        Parameter copy;
        const double from = 1.6 * unit;
        const double to = 4.1 * unit;
        if (!CopyRange(before, from, to, copy)) {
            return;
        }
        ++done;
        const bool isElastic = what.find(" 24") != std::string::npos;
        const auto same = [](double t) { return t; };
        if (!isElastic) {
            ExpectMoved(before, copy.Snapshot(), from, to, same, what);
        }
        EXPECT_EQ(from, copy.GetPointTime(0));
        EXPECT_EQ(to, copy.GetPointTime(copy.GetKeyFramesCount() - 1));
        const CurveSnapshot cut = copy.Snapshot();
        ASSERT_FALSE(InsertCurve(curve, from, cut)) << what;
        ASSERT_TRUE(InsertCurve(curve, from, cut, Ripple::No, Meeting::Replace)) << what;
        ExpectMoved(cut, curve.Snapshot(), from, to, same, what);
        curve.Restore(before);
        ASSERT_TRUE(InsertCurve(curve, 2.2 * unit, cut, Ripple::Yes)) << what;
        EXPECT_EQ(4 + cut.GetKeyFramesCount(), curve.GetKeyFramesCount());
        EXPECT_DOUBLE_EQ(3.5 * unit + (to - from),
                         curve.GetPointTime(curve.GetKeyFramesCount() - 2));
        ExpectMoved(
            cut, curve.Snapshot(), from, to, [=](double t) { return t + 0.6 * unit; }, what);
        ASSERT_TRUE(RemoveRange(curve, 2.2 * unit, 2.2 * unit + (to - from), Ripple::Yes));
        EXPECT_EQ(4, curve.GetKeyFramesCount());
        EXPECT_NEAR(3.5, curve.GetPointTime(2) / unit, 1e-12);
    });
    EXPECT_GT(done, 700);
}

TEST(Ranges, AreWholeOrNotAtAll) {
    Parameter curve;
    for (int i = 0; i < 5; ++i) {
        curve.AddPoint(i, i * i * 1.0, KeyframeInterpolationType::Hermite);
    }
    Parameter text(std::string("no"));
    // Replaced when the caller says so; the same place is no meeting.
    ASSERT_TRUE(ShiftRange(curve, 0, 1, 2, Meeting::Replace));
    EXPECT_EQ(3, curve.GetKeyFramesCount());
    EXPECT_EQ(1.0, curve.GetPointValue(1).AsDouble());
    text.AddPoint(0, "a", kLinear);
    EXPECT_EQ("the two curves are of different kinds",
              InsertCurve(curve, 1, text.Snapshot()).reason);
}

// One of 100 among 5,000: far keyframes are not touched, and automatic handles follow.
TEST(Ranges, TouchOnlyWhatTheyMust) {
    Parameter curve;
    Parameter wanted;
    for (int i = 0; i < 5000; ++i) {
        const double shift = i >= 2000 && i < 2100 ? 0.25 : 0.0;
        curve.AddPoint(i, std::sin(i), KeyframeInterpolationType::Hermite);
        wanted.AddPoint(i + shift, std::sin(i), KeyframeInterpolationType::Hermite);
    }
    ASSERT_TRUE(ShiftRange(curve, 2000, 2099, 0.25));
    EXPECT_TRUE(curve.Snapshot() == wanted.Snapshot());
}

}  // namespace
