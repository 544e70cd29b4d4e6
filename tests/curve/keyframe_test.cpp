#include <core/curve/time_value_pair.h>

#include <gtest/gtest.h>

#include <utility>

namespace {

using core::KeyframeInterpolationType;
using core::TimeValuePair;

TEST(TimeValuePair, StartsAtTimeZeroAsIntegerZeroAndExtrapolates) {
    for (const TimeValuePair& pair :
         {TimeValuePair(), TimeValuePair(0.0, 0, KeyframeInterpolationType::Extrapolate)}) {
        double x = 1, y = 1;
        EXPECT_EQ(0.0, pair.GetTime());
        EXPECT_EQ(2, pair.GetValue().Kind());
        EXPECT_EQ(0, pair.GetValue().AsInt());
        EXPECT_EQ(26, static_cast<int>(pair.GetInterpolation()));
        pair.GetLeftDerivativeEx(x, y);
        EXPECT_TRUE(x == 0 && y == 0);
        x = y = 1;
        pair.GetRightDerivativeEx(x, y);
        EXPECT_TRUE(x == 0 && y == 0);
    }
}

TEST(TimeValuePair, TheShortDerivativeIsTheXOfTheHandle) {
    TimeValuePair pair(1.0, 2.0, KeyframeInterpolationType::Hermite);
    pair.SetLeftDerivativeEx(3, 4);
    pair.SetRightDerivativeEx(5, 6);
    EXPECT_EQ(3, pair.GetLeftDerivative());
    EXPECT_EQ(5, pair.GetRightDerivative());
    pair.SetLeftDerivative(7);
    pair.SetRightDerivative(8);
    double lx, ly, rx, ry;
    pair.GetLeftDerivativeEx(lx, ly);
    pair.GetRightDerivativeEx(rx, ry);
    EXPECT_TRUE(lx == 7 && ly == 4 && rx == 8 && ry == 6);
}

TEST(TimeValuePair, CopiesAreDeepAndComplete) {
    TimeValuePair copy, moved;
    {
        TimeValuePair pair(1.5, "text", KeyframeInterpolationType::Hold);
        pair.SetLeftDerivativeEx(1, 2);
        pair.SetRightDerivativeEx(3, 4);
        copy = pair;
        pair.SetValue("another");
        TimeValuePair& itself = copy;
        copy = itself;
        TimeValuePair temporary = copy;
        moved = std::move(temporary);
    }
    for (const TimeValuePair& pair : {copy, moved}) {
        double lx, ly, rx, ry;
        pair.GetLeftDerivativeEx(lx, ly);
        pair.GetRightDerivativeEx(rx, ry);
        EXPECT_EQ(1.5, pair.GetTime());
        EXPECT_EQ("text", pair.GetValue().AsString());
        EXPECT_EQ(6, static_cast<int>(pair.GetInterpolation()));
        EXPECT_TRUE(lx == 1 && ly == 2 && rx == 3 && ry == 4);
    }
}

}  // namespace
