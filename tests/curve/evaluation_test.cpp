#include <core/curve/parameter.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "support/curve_gallery.h"
#include "support/curve_oracle.h"
#include "support/dice.h"

namespace {

using core::KeyframeInterpolationType;
using core::Parameter;
using core::Pointd;
using core::ValAny;
using plain::Curve;
using plain::Key;

const double kInfinity = std::numeric_limits<double>::infinity();
const double kNan = std::numeric_limits<double>::quiet_NaN();

/// Holds one sample against the oracle: bit for bit where the order of operations
/// is part of the rule, else to the rounding of a dozen operations.
void ExpectSample(Parameter& parameter, const Curve& curve, double time) {
    plain::Sample expected = plain::SampleAt(curve, time);
    double actual = parameter.GetValue(time, false).AsDouble();
    if (expected.exact ? actual == expected.value
                       : std::fabs(actual - expected.value) <= 1e-13 * expected.scale) {
        return;
    }
    char line[200];
    std::snprintf(line, sizeof line, "at %.17g: %.17g, expected %s%.17g, off by %g\n", time, actual,
                  expected.exact ? "exactly " : "", expected.value, actual - expected.value);
    ADD_FAILURE() << line << plain::Print(curve);
}

/// Times before, at, just beside, between and after the keyframes.
std::vector<double> TimesAround(const Curve& curve, Dice& dice, int inside) {
    const double firstTick = 166666.66666666666;
    std::vector<double> times = {firstTick, std::nextafter(firstTick, 0.0)};
    for (std::size_t i = 0; i < curve.size(); ++i) {
        double time = curve[i].time;
        for (double t : {time, std::nextafter(time, -kInfinity), std::nextafter(time, kInfinity)}) {
            times.push_back(t);
        }
        for (int n = 0; i + 1 < curve.size() && n < inside; ++n) {
            times.push_back(dice.Between(time, curve[i + 1].time));
        }
    }
    for (double away : {0.5, 1.0, 1000.0, 1e12}) {
        times.push_back(curve.front().time - away);
        times.push_back(curve.back().time + away);
    }
    return times;
}

/// A handle number: often one that the rules treat on its own.
double HandleNumber(Dice& dice, double low, double high) {
    static const std::vector<double> special = {0, 1, 0.5, 1.0 / 3, 2.0 / 3, 1e-21, 1e-6, 1 - 1e-6};
    return dice.OneIn(3) ? dice.Pick(special) : dice.Between(low, high);
}

Key RandomKey(Dice& dice, double time, int type) {
    Key key;
    key.time = time;
    key.type = type;
    key.value = dice.Between(-10, 10);
    key.point = {dice.Between(-10, 10), dice.Between(-10, 10)};
    key.left = {HandleNumber(dice, -0.5, 1.5), dice.Between(-20, 20)};
    key.right = {HandleNumber(dice, -0.5, 1.5), dice.Between(-20, 20)};
    return key;
}

/// Visits every pair of neighbouring types over several kinds of time.
template <class Visit>
void ForEachPairOfTypes(Dice& dice, Visit visit) {
    const std::vector<std::pair<double, double>> spans = {
        {0, 1}, {-3.5, 2.25}, {10, 10.0003}, {2e6, 4e6}, {0, 1e7}};
    for (int type0 : gallery::Types()) {
        for (int type1 : gallery::Types()) {
            for (auto [t0, t1] : spans) {
                visit(Curve{RandomKey(dice, t0, type0), RandomKey(dice, t1, type1)});
            }
        }
    }
}

TEST(Evaluation, EveryPairOfTypesAgreesWithTheOracle) {
    Dice dice(1);
    ForEachPairOfTypes(dice, [&dice](const Curve& curve) {
        Parameter parameter = plain::Build(curve);
        for (double time : TimesAround(curve, dice, 12)) {
            ExpectSample(parameter, curve, time);
        }
        // Far from the curve, powers of the time overflow.
        for (double far : {-kInfinity, -1e300, 1e300, kInfinity}) {
            double expected = curve[far < 0 ? 0 : 1].value;
            EXPECT_EQ(expected, parameter.GetValue(far, false).AsDouble()) << plain::Print(curve);
        }
    });
}

TEST(Evaluation, EveryPairOfTypesAgreesWithTheOracleOnPaths) {
    Dice dice(2);
    ForEachPairOfTypes(dice, [&dice](Curve curve) {
        curve[0].right.x *= 10;
        curve[1].left.x *= 10;
        Parameter parameter = plain::BuildPath(curve);
        for (double time : TimesAround(curve, dice, 4)) {
            Pointd expected = plain::PointAt(curve, time);
            Pointd actual = parameter.GetValue(time, true).AsPoint();
            ASSERT_EQ(expected.x, actual.x) << "at " << time << "\n" << plain::Print(curve);
            ASSERT_EQ(expected.y, actual.y) << "at " << time << "\n" << plain::Print(curve);
        }
    });
}

TEST(Evaluation, TheGalleryAgreesWithTheOracleInAnyOrderOfTimes) {
    Dice dice(3);
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        Parameter parameter = gallery::Build(exhibit);
        Curve curve = plain::ReadBack(parameter);
        std::vector<double> times = TimesAround(curve, dice, 3);
        for (double time : times) {
            ExpectSample(parameter, curve, time);
        }
        for (std::size_t n = 0; n < times.size(); ++n) {
            ExpectSample(parameter, curve, dice.Pick(times));
        }
    }
}

