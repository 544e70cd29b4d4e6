#include <core/speed/clip.h>
#include <core/speed/retime.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "support/speed_words.h"

namespace {

using core::FreezeLengths;
using core::ScaleToLength;
using core::SetUniformSpeed;
using core::SpeedSnapshot;

SpeedParameter RandomSpeeds(Dice& dice, const std::vector<int>& types) {
    SpeedParameter speed;
    speed.SetSourceTotalTime(20);
    for (int i = dice.Below(9); i > 0; --i) {
        speed.AddPoint(dice.Between(0, 19.9), dice.Between(0.3, 4),
                       KeyframeInterpolationType(dice.Pick(types)));
    }
    for (int i = dice.Below(4); i > 0; --i) {
        speed.AddFreezeFrame(dice.Between(0, 22), dice.Between(0.05, 2));
    }
    speed.SetReverse(dice.OneIn(2));
    return speed;
}

/// Where a time of the one clip lies on the other, whose freezes are `longer` and whose speeds
/// are `slower`.
double Moved(const SpeedSnapshot& from, double t, double slower, double longer) {
    double moved = t * slower;
    for (int i = 0; i < from.GetFreezeFramesCount(); ++i) {
        const core::FreezeFrame freeze = from.GetFreezeFrame(i);
        const double part = std::min(std::max(t - freeze.renderTime, 0.0), freeze.duration);
        moved += part * (longer - slower);
    }
    return moved;
}

// A part that has a keyframe before 0 because the source jumps at those of the whole.
TEST(ToLength, KeepsThePicturesOfAPartOfAClipThatJumps) {
    const auto whole = Speeds(20, {{0, 1, 16}, {8, 3, kHold}, {14, 1, kLine}, {20, 2, kHold}});
    whole->AddFreezeFrame(14, 1);
    const SpeedSnapshot clip = whole->Snapshot();
    for (const double cut : {1.5, 5.0}) {
        const core::ClipPart part = TrimClip(clip, cut, clip.GetRenderTotalTime());
        ASSERT_TRUE(part) << part.reason;
        const double length = part.speed.GetRenderTotalTime();
        for (const double factor : {0.3, 4.0}) {
            SpeedParameter speed = part.speed.ToSpeedParameter();
            ASSERT_TRUE(ScaleToLength(speed, factor * length, FreezeLengths::Scale));
            for (double t = 0; t < length; t += 0.010137) {
                EXPECT_NEAR(part.speed.GetSourceTime(t), speed.GetSourceTime(factor * t), 1e-4)
                    << t;
            }
        }
    }
}

TEST(ToLength, ShowsEveryPictureInProportion) {
    for (std::uint64_t seed = 0; seed < 600; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        std::vector<int> types = gallery::Types();
        types.erase(std::remove(types.begin(), types.end(), 26), types.end());
        SpeedParameter speed = RandomSpeeds(dice, types);
        const SpeedSnapshot before = speed.Snapshot();
        double frozen = 0;
        for (int i = 0; i < before.GetFreezeFramesCount(); ++i) {
            frozen += before.GetFreezeFrame(i).duration;
        }
        const bool scales = dice.OneIn(2);
        const double wanted = (scales ? 0 : frozen) + dice.Between(0.5, 80);
        const auto done =
            ScaleToLength(speed, wanted, scales ? FreezeLengths::Scale : FreezeLengths::Keep);
        ASSERT_TRUE(done) << done.reason;
        const double length = before.GetRenderTotalTime();
        const double slower = scales ? wanted / length : (wanted - frozen) / (length - frozen);
        EXPECT_NEAR(wanted, speed.GetRenderTotalTime(), 1e-9 * wanted);
        for (int i = 1; i < 60; ++i) {
            const double t = length * i / 60.0137;
            EXPECT_NEAR(before.GetSourceTime(t),
                        speed.GetSourceTime(Moved(before, t, slower, scales ? slower : 1)), 1e-7)
                << t;
        }
    }
}

TEST(ToLength, RefusesWhatCantBe) {
    const auto speed = TwoSpeeds();
    speed->AddFreezeFrame(5, 2);
    const SpeedSnapshot before = speed->Snapshot();
    for (const double never : {0.0, -1.0, 2.0, 1e9, kNan, kInfinity}) {
        EXPECT_FALSE(ScaleToLength(*speed, never)) << never;
    }
    EXPECT_FALSE(ScaleToLength(*speed, 1e-7, FreezeLengths::Scale));
    EXPECT_EQ(before, speed->Snapshot());
    SpeedParameter whole(2);  // of integers
    whole.SetSourceTotalTime(10);
    EXPECT_TRUE(ScaleToLength(whole, 4));
    EXPECT_EQ(2.5, whole.GetPointValue(0).AsDouble());
}

// Before the stretch nothing changes, in it each source time comes at the one speed, behind it
// all is as before and later.
TEST(UniformSpeed, LiesBetweenTwoTimes) {
    for (std::uint64_t seed = 0; seed < 600; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        SpeedParameter speed = RandomSpeeds(dice, {kHold, kLine, 12});
        const SpeedSnapshot before = speed.Snapshot();
        const double length = before.GetRenderTotalTime();
        const double from = dice.OneIn(4) ? 0 : dice.Between(0, length - 0.2);
        const double to = dice.OneIn(4) ? length : dice.Between(from + 0.1, length);
        const double wanted = dice.Between(0.2, 5);
        const double shown = std::fabs(before.GetSourceTime(to) - before.GetSourceTime(from));
        const auto done = SetUniformSpeed(speed, from, to, wanted);
        if (shown < 1e-6) {
            EXPECT_FALSE(done);
            EXPECT_EQ(before, speed.Snapshot());
            continue;
        }
        ASSERT_TRUE(done) << done.reason;
        double frozen = 0;
        for (int i = 0; i < before.GetFreezeFramesCount(); ++i) {
            const core::FreezeFrame freeze = before.GetFreezeFrame(i);
            frozen += std::max(std::min(to, freeze.renderTime + freeze.duration) -
                                   std::max(from, freeze.renderTime),
                               0.0);
        }
        const double later = shown / wanted + frozen - (to - from);
        EXPECT_NEAR(length + later, speed.GetRenderTotalTime(), 2e-6);
        for (int i = 1; i < 100; ++i) {
            const double t = length * i / 100.0137;
            if (t < from - 1e-4 || t > to + 1e-4) {
                EXPECT_NEAR(before.GetSourceTime(t), speed.GetSourceTime(t < from ? t : t + later),
                            2e-6)
                    << t;
            } else if (t > from && t < to) {  // or it stands still
                const double inside = from + (t - from) * (to + later - from) / (to - from);
                const double way =
                    std::fabs(speed.GetSourceTime(inside + 1e-4) - speed.GetSourceTime(inside));
                EXPECT_LT(way, inside < to + later - 2e-4 ? 1e-4 * wanted + 2e-9 : 1) << t;
            }
        }
        if (HasFailure()) {
            FAIL() << before.Serialize() << "\n" << from << " to " << to << " at " << wanted;
        }
    }
    // What comes before a first keyframe runs at its speed: 2 s at 3, like the 2 s behind it.
    const auto late = Speeds(10, {{2, 3, kHold}, {10, 1, kHold}});
    ASSERT_TRUE(SetUniformSpeed(*late, 0, 4, 2));
    EXPECT_NEAR(6 + 2.0 / 3, late->GetRenderTotalTime(), 1e-6);
    const auto speed = TwoSpeeds();
    for (const double never : {0.0, -1.0, kNan, kInfinity}) {
        EXPECT_FALSE(SetUniformSpeed(*speed, 1, 2, never));
    }
    for (const auto& [from, to] : std::vector<std::pair<double, double>>{
             {2, 2}, {3, 2}, {2, 8}, {-1, 2}, {kNan, 2}, {2, kNan}}) {
        EXPECT_FALSE(SetUniformSpeed(*speed, from, to, 1)) << from << ", " << to;
    }
}

}  // namespace
