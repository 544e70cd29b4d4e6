#include <core/curve/parameter.h>
#include <core/curve/snapshot.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "support/curve_words.h"
#include "support/race.h"

namespace {

using support::Race;

/// The first keyframe is 0, the last is 1, and those between stay between: so do
/// all samples, at any time.
void BuildRamp(Parameter& curve) {
    for (int i = 0; i <= 20; ++i) {
        curve.AddPoint(i, i / 20.0, kLinear);
    }
}

void EditInside(Parameter& curve, Dice& dice) {
    int index = 1 + dice.Below(3);
    double time = dice.Between(1, 19);
    auto type = dice.OneIn(2) ? kLinear : KeyframeInterpolationType::EaseInOutCubic;
    switch (dice.Below(6)) {
        case 0:
            curve.AddPoint(time, dice.Between(0, 1), type);
            break;
        case 1:
            if (curve.GetKeyFramesCount() > 8) {
                curve.RemovePoint(index);
            }
            break;
        case 2:
            curve.SetPointTime(index, time);
            break;
        case 3:
            curve.SetPointValue(index, dice.Between(0, 1));
            break;
        case 4:
            curve.AddPoint(25, 1.0, kLinear);
            curve.RemoveKeyFramesAfterTime(22);
            break;
        default:
            curve.SetPointInterpolationType(index, type);
    }
}

bool IsBetween(double low, double x, double high) {
    return x >= low - 1e-9 && x <= high + 1e-9;
}

TEST(Threads, SamplesStayPlausibleWhileAnotherThreadEdits) {
    for (int samplers : {1, 2, 8}) {
        Parameter curve;
        BuildRamp(curve);
        std::atomic<int> implausible = 0;
        auto sample = [&](Dice& dice) {
            double value = curve.GetValue(dice.Between(-5, 25), true).AsDouble();
            double time = curve.SolveTimeBaseArea(0, dice.Between(0, 5));
            bool isPlausible = IsBetween(0, value, 1) && IsBetween(0, time, 30) &&
                               IsBetween(0, Area(curve, 0, 20), 20) &&
                               curve.GetKeyFramesCount() >= 2;
            if (dice.OneIn(16)) {
                Parameter copy(curve);
                isPlausible = isPlausible && copy.GetValue(-1, false).AsDouble() == 0.0 &&
                              copy.GetValue(21, false).AsDouble() == 1.0;
            }
            implausible += isPlausible ? 0 : 1;
        };
        Race(samplers, sample, 400, [&](Dice& dice) { EditInside(curve, dice); });
        EXPECT_EQ(0, implausible.load()) << samplers << " samplers";
    }
}

// Readers, an editor and an undoer on one curve: a snapshot stays what it is, and two
// edits that are made as one are never seen apart.
TEST(Threads, SnapshotsStayWhatTheyAreWhileOthersEditAndUndo) {
    for (int samplers : {1, 2, 8}) {
        Parameter curve;
        BuildRamp(curve);
        const core::CurveSnapshot ramp = curve.Snapshot();
        std::atomic<int> wrong = 0;
        auto sample = [&](Dice& dice) {
            const double time = dice.Between(0, 20);
            const core::CurveSnapshot now = curve.Snapshot();
            const double value = now.GetValue(time, true).AsDouble();
            const double area = now.GetAreaFromTo(0, 20);
            bool isRight = now.GetKeyframe(1).PeekValue().AsDouble() ==
                           now.GetKeyframe(2).PeekValue().AsDouble() * 0.5;
            if (dice.OneIn(8)) {
                curve.Restore(ramp);
            }
            isRight = isRight && value == now.GetValue(time, true).AsDouble() &&
                      area == now.GetAreaFromTo(0, 20) &&
                      IsBetween(time / 20, ramp.GetValue(time, true).AsDouble(), time / 20);
            wrong += isRight ? 0 : 1;
        };
        Race(samplers, sample, 400, [&](Dice& dice) {
            const double value = dice.Between(0, 0.5);
            curve.Edit([value](Parameter& draft) {
                draft.SetPointValue(1, value);
                draft.SetPointValue(2, 2 * value);
            });
        });
        EXPECT_EQ(0, wrong.load()) << samplers << " samplers";
    }
}

// Every text is of one moment: it loads, with the hash that it names, whatever is edited
// or loaded meanwhile.
TEST(Threads, TextsAreWholeWhileAnotherThreadEdits) {
    for (int samplers : {1, 2, 8}) {
        Parameter curve;
        BuildRamp(curve);
        const std::string ramp = curve.Serialize();
        std::atomic<int> broken = 0;
        auto sample = [&](Dice&) {
            const std::string text = curve.Serialize();
            Parameter loaded;
            const bool isWhole = loaded.Desialize(text.c_str()) == 0 &&
                                 loaded.GetValue(-1, false).AsDouble() == 0.0 &&
                                 text.find(loaded.GetHashString()) != std::string::npos;
            broken += isWhole ? 0 : 1;
        };
        Race(samplers, sample, 400, [&](Dice& dice) {
            EditInside(curve, dice);
            if (dice.OneIn(8)) {
                curve.Desialize(ramp.c_str());
            }
        });
        EXPECT_EQ(0, broken.load()) << samplers << " samplers";
    }
}

// Two curves that are assigned to each other at once must not wait for each other.
TEST(Threads, CurvesCanBeAssignedToEachOtherAtOnce) {
    for (int samplers : {1, 2, 8}) {
        Parameter a, b;
        BuildRamp(a);
        BuildRamp(b);
        std::atomic<int> implausible = 0;
        auto sample = [&](Dice& dice) {
            (dice.OneIn(2) ? a : b) = (dice.OneIn(2) ? a : b);
            double value = a.GetValue(dice.Between(-5, 25), true).AsDouble();
            implausible += IsBetween(0, value, 1) ? 0 : 1;
        };
        Race(samplers, sample, 400, [&](Dice& dice) {
            EditInside(b, dice);
            b = a;
        });
        EXPECT_EQ(0, implausible.load()) << samplers << " threads";
    }
}

}  // namespace