// Saved renderings rely on these bits.
TEST(Evaluation, TimeValueBezierIsTheBisectionBitForBit) {
    const double eps = 5e-05;
    const std::vector<int> types = {0, 1, 2, 3, 4, 5, 7, 9, 13, 14, 15, 6, 27};
    Dice dice(4);
    for (int segment = 0; segment < 3000; ++segment) {
        bool ticks = dice.OneIn(4);
        double start = dice.OneIn(2) ? 0.0 : dice.Between(-100, 100);
        double length = std::pow(10.0, dice.Between(-6, 4));
        double t0 = ticks ? 2e5 + std::fabs(start) * 1e7 : start;
        double t1 = ticks ? t0 + 2 + std::fmin(length, 1000) * 1e7 : t0 + length;
        if (dice.OneIn(20)) {
            t0 = 0.0;
            t1 = 1.2e7;  // the start in seconds, the end in ticks
        }
        Curve curve = {RandomKey(dice, t0, dice.Pick(types)), RandomKey(dice, t1, 2)};
        if (dice.OneIn(3)) {
            curve[1].type = 1;
            curve[0].type = 14;
        }
        Parameter parameter = plain::Build(curve);
        plain::Cubic x = plain::BezierTime(curve[0], curve[1]);
        for (int n = 0; n < 60; ++n) {
            double time = dice.Between(t0, t1);
            if (n % 3 != 0) {
                // Where a round of the bisection only just ends it, or turns.
                double seconds = x.At(dice.Below(1 << 10) * 0x1p-10) + eps * (dice.Below(3) - 1);
                time = plain::Seconds(t1) == t1 ? seconds : seconds * 1e7;
                for (int ulps = dice.Below(4); ulps > 0; --ulps) {
                    time = std::nextafter(time, dice.OneIn(2) ? -kInfinity : kInfinity);
                }
            }
            ExpectSample(parameter, curve, time);
            if (HasFailure()) {
                return;
            }
        }
    }
}

