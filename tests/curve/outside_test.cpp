#include <core/curve/outside.h>
#include <core/curve/shape.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/curve_words.h"

namespace {

using core::CurveSnapshot;
using core::ExtendedCurve;
using core::OutsideRule;

const OutsideRule kRules[] = {OutsideRule::Hold, OutsideRule::Linear, OutsideRule::Loop,
                              OutsideRule::PingPong, OutsideRule::LoopWithOffset};

// What the rule says, from the keyframes' own answers.
double Expected(const CurveSnapshot& curve, OutsideRule rule, double t, double first, double last) {
    const auto at = [&](double time) { return curve.GetValue(time, false).AsDouble(); };
    const double rise = curve.GetKeyframe(curve.GetKeyFramesCount() - 1).GetValue().AsDouble() -
                        curve.GetKeyframe(0).GetValue().AsDouble();
    const double length = last - first;
    if (t >= first && t < last) {
        return at(t);
    }
    switch (rule) {
        case OutsideRule::Linear:
            return t < first ? at(first - 1) + core::SlopesAt(curve, first).after * (t - first)
                             : at(last) + core::SlopesAt(curve, last).before * (t - last);
        case OutsideRule::PingPong:
            while (t < first || t > last) {
                t = t < first ? 2 * first - t : 2 * last - t;
            }
            return at(t);
        case OutsideRule::Hold:
            return at(t);
        default:
            break;
    }
    double more = 0.0;
    for (; t < first; t += length) {
        more -= rise;
    }
    for (; t >= last; t -= length) {
        more += rise;
    }
    return at(t) + (rule == OutsideRule::LoopWithOffset ? more : 0.0);
}

// Its own unit, and away from jumps, which rounding of a time may miss.
TEST(Outside, FollowsItsRuleAndItsAreasFollowIt) {
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        const CurveSnapshot curve = gallery::Build(exhibit).Snapshot();
        const double first = exhibit.curve.front().time;
        const double last = exhibit.curve.back().time;
        const core::ValueExtremes bounds = core::FindExtremes(curve, first, last);
        const double span = bounds.greatest - bounds.least;
        if (exhibit.curve.size() < 2 || last - first < 0.1 || last > 1e5 ||
            exhibit.curve.size() > 50) {
            continue;
        }
        for (const OutsideRule rule : kRules) {
            core::OutsideRules rules;
            rules.before = rules.after = rule;
            const ExtendedCurve extended(curve, rules);
            const double length = last - first;
            double sum = 0.0;
            double steepest = 0.0;
            int differ = 0;
            constexpr int kSteps = 20000;
            const double from = first - 2.3 * length;
            const double step = 5.7 * length / kSteps;
            for (int i = 0; i < kSteps; ++i) {
                const double t = from + (i + 0.5) * step;
                const double y = extended.GetValue(t, false).AsDouble();
                const double wanted = Expected(curve, rule, t, first, last);
                if (t > first && t < last) {
                    ASSERT_EQ(y, curve.GetValue(t, false).AsDouble());
                }
                const double slack = 1e-9 * (span + std::fabs(wanted));
                differ += std::fabs(y - wanted) > slack ? 1 : 0;
                sum += y * step;
                steepest = std::max(steepest, std::fabs(y));
            }
            // Where a solver's stairs or a jump lie at a time that rounds otherwise.
            EXPECT_LE(differ, kSteps / 500) << exhibit.name << int(rule);
            double ends[] = {first, last + 0.3 * length};
            extended.GetValues(ends, 2, false, ends);
            EXPECT_EQ(ends[0], extended.GetValue(first, false).AsDouble());
            EXPECT_EQ(ends[1], extended.GetValue(last + 0.3 * length, false).AsDouble());
            const double area = extended.GetAreaFromTo(from, from + kSteps * step);
            EXPECT_NEAR(sum, area, 2e-3 * steepest * length) << exhibit.name << int(rule);
            EXPECT_EQ(-area, extended.GetAreaFromTo(from + kSteps * step, from));
            EXPECT_EQ(0, extended.GetAreaFromTo(from, HUGE_VAL));
            EXPECT_EQ(0, extended.GetAreaFromTo(HUGE_VAL, from));
        }
    }
}

TEST(Outside, KeepsKindsRatiosAndRanges) {
    core::OutsideRules rules;
    rules.before = OutsideRule::PingPong;
    rules.after = OutsideRule::LoopWithOffset;
    Parameter counter(1);
    counter.AddPoint(0, 0, kLinear);
    counter.AddPoint(1, 3, kLinear);
    counter.SetBaseRatio(2);
    counter.SetValueRange(0, 100);
    const ExtendedCurve counted(counter.Snapshot(), rules);
    EXPECT_EQ(counted.GetValue(10.4, true).AsInt(), 62);
    EXPECT_EQ(counted.GetValue(10.4, true).Kind(), int(ValAny::kInt));
    EXPECT_EQ(counted.GetValue(100.0, true).AsInt(), 100);
    EXPECT_EQ(counted.GetValue(-0.5, false).AsInt(), 3);
    Parameter text(std::string("one"));
    text.AddPoint(0, "one", kLinear);
    text.AddPoint(1, "two", kLinear);
    text.AddPoint(3, "one", kLinear);
    EXPECT_EQ(ExtendedCurve(text.Snapshot(), rules).GetValue(301.5, false).AsString(), "two");
    EXPECT_THROW(ExtendedCurve(text.Snapshot(), rules).GetAreaFromTo(0, 9), core::AnyBadAccess);
    Parameter path(Pointd{0, 0});
    path.AddPointEx(0, Pointd{0, 0}, KeyframeInterpolationType::Bezier);
    path.AddPointEx(2, Pointd{4, 2}, KeyframeInterpolationType::Bezier);
    double times[] = {-1.0, 3.0, kNan};
    Pointd places[3];
    rules.before = OutsideRule::Linear;
    ExtendedCurve(path.Snapshot(), rules).GetValues(times, 3, false, places);
    EXPECT_NEAR(places[0].x, -2, 1e-12);
    EXPECT_NEAR(places[1].y, 3, 1e-12);
    EXPECT_EQ(places[2].x, 4);
    EXPECT_EQ(ExtendedCurve(Parameter().Snapshot(), rules).GetValue(5, false).AsInt(), 0);
    // So little before it that a cycle more is where it begins.
    rules.before = OutsideRule::Loop;
    const ExtendedCurve looped(counter.Snapshot(), rules);
    EXPECT_EQ(looped.GetValue(-1e-300, false).AsInt(), 0);
    EXPECT_EQ(looped.GetValue(-0.25, false).AsInt(), 4);
}

}  // namespace
