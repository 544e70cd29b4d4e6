#include <core/curve/parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "support/curve_words.h"
#include "support/logged.h"

namespace {

void ExpectArea(const Parameter& parameter, const Curve& curve, double from, double to) {
    plain::Quadrature expected = plain::Integrate(curve, from, to);
    EXPECT_NEAR(expected.area, Area(parameter, from, to), expected.tolerance + 1e-300)
        << "from " << from << " to " << to << "\n"
        << plain::Print(curve);
}

/// How far apart neighbouring times are in area: no inverse can do better.
double Granularity(const Curve& curve, double time) {
    double value = std::fabs(plain::SampleAt(curve, time).value) +
                   std::fabs(plain::SampleAt(curve, std::nextafter(time, -kInfinity)).value);
    return 2 * value * (std::nextafter(std::fabs(time), kInfinity) - std::fabs(time));
}

/// Holds one answer of the inverse against the area itself: that it is an answer,
/// and that none comes before it; or, where there is none, that none exists.
void ExpectFirstTime(const Parameter& parameter, const Curve& curve, double start, double area) {
    double answer = parameter.SolveTimeBaseArea(start, area);
    double sign = area < 0 ? -1.0 : 1.0;
    double tolerance = 1e-9 * std::max(1.0, std::fabs(area));
    char line[160];
    std::snprintf(line, sizeof line, "start %.17g, area %.17g, answer %.17g\n", start, area,
                  answer);
    SCOPED_TRACE(line + plain::Print(curve));

    double reached = Area(parameter, start, answer);
    bool solved = std::fabs(reached - area) <= tolerance + Granularity(curve, answer) &&
                  sign * (answer - start) >= 0;
    double until = answer;
    if (!solved) {
        ASSERT_EQ(curve.back().time, answer) << "reaches " << reached;
        double span = curve.back().time - curve.front().time + 1.0;
        until = sign > 0 ? std::max(start, curve.back().time) + span
                         : std::min(start, curve.front().time) - span;
    }
    const int steps = 200;
    for (int step = 0; step <= steps; ++step) {
        double time = start + (until - start) * step / steps;
        if (solved && sign * (until - time) <= 1e-9 * std::fabs(until)) {
            break;
        }
        ASSERT_LT(sign * (Area(parameter, start, time) - area),
                  tolerance + Granularity(curve, time))
            << "is reached at " << time;
    }
}

TEST(Area, TheGalleryIntegratesAddsUpAndInverts) {
    Dice dice(12);
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        Parameter parameter = gallery::Build(exhibit);
        Curve curve = plain::ReadBack(parameter);
        double span = curve.back().time - curve.front().time + 0.1;
        auto anyTime = [&] {
            return dice.OneIn(3)
                       ? dice.Pick(curve).time
                       : dice.Between(curve.front().time - span / 3, curve.back().time + span / 3);
        };
        // The quadrature searches linearly: a long curve costs it dearly.
        const int rounds = curve.size() > 50 ? 4 : 30;
        for (int n = 0; n < rounds; ++n) {
            double a = anyTime();
            double b = anyTime();
            double c = anyTime();
            ExpectArea(parameter, curve, a, b);
            EXPECT_EQ(Area(parameter, a, b), -Area(parameter, b, a));
            double scale = 0.0;
            for (double time : {a, b, c}) {
                scale += 2 * std::fabs(Area(parameter, curve.front().time, time));
            }
            EXPECT_NEAR(Area(parameter, a, c), Area(parameter, a, b) + Area(parameter, b, c),
                        1e-12 * scale + Granularity(curve, b));
            ExpectFirstTime(parameter, curve, a, Area(parameter, a, b));
            ExpectFirstTime(parameter, curve, a, dice.Between(-2, 2) * Area(parameter, b, c));
        }
        EXPECT_EQ(0.0, Area(parameter, span, span));
    }
}

