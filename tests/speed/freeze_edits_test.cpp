#include <core/speed/snapshot.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <string>

#include "support/speed_words.h"

namespace {

using core::FreezeFrame;
using core::SpeedSnapshot;

/// The place of the freeze that starts here, or -1.
int FreezeAt(const SpeedParameter& speed, double pointTime) {
    for (int i = 0; i < speed.GetFreezeFramesCount(); ++i) {
        if (speed.GetFreezeFrame(i).pointTime == pointTime) {
            return i;
        }
    }
    return -1;
}

void ExpectSamePictures(const SpeedSnapshot& a, const SpeedSnapshot& b, double tolerance) {
    EXPECT_NEAR(a.GetRenderTotalTime(), b.GetRenderTotalTime(), tolerance);
    for (double t = 0.05; t < a.GetRenderTotalTime(); t += 0.217) {
        // Beyond its length, a curve that overshoots is far away.
        const double size = std::max(1.0, std::fabs(a.GetSourceTime(t)));
        EXPECT_NEAR(a.GetSourceTime(t), b.GetSourceTime(t), size * tolerance) << "at " << t;
    }
}

// Speeds of all types, among freezes: whatever a freeze has brought goes with it, also after
// it was saved and loaded, and moving it is removing and adding it.
TEST(FreezeEdits, RemovingOneUndoesAddingIt) {
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        Dice dice(seed);
        SpeedParameter speed;
        speed.SetSourceTotalTime(20);
        for (int i = 1 + dice.Below(6); i > 0; --i) {
            speed.AddPoint(dice.Between(0, 19), dice.Between(0.2, 4),
                           KeyframeInterpolationType(dice.Pick(gallery::Types())));
        }
        for (int i = dice.Below(3); i > 0; --i) {
            speed.AddFreezeFrame(dice.Between(0, 22), dice.Between(0.1, 2));
        }
        const SpeedSnapshot before = speed.Snapshot();
        const double point = dice.Between(0, 22);
        const double elsewhere = dice.Between(0, 22);
        if (!speed.AddFreezeFrame(point, 1.25)) {
            EXPECT_EQ(before, speed.Snapshot());
            continue;
        }
        SpeedParameter loaded;
        loaded.Desialize(speed.Serialize().c_str());
        SpeedParameter moved(speed);

        EXPECT_TRUE(speed.RemoveFreezeFrame(FreezeAt(speed, point)));
        // But for the rounding of those behind it, which have moved to and fro.
        EXPECT_EQ(before.Keyframes(), speed.Snapshot().Keyframes()) << "seed " << seed;
        EXPECT_EQ(before.GetFreezeFramesCount(), speed.GetFreezeFramesCount());
        ExpectSamePictures(before, speed.Snapshot(), 1e-9);

        const int index = FreezeAt(moved, point);
        const SpeedSnapshot unmoved = moved.Snapshot();
        const bool canBeThere = speed.AddFreezeFrame(elsewhere, 1.25);
        EXPECT_EQ(canBeThere, moved.MoveFreezeFrame(index, elsewhere)) << "seed " << seed;
        EXPECT_EQ(canBeThere ? speed.Snapshot() : unmoved, moved.Snapshot()) << "seed " << seed;

        EXPECT_TRUE(loaded.RemoveFreezeFrame(index));
        ExpectSamePictures(before, loaded.Snapshot(), 1e-5);
    }
}

TEST(FreezeEdits, KeyframesOfTheUserStay) {
    const auto speed = Speeds(10, {{0, 1, kLine}, {5, 2, kLine}, {10, 3, kLine}});
    const SpeedSnapshot before = speed->Snapshot();
    // On a keyframe, on the first and on the last one.
    for (const double point : {5.0, 0.0, 10.0}) {
        EXPECT_TRUE(speed->AddFreezeFrame(point, 1));
        EXPECT_TRUE(speed->RemoveFreezeFrame(0));
        EXPECT_EQ(before, speed->Snapshot()) << point;
    }
    // One that was changed since is the user's own.
    speed->AddFreezeFrame(3, 1);
    speed->SetPointValue(1, 4.0);
    EXPECT_TRUE(speed->RemoveFreezeFrame(0));
    EXPECT_EQ(4, speed->GetKeyFramesCount());

    speed->AddFreezeFrame(4, 1);
    const SpeedSnapshot rest = speed->Snapshot();
    for (const int outside : {-1, 1}) {
        EXPECT_FALSE(speed->RemoveFreezeFrame(outside) || speed->MoveFreezeFrame(outside, 2));
    }
    for (const double never : {-1.0, 11.5, kNan}) {
        EXPECT_FALSE(speed->MoveFreezeFrame(0, never));
    }
    EXPECT_EQ(rest, speed->Snapshot());
}

// Undo by text: nothing of what was done since is left.
TEST(SpeedLoading, AsNewGivesDefaultsToWhatATextLacks) {
    SpeedParameter speed(0.5);
    speed.SetSourceTotalTime(10);
    const std::string text = speed.Serialize();
    speed.AddFreezeFrame(3, 1);
    speed.SetReverse(true);
    speed.SetSourceFPS(24);
    const SpeedSnapshot edited = speed.Snapshot();
    for (const char* bad : {"{", "[]", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(speed.LoadAsNew(bad));
        EXPECT_EQ(edited, speed.Snapshot());
    }
    EXPECT_TRUE(speed.LoadAsNew(text.c_str()));
    EXPECT_EQ(text, speed.Serialize());
}

}  // namespace
