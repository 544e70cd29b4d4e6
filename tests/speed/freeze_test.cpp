#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <cmath>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/speed_words.h"

namespace {

TEST(Freeze, IsRefusedWhereItCannotBe) {
    for (const support::FileRow& row : support::RowsOf("freezes.txt")) {
        SCOPED_TRACE(row.name);
        const Times numbers = support::NumbersOf(row[""]);
        const double point = numbers[0];
        const double duration = numbers[1];
        const bool isAdded = numbers.size() > 2;
        auto speed = TwoSpeeds();
        ASSERT_TRUE(speed->AddFreezeFrame(3.0, 2.0));
        const int count = speed->GetKeyFramesCount();
        EXPECT_EQ(isAdded, speed->AddFreezeFrame(point, duration));
        EXPECT_NEAR(isAdded ? 9.0 + duration : 9.0, speed->GetRenderTotalTime(), 1e-12);
        if (isAdded) {
            const double middle = speed->PointTimeToRenderTime(point + duration / 2);
            EXPECT_NEAR(numbers[2], speed->GetSourceTime(middle), 1e-9);
            EXPECT_FALSE(speed->AddFreezeFrame(point, duration)) << "twice";
        } else {
            EXPECT_EQ(count, speed->GetKeyFramesCount());
        }
    }
    // While no length is set there is only the start.
    EXPECT_TRUE(SpeedParameter().AddFreezeFrame(0.0, 1.0));
    EXPECT_FALSE(SpeedParameter().AddFreezeFrame(1.0, 1.0));
}

TEST(Freeze, ADurationIsRefusedLikewise) {
    auto speed = TwoSpeeds();
    speed->AddFreezeFrame(3.0, 2.0);
    for (double bad : {0.0, -1.0, -kInfinity, kInfinity, kNan}) {
        EXPECT_FALSE(speed->SetFreezeFrameDuration(0, bad)) << bad;
    }
    EXPECT_FALSE(speed->SetFreezeFrameDuration(-1, 1.0));
    EXPECT_FALSE(speed->SetFreezeFrameDuration(1, 1.0));  // its end is no freeze
    EXPECT_EQ(9.0, speed->GetRenderTotalTime());
    // As short as it likes, but then for good.
    EXPECT_TRUE(speed->SetFreezeFrameDuration(0, 5e-8));
    EXPECT_FALSE(speed->SetFreezeFrameDuration(0, 2.0));
    EXPECT_NEAR(7.0, speed->GetRenderTotalTime(), 1e-7);
}

// In a row, freezes may be placed by what the curve was before the first of them; a question
// in between has it worked out anew.
TEST(Freeze, ARowOfThemIsPlacedAsIfAskedInBetween) {
    for (std::uint64_t seed = 0; seed < 1500; ++seed) {
        Dice dice(seed);
        const bool isPlain = dice.OneIn(2);
        const std::vector<int> plainTypes = {kHold, kLine};
        const std::vector<int> types = isPlain ? plainTypes : gallery::Types();
        const std::vector<double> slow = {0.0, 0.00005, 9e-21, 0.3};
        SpeedKeys keys;
        for (int i = 0; i <= 6; ++i) {
            const double value = dice.OneIn(8) ? dice.Pick(slow) : dice.Between(0.2, 4.0);
            keys.push_back({i * 1.5, value, dice.Pick(types)});
        }
        auto row = Speeds(10, keys);
        auto asked = Speeds(10, keys);
        for (int i = 0; i < 6; ++i) {
            const double point = dice.Between(0, 14);
            const double duration = dice.Between(0.1, 2);
            asked->GetRenderTotalTime();
            ASSERT_EQ(asked->AddFreezeFrame(point, duration), row->AddFreezeFrame(point, duration));
        }
        const int count = row->GetKeyFramesCount();
        ASSERT_EQ(asked->GetKeyFramesCount(), count);
        for (int i = 0; i < count; ++i) {
            const double speed = asked->GetPointValue(i).AsDouble();
            EXPECT_NEAR(speed, row->GetPointValue(i).AsDouble(), 1e-9 * (1 + std::fabs(speed)))
                << "seed " << seed << ", keyframe " << i;
        }
        const double length = asked->GetRenderTotalTime();
        EXPECT_NEAR(length, row->GetRenderTotalTime(), 1e-9 * length) << "seed " << seed;
    }
}

// The mapping jumps back where a curve starts late; without its keyframe the second
// instant would be reached before the first.
TEST(Freeze, NeverStartsBeforeTheOneBeforeItEnds) {
    auto speed = Speeds(10, {{2, 4, kHold}, {6, 1, kHold}, {10, 1, kHold}});
    ASSERT_TRUE(speed->AddFreezeFrame(6.0, 1.0) && speed->AddFreezeFrame(7.5, 1.0));
    speed->RemovePoint(speed->GetPointIndex(6.5));
    EXPECT_EQ(3.0, speed->GetRenderTime(6.0));
    EXPECT_EQ(4.0, speed->GetRenderTime(6.5));
    EXPECT_EQ(6.5, speed->GetSourceTime(4.5));
}

TEST(Freeze, AtAChangeOfSpeedRoundingDoesNotShowTheOldOne) {
    Dice dice(5);
    for (int i = 0; i < 1000; ++i) {
        const double first = dice.Between(0, 5);
        const double change = dice.Between(5, 9);
        auto speed = Speeds(10, {{0, 1, kHold}, {change, 2, kHold}, {10, 1, kHold}});
        speed->AddFreezeFrame(first, dice.Between(0, 3));
        const double start = speed->GetRenderTotalTime() - (10 - change) / 2;
        const double length = dice.Between(1, 3);
        ASSERT_TRUE(speed->AddFreezeFrame(change + (start - change), length));
        for (double t : {start + 1e-9, start + length, std::nextafter(start + length, 99.0)}) {
            EXPECT_EQ(2.0, speed->GetCurrentFPS(t)) << "first " << first << ", change " << change;
        }
    }
}

TEST(Freeze, ACopyTurnsNearZeroSpeedsIntoFreezes) {
    struct Row {
        double speed;
        bool isFrozen;
    };
    for (const Row& row : {Row{0.0, true}, Row{-0.00009, true}, Row{0.00009, true},
                           Row{0.0001, false}, Row{-0.0001, false}}) {
        auto speed = Speeds(
            10, {{0, 1, kHold}, {4, row.speed, kHold}, {6, 1, kHold}, {10, 0, 6}, {12, 1, 6}});
        speed->RemovePoint(4);
        SpeedParameter copy(*speed);
        EXPECT_EQ(row.isFrozen, copy.SetFreezeFrameDuration(0, 2.0)) << row.speed;
        EXPECT_FALSE(copy.SetFreezeFrameDuration(1, 2.0)) << "the last keyframe has no segment";
        EXPECT_EQ(speed->GetRenderTotalTime() + (row.isFrozen ? 2.0 : 0.0),
                  copy.GetRenderTotalTime());
        EXPECT_EQ(copy.GetRenderTotalTime(), SpeedParameter(copy).GetRenderTotalTime());
    }
}

}  // namespace
