#include <core/curve/motion_path.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "support/curve_words.h"
#include "support/file_rows.h"

using core::MergeTwoMotionDimensionIntoWhole;

namespace {

using Type = KeyframeInterpolationType;
using Path = std::shared_ptr<Parameter>;

double NumberAt(Parameter& parameter, double time) {
    return parameter.GetValue(time, true).AsDouble();
}
Pointd PointAt(Parameter& parameter, double time) {
    return parameter.GetValue(time, true).AsPoint();
}

Times TimesOf(core::IKeyFrame& parameter) {
    Times times;
    for (int i = 0; i < parameter.GetKeyFramesCount(); ++i) {
        times.push_back(parameter.GetPointTime(i));
    }
    return times;
}

/// Times at, beside, between, before and after those given.
Times TimesAround(Times times, Dice& dice, int inside) {
    std::sort(times.begin(), times.end());
    Times all = {times.front() - 1000, times.front() - 0.5, times.back() + 0.5, times.back() + 1e6};
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double time = times[i];
        all.insert(all.end(),
                   {time, std::nextafter(time, -kInfinity), std::nextafter(time, kInfinity)});
        for (int n = 0; i + 1 < times.size() && n < inside; ++n) {
            all.push_back(dice.Between(time, times[i + 1]));
        }
    }
    return all;
}

/// Splits, and holds the parts against the path at many times.
void ExpectSplits(Parameter& path, Dice& dice, int inside) {
    Parameter x;
    Parameter y;
    ASSERT_TRUE(path.SplitIntoTwoMotionDimension(x, y));
    ASSERT_EQ(TimesOf(path), TimesOf(x));
    ASSERT_EQ(TimesOf(path), TimesOf(y));
    // Handles reach up to some 15 away from 0.
    const double rounding = 1e-13;
    for (const double time : TimesAround(TimesOf(path), dice, inside)) {
        const Pointd point = PointAt(path, time);
        ASSERT_NEAR(point.x, NumberAt(x, time), rounding) << "at " << time;
        ASSERT_NEAR(point.y, NumberAt(y, time), rounding) << "at " << time;
    }
    const Path merged = MergeTwoMotionDimensionIntoWhole(x, y);
    ASSERT_EQ(TimesOf(path), TimesOf(*merged));
    for (const double time : TimesAround(TimesOf(path), dice, inside)) {
        const Pointd point = PointAt(path, time);
        const Pointd again = PointAt(*merged, time);
        ASSERT_NEAR(point.x, again.x, rounding) << "merged again, at " << time;
        ASSERT_NEAR(point.y, again.y, rounding) << "merged again, at " << time;
    }
    for (int i = 0; i < path.GetKeyFramesCount(); ++i) {
        const bool isHeld = path.GetInterpolationType(i) == Type::Hold;
        EXPECT_EQ(isHeld ? Type::Hold : Type::ValueBezier, x.GetInterpolationType(i));
        EXPECT_EQ(isHeld, merged->GetInterpolationType(i) == Type::Hold);
    }
}

TEST(Splitting, KeepsTheGalleryAsPaths) {
    Dice dice(22);
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        Curve curve = exhibit.curve;
        for (Key& key : curve) {
            key.point = {dice.Between(-9, 9), dice.Between(-9, 9)};
        }
        Parameter path = plain::BuildPath(curve);
        ExpectSplits(path, dice, 3);
    }
}

