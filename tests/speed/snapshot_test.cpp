#include <core/speed/snapshot.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/speed_words.h"

namespace {

using core::SpeedSnapshot;

/// Any speeds and types, so that some curves run backwards and jump.
void EditAnything(SpeedParameter& speed, Dice& dice) {
    const int index = dice.Below(std::max(1, speed.GetKeyFramesCount()));
    const auto type = KeyframeInterpolationType(dice.Pick(gallery::Types()));
    const double value = dice.OneIn(8) ? 0.0 : dice.Between(dice.OneIn(6) ? -1 : 0.1, 4);
    switch (dice.Below(8)) {
        case 0:
            speed.RemovePoint(index);
            break;
        case 1:
            speed.SetPointValue(index, value);
            break;
        case 2:
            speed.SetPointTime(index, dice.Between(0, 20));
            break;
        case 3:
            speed.AddFreezeFrame(dice.Between(0, 25), dice.Between(0.1, 2));
            break;
        case 4:
            speed.SetFreezeFrameDuration(dice.Below(3), dice.Between(0.1, 2));
            break;
        case 5:
            speed.SetReverse(dice.OneIn(2));
            break;
        case 6:
            dice.OneIn(3) ? speed.SetSourceTotalTime(dice.Between(10, 20)) : speed.SetSourceFPS(24);
            break;
        default:
            speed.AddPoint(dice.Between(0, 20), value, type);
    }
}

/// What a curve, or a snapshot of one, says at these times.
template <class AnyCurve>
Times Answers(AnyCurve& speed, const Times& times) {
    Times all = {speed.GetRenderTotalTime(), speed.GetSourceTotalTime(), speed.GetSourceFPS(),
                 static_cast<double>(speed.GetReverse())};
    for (const double t : times) {
        Velocities v{};
        speed.GetVelocityTimeCurve(v.a, v.b, v.c, v.d, static_cast<int>(t));
        all.insert(all.end(),
                   {speed.GetSourceTime(t), speed.GetRenderTime(t), speed.PointTimeToRenderTime(t),
                    speed.RenderTimeToPointTime(t), speed.GetCurrentFPS(t), v.a, v.b, v.c, v.d});
    }
    return all;
}

// Through edits of all kinds: each snapshot answers, to the bit, what the curve answered when
// it was taken, and can be undone to; two of them tell where the pictures may differ.
TEST(SpeedSnapshotTest, AnswersWhatTheCurveAnsweredAndUndoesToIt) {
    for (std::uint64_t seed = 1000003; seed < 1000063; ++seed) {
        Dice dice(seed);
        SpeedParameter speed;
        speed.SetSourceTotalTime(20);
        for (int i = dice.OneIn(3) ? 150 : 5; i > 0; --i) {
            const double time = dice.Between(0, 20);
            const double value = dice.Between(0.1, 4);
            speed.AddPoint(time, value, KeyframeInterpolationType(dice.Pick(gallery::Types())));
        }
        Times times;
        for (int i = 0; i < 40; ++i) {
            times.push_back(dice.Between(-2, 30));
        }
        std::sort(times.begin(), times.begin() + 30);
        std::vector<SpeedSnapshot> steps;
        std::vector<Times> answers;
        std::vector<std::string> texts;
        for (int i = 0; i < 15; ++i) {
            steps.push_back(speed.Snapshot());
            answers.push_back(Answers(speed, times));
            texts.push_back(speed.Serialize());
            EditAnything(speed, dice);
        }
        for (std::size_t i = 0; i < steps.size(); ++i) {
            SpeedParameter made = steps[i].ToSpeedParameter();
            ASSERT_TRUE(speed.Restore(steps[i]));
            EXPECT_EQ(steps[i], speed.Snapshot()) << "seed " << seed;
            EXPECT_EQ(answers[i], Answers(steps[i], times)) << "seed " << seed;
            EXPECT_EQ(answers[i], Answers(speed, times)) << "seed " << seed;
            EXPECT_EQ(answers[i], Answers(made, times)) << "seed " << seed;
            EXPECT_EQ(texts[i], speed.Serialize());
            Times many(times.size());
            Times even(200);
            steps[i].GetSourceTimes(times.data(), times.size(), many.data());
            speed.GetSourceTimes(-1.0, 0.15, even.size(), even.data());
            for (std::size_t k = 0; k < even.size(); ++k) {
                ASSERT_EQ(speed.GetSourceTime(-1.0 + static_cast<double>(k) * 0.15), even[k]);
                ASSERT_EQ(speed.GetSourceTime(times[k % times.size()]), many[k % times.size()]);
            }
            const std::size_t j = static_cast<std::size_t>(dice.Below(static_cast<int>(i + 1)));
            EXPECT_EQ(texts[i] == texts[j], steps[i] == steps[j]) << "seed " << seed;
            const core::TimeRange changed = ChangedBetween(steps[i], steps[j]);
            for (double t = -2; t < 40; t += 0.173) {
                if (t < changed.from || t >= changed.to) {
                    ASSERT_NEAR(steps[i].GetSourceTime(t), steps[j].GetSourceTime(t), 1e-9)
                        << "seed " << seed << " at " << t;
                }
            }
        }
    }
    // What lies before an edit is not part of the change.
    SpeedParameter speed;
    speed.SetSourceTotalTime(100);
    for (int i = 1; i < 100; ++i) {
        speed.AddPoint(i, 1.0, KeyframeInterpolationType::Linear);
    }
    const SpeedSnapshot before = speed.Snapshot();
    speed.AddFreezeFrame(60, 2);
    EXPECT_NEAR(60, ChangedBetween(before, speed.Snapshot()).from, 1e-6);
    EXPECT_NEAR(102, ChangedBetween(before, speed.Snapshot()).to, 1e-6);
    speed.Restore(before);
    speed.SetPointValue(40, 2.0);
    EXPECT_GE(ChangedBetween(before, speed.Snapshot()).from, 37);
    auto held = TwoSpeeds();
    const SpeedSnapshot unfrozen = held->Snapshot();
    held->AddFreezeFrame(2, 1);
    SpeedSnapshot latest = unfrozen;
    latest = held->Snapshot();
    EXPECT_NEAR(2, ChangedBetween(unfrozen, latest).from, 1e-6);
}

TEST(SpeedEdit, IsMadeAsAWholeOrNotAtAll) {
    auto speed = TwoSpeeds();
    const SpeedSnapshot before = speed->Snapshot();
    const std::uint64_t revision = speed->Revision();
    EXPECT_THROW(speed->Edit([](SpeedParameter& draft) {
        draft.AddFreezeFrame(2, 3);
        throw std::runtime_error("changed its mind");
    }),
                 std::runtime_error);
    EXPECT_EQ(before, speed->Snapshot());
    EXPECT_EQ(revision, speed->Revision());

    int calls = 0;
    EXPECT_TRUE(speed->Edit([&](SpeedParameter& draft) {
        draft.SetPointValue(0, 2.0);
        draft.SetSourceFPS(24.0);
        if (++calls == 1) {
            speed->AddFreezeFrame(2, 3);  // as another thread might: once more, then
        }
        draft.AddFreezeFrame(8, 1);
    }));
    EXPECT_EQ(2, calls);
    EXPECT_EQ(2, speed->Snapshot().GetFreezeFramesCount());
    EXPECT_EQ(2.0, speed->GetPointValue(0).AsDouble());
    // The reverse flag goes along, but one that is set meanwhile stays.
    speed->Edit([&](SpeedParameter&) { speed->SetReverse(true); });
    EXPECT_EQ(1, speed->GetReverse());
    speed->Edit([](SpeedParameter& draft) { draft.SetReverse(false); });
    EXPECT_EQ(0, speed->GetReverse());

    SpeedParameter gone(std::move(*speed));
    EXPECT_FALSE(speed->Edit([](SpeedParameter&) { FAIL(); }));
    EXPECT_FALSE(speed->Restore(before));
    EXPECT_EQ(0, speed->Snapshot().Keyframes().GetKeyFramesCount());
}

}  // namespace
