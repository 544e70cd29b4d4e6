#include <core/curve/handle_edits.h>
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

/// Whether the part shows what the whole shows from `start` on, in freezes too. Keyframes of its
/// own, which a curve that jumps needs, may show another picture for a moment.
void ExpectShows(const SpeedSnapshot& whole, double start, const ClipPart& part, double length,
                 double tolerance, double rounding = 1e-6) {
    EXPECT_NEAR(length, part.speed.GetRenderTotalTime(), rounding);
    constexpr double kMoment = 7e-6;
    const auto missed = [&](double t) {
        return std::fabs(whole.GetSourceTime(start + t) - part.GetSourceTime(t));
    };
    // The first frame: at the end of a freeze and at a keyframe it may be what comes behind it.
    const double behind = std::fabs(whole.GetSourceTime(start + 2e-7) - part.GetSourceTime(0));
    EXPECT_LE(std::min(missed(0), behind), tolerance + 2e-6) << start;
    for (int i = 1; i < 200; ++i) {
        const double t = length * i / 200.0137;
        if (!(missed(t) <= tolerance)) {
            const bool isMoment =
                t > kMoment && missed(t - kMoment) <= tolerance && missed(t + kMoment) <= tolerance;
            ASSERT_TRUE(isMoment) << missed(t) << " at " << start + t << ", cut at " << start;
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
    int apart = 0;
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
        if (!parts && !isExact) {
            refused += RunsBackwards(whole) ? 0 : 1;
            continue;
        }
        ASSERT_TRUE(parts) << parts.first.reason << parts.second.reason;
        ExpectShows(whole, 0, parts.first, cut, tolerance);
        ExpectShows(whole, cut, parts.second, length - cut, tolerance);

        // The same when they are cut again, and from a file, whose eight digits move speeds a
        // little.
        const double again = 0.37 * (length - cut);
        const ClipPart rest = TrimClip(parts.second.speed, again, length - cut);
        if (rest) {
            ExpectShows(parts.second.speed, again, rest, length - cut - again, tolerance);
        }
        SpeedParameter loaded;
        loaded.LoadAsNew(parts.second.speed.Serialize().c_str());
        ExpectShows(whole, cut, {loaded.Snapshot(), parts.second.sourceStart, {}}, length - cut,
                    tolerance + 1e-4, 1e-4);

        const ClipPart joined = JoinClips(parts.first, parts.second);
        if (!joined && !isExact) {  // each has freezes of its own, and the source jumps between
            apart += RunsBackwards(whole) ? 0 : 1;
            continue;
        }
        ASSERT_TRUE(joined) << joined.reason;
        if (isExact) {
            EXPECT_EQ(whole.Keyframes().GetKeyFramesCount(),
                      joined.speed.Keyframes().GetKeyFramesCount());
            EXPECT_EQ(whole.GetFreezeFramesCount(), joined.speed.GetFreezeFramesCount());
        }
        ExpectShows(whole, 0, joined, length, 2 * tolerance);
        if (HasFailure()) {
            FAIL() << whole.Serialize() << "\n cut at " << cut;
        }
    }
    EXPECT_LT(refused, 100);
    EXPECT_LT(apart, 250);
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
                if (!part && speed == late.get()) {  // it jumps back to its freeze, over the start
                    EXPECT_TRUE(start > 3.4 && start + played > 6) << part.reason;
                    continue;
                }
                ASSERT_TRUE(part) << part.reason;
                ExpectShows(clip, start, part, played, 1e-6);
                EXPECT_EQ(core::ParameterDouble, part.speed.Keyframes().GetParameterType());
            }
        }
    }
    // A handle that is set stays so where its segment is whole, and no other one is.
    const auto shaped =
        Speeds(9, {{0, 1, kHold}, {1, 1, kHold}, {2, 1, kEasedStep}, {4, 2, kLine}, {9, 1, kHold}});
    shaped->SetPointControlRightParam(2, 3, 0);
    const core::CurveSnapshot part = TrimClip(shaped->Snapshot(), 1.5, 4).speed.Keyframes();
    for (int i = 0; i < part.GetKeyFramesCount(); ++i) {
        EXPECT_EQ(i == 1, IsHandleSet(part, i, core::HandleSide::Right)) << i;
    }
    // Where a moment shows much, what it shows too much is made good behind it.
    const auto fast = Speeds(200, {{0, 20, 0}, {100, 30, kHold}, {200, 1, kHold}});
    fast->AddFreezeFrame(80, 1);
    const double played = fast->GetRenderTotalTime() - 3;
    const ClipPart rest = TrimClip(fast->Snapshot(), 3, played + 3);
    ASSERT_TRUE(rest) << rest.reason;
    ExpectShows(fast->Snapshot(), 3, rest, played, kHundredthOfAFrame);
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
