#include <core/curve/parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

/// What a curve answers, as text: every bit of its samples, keyframes and handles counts.
std::string Answers(Parameter& curve) {
    std::string all = curve.Serialize();
    const auto add = [&all](double x) { all.append(reinterpret_cast<const char*>(&x), sizeof x); };
    for (int i = -5; i < 1010; i += 3) {
        add(curve.GetValue(i, false).AsDouble());
    }
    for (int i = 0; i < curve.GetKeyFramesCount(); ++i) {
        double x[4];
        curve.GetPointControlParamEx(i, x[0], x[1], x[2], x[3]);
        for (const double number : x) {
            add(number);
        }
        add(curve.GetPointTime(i));
    }
    return all;
}

/// The same keyframes in a curve that was never edited, and so has nothing left over.
void ExpectAsNew(Parameter& curve, const std::map<double, double>& model) {
    ASSERT_EQ(static_cast<int>(model.size()), curve.GetKeyFramesCount());
    Parameter fresh;
    int index = 0;
    for (const auto& [time, value] : model) {
        ASSERT_EQ(time, curve.GetPointTime(index));
        ASSERT_EQ(value, curve.GetPointValue(index).AsDouble());
        ASSERT_EQ(index, curve.GetPointIndex(time));
        fresh.AddPoint(time, value, curve.GetInterpolationType(index++));
    }
    for (int i = 0; i < index; ++i) {
        double a, b, c, d;
        curve.GetPointControlParamEx(i, a, b, c, d);
        fresh.SetPointControlParamEx(i, a, b, c, d);
    }
    EXPECT_EQ(Answers(fresh), Answers(curve));
    for (double from = -5; from < 1010; from += 101.5) {
        for (double to = -5; to < 1010; to += 77) {
            const double area = Area(fresh, from, to);
            EXPECT_NEAR(area, Area(curve, from, to), 1e-8);
            if ((area > 0.0) == (to > from)) {
                const double time = curve.SolveTimeBaseArea(from, area);
                EXPECT_NEAR(area, Area(fresh, from, time), 1e-8 + 2e-9 * std::fabs(area));
            }
        }
    }
}

/// One random edit, of the curve and of its model.
void Edit(Parameter& curve, std::map<double, double>& model, Dice& dice) {
    static const std::vector<int> types = {1, 6, 7, 9, 12, 0, 13, 18, 24, 25};
    const auto type = static_cast<KeyframeInterpolationType>(dice.Pick(types));
    const int count = curve.GetKeyFramesCount();
    const int index = dice.Below(count);
    const auto at = std::next(model.begin(), index);
    // Whole numbers, so that keyframes meet now and then, and stay apart otherwise.
    const double time = dice.Below(1000);
    const double value = dice.Between(-5, 5);
    switch (dice.Below(count < 400 ? 8 : 12)) {
        case 0:
        case 1:
        case 2:
            curve.AddPoint(time, value, type);
            model[time] = value;
            break;
        case 3:
            EXPECT_TRUE(curve.SetPointValue(index, value));
            at->second = value;
            break;
        case 4:
            EXPECT_TRUE(curve.SetPointInterpolationType(index, type));
            break;
        case 5:
            EXPECT_TRUE(curve.SetPointControlLeftParam(index, dice.Between(0, 1), value));
            break;
        case 6:
            if (model.count(time) == 0) {
                EXPECT_TRUE(curve.SetPointTime(index, time));
                model[time] = at->second;
                model.erase(at);
            }
            break;
        case 7:
            if (dice.OneIn(40) && count > 100) {
                curve.RemoveKeyFramesAfterTime(time);
                model.erase(model.upper_bound(time), model.end());
                curve.AddPoint(0, value, type);
                model[0] = value;
            }
            break;
        default:
            EXPECT_TRUE(curve.RemovePoint(index));
            model.erase(at);
    }
}

