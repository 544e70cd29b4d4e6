#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace {

using core::KeyframeInterpolationType;
using core::Parameter;
using core::ParameterIterator;

using Times = std::vector<double>;

Parameter Curve(int count) {
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
        Parameter parameter = Curve(count);
        for (bool reverse : {false, true}) {
            Times expected;
            for (int i = 0; i < count; ++i) {
                expected.push_back(reverse ? count - 1 - i : i);
            }
            std::unique_ptr<ParameterIterator> owned(parameter.GetParameterIterator(reverse));
            ParameterIterator local(&parameter, reverse);
            for (ParameterIterator* it : {owned.get(), &local}) {
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
}

TEST(ParameterIterator, CopiesWalkOnTheirOwn) {
    Parameter parameter = Curve(4);
    Parameter other = Curve(1);
    for (bool reverse : {false, true}) {
        ParameterIterator it(&parameter, reverse);
        it.First();
        it.Next();
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
    for (bool reverse : {false, true}) {
        for (int edits = 0; edits < 4; ++edits) {
            Parameter parameter = Curve(6);
            ParameterIterator it(&parameter, reverse);
            int steps = 0;
            for (it.First(); !it.IsDone() && steps < 20; it.Next(), ++steps) {
                if (edits == 0) {
                    parameter.ClearKeyFrames();
                } else if (edits == 1) {
                    parameter.RemovePoint(parameter.GetKeyFramesCount() - 1);
                } else if (edits == 2) {
                    parameter.RemovePoint(0);
                } else {
                    parameter = Curve(2);
                }
                double time = it.Current().GetTime();
                EXPECT_TRUE(time >= 0.0 && time <= 5.0);
            }
            EXPECT_LT(steps, 20);
        }
    }
}

TEST(ParameterIterator, NullAndMovedFromParametersAreDoneAtOnce) {
    Parameter movedFrom = Curve(3);
    Parameter owner = std::move(movedFrom);
    for (Parameter* parameter : {static_cast<Parameter*>(nullptr), &movedFrom}) {
        for (bool reverse : {false, true}) {
            ParameterIterator it(parameter, reverse);
            it.First();
            it.Next();
            EXPECT_TRUE(it.IsDone());
            EXPECT_EQ(0.0, it.Current().GetTime());
        }
    }
}

}  // namespace