TEST(Area, TheInverseIsTheFirstTimeOfAll) {
    const Curve standstill = {{0, 1, 6}, {2, 0, 6}, {5, 0, 9}, {6, 2, 6}, {8, 0, 6}};
    const Curve turning = {{0, 1, 1, {}, {-1, 0}}, {2, -1, 1}};
    const Curve late = {{1, 0, 6}, {2, 4, 6}};
    const Curve single = {{1, 2, 7}};
    struct Row {
        const char* name;
        Curve curve;
        double start, area, expected, tolerance;
    };
    const Row rows[] = {
        {"nothing to go, standing still", standstill, 3, 0, 3, 0},
        {"the start of a standstill", standstill, 0, 2, 2, 1e-9},
        {"out of a standstill", standstill, 3, 1, 6, 1e-9},
        {"the last standstill", standstill, 0, 7, 8, 1e-9},
        {"never, so the last keyframe", standstill, 0, 7.5, 8, 0},
        {"never from behind it either", standstill, 10, 1, 8, 0},
        {"backwards over a standstill", standstill, 10, -4, 6, 1e-9},
        {"the first of two times", turning, 0, 0.375, 0.5, 1e-9},
        {"where the speed turns", turning, 0, 0.5, 1, 1e-4},
        {"beyond where the speed turns", turning, 0, 0.6, 2, 0},
        {"never before the first keyframe", late, 0, -1, 2, 0},
        {"a single keyframe", single, 0, 8, 4, 1e-9},
        {"a single keyframe, backwards", single, 0, -8, -4, 1e-9},

        {"from no time", standstill, kNan, 1, 8, 0},
        {"to no area", standstill, 0, kNan, 8, 0},
        {"from the end of time", standstill, kInfinity, 1, 8, 0},
        {"to an endless area", late, 0, kInfinity, 2, 0},
        {"to an endless area, backwards", single, 0, -kInfinity, 1, 0},
    };
    for (const Row& row : rows) {
        Parameter parameter = plain::Build(row.curve);
        EXPECT_NEAR(row.expected, parameter.SolveTimeBaseArea(row.start, row.area), row.tolerance)
            << row.name;
    }
    const std::vector<std::string> told =
        support::Logged([] { EXPECT_EQ(5.0, Parameter().SolveTimeBaseArea(5.0, 1.0)); });
    ASSERT_EQ(told.size(), 1U);
    EXPECT_NE(told[0].find("SolveTimeBaseArea line[2228]"), std::string::npos) << told[0];
}

TEST(Area, EveryTurnOfASpeedThatSwingsAroundZeroCounts) {
    for (double end : {0.0, 0.0001, -0.0001}) {
        const Curve swings = {{0, 1, 24},
                              {3, end, 23},
                              {4, end - 1, 22},
                              {5, end, 12, {}, {-9, 0}},
                              {6, end, 0, {9, 0}, {0.9, 40}},
                              {7, end, 7, {0.1, 40}, {9, 0}},
                              {8, end, 6, {9, 0}}};
        Parameter parameter = plain::Build(swings);
        for (int from = 0; from <= 80; ++from) {
            for (int to = 0; to <= 8; ++to) {
                ExpectFirstTime(parameter, swings, from * 0.1, Area(parameter, from * 0.1, to));
                ExpectFirstTime(parameter, swings, from * 0.1, -Area(parameter, from * 0.1, to));
            }
        }
    }
}

TEST(Area, CountsWhatADoubleParameterAnswers) {
    const Curve curve = {{0, 1, 1}, {2, 3.5, 7}, {4, 2, 17}, {5, 1, 6}};
    Parameter reference = plain::BuildAutomatic(curve);
    for (double ratio : {2.0, -0.5, 0.0}) {
        Parameter parameter = plain::BuildAutomatic(curve);
        parameter.SetValueRange(1.5, 2.0);  // areas are not clamped
        EXPECT_NEAR(Area(reference, -1, 6), Area(parameter, -1, 6), 1e-12);
        parameter.SetBaseRatio(ratio);
        EXPECT_NEAR(ratio * Area(reference, -1, 6), Area(parameter, -1, 6), 1e-12);
        // Positive areas are sought forwards, negative ones backwards: never here
        // unless the ratio is positive.
        double area = ratio == 0.0 ? 1.0 : Area(parameter, 1, 3);
        EXPECT_NEAR(ratio > 0.0 ? 3.0 : 5.0, parameter.SolveTimeBaseArea(1, area), 1e-9);
    }
    Parameter single = plain::BuildAutomatic({{1, 2, 7}});
    single.SetBaseRatio(3.0);  // one keyframe answers its value as stored
    EXPECT_EQ(8.0, Area(single, 0, 4));
    EXPECT_EQ(0.0, Area(Parameter(), 0, 4));
    for (double never : {kInfinity, -kInfinity, kNan}) {
        EXPECT_EQ(0.0, Area(reference, never, 1));
        EXPECT_EQ(0.0, Area(reference, 1, never));
    }
}

// As that of a curve of small values, as often as the values are larger: but for handles whose
// X is no value and which meet a rule that reads it as one.
TEST(Area, SaturatesInsteadOfOverflowing) {
    const double larger = 0x1p1000;
    const double most = std::numeric_limits<double>::max();
    const Times bounds = {-most, -1e300, -3, 0.25, 1.75, 4, 1e8, 1e300, most};
    Dice dice(19);
    for (int n = 0; n < 400; ++n) {
        Curve small;
        Curve large;
        for (int i = dice.Below(5); i >= 0; --i) {
            // Differences of the large values are finite.
            small.push_back({4.0 - i, dice.Between(-8e6, 8e6), dice.Pick(gallery::Types())});
            large.push_back(small.back());
            large.back().value *= larger;
        }
        const double from = dice.Pick(bounds);
        const double to = dice.Pick(bounds);
        const double area = Area(plain::BuildAutomatic(small), from, to);
        const double expected = std::clamp(area * larger, -most, most);
        EXPECT_NEAR(expected, Area(plain::BuildAutomatic(large), from, to),
                    1e-9 * std::fabs(expected) + larger)
            << from << " to " << to << " of\n"
            << plain::Print(small);
    }
}

}  // namespace