TEST(Versions, EditsLeaveNothingOfTheCurveBefore) {
    for (std::uint64_t seed = 0; seed < 4; ++seed) {
        const testing::ScopedTrace trace(__FILE__, __LINE__, seed);
        Dice dice(seed);
        Parameter curve(0.0, 1.0, kLinear, core::ParameterDouble);
        std::map<double, double> model = {{0, 1}};
        for (int n = 0; n < 1500 && !testing::Test::HasFailure(); ++n) {
            Edit(curve, model, dice);
            curve.GetValue(dice.Between(0, 1000), false);
            if (n % 50 == 0) {
                Area(curve, 0, 500);
            }
            if (n % 300 == 0) {
                ExpectAsNew(curve, model);
            }
        }
    }
}

TEST(Versions, CopiesStayWhatTheyAreWhoeverIsEdited) {
    Dice dice(7);
    Parameter curve(0.0, 1.0, kLinear, core::ParameterDouble);
    std::map<double, double> model = {{0, 1}};
    struct Copy {
        Parameter curve;
        std::map<double, double> model;
        std::string answers;
    };
    std::vector<Copy> copies;
    for (int n = 0; n < 1200 && !testing::Test::HasFailure(); ++n) {
        Edit(curve, model, dice);
        if (n % 40 == 0) {
            // Some are asked at once, others when the curve has moved on.
            Parameter copy(curve);
            copies.push_back({copy, model, dice.OneIn(2) ? Answers(copy) : Answers(curve)});
        }
        if (n % 100 == 99) {
            Copy& old =
                copies[static_cast<std::size_t>(dice.Below(static_cast<int>(copies.size())))];
            EXPECT_EQ(old.answers, Answers(old.curve));
            Edit(old.curve, old.model, dice);
            ExpectAsNew(old.curve, old.model);
            old.answers = Answers(old.curve);
            curve = old.curve;
            model = old.model;
        }
    }
    for (Copy& copy : copies) {
        EXPECT_EQ(copy.answers, Answers(copy.curve));
        ExpectAsNew(copy.curve, copy.model);
    }
}

// A search at random in one as long as this starts from an index of its own.
TEST(Versions, LongCurvesFindTheKeyframeHoweverTheTimesLie) {
    Dice dice(3);
    constexpr double kFar = std::numeric_limits<double>::infinity();
    const auto jitter = [&dice] { return dice.Between(0.0, 0.9); };
    const struct {
        const char* name;
        std::function<double(int)> timeOf;
    } laws[] = {
        {"evenly", [](int i) { return i; }},
        {"about evenly", [&](int i) { return i + jitter(); }},
        {"in bunches", [&](int i) { return i / 40 * 1e3 + std::pow(1.7, i % 40) * 1e-6; }},
        {"ever denser", [](int i) { return -1e6 / (i + 1); }},
        {"too far apart for differences", [&](int i) { return (i + jitter() - 35e3) * 5.1e303; }},
    };
    for (const auto& law : laws) {
        const testing::ScopedTrace trace(__FILE__, __LINE__, law.name);
        std::vector<double> times;
        std::vector<core::TimeValuePair> keyframes;
        for (int i = 0; i < 70'000; ++i) {
            times.push_back(law.timeOf(i));
            keyframes.emplace_back(times.back(), times.back(), KeyframeInterpolationType::Hold);
        }
        Parameter curve;
        curve.AddPoints(keyframes.data(), keyframes.size());
        for (int round = 0; round < 3; ++round) {
            ASSERT_EQ(static_cast<int>(times.size()), curve.GetKeyFramesCount());
            for (int n = 0; n < 4'000; ++n) {
                const double key = dice.Pick(times);
                const double t = n % 3 == 0 ? key : std::nextafter(key, n % 3 == 1 ? -kFar : kFar);
                const auto behind = std::upper_bound(times.begin(), times.end(), t);
                const double held = behind == times.begin() ? times.front() : behind[-1];
                ASSERT_EQ(held, curve.GetValue(t, false).AsDouble()) << t;
            }
            // Leaves thin blocks, and a place where the index would be wrong.
            const int first = dice.Below(60'000);
            for (int i = 0; i < 100; ++i) {
                ASSERT_TRUE(curve.RemovePoint(first));
                times.erase(times.begin() + first);
            }
        }
    }
}

}  // namespace