TEST(Splitting, PartsFollowEditsAsAutomaticCurvesDo) {
    Parameter path;
    path.SetParameterType(core::ParameterPoint);
    for (int i = 0; i < 3; ++i) {
        path.AddPointEx(i, Pointd{1.0 * i, 2.0 * i}, Type::Bezier);
    }
    Parameter parts[2];
    // The second time to parts that have a curve, and were asked for it.
    for (int round = 0; round < 2; ++round) {
        path.SplitIntoTwoMotionDimension(parts[0], parts[1]);
        for (const int i : {0, 1}) {
            EXPECT_DOUBLE_EQ((i + 1) / 2.0, NumberAt(parts[i], 0.5));
            parts[i].SetPointValue(1, 7.0);
            parts[i].AddPoint(5, 0.0, Type::ValueBezier);
            EXPECT_DOUBLE_EQ(i + 1.0, NumberAt(parts[i], 3.5));
            EXPECT_DOUBLE_EQ(3.5, NumberAt(parts[i], 0.5));
        }
    }
    const Parameter taken(std::move(parts[1]));
    path.SplitIntoTwoMotionDimension(parts[0], parts[1]);
    EXPECT_DOUBLE_EQ(1.0, NumberAt(parts[1], 0.5));
}

// ---------------------------------------------------------------------------
// Merging
// ---------------------------------------------------------------------------

/// How far the merged path may be from a curve between `from` and `to`.
double SpanOf(Parameter& curve, double from, double to) {
    double least = kInfinity;
    double most = -kInfinity;
    for (int i = 0; i <= 64; ++i) {
        const double value = NumberAt(curve, from + (to - from) * i / 64);
        least = std::min(least, value);
        most = std::max(most, value);
    }
    return most - least;
}

/// One dimension of `path` at `time` beside its curve. Where the curve jumps next,
/// the path stands still for the last moments; where its segments are solved for
/// time, the sample itself is that much off.
void ExpectNear(const Curve& keys, Parameter& curve, double actual, double time, double nextKey) {
    const double expected = NumberAt(curve, time);
    double allowed = 1e-12 * (plain::SampleAt(keys, time).scale + std::fabs(expected) + 1);
    const std::size_t after = static_cast<std::size_t>(
        std::upper_bound(keys.begin(), keys.end(), time,
                         [](double t, const Key& key) { return t < key.time; }) -
        keys.begin());
    if (after > 0 && after < keys.size()) {
        const Key& from = keys[after - 1];
        const Key& to = keys[after];
        const double last = std::nextafter(to.time, -kInfinity);
        if (plain::SampleAt(keys, time).bisected || (from.type >= 16 && from.type <= 25)) {
            const double solved = 1.2e-4 * (plain::Seconds(to.time) == to.time ? 1 : 1e7);
            if (to.time - from.time < solved) {
                return;  // sampled to its start alone
            }
            allowed +=
                2e-5 * SpanOf(curve, from.time, last) +
                SpanOf(curve, std::max(from.time, time - solved), std::min(to.time, time + solved));
        }
        if (nextKey - time < 5e-7) {
            allowed += SpanOf(curve, std::max(from.time, time - 5e-7), time);
        }
    }
    ASSERT_NEAR(expected, actual, allowed) << "at " << time << "\n" << plain::Print(keys);
}

void ExpectMerges(const Curve& xKeys, const Curve& yKeys, Dice& dice, int inside) {
    Parameter x = plain::Build(xKeys);
    Parameter y = plain::Build(yKeys);
    const Path path = MergeTwoMotionDimensionIntoWhole(x, y);
    ASSERT_NE(nullptr, path);
    core::ValAny least, most;
    path->Snapshot().GetValueRange(least, most);
    ASSERT_TRUE(least.IsEmpty() && most.IsEmpty());
    Times times = TimesOf(x);
    const Times yTimes = TimesOf(y);
    times.insert(times.end(), yTimes.begin(), yTimes.end());
    std::sort(times.begin(), times.end());
    for (const double time : times) {
        ASSERT_TRUE(path->HasPoint(time)) << "no keyframe at " << time;
    }
    for (const double time : TimesAround(times, dice, inside)) {
        const auto next = std::upper_bound(times.begin(), times.end(), time);
        const double nextKey = next != times.end() ? *next : kInfinity;
        const Pointd point = PointAt(*path, time);
        ExpectNear(xKeys, x, point.x, time, nextKey);
        ExpectNear(yKeys, y, point.y, time, nextKey);
        if (testing::Test::HasFatalFailure()) {
            return;
        }
    }
    const Times merged = TimesOf(*path);
    for (std::size_t i = 1; i < merged.size(); ++i) {
        ASSERT_GT(merged[i] - merged[i - 1], 1e-7);
    }
}

