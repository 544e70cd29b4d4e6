#include <core/speed/guard.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/speed_words.h"

namespace {

using core::FindShownRange;
using core::KeepInside;
using core::ShownRange;
using core::SpeedSnapshot;

constexpr double kLength = 20.0;

/// Speeds of any type, some of them below 0, freezes, forward or in reverse.
SpeedParameter RandomSpeeds(Dice& dice) {
    SpeedParameter speed;
    speed.SetSourceTotalTime(kLength);
    for (int i = dice.Below(8); i > 0; --i) {
        speed.AddPoint(dice.Between(0, kLength - 0.1), dice.Between(dice.OneIn(5) ? -0.5 : 0.1, 4),
                       KeyframeInterpolationType(dice.Pick(gallery::Types())));
    }
    speed.SetPointInterpolationType(0, KeyframeInterpolationType(dice.Pick(gallery::Types())));
    for (int i = dice.Below(3); i > 0; --i) {
        speed.AddFreezeFrame(dice.Between(0, 21), dice.Between(0.05, 2));
    }
    if (dice.OneIn(8)) {
        speed.AddPoint(kLength + 2, 1.0, KeyframeInterpolationType::Linear);
    }
    speed.SetReverse(dice.OneIn(2));
    return speed;
}

bool Holds(const std::vector<core::TimeRange>& ranges, double t) {
    return std::any_of(ranges.begin(), ranges.end(), [&](const core::TimeRange& range) {
        return t >= range.from && t < range.to;
    });
}

bool IsBesideAnEdge(const std::vector<core::TimeRange>& ranges, double t, double margin) {
    return std::any_of(ranges.begin(), ranges.end(), [&](const core::TimeRange& range) {
        return std::fabs(t - range.from) < margin || std::fabs(t - range.to) < margin;
    });
}

/// Whether the range, and where it is left, are what many samples say.
void ExpectTrue(const SpeedSnapshot& clip, const ShownRange& shown, double first, double last) {
    constexpr int kSamples = 4001;
    constexpr double kBeside = 1e-4;
    const double sign = clip.GetReverse() != 0 ? -1.0 : 1.0;
    const double step = clip.GetRenderTotalTime() / kSamples;
    double lowest = clip.GetSourceTime(0);
    double highest = lowest;
    double fastest = 0;
    for (double t = 0.5 * step; t < step * kSamples - kBeside; t += step) {
        const double s = clip.GetSourceTime(t);
        lowest = std::min(lowest, s);
        highest = std::max(highest, s);
        fastest = std::max(fastest, std::fabs(clip.GetCurrentFPS(t)));
        if (std::min(std::fabs(s - first), std::fabs(s - last)) > 1e-6 &&
            !IsBesideAnEdge(shown.outside, t, kBeside)) {
            ASSERT_EQ(s < first || s > last, Holds(shown.outside, t)) << t << " shows " << s;
        }
        bool isBesideFreeze = false;
        for (int i = 0; i < clip.GetFreezeFramesCount(); ++i) {
            const core::FreezeFrame f = clip.GetFreezeFrame(i);
            isBesideFreeze = isBesideFreeze || std::fabs(t - f.renderTime) < kBeside ||
                             std::fabs(t - f.renderTime - f.duration) < kBeside;
        }
        // Not the picture of a keyframe itself.
        const double way = sign * (clip.GetSourceTime(t + 1e-5) - clip.GetSourceTime(t - 1e-5));
        const double wider = sign * (clip.GetSourceTime(t + 2e-5) - clip.GetSourceTime(t - 2e-5));
        if (std::fabs(way) > 1e-9 && way * wider > 0 && !isBesideFreeze &&
            !IsBesideAnEdge(shown.backwards, t, kBeside)) {
            ASSERT_EQ(way < 0, Holds(shown.backwards, t)) << t;
        }
    }
    ASSERT_LE(shown.lowest, lowest + 1e-9);
    ASSERT_GE(shown.highest, highest - 1e-9);
    // It is reached; at keyframes also where the curve jumps to them.
    for (int i = 0; i < clip.Keyframes().GetKeyFramesCount(); ++i) {
        const double time = clip.Keyframes().GetKeyframe(i).GetTime();
        lowest = std::min(lowest, sign > 0 ? time : clip.GetSourceTotalTime() - time);
        highest = std::max(highest, sign > 0 ? time : clip.GetSourceTotalTime() - time);
    }
    ASSERT_GE(shown.lowest, lowest - 2 * step * fastest - 1e-9);
    ASSERT_LE(shown.highest, highest + 2 * step * fastest + 1e-9);
}

TEST(Guard, TellsWhatManySamplesTell) {
    int outside = 0;
    int backwards = 0;
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        Dice dice(seed);
        const SpeedSnapshot clip = RandomSpeeds(dice).Snapshot();
        if (!(clip.GetRenderTotalTime() < 1000)) {
            continue;
        }
        const double first = dice.OneIn(2) ? 0.0 : dice.Between(-1, 3);
        const double last = dice.OneIn(2) ? kLength : dice.Between(10, 21);
        const ShownRange shown = FindShownRange(clip, first, last);
        ExpectTrue(clip, shown, first, last);
        outside += shown.StaysInside() ? 0 : 1;
        backwards += shown.RunsBackwards() ? 1 : 0;
        if (HasFailure()) {
            FAIL() << "seed " << seed << ", " << first << " to " << last << "\n"
                   << clip.Serialize();
        }
    }
    EXPECT_GT(outside, 40);
    EXPECT_GT(backwards, 5);
}

