#include <core/speed/frames.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/speed_words.h"

namespace {

using core::FrameAt;
using core::FrameStart;
using core::TimeBase;
using Frames = std::vector<std::int64_t>;

constexpr double kDay = 86'400.0;

Frames Played(SpeedParameter& speed, std::int64_t count, TimeBase render, TimeBase source) {
    Frames frames(static_cast<std::size_t>(count));
    GetSourceFrames(speed.Snapshot(), 0, frames.size(), render, source, frames.data());
    return frames;
}

// Against whole numbers: the frames of a day at held speeds num / den, both rates given.
TEST(Frames, OfADayAgreeWithRationalArithmetic) {
    const TimeBase film{24'000, 1'001}, ntsc{30'000, 1'001}, pal{25, 1}, fast{120, 1};
    const struct {
        TimeBase render, source;
        std::int64_t num, den;
    } rows[] = {{ntsc, ntsc, 1, 1}, {pal, ntsc, 1, 1}, {ntsc, film, 1, 1},
                {fast, ntsc, 1, 2}, {film, pal, 3, 1}, {ntsc, fast, 5, 4}};
    for (const auto& row : rows) {
        auto speed =
            Speeds(kDay, {{0, double(row.num) / double(row.den), kHold}, {kDay, 1, kHold}});
        const auto count =
            static_cast<std::int64_t>(kDay * double(row.den) / double(row.num) *
                                      double(row.render.units) / double(row.render.seconds));
        const Frames frames = Played(*speed, count, row.render, row.source);
        for (std::int64_t n = 0; n < count; ++n) {
            const std::int64_t wanted = n * row.render.seconds * row.source.units * row.num /
                                        (row.render.units * row.source.seconds * row.den);
            ASSERT_EQ(wanted, frames[static_cast<std::size_t>(n)]) << "frame " << n;
        }
    }
    for (std::int64_t n = -5; n < 2'600'000; n += n < 1'000 ? 1 : 997) {
        EXPECT_EQ(n, FrameAt(FrameStart(n, ntsc), ntsc));
        EXPECT_EQ(n, FrameAt(FrameStart(n + 1, ntsc) - 1e-6, ntsc));
    }
}

// Speeds of all types: what is swept over in a batch is what is asked for alone.
TEST(Frames, OfABatchAreThoseOneByOne) {
    const std::vector<TimeBase> rates = {{30'000, 1'001}, {24, 1}, {60, 1}};
    for (std::uint64_t seed = 0; seed < 120; ++seed) {
        Dice dice(seed);
        const double length = dice.Between(1, 30);
        SpeedParameter speed;
        speed.SetSourceTotalTime(length);
        for (int i = dice.Below(7); i > 0; --i) {
            speed.AddPoint(dice.Between(0, length),
                           dice.OneIn(3) ? 1.0 : dice.Between(dice.OneIn(9) ? -0.5 : 0.1, 4),
                           KeyframeInterpolationType(dice.Pick(gallery::Types())));
        }
        speed.SetPointInterpolationType(0, KeyframeInterpolationType(dice.Pick(gallery::Types())));
        for (int i = dice.Below(3); i > 0; --i) {
            speed.AddFreezeFrame(dice.Between(0, length), dice.Between(0.05, 1));
        }
        speed.SetReverse(dice.OneIn(2));
        const TimeBase render = dice.Pick(rates);
        const TimeBase source = dice.OneIn(2) ? TimeBase{1'000'000, 1} : dice.Pick(rates);
        const Frames frames = Played(speed, 1'500, render, source);
        for (std::int64_t n = 0; n < 1'500; ++n) {
            ASSERT_EQ(GetSourceFrame(speed.Snapshot(), n, render, source),
                      frames[static_cast<std::size_t>(n)])
                << "frame " << n << " of seed " << seed << "\n"
                << speed.Serialize();
        }
    }
}

// Ramps and freezes: backwards each frame comes as often as forward.
TEST(Frames, StayInTheMaterialForwardAndBackwards) {
    auto speed = Speeds(10, {{0, 0.5, kLine}, {4, 3, kHold}, {10, 1, kHold}});
    speed->AddFreezeFrame(4.5, 1.03);
    const TimeBase rate{30'000, 1'001};
    const std::int64_t last = 299;  // begins at 9.976 s
    Frames forward = Played(*speed, 400, rate, rate);
    EXPECT_EQ(0, forward.front());
    EXPECT_EQ(last, forward.back());
    EXPECT_TRUE(std::is_sorted(forward.begin(), forward.end()));
    EXPECT_EQ(0, GetSourceFrame(speed->Snapshot(), -50, rate, rate));

    auto plainClip = Speeds(4, {{0, 1, kHold}, {4, 1, kHold}});
    plainClip->SetReverse(true);
    const Frames backwards = Played(*plainClip, 100, {25, 1}, {25, 1});
    for (std::int64_t n = 0; n < 100; ++n) {
        EXPECT_EQ(99 - n, backwards[static_cast<std::size_t>(n)]);
    }
    plainClip->SetReverse(false);
    plainClip->ClearKeyFrames();  // times map to themselves
    EXPECT_EQ(7, GetSourceFrame(plainClip->Snapshot(), 7, {25, 1}, {25, 1}));
}

TEST(Frames, RatesThatAreNoneAnswerNoFrame) {
    SpeedParameter speed;
    for (const TimeBase none : {TimeBase{0, 1}, TimeBase{25, 0}, TimeBase{-25, 1}}) {
        EXPECT_EQ(-1, FrameAt(1.0, none));
        EXPECT_EQ(0.0, FrameStart(1, none));
        EXPECT_EQ(-1, GetSourceFrame(speed.Snapshot(), 1, none, {25, 1}));
        EXPECT_EQ(-1, GetSourceFrame(speed.Snapshot(), 1, {25, 1}, none));
    }
    EXPECT_EQ(-1, FrameAt(kNan, {25, 1}));
    EXPECT_LT(std::int64_t{1} << 60, FrameAt(kInfinity, {25, 1}));
}

}  // namespace