TEST(Merging, KeepsTheGallery) {
    Dice dice(24);
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        Parameter parameter = gallery::Build(exhibit);
        const Curve x = plain::ReadBack(parameter);
        const double first = x.front().time;
        const double length = x.back().time - first;
        const Curve y = {{first + 0.3 * length, 1, 7, {}, {2, 0}},
                         {first + 0.6 * length + 1, 3, 6, {0.5, 0}},
                         {first + length + 3, 2, 1}};
        ExpectMerges(x, y, dice, 4);
        ExpectMerges(y, x, dice, 4);
    }
}

// What a cubic in time expresses needs no keyframe but those of the two curves.
TEST(Merging, AddsNoKeyframeWhereACubicWillDo) {
    for (const support::FileRow& row : support::RowsOf("merged_curves.txt")) {
        Parameter x = plain::Build(gallery::CurveOf(row[""]));
        Parameter y = plain::Build(gallery::CurveOf(row["y"]));
        const Path path = MergeTwoMotionDimensionIntoWhole(x, y);
        ASSERT_EQ(row["keyframes"], std::to_string(path->GetKeyFramesCount())) << row.name;
        if (path->GetKeyFramesCount() == 0) {
            continue;
        }
        Dice dice(25);
        for (int n = 0; n < 100; ++n) {
            const double time = dice.Between(0, 4);
            const Pointd point = PointAt(*path, time);
            if (std::fmod(time, 1) < 0.999) {
                EXPECT_NEAR(x.GetValue(time, false).AsDouble(), point.x, 5e-4) << row.name;
                EXPECT_NEAR(y.GetValue(time, false).AsDouble(), point.y, 5e-4) << row.name;
            }
        }
    }
}

/// How near eased and Bezier segments come, as promised; away from upright
/// tangents.
TEST(Merging, ComesNearToWhatNoCubicExpresses) {
    const Curve line = {{0, 0, 1}, {1, 1, 1}};
    for (int type = 16; type <= 25; ++type) {
        Parameter x = plain::BuildAutomatic({{0, 10, type}, {1, 20, 1}});
        Parameter y = plain::Build(line);
        const Path path = MergeTwoMotionDimensionIntoWhole(x, y);
        EXPECT_LE(path->GetKeyFramesCount(), 65);
        for (int i = 0; i < 1000; ++i) {
            const double time = i * 0.001;
            EXPECT_NEAR(NumberAt(x, time), PointAt(*path, time).x, 10 * 2e-5) << type;
        }
    }
    const std::vector<std::pair<Pointd, Pointd>> handles = {{{0.3, 2}, {0.7, 0}},
                                                            {{1, 0}, {0, 0}},
                                                            {{1, 3}, {1, -3}},
                                                            {{0.9, 0}, {0.1, 1}},
                                                            {{0, 5}, {1, 5}}};
    for (const auto& [right, left] : handles) {
        const Curve curve = {{0, 0, 0, {}, right}, {1, 1, 0, left}};
        Parameter x = plain::Build(curve);
        Parameter y = plain::Build(line);
        const Path path = MergeTwoMotionDimensionIntoWhole(x, y);
        EXPECT_LE(path->GetKeyFramesCount(), 65);
        // The curve itself, by its parameter: what it is sampled to is less exact.
        const auto rise = [](double offset, double slope) {
            return offset == 0 ? slope : offset * slope;
        };
        const plain::Cubic time = plain::BezierTime(curve[0], curve[1]);
        const plain::Cubic value(0, rise(right.x, right.y), 1 + rise(left.x - 1, left.y), 1);
        for (int i = 1; i < 1000; ++i) {
            const double u = i * 0.001;
            const bool upright = std::fabs(time.At(u + 1e-4) - time.At(u - 1e-4)) < 4e-8;
            EXPECT_NEAR(value.At(u), PointAt(*path, time.At(u)).x, upright ? 2e-2 : 1e-4)
                << right.x << ", " << left.x << " at u = " << u;
        }
    }
}

