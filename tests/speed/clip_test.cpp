#include <core/speed/clip.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/speed_words.h"

namespace {

using core::ClipPart;
using core::ClipParts;
using core::CutClip;
using core::JoinClips;
using core::SpeedSnapshot;
using core::TrimClip;

const std::vector<int> kExactTypes = {kHold, kLine, 12};
constexpr double kHundredthOfAFrame = 0.01 / 60.0;

/// Speeds of these types, freezes anywhere, forward or in reverse.
SpeedSnapshot RandomClip(Dice& dice, const std::vector<int>& types) {
    SpeedParameter speed;
    speed.SetSourceTotalTime(20);
    for (int i = dice.Below(9); i > 0; --i) {
        speed.AddPoint(dice.Between(0, 19.9), dice.Between(0.1, 4),
                       KeyframeInterpolationType(dice.Pick(types)));
    }
    speed.SetPointInterpolationType(0, KeyframeInterpolationType(dice.Pick(types)));
    for (int i = dice.Below(4); i > 0; --i) {
        speed.AddFreezeFrame(dice.Between(0, 22), dice.Between(0.05, 2));
    }
    speed.SetReverse(dice.OneIn(2));
    return speed.Snapshot();
}

bool IsFrozen(const SpeedSnapshot& clip, double t) {
    for (int i = 0; i < clip.GetFreezeFramesCount(); ++i) {
        const core::FreezeFrame freeze = clip.GetFreezeFrame(i);
        if (t > freeze.renderTime - 1e-6 && t < freeze.renderTime + freeze.duration + 1e-6) {
            return true;
        }
    }
    return false;
}

/// Whether the part shows what the whole shows from `start` on; `running` leaves out freezes,
/// where a curve that jumps shows a picture of its own.
void ExpectShows(const SpeedSnapshot& whole, double start, const ClipPart& part, double length,
                 double tolerance, bool running) {
    EXPECT_NEAR(length, part.speed.GetRenderTotalTime(), 1e-6);
    for (int i = 1; i < 200; ++i) {
        const double t = length * i / 200.0137;
        if (!running || !IsFrozen(whole, start + t)) {
            ASSERT_NEAR(whole.GetSourceTime(start + t), part.GetSourceTime(t), tolerance)
                << "at " << start + t << ", cut at " << start;
        }
    }
}

/// Whether its speeds swing below what a clip can be cut at.
bool RunsBackwards(const SpeedSnapshot& clip) {
    bool found = false;
    for (double t = 0; t < clip.GetRenderTotalTime() && !found; t += 0.001) {
        found = clip.GetCurrentFPS(t) < 1e-3;
    }
    return found;
}

TEST(Razor, PartsShowWhatTheWholeShowsAndJoinToIt) {
    int refused = 0;
    for (std::uint64_t seed = 0; seed < 1500; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        const bool isExact = dice.OneIn(2);
        const SpeedSnapshot whole = RandomClip(dice, isExact ? kExactTypes : gallery::Types());
        const double tolerance = isExact ? 1e-6 : kHundredthOfAFrame;
        const double length = whole.GetRenderTotalTime();
        double cut = dice.Between(0.01, length - 0.01);
        if (whole.GetFreezeFramesCount() > 0 && dice.OneIn(3)) {  // in a freeze, or at its edge
            const core::FreezeFrame freeze = whole.GetFreezeFrame(0);
            cut = freeze.renderTime + freeze.duration * dice.Below(3) * 0.5;
        }
        if (cut < 1e-6 || cut > length - 1e-6) {
            continue;
        }
        const ClipParts parts = CutClip(whole, cut);
        if (!parts && RunsBackwards(whole)) {
            ++refused;
            continue;
        }
        ASSERT_TRUE(parts) << parts.first.reason << parts.second.reason;
        ExpectShows(whole, 0, parts.first, cut, tolerance, !isExact);
        ExpectShows(whole, cut, parts.second, length - cut, tolerance, !isExact);

        const ClipPart joined = JoinClips(parts.first, parts.second);
        if (!joined && RunsBackwards(whole)) {
            continue;
        }
        ASSERT_TRUE(joined) << joined.reason;
        if (isExact) {
            EXPECT_EQ(whole.Keyframes().GetKeyFramesCount(),
                      joined.speed.Keyframes().GetKeyFramesCount());
            EXPECT_EQ(whole.GetFreezeFramesCount(), joined.speed.GetFreezeFramesCount());
        }
        ExpectShows(whole, 0, joined, length, 2 * tolerance, !isExact);
        if (HasFailure()) {
            FAIL() << whole.Serialize() << "\n cut at " << cut;
        }
    }
    EXPECT_LT(refused, 300);
}

// Where a clip's curve begins, ends and stands still.
TEST(Razor, CutsAtTheEdgesOfWhatAClipHas) {
    auto late = Speeds(10, {{2, 3, kHold}, {6, 1, kLine}, {10, 2, kHold}});
    late->AddFreezeFrame(10, 1);
    auto frozen = TwoSpeeds();
    frozen->AddFreezeFrame(0, 1);
    auto still = Speeds(10, {{0, 1, kHold}, {4, 0, kHold}, {6, 2, kHold}, {10, 1, kHold}});
    SpeedParameter whole(1);
    whole.SetSourceTotalTime(10);
    whole.AddPoint(5, 3, KeyframeInterpolationType::Linear);
    for (SpeedParameter* speed : {late.get(), frozen.get(), still.get(), &whole}) {
        const SpeedSnapshot clip = speed->Snapshot();
        const double length = clip.GetRenderTotalTime();
        for (int from = 0; from < 16; ++from) {
            for (int to = from + 1; to <= 16; ++to) {
                const double start = length * from / 16;
                const double played = length * (to - from) / 16;
                const ClipPart part = TrimClip(clip, start, start + played);
                ASSERT_TRUE(part) << part.reason;
                // The picture at the jump of the late curve, at 2 s, is its own.
                ExpectShows(clip, start, part, played, 1e-6, speed == late.get());
                EXPECT_EQ(core::ParameterDouble, part.speed.Keyframes().GetParameterType());
            }
        }
    }
}

TEST(Razor, RefusesWhatCantBeCutOrJoined) {
    const auto speed = TwoSpeeds();
    const SpeedSnapshot clip = speed->Snapshot();
    for (const auto& [from, to] : std::vector<std::pair<double, double>>{
             {-1, 3}, {3, 3}, {4, 3}, {3, 7.1}, {kNan, 3}, {3, kNan}, {3, kInfinity}}) {
        EXPECT_FALSE(TrimClip(clip, from, to)) << from << ", " << to;
    }
    EXPECT_FALSE(CutClip(clip, 0));
    EXPECT_FALSE(CutClip(clip, 7));
    const auto back = Speeds(10, {{0, -1, kLine}, {10, 3, kHold}});
    EXPECT_FALSE(CutClip(back->Snapshot(), 1));
    EXPECT_FALSE(CutClip(Speeds(10, {{0, -1, kHold}, {10, 3, kHold}})->Snapshot(), 1));
    EXPECT_FALSE(TrimClip(Speeds(10, {})->Snapshot(), 0, 1));

    ClipParts parts = CutClip(clip, 3);
    EXPECT_FALSE(JoinClips(parts.second, parts.first));
    EXPECT_FALSE(JoinClips(parts.first, {}));
    EXPECT_FALSE(JoinClips(parts.first, TrimClip(clip, 5, 5)));
    // A clip in reverse plays the end of its material first.
    speed->SetReverse(true);
    const ClipParts reversed = CutClip(speed->Snapshot(), 3);
    EXPECT_NEAR(7, reversed.first.sourceStart, 1e-9);
    EXPECT_NEAR(0, reversed.second.sourceStart, 1e-9);
    parts.second.sourceStart = 4;
    EXPECT_FALSE(JoinClips(reversed.second, parts.second));
}

// Two clips whose speeds differ: the ramp of the first one keeps its end.
TEST(Razor, JoinsSpeedsThatDiffer) {
    const SpeedSnapshot ramp = Speeds(4, {{0, 1, kLine}, {4, 3, kHold}})->Snapshot();
    const SpeedSnapshot slow = Speeds(4, {{0, 0.5, kHold}, {4, 1, kHold}})->Snapshot();
    const SpeedSnapshot eased = Speeds(4, {{0, 1, 16}, {4, 2, kHold}})->Snapshot();
    const ClipPart joined = JoinClips({ramp, 10, {}}, {slow, 14, {}});
    ASSERT_TRUE(joined) << joined.reason;
    EXPECT_EQ(10, joined.sourceStart);
    EXPECT_NEAR(10, joined.speed.GetRenderTotalTime(), 1e-9);
    for (double t = 0.0003; t < 10; t += 0.01) {
        EXPECT_NEAR(t < 2 ? 10 + ramp.GetSourceTime(t) : 14 + slow.GetSourceTime(t - 2),
                    joined.GetSourceTime(t), 1e-6)
            << t;
    }
    EXPECT_FALSE(JoinClips({eased, 10, {}}, {slow, 14, {}}));  // it shows less than it has
}

}  // namespace
