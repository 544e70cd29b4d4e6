#include <core/curve/shape.h>
#include <core/curve/snapshot.h>
#include <core/curve/time_unit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "support/curve_words.h"

namespace {

using core::CurveSnapshot;

// The gallery, and curves of random types with handles of their own.
std::vector<std::pair<std::string, Parameter>> Specimens() {
    std::vector<std::pair<std::string, Parameter>> all;
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        all.emplace_back(exhibit.name, gallery::Build(exhibit));
    }
    Dice dice(8);
    for (int round = 0; round < 150; ++round) {
        Curve keys;
        for (int i = 0; i < 5; ++i) {
            keys.push_back(RandomKey(dice, i * 0.7 - 1, dice.Pick(gallery::Types())));
        }
        all.emplace_back(plain::Print(keys), plain::Build(keys));
        all.back().second.SetBaseRatio(dice.OneIn(2) ? 1.0 : -2.5);
    }
    return all;
}

double ValueAt(const CurveSnapshot& curve, double t) {
    return curve.GetValue(t, false).AsDouble();
}

struct SegmentOf {
    double from, to;
    bool isSolved;  // by bisection: its samples are stairs of 5e-05 s
    // Where ticks begin, such a segment jumps.
    bool MeetsUnits() const { return from < core::kFirstTickCount && to >= core::kFirstTickCount; }
};
std::vector<SegmentOf> Segments(const CurveSnapshot& curve) {
    std::vector<SegmentOf> segments;
    for (int i = 0; i + 1 < std::min(curve.GetKeyFramesCount(), 40); ++i) {
        const core::TimeValuePair a = curve.GetKeyframe(i);
        const core::TimeValuePair b = curve.GetKeyframe(i + 1);
        const int type0 = static_cast<int>(a.GetInterpolation());
        const int type1 = static_cast<int>(b.GetInterpolation());
        segments.push_back(
            {a.GetTime(), b.GetTime(),
             (type0 >= 16 && type0 <= 23) || plain::IsBezier(type0) || plain::IsBezier(type1)});
    }
    return segments;
}