TEST(Guard, KeepsClipsInsideAndLeavesGoodOnesAlone) {
    int changed = 0;
    for (std::uint64_t seed = 0; seed < 1000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        SpeedParameter speed = RandomSpeeds(dice);
        const SpeedSnapshot before = speed.Snapshot();
        const bool wasGood =
            FindShownRange(before).StaysInside() && !FindShownRange(before).RunsBackwards();
        const auto done = KeepInside(speed);
        ASSERT_TRUE(done) << done.reason << "\n" << before.Serialize();
        const SpeedSnapshot after = speed.Snapshot();
        const ShownRange shown = FindShownRange(after);
        ASSERT_TRUE(shown.StaysInside() && !shown.RunsBackwards()) << before.Serialize();
        EXPECT_TRUE(!wasGood || after == before);
        changed += wasGood ? 0 : 1;
        EXPECT_TRUE(KeepInside(speed) && speed.Snapshot() == after);
        for (int i = 0; !wasGood && i < after.Keyframes().GetKeyFramesCount(); ++i) {
            EXPECT_GE(after.Keyframes().GetKeyframe(i).PeekValue().AsDouble(), 0.0);
        }
    }
    EXPECT_GT(changed, 300);
}

TEST(Guard, LooksAtTheMaterialOfAPart) {
    // 2 s of 10 s, at speeds that show 0.6 s too much.
    const auto part = Speeds(2, {{0, 0.5, 17}, {2, 2, kHold}});
    EXPECT_FALSE(FindShownRange(part->Snapshot(), 0, 1.5).StaysInside());
    EXPECT_TRUE(FindShownRange(part->Snapshot(), -4, 6).StaysInside());
    EXPECT_FALSE(KeepInside(*part, 1, 6));  // it begins before
    EXPECT_FALSE(KeepInside(*part, 0, 6, 0.0));
    EXPECT_FALSE(KeepInside(*part, 0, 6, kNan));
    EXPECT_TRUE(KeepInside(*part, 0, 1.5));
    EXPECT_NEAR(1.5, FindShownRange(part->Snapshot()).highest, 1e-6);
    const SpeedParameter taken(std::move(*part));
    EXPECT_EQ("the curve was moved away", KeepInside(*part, 0, 1.5).reason);
    // From behind the material to before it in one stretch.
    const auto falls = Speeds(10, {{0, 4, kHold}, {8, 0.5, kLine}, {10, -0.49, kHold}});
    ExpectTrue(falls->Snapshot(), FindShownRange(falls->Snapshot(), 12, 20), 12, 20);
    EXPECT_EQ(3U, FindShownRange(falls->Snapshot(), 12, 20).outside.size());
    // Negative speeds lead back on the timeline: the clip ends before its second keyframe, and
    // shows at one render key what the keyframe of that place in the list has.
    const auto broken = Speeds(
        15, {{0, 1, kHold}, {10, 0.5, kLine}, {13, -1.5, kLine}, {14, 3, kHold}, {15, 1, 6}});
    for (const bool reverse : {false, true}) {
        broken->SetReverse(reverse);
        const ShownRange shown = FindShownRange(broken->Snapshot(), 2, 4.5);
        ExpectTrue(broken->Snapshot(), shown, 2, 4.5);
        EXPECT_EQ(reverse ? 15 : 13, shown.highest);
    }
    // At its end it shows what its last keyframe has, for a moment, and not what it has run to.
    const auto eased = Speeds(4, {{0, 1, 16}, {4, 2, kHold}});
    EXPECT_EQ(4, FindShownRange(eased->Snapshot(), 0, 3.999).highest);
    EXPECT_FALSE(FindShownRange(eased->Snapshot(), 0, 3.999).StaysInside());
    // What a clip shows in reverse is counted from its length.
    const auto back = Speeds(10, {{0, 1, kHold}, {4, 1, kHold}});
    back->SetReverse(true);
    EXPECT_EQ(6, FindShownRange(back->Snapshot()).lowest);
    EXPECT_EQ(10, FindShownRange(back->Snapshot()).highest);
}

}  // namespace