TEST(Evaluation, EasingsAreTheBisectionBitForBit) {
    Dice dice(5);
    for (int type = 16; type <= 23; ++type) {
        for (bool unit : {true, false}) {
            Curve curve = {RandomKey(dice, unit ? 0.0 : -2.75, type),
                           RandomKey(dice, unit ? 1.0 : 7.125, 1)};
            Parameter parameter = plain::Build(curve);
            for (int n = 0; n < 20000; ++n) {
                double progress = dice.Between(0, 1);
                if (n % 2 == 0) {
                    // Where a round of the bisection turns.
                    progress = plain::EasingTime(type, dice.Below(1 << 20) * 0x1p-20);
                    progress = std::nextafter(progress, dice.Below(3) - 1);
                }
                double t0 = curve[0].time;
                ExpectSample(parameter, curve, t0 + progress * (curve[1].time - t0));
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
}

TEST(Evaluation, AnswersWithoutASegment) {
    Parameter empty;
    for (double time : {-kInfinity, 0.0, 1e7, kInfinity, kNan}) {
        EXPECT_EQ(2, empty.GetValue(time, true).Kind());
        EXPECT_EQ(0, empty.GetValue(time, true).AsInt());
    }
    // One keyframe is returned as stored: no ratio, no conversion, no clamp.
    for (const ValAny& stored : {ValAny(5), ValAny(5.5), ValAny(true), ValAny("text")}) {
        Parameter single;
        single.SetBaseRatio(2);
        single.SetValueRange(0.0, 1.0);
        single.AddPoint(1.0, stored, KeyframeInterpolationType::Hermite);
        for (double time : {-kInfinity, 0.0, 1.0, 1e7, kNan}) {
            EXPECT_EQ(stored.Kind(), single.GetValue(time, true).Kind());
        }
    }
    // No time at all comes after the last keyframe; it never spoils the next answer.
    for (int type : gallery::Types()) {
        Parameter parameter = plain::BuildAutomatic({{0, 1, type}, {1, 3, type}});
        EXPECT_EQ(3.0, parameter.GetValue(kNan, false).AsDouble()) << type;
        EXPECT_EQ(1.0, parameter.GetValue(-1.0, false).AsDouble()) << type;
    }
}

TEST(Evaluation, BaseRatioAndIntegersFollowTheParameterType) {
    struct Row {
        const char* name;
        core::ParameterTypeEnum type;
        ValAny ratio;
        double value;
        ValAny expected;
    };
    const Row rows[] = {
        {"no ratio", core::ParameterDouble, nullptr, 2.5, 2.5},
        {"double ratio", core::ParameterDouble, 0.5, 3.0, 1.5},
        {"int ratio", core::ParameterDouble, 3, 2.5, 7.5},
        {"unsigned ratio", core::ParameterDouble, 3u, 2.5, 7.5},
        {"float ratio", core::ParameterDouble, 0.25f, 2.0, 0.5},
        {"zero ratio", core::ParameterDouble, 0.0, 2.0, 0.0},
        {"bool is no ratio", core::ParameterDouble, false, 2.5, 2.5},
        {"text is no ratio", core::ParameterDouble, "2", 2.5, 2.5},
        {"int truncates", core::ParameterInt, nullptr, 2.7, 2},
        {"int truncates toward zero", core::ParameterInt, 1, -2.7, -2},
        {"int ratio multiplies first", core::ParameterInt, 2, 2.7, 5},
        {"a ratio read as integer", core::ParameterInt, 2.9, 2.7, 5},
        {"a ratio below one reads as 0", core::ParameterInt, 0.5, 2.7, 0},
        {"int saturates", core::ParameterInt, 2, 2e9, 2147483647},
        {"int saturates below", core::ParameterInt, 2, -2e9, -2147483647 - 1},
    };
    for (const Row& row : rows) {
        for (auto type :
             {KeyframeInterpolationType::Linear, KeyframeInterpolationType::Hold,
              KeyframeInterpolationType::EaseInCirc, KeyframeInterpolationType::Bezier}) {
            SCOPED_TRACE(row.name + std::string(", type ") +
                         std::to_string(static_cast<int>(type)));
            Parameter parameter;
            parameter.SetParameterType(row.type);
            parameter.AddPoint(0, row.value, type);
            parameter.AddPoint(1, row.value, type);
            parameter.SetBaseRatio(row.ratio);
            ValAny actual = parameter.GetValue(0.3, false);
            ASSERT_EQ(row.expected.Kind(), actual.Kind());
            EXPECT_NEAR(row.expected.AsDouble(), actual.AsDouble(), 1e-12);
        }
    }
    Parameter counter;
    counter.SetParameterType(core::ParameterInt);
    counter.AddPoint(0, -10, KeyframeInterpolationType::Linear);
    counter.AddPoint(20, 10, KeyframeInterpolationType::Linear);
    EXPECT_EQ(2, counter.GetValue(12.7, false).AsInt());
    EXPECT_EQ(-2, counter.GetValue(7.3, false).AsInt());
    EXPECT_EQ(10, counter.GetValue(99, false).AsInt());
}

TEST(Evaluation, ClampsAboveFirstThenBelow) {
    struct Row {
        const char* name;
        core::ParameterTypeEnum type;
        ValAny min, max;
        ValAny value, expected;
    };
    const double most = 1.7976931348623157e308;
    const Row rows[] = {
        {"inside", core::ParameterDouble, 0.0, 1.0, 0.5, 0.5},
        {"above", core::ParameterDouble, 0.0, 1.0, 1.5, 1.0},
        {"below", core::ParameterDouble, 0.0, 1.0, -1.5, 0.0},
        {"bounds crossed, above", core::ParameterDouble, 2.0, 1.0, 1.5, 1.0},
        {"bounds crossed, below", core::ParameterDouble, 2.0, 1.0, 0.5, 2.0},
        {"half a range", core::ParameterDouble, -most, 1.0, 5.0, 1.0},
        {"no range", core::ParameterDouble, -most, most, 5.0, 5.0},
        {"int above", core::ParameterInt, -5, 5, 7, 5},
        {"int below", core::ParameterInt, -5, 5, -7, -5},
        {"int half a range", core::ParameterInt, -2147483647, 5, 7, 5},
        {"int no range", core::ParameterInt, -2147483647, 2147483647, 7, 7},
        {"int saturated without a range", core::ParameterInt, -2147483647, 2147483647, -9e9,
         -2147483647 - 1},
        {"bool above", core::ParameterBool, false, false, true, false},
        {"bool below", core::ParameterBool, true, true, false, true},
        {"bool inside", core::ParameterBool, false, true, true, true},
        {"bool without bools", core::ParameterBool, 0, 0, true, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Parameter parameter;
        parameter.SetParameterType(row.type);
        parameter.AddPoint(0, row.value, KeyframeInterpolationType::Linear);
        parameter.AddPoint(1, row.value, KeyframeInterpolationType::Linear);
        parameter.SetValueRange(row.min, row.max);
        for (double time : {-1.0, 0.5, 2.0}) {
            ValAny clamped = parameter.GetValue(time, true);
            ASSERT_EQ(row.expected.Kind(), clamped.Kind());
            ValAny free = parameter.GetValue(time, false);
            if (row.type == core::ParameterBool) {
                EXPECT_EQ(row.expected.AsBool(), clamped.AsBool());
                EXPECT_EQ(row.value.AsBool(), free.AsBool());
            } else {
                EXPECT_EQ(row.expected.AsDouble(), clamped.AsDouble());
                EXPECT_EQ(row.type == core::ParameterInt ? row.value.AsInt() : row.value.AsDouble(),
                          free.AsDouble());
            }
        }
    }
    // Changing the type does not make up a range.
    for (auto from : {core::ParameterDouble, core::ParameterInt, core::ParameterString}) {
        for (auto to : {core::ParameterDouble, core::ParameterInt}) {
            Parameter parameter;
            parameter.SetParameterType(from);
            parameter.SetParameterType(to);
            parameter.AddPoint(0, -2147483647 - 1, KeyframeInterpolationType::Hold);
            parameter.AddPoint(1, 1e300, KeyframeInterpolationType::Hold);
            EXPECT_EQ(-2147483648.0, parameter.GetValue(0, true).AsDouble());
            EXPECT_EQ(to == core::ParameterInt ? 2147483647.0 : 1e300,
                      parameter.GetValue(1, true).AsDouble());
        }
    }
}

TEST(Evaluation, BoolsAndTextsKeepTheStartOfTheirSegment) {
    Parameter title;
    title.SetParameterType(core::ParameterString);
    Parameter flag;
    flag.SetParameterType(core::ParameterBool);
    const char* texts[] = {"one", "two", "three"};
    for (int i = 0; i < 3; ++i) {
        title.AddPoint(i, texts[i], KeyframeInterpolationType::Linear);
        flag.AddPoint(i, i == 1, KeyframeInterpolationType::EaseInBack);
    }
    struct {
        double time;
        int keyframe;
    } const rows[] = {{-5, 0}, {0, 0}, {0.999, 0}, {1, 1}, {1.5, 1}, {2, 2}, {1e9, 2}};
    for (auto [time, keyframe] : rows) {
        EXPECT_EQ(texts[keyframe], title.GetValue(time, true).AsString()) << time;
        EXPECT_EQ(keyframe == 1, flag.GetValue(time, true).AsBool()) << time;
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(KeyframeInterpolationType::Hold, title.GetInterpolationType(i));
        EXPECT_EQ(KeyframeInterpolationType::Hold, flag.GetInterpolationType(i));
    }
}

TEST(Evaluation, ValuesThatAreNoNumbersThrowAndReleaseTheCurve) {
    for (int type : gallery::Types()) {
        SCOPED_TRACE(type);
        Parameter parameter;
        parameter.AddPoint(0, "text", static_cast<KeyframeInterpolationType>(type));
        parameter.AddPoint(1, 1.0, static_cast<KeyframeInterpolationType>(type));
        parameter.AddPoint(2, 2.0, static_cast<KeyframeInterpolationType>(type));
        EXPECT_THROW(parameter.GetValue(0.5, false), core::AnyBadAccess);
        EXPECT_EQ(2.0, parameter.GetValue(5, false).AsDouble());
        int count = 0;
        std::thread([&] { count = parameter.GetKeyFramesCount(); }).join();
        EXPECT_EQ(3, count);
    }
    // Where a segment is interpolated, booleans count as 0 and 1.
    Parameter mixed;
    mixed.AddPoint(0, false, KeyframeInterpolationType::Linear);
    mixed.AddPoint(2, true, KeyframeInterpolationType::Linear);
    mixed.AddPoint(4, 3.0, KeyframeInterpolationType::Linear);
    EXPECT_NEAR(0.25, mixed.GetValue(0.5, false).AsDouble(), 1e-15);
    EXPECT_NEAR(2.0, mixed.GetValue(3, false).AsDouble(), 1e-15);
}

}  // namespace
