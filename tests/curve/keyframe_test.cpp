#include <core/curve/time_value_pair.h>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using core::KeyframeInterpolationType;
using core::TimeValuePair;
using Fields = std::vector<double>;

/// Everything a keyframe holds but its value, as one number per field.
Fields FieldsOf(const TimeValuePair& pair) {
    Fields fields = {pair.GetTime(), static_cast<double>(pair.GetInterpolation()), 0, 0, 0, 0};
    pair.GetLeftDerivativeEx(fields[2], fields[3]);
    pair.GetRightDerivativeEx(fields[4], fields[5]);
    EXPECT_TRUE(pair.GetLeftDerivative() == fields[2] && pair.GetRightDerivative() == fields[4]);
    return fields;
}

TEST(TimeValuePair, StartsAtTimeZeroAsIntegerZeroAndExtrapolates) {
    TimeValuePair pair;
    EXPECT_EQ((Fields{0, 26, 0, 0, 0, 0}), FieldsOf(pair));
    EXPECT_TRUE(pair.GetValue().Kind() == 2 && pair.GetValue().AsInt() == 0);
}

TEST(TimeValuePair, CopiesAreDeepAndComplete) {
    TimeValuePair copy, moved;
    {
        TimeValuePair pair(1.5, "text", KeyframeInterpolationType::Hold);
        pair.SetLeftDerivativeEx(7, 2);
        pair.SetRightDerivativeEx(8, 4);
        pair.SetLeftDerivative(1);  // the X of the handle alone
        pair.SetRightDerivative(3);
        copy = pair;
        pair.SetValue("another");
        TimeValuePair temporary = copy;
        moved = std::move(temporary);
    }
    for (const TimeValuePair& pair : {copy, moved}) {
        EXPECT_EQ((Fields{1.5, 6, 1, 2, 3, 4}), FieldsOf(pair));
        EXPECT_EQ("text", pair.GetValue().AsString());
    }
}

}  // namespace