TEST(Merging, AppliesWhatTheTypesDoToSamples) {
    // Base ratios, truncation and booleans are part of a sample; a range is not.
    Parameter x(ValAny(3));
    x.AddPoint(0, 0, kLinear);
    x.AddPoint(10, 5, kLinear);
    x.AddPoint(11, 7, Type::Hold);
    x.AddPoint(12, 1, Type::Hold);
    x.SetBaseRatio(2);
    Parameter y(ValAny(true));
    y.AddPoint(5.5, true, kLinear);
    y.AddPoint(11.5, false, kLinear);
    const Path path = MergeTwoMotionDimensionIntoWhole(x, y);
    EXPECT_TRUE(path->GetValue().AsPoint() == (Pointd{3, 1}));
    for (int i = -10; i < 140; ++i) {
        const double time = i * 0.1 + 0.01;
        const Pointd point = PointAt(*path, time);
        const ValAny flag = y.GetValue(time, false);
        EXPECT_EQ(flag.AsBool() ? 1 : 0, point.y) << "at " << time;
        EXPECT_LE(std::fabs(x.GetValue(time, false).AsInt() - point.x), 1) << "at " << time;
    }
    for (const double time : TimesOf(x)) {
        EXPECT_EQ(x.GetValue(time, false).AsInt(), PointAt(*path, time).x) << "at " << time;
    }
    EXPECT_EQ(14, PointAt(*path, 11.2).x);
    EXPECT_EQ(14, PointAt(*path, 11.99).x);

    Parameter single(2.0, 4.0, kLinear, core::ParameterDouble);
    single.SetBaseRatio(100.0);  // a single keyframe is sampled as it is
    Parameter text(0.0, "x", kLinear, core::ParameterString);
    const Path still = MergeTwoMotionDimensionIntoWhole(single, text);
    EXPECT_TRUE(PointAt(*still, 7) == (Pointd{4, 0}));
    EXPECT_EQ(nullptr, MergeTwoMotionDimensionIntoWhole(*still, single));
    EXPECT_EQ(nullptr, MergeTwoMotionDimensionIntoWhole(single, *still));
    const Path twice = MergeTwoMotionDimensionIntoWhole(single, single);
    EXPECT_TRUE(PointAt(*twice, 7) == (Pointd{4, 4}));
}

TEST(Merging, EndsWhateverTheNumbersAre) {
    Dice dice(26);
    const Times odd = {kNan, kInfinity, -kInfinity, 1e308, -1e308, 5e-324, 0};
    for (int n = 0; n < 3000; ++n) {
        Curve curves[2];
        for (Curve& curve : curves) {
            double time = dice.OneIn(3) ? -1e12 : dice.Between(-2, 2);
            for (int i = dice.Below(5); i > 0; --i) {
                Key key = RandomKey(dice, time, dice.Pick(gallery::Types()));
                for (double* number :
                     {&key.value, &key.left.x, &key.left.y, &key.right.x, &key.right.y}) {
                    *number = dice.OneIn(4) ? dice.Pick(odd) : *number;
                }
                curve.push_back(key);
                time += std::pow(10, dice.Between(-8, 13));
            }
        }
        Parameter x = plain::Build(curves[0]);
        Parameter y = plain::Build(curves[1]);
        const Path path = MergeTwoMotionDimensionIntoWhole(x, y);
        const Times times = TimesOf(*path);
        for (std::size_t i = 1; i < times.size(); ++i) {
            ASSERT_GT(times[i] - times[i - 1], 1e-7) << plain::Print(curves[0]);
        }
        ASSERT_LE(times.size(), 66 * (curves[0].size() + curves[1].size() + 4));
        Parameter again;
        Parameter other;
        ASSERT_TRUE(path->SplitIntoTwoMotionDimension(again, other));
    }
}

}  // namespace
