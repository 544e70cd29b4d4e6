#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <atomic>

#include "support/race.h"
#include "support/speed_words.h"

namespace {

/// Speeds of 1 to 2 over 10 s of source, whatever is edited: render time is 5 to 10
/// s, and up to 4 s more for the freezes.
void Edit(SpeedParameter& speed, Dice& dice) {
    switch (dice.Below(4)) {
        case 0:
            speed.AddPoint(dice.Between(1, 9), dice.Between(1, 2), kLinear);
            break;
        case 1:
            if (speed.GetKeyFramesCount() > 8) {
                speed.RemovePoint(1 + dice.Below(3));
            }
            break;
        case 2:
            speed.SetFreezeFrameDuration(dice.Below(2), dice.Between(0.5, 2));
            break;
        default:
            speed.SetReverse(dice.OneIn(2));
            speed.SetSourceTotalTime(10.0);
            break;
    }
}

bool Between(double low, double x, double high) {
    return x >= low - 1e-9 && x <= high + 1e-9;
}

bool IsPlausible(SpeedParameter& speed, SpeedParameter& neighbour, Dice& dice) {
    switch (dice.Below(9)) {
        case 0:
            return Between(0, speed.GetSourceTime(dice.Between(0, 15)), 10);
        case 1:
            return Between(0, speed.GetRenderTime(dice.Between(0, 10)), 14);
        case 2:
            return Between(5, speed.GetRenderTotalTime(), 14);
        case 3:
            return Between(1, speed.GetCurrentFPS(dice.Between(0, 15)), 2);
        case 4:
            return Between(0, VelocityAt(speed, dice.Below(6)).a, 2);
        case 5:
            // Complete, also while it is being replaced.
            return Between(5, speed.GetParameterInternal()->SolveTimeBaseArea(0, 10), 10);
        case 6:
            return Between(5, speed.RevertSpeedParameter()->GetRenderTotalTime(), 14);
        case 7: {
            // Of one moment, however long it is asked; undone by whoever asks.
            const core::SpeedSnapshot snapshot = speed.Snapshot();
            const double total = snapshot.GetRenderTotalTime();
            const bool isSame =
                snapshot.GetSourceTime(total) == (snapshot.GetReverse() != 0 ? 0.0 : 10.0);
            speed.Restore(snapshot);
            return isSame && total == snapshot.ToSpeedParameter().GetRenderTotalTime();
        }
        default:
            // Two curves assigned to each other at once must not wait for each other.
            (dice.OneIn(2) ? speed : neighbour) = (dice.OneIn(2) ? speed : neighbour);
            return true;
    }
}

TEST(Threads, SpeedCurvesStayPlausibleWhileOthersEdit) {
    for (int askers : {1, 2, 8}) {
        auto speed = Speeds(10, {{0, 1, kLine}, {4, 2, kHold}, {10, 1, kHold}});
        speed->AddFreezeFrame(2.0, 1.0);
        speed->AddFreezeFrame(7.0, 1.0);
        SpeedParameter neighbour(*speed);
        std::atomic<int> implausible = 0;
        support::Race(
            askers,
            [&](Dice& dice) { implausible += IsPlausible(*speed, neighbour, dice) ? 0 : 1; }, 2000,
            [&](Dice& dice) { Edit(*speed, dice); });
        EXPECT_EQ(0, implausible.load()) << askers << " askers";
    }
}

}  // namespace
