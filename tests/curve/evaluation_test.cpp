#include <core/curve/any_kind_mismatch.h>
#include <core/curve/parameter.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/curve_words.h"

namespace {

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
Times TimesAround(const Curve& curve, Dice& dice, int inside) {
    const double firstTick = 166666.66666666666;
    Times times = {firstTick, std::nextafter(firstTick, 0.0)};
    for (std::size_t i = 0; i < curve.size(); ++i) {
        double time = curve[i].time;
        times.insert(times.end(),
                     {time, std::nextafter(time, -kInfinity), std::nextafter(time, kInfinity)});
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
            ASSERT_TRUE(expected == actual) << "at " << time << "\n" << plain::Print(curve);
        }
    });
}

TEST(Evaluation, TheGalleryAgreesWithTheOracleInAnyOrderOfTimes) {
    Dice dice(3);
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        Parameter parameter = gallery::Build(exhibit);
        Curve curve = plain::ReadBack(parameter);
        Times times = TimesAround(curve, dice, 3);
        for (double time : times) {
            ExpectSample(parameter, curve, time);
        }
        for (std::size_t n = 0; n < times.size(); ++n) {
            ExpectSample(parameter, curve, dice.Pick(times));
        }
    }
    Pointd even[9];
    Parameter path = plain::BuildPath({{0, 0, 1, {}, {}, {1, 2}}, {5, 0, 1, {}, {}, {3, 9}}});
    path.GetValues(-1.0, 0.75, 9, true, even);
    for (int i = 0; i < 9; ++i) {
        EXPECT_TRUE(path.GetValue(0.75 * i - 1.0, true).AsPoint() == even[i]);
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

TEST(Evaluation, AnswersWithoutASegment) {
    for (double time : {-kInfinity, 0.0, 1.0, 1e7, kInfinity, kNan}) {
        ValAny nothing = Parameter().GetValue(time, true);
        EXPECT_TRUE(nothing.Kind() == ValAny::kInt && nothing.AsInt() == 0);
        // One keyframe is returned as stored: no ratio, no conversion, no clamp.
        for (const ValAny& stored : {ValAny(5), ValAny(true), ValAny("text")}) {
            Parameter single(1.0, stored, KeyframeInterpolationType::Hermite,
                             core::ParameterDouble);
            single.SetBaseRatio(2);
            single.SetValueRange(0.0, 1.0);
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

TEST(Evaluation, RatioThenTruncationThenRangeMakeTheAnswer) {
    const double most = 1.7976931348623157e308;
    const int mostInt = 2147483647;
    const auto kDouble = core::ParameterDouble;
    const auto kInt = core::ParameterInt;
    const auto kBool = core::ParameterBool;
    struct Row {
        const char* name;
        core::ParameterTypeEnum type;
        ValAny value, expected;
        ValAny ratio = nullptr;
        ValAny min = nullptr;
        ValAny max = nullptr;
    };
    const Row rows[] = {
        {"no ratio", kDouble, 2.5, 2.5},
        {"double ratio", kDouble, 3.0, 1.5, 0.5},
        {"int ratio", kDouble, 2.5, 7.5, 3},
        {"float ratio", kDouble, 2.0, 0.5, 0.25f},
        {"zero ratio", kDouble, 2.0, 0.0, 0.0},
        {"bool is no ratio", kDouble, 2.5, 2.5, false},
        {"text is no ratio", kDouble, 2.5, 2.5, "2"},
        {"int truncates", kInt, 2.7, 2},
        {"int truncates toward zero", kInt, -2.7, -2, 1},
        {"int ratio multiplies first", kInt, 2.7, 5, 2},
        {"a ratio read as integer", kInt, 2.7, 5, 2.9},
        {"a ratio below one reads as 0", kInt, 2.7, 0, 0.5},
        {"int saturates", kInt, 2e9, mostInt, 2},
        {"int saturates below", kInt, -2e9, -mostInt - 1, 2},

        {"inside", kDouble, 0.5, 0.5, nullptr, 0.0, 1.0},
        {"above", kDouble, 1.5, 1.0, nullptr, 0.0, 1.0},
        {"below", kDouble, -1.5, 0.0, nullptr, 0.0, 1.0},
        {"above after the ratio", kDouble, 0.75, 1.0, 2.0, 0.0, 1.0},
        {"bounds crossed, above", kDouble, 1.5, 1.0, nullptr, 2.0, 1.0},
        {"bounds crossed, below", kDouble, 0.5, 2.0, nullptr, 2.0, 1.0},
        {"half a range", kDouble, 5.0, 1.0, nullptr, -most, 1.0},
        {"no range", kDouble, 5.0, 5.0, nullptr, -most, most},
        {"int above", kInt, 7, 5, nullptr, -5, 5},
        {"int below", kInt, -7, -5, nullptr, -5, 5},
        {"int half a range", kInt, 7, 5, nullptr, -mostInt, 5},
        {"int saturated without a range", kInt, -9e9, -mostInt - 1, nullptr, -mostInt, mostInt},
        {"bool above", kBool, true, false, nullptr, false, false},
        {"bool below", kBool, false, true, nullptr, true, true},
        {"bool inside", kBool, true, true, nullptr, false, true},
        {"bool without bools", kBool, true, true, nullptr, 0, 0},
    };
    auto describe = [](const ValAny& value) {
        double number = value.Kind() == ValAny::kBool ? value.AsBool() : value.AsDouble();
        return std::to_string(value.Kind()) + ": " + std::to_string(number);
    };
    for (const Row& row : rows) {
        for (int type : {1, 0, 6, 7, 19}) {
            SCOPED_TRACE(row.name + std::string(", type ") + std::to_string(type));
            Parameter parameter;
            parameter.SetParameterType(row.type);
            parameter.AddPoint(0, row.value, static_cast<KeyframeInterpolationType>(type));
            parameter.AddPoint(1, row.value, static_cast<KeyframeInterpolationType>(type));
            parameter.SetBaseRatio(row.ratio);
            Parameter ranged(parameter);
            if (!row.max.IsEmpty()) {
                ranged.SetValueRange(row.min, row.max);
            }
            for (double time : {-1.0, 0.3, 0.3, 2.0}) {
                EXPECT_EQ(describe(row.expected), describe(ranged.GetValue(time, true)));
                EXPECT_EQ(describe(parameter.GetValue(time, true)),
                          describe(ranged.GetValue(time, false)));
            }
        }
    }
}

TEST(Evaluation, ValuesThatAreNoNumbersThrowAndReleaseTheCurve) {
    for (int type : gallery::Types()) {
        SCOPED_TRACE(type);
        Parameter parameter = plain::BuildAutomatic({{0, 1, type}, {1, 1, type}, {2, 2, type}});
        double before = Area(parameter, 0, 2);
        parameter.SetPointValue(0, "text");
        for (const std::function<void()>& ask : std::vector<std::function<void()>>{
                 [&] { parameter.GetValue(0.5, false); }, [&] { Area(parameter, 0, 2); },
                 [&] { parameter.SolveTimeBaseArea(0, 1); }}) {
            try {
                ask();
                ADD_FAILURE();
            } catch (const core::AnyKindMismatch& error) {
                EXPECT_EQ("a text where a number was wanted", error.Message());
            }
        }
        EXPECT_EQ(2.0, parameter.GetValue(5, false).AsDouble());
        std::thread([&] { parameter.SetPointValue(0, true); }).join();  // counts as 1
        EXPECT_NEAR(before, Area(parameter, 0, 2), 1e-12);
    }
    Parameter path(Pointd{});  // of numbers
    path.AddPoint(0, 1.0, kLinear);
    path.AddPoint(1, 3.0, kLinear);
    EXPECT_EQ(2, path.GetValue(0.5, false).AsDouble());
}

}  // namespace