// By the mean value theorem, every difference quotient is a slope between its times.
TEST(Shape, SlopesAreDifferenceQuotients) {
    int compared = 0;
    for (auto& [name, parameter] : Specimens()) {
        const CurveSnapshot curve = parameter.Snapshot();
        for (const SegmentOf& segment : Segments(curve)) {
            const double dt = segment.to - segment.from;
            if (dt < 1e-3 || segment.MeetsUnits()) {
                continue;
            }
            const double h = dt * (segment.isSolved ? 0.03 : 1e-4);
            for (double u = 0.1; u < 0.95; u += 0.13) {
                const double t = segment.from + u * dt;
                const double quotient = (ValueAt(curve, t + h) - ValueAt(curve, t - h)) / (2 * h);
                double low = kInfinity;
                double high = -kInfinity;
                for (int i = -40; i <= 40; ++i) {
                    const core::CurveSlopes slopes = core::SlopesAt(curve, t + h * i / 40);
                    low = std::min({low, slopes.before, slopes.after});
                    high = std::max({high, slopes.before, slopes.after});
                }
                const double most = std::max(std::fabs(low), std::fabs(high));
                const double slack =
                    most * (segment.isSolved ? 1.5e-4 / (plain::Seconds(t + h) - plain::Seconds(t))
                                             : 1e-3) +
                    1e-12 * std::fabs(ValueAt(curve, t)) / h + 0.1 * (high - low);
                ASSERT_LE(low - slack, quotient) << name << t;
                ASSERT_GE(high + slack, quotient) << name << t;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 4000);
}

TEST(Shape, SlopesHaveTwoSidesAtKeyframesAndCorners) {
    Parameter curve;
    curve.AddPoint(0, 0.0, kLinear);
    curve.AddPoint(2, 4.0, kLinear);
    curve.AddPoint(3, 1.0, KeyframeInterpolationType::EaseOutBounce);
    curve.AddPoint(4, 2.0, KeyframeInterpolationType::Hold);
    curve.SetBaseRatio(10.0);
    const auto expect = [&](double t, double before, double after) {
        const core::CurveSlopes slopes = core::SlopesAt(curve.Snapshot(), t);
        EXPECT_NEAR(before, slopes.before, 1e-9) << t;
        EXPECT_NEAR(after, slopes.after, 1e-9) << t;
    };
    expect(0, 0, 20);
    expect(2, 20, -30);
    expect(3 + 4.0 / 11, 55, -27.5);  // a corner
    expect(4, 6.875, 0);
    expect(9, 0, 0);
    Parameter upright;
    upright.AddPoint(0, 0.0, KeyframeInterpolationType::EaseOutCirc);
    upright.AddPoint(1, 1.0, kLinear);
    EXPECT_EQ(kInfinity, core::SlopesAt(upright.Snapshot(), 0).after);
    for (Parameter* each : {&upright, &curve}) {
        const core::CurveSlopes slopes = core::SlopesAt(each->Snapshot(), kNan);
        EXPECT_TRUE(std::isnan(slopes.before) && std::isnan(slopes.after));
        each->RemoveKeyFramesAfterTime(0);
    }
    EXPECT_TRUE(std::isnan(core::SlopesAt(curve.Snapshot(), kNan).before));
    EXPECT_EQ(0, core::SlopesAt(curve.Snapshot(), 0).after);
}

TEST(Shape, ExtremesBoundSamplesAndAreReached) {
    Dice dice(9);
    for (auto& [name, parameter] : Specimens()) {
        const CurveSnapshot curve = parameter.Snapshot();
        const double first = curve.GetKeyframe(0).GetTime();
        const double last = curve.GetKeyframe(curve.GetKeyFramesCount() - 1).GetTime();
        double span = 0;
        for (int round = 0; round < 6; ++round) {
            const double width = last - first + 1;
            const double from = round == 0 ? first - 1 : first + dice.Between(-0.1, 1.1) * width;
            const double to = round == 0 ? last + 1 : first + dice.Between(-0.1, 1.1) * width;
            const core::ValueExtremes found = core::FindExtremes(curve, to, from);
            // A solver's tolerance moves samples across the ends of the interval.
            span = round == 0 ? found.greatest - found.least : span;
            const double room = round == 0 ? 0 : 0.02 * span;
            const double slack = 1e-12 * (std::fabs(found.least) + std::fabs(found.greatest));
            double low = kInfinity;
            double high = -kInfinity;
            for (int i = 0; i <= 2000; ++i) {
                const double y = ValueAt(curve, from + (to - from) * i / 2000);
                low = std::min(low, y);
                high = std::max(high, y);
            }
            ASSERT_LE(found.least, low + slack + room) << name << from << " " << to;
            ASSERT_GE(found.greatest, high - slack - room) << name << from << " " << to;
            const auto isReached = [&](double value, double time) {
                double nearest = kInfinity;
                for (const double t : {std::nextafter(time, -kInfinity), time}) {
                    nearest = std::min(nearest, std::fabs(ValueAt(curve, t) - value));
                }
                return nearest <= 0.02 * span + slack;
            };
            if (name == "EqualTimes") {
                continue;  // all of it lies within the solver's tolerance
            }
            ASSERT_TRUE(isReached(found.least, found.leastTime)) << name << from << " " << to;
            ASSERT_TRUE(isReached(found.greatest, found.greatestTime)) << name << from;
        }
    }
}

TEST(Shape, ValuesAreFoundWhereTheyArePassed) {
    Dice dice(10);
    for (auto& [name, parameter] : Specimens()) {
        const CurveSnapshot curve = parameter.Snapshot();
        const double first = curve.GetKeyframe(0).GetTime();
        const double last = curve.GetKeyframe(curve.GetKeyFramesCount() - 1).GetTime();
        const core::ValueExtremes bounds = core::FindExtremes(curve, first, last);
        const double span = bounds.greatest - bounds.least;
        const double value = bounds.least + dice.Between(0.01, 0.99) * span;
        const Times times = core::FindTimesOfValue(curve, value, first - 1, last + 1);
        ASSERT_TRUE(std::is_sorted(times.begin(), times.end())) << name;
        for (const SegmentOf& segment : Segments(curve)) {
            const double dt = segment.to - segment.from;
            if (dt < 1e-2 || segment.MeetsUnits()) {
                continue;
            }
            const double slack = (segment.isSolved ? 2e-2 : 1e-9) * span;
            const auto at = [&](int i) { return ValueAt(curve, segment.from + dt * i / 200); };
            for (int i = 1; i < 200; ++i) {
                const double a = at(i - 1) - value;
                const double b = at(i) - value;
                const double from = segment.from + dt * (i - 1) / 200;
                const auto found = std::lower_bound(times.begin(), times.end(), from);
                const bool isThere = found != times.end() && *found <= from + dt / 200;
                if (a * b < 0 && std::min(std::fabs(a), std::fabs(b)) > slack) {
                    ASSERT_TRUE(isThere) << name << value << " at " << from;
                }
                if (isThere) {
                    ASSERT_LE(std::min(a, b), slack) << name << value << " at " << *found;
                    ASSERT_GE(std::max(a, b) + slack, 0) << name << value << " at " << *found;
                }
            }
        }
    }
    Parameter rests;
    rests.AddPoint(0, 1.0, kLinear);
    rests.AddPoint(1, 2.0, KeyframeInterpolationType::Hold);
    rests.AddPoint(2, 2.0, kLinear);
    rests.AddPoint(3, 2.0, kLinear);
    rests.AddPoint(4, 0.0, kLinear);
    rests.AddPoint(5, 2.0, KeyframeInterpolationType::Hold);
    rests.AddPoint(6, 7.0, kLinear);
    const CurveSnapshot curve = rests.Snapshot();
    EXPECT_EQ((Times{1, 5}), core::FindTimesOfValue(curve, 2, -kInfinity, 5.5));
    EXPECT_EQ((Times{4}), core::FindTimesOfValue(curve, 0, -kInfinity, kInfinity));
    EXPECT_EQ((Times{6}), core::FindTimesOfValue(curve, 7, 0, kInfinity));
    EXPECT_EQ((Times{}), core::FindTimesOfValue(curve, 5, 0, kInfinity));
    Parameter flag(true);
    flag.AddPoint(0, false, kLinear);
    flag.AddPoint(2, true, kLinear);
    flag.AddPoint(3, false, kLinear);
    EXPECT_EQ((Times{2}), core::FindTimesOfValue(flag.Snapshot(), 1, 0, 5));
}

}  // namespace
