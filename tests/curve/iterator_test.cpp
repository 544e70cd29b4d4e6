#include <core/curve/parameter_iterator.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

#include "support/curve_words.h"

namespace {

using core::ParameterIterator;

Parameter CurveOf(int count) {
    Parameter parameter;
    for (int i = 0; i < count; ++i) {
        parameter.AddPoint(i, 10.0 * i, KeyframeInterpolationType::Hermite);
    }
    return parameter;
}

Times Walk(ParameterIterator& it) {
    Times times;
    for (it.First(); !it.IsDone(); it.Next()) {
        times.push_back(it.Current().GetTime());
        EXPECT_EQ(10.0 * times.back(), it.Current().GetValue().AsDouble());
    }
    return times;
}

TEST(ParameterIterator, WalksBothWaysOverCurvesOfAnySize) {
    for (int count : {0, 1, 2, 5}) {
        Parameter parameter = CurveOf(count);
        for (bool reverse : {false, true}) {
            Times expected;
            for (int i = 0; i < count; ++i) {
                expected.push_back(reverse ? count - 1 - i : i);
            }
            std::unique_ptr<ParameterIterator> it(parameter.GetParameterIterator(reverse));
            // It stands at the start of its walk from the beginning.
            EXPECT_EQ(count == 0, it->IsDone());
            EXPECT_EQ(count == 0 ? 0.0 : expected[0], it->Current().GetTime());
            EXPECT_EQ(expected, Walk(*it));
            it->Next();  // past the end it stays there
            EXPECT_TRUE(it->IsDone());
            EXPECT_EQ(KeyframeInterpolationType::Extrapolate, it->Current().GetInterpolation());
            EXPECT_EQ(expected, Walk(*it));
        }
    }
}

TEST(ParameterIterator, CopiesWalkOnTheirOwn) {
    Parameter parameter = CurveOf(4);
    Parameter other = CurveOf(1);
    for (bool reverse : {false, true}) {
        ParameterIterator it(&parameter, reverse);
        it.Next();
        EXPECT_EQ(KeyframeInterpolationType::Extrapolate,
                  ParameterIterator(nullptr, reverse).Current().GetInterpolation());
        ParameterIterator copy = it;
        ParameterIterator assigned(&other, !reverse);
        assigned = it;
        it.Next();
        EXPECT_EQ(reverse ? 1.0 : 2.0, it.Current().GetTime());
        EXPECT_EQ(reverse ? 2.0 : 1.0, copy.Current().GetTime());
        EXPECT_EQ(reverse ? 2.0 : 1.0, assigned.Current().GetTime());
        EXPECT_EQ(4U, Walk(assigned).size());
    }
}

TEST(ParameterIterator, EditsDuringTheWalkNeverLeadOutsideTheStore) {
    const std::function<void(Parameter&)> edits[] = {
        [](Parameter& p) { p.ClearKeyFrames(); },
        [](Parameter& p) { p.RemovePoint(p.GetKeyFramesCount() - 1); },
        [](Parameter& p) { p.RemovePoint(0); },
        [](Parameter& p) { p = CurveOf(2); },
    };
    for (const auto& edit : edits) {
        for (bool reverse : {false, true}) {
            Parameter parameter = CurveOf(6);
            ParameterIterator it(&parameter, reverse);
            int steps = 0;
            for (it.First(); !it.IsDone() && steps < 20; it.Next(), ++steps) {
                edit(parameter);
                auto type = it.Current().GetInterpolation();
                EXPECT_EQ(it.IsDone(), type == KeyframeInterpolationType::Extrapolate);
            }
            EXPECT_LT(steps, 20);
            it.Next();
            parameter = CurveOf(9);
            EXPECT_EQ(9U, Walk(it).size());
        }
    }
}

}  // namespace
