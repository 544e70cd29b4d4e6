#include <core/curve/parameter.h>
#include <core/curve/snapshot.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "support/curve_words.h"

namespace {

using core::CurveSnapshot;
using core::TimeValuePair;

// Undo and redo are a list of snapshots; two of them tell where samples may differ.
TEST(Snapshot, UndoesAndTellsWhatChanged) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        Dice dice(seed);
        Parameter curve;
        for (int i = 0; i < 200; ++i) {
            curve.AddPoint(i, dice.Between(-1, 1), KeyframeInterpolationType::Hermite);
        }
        std::vector<CurveSnapshot> steps = {curve.Snapshot()};
        std::vector<std::string> texts = {curve.Serialize()};
        std::uint64_t revision = curve.Revision();
        for (int i = 0; i < 30; ++i) {
            static const std::vector<int> types = {0, 1, 6, 7, 12, 18, 24};
            const int index = dice.Below(curve.GetKeyFramesCount());
            const auto type = static_cast<KeyframeInterpolationType>(dice.Pick(types));
            switch (dice.Below(5)) {
                case 0:
                    curve.AddPoint(dice.Between(-2, 202), dice.Between(-1, 1), type);
                    break;
                case 1:
                    curve.RemovePoint(index);
                    break;
                case 2:
                    curve.SetPointInterpolationType(index, type);
                    break;
                case 3:
                    curve.SetPointControlRightParam(index, dice.Between(0, 1), 3.0);
                    break;
                default:
                    curve.SetPointTime(index, dice.Between(0, 200));
            }
            steps.push_back(curve.Snapshot());
            texts.push_back(curve.Serialize());
            EXPECT_GE(curve.Revision(), revision);
            revision = curve.Revision();
        }
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const std::size_t j = static_cast<std::size_t>(dice.Below(static_cast<int>(i + 1)));
            EXPECT_EQ(texts[i] == texts[j], steps[i] == steps[j]);
            const core::TimeRange changed = ChangedBetween(steps[i], steps[j]);
            EXPECT_TRUE(steps[i] != steps[j] || changed.IsEmpty());
            for (double t = -5; t < 205; t += 0.37) {
                if (t < changed.from || t >= changed.to) {
                    ASSERT_EQ(steps[i].GetValue(t, false).AsDouble(),
                              steps[j].GetValue(t, false).AsDouble());
                }
            }
            EXPECT_TRUE(curve.Restore(steps[i]));
            EXPECT_EQ(texts[i], curve.Serialize());
            EXPECT_EQ(steps[i], curve.Snapshot());
        }
    }
    // Each setting counts for every time.
    Parameter set = plain::Build({{0, 1, 1}, {1, 2, 1}});
    set.SetValueRange(0.0, 1.0);
    std::string text = set.Serialize();
    EXPECT_EQ(0, set.Desialize(text.c_str()));
    Parameter others[] = {set, set, set, set, set, Parameter(7.0)};
    others[0].SetValueRange(0.0, 2.0);
    others[1].SetValueRange(-1.0, 1.0);
    others[2].SetBaseRatio(2.0);
    others[3].SetParameterType(core::ParameterBool);
    others[5].Desialize(text.c_str());
    others[4].Desialize(text.replace(12, 1, "7").c_str());  // its version
    for (const Parameter& other : others) {
        EXPECT_FALSE(set.Snapshot() == other.Snapshot());
        EXPECT_EQ(ChangedBetween(set.Snapshot(), other.Snapshot()).from, -kInfinity);
    }
    // One keyframe of many: between its neighbours, which their handles bend.
    Parameter line;
    for (int i = 0; i < 300; ++i) {
        line.AddPoint(i, i, kLinear);
    }
    const CurveSnapshot before = line.Snapshot();
    line.SetPointValue(150, -5.0);
    const core::TimeRange changed = ChangedBetween(before, line.Snapshot());
    EXPECT_GE(changed.from, 148);
    EXPECT_LE(changed.to, 152);
}

TEST(Edit, IsMadeAsAWholeOrNotAtAll) {
    Parameter curve;
    curve.AddPoint(0, 1.0, kLinear);
    const CurveSnapshot before = curve.Snapshot();
    const std::uint64_t revision = curve.Revision();
    EXPECT_THROW(curve.Edit([](Parameter& draft) {
        draft.AddPoint(1, 2.0, kLinear);
        throw std::runtime_error("changed its mind");
    }),
                 std::runtime_error);
    EXPECT_EQ(before, curve.Snapshot());
    EXPECT_EQ(revision, curve.Revision());

    int calls = 0;
    EXPECT_TRUE(curve.Edit([&](Parameter& draft) {
        draft.AddPoint(1, 2.0, kLinear);
        if (++calls == 1) {
            curve.AddPoint(2, 3.0, kLinear);  // as another thread might: once more, then
        }
        draft.SetPointValue(0, 5.0);
        if (calls == 2) {
            EXPECT_EQ(3, draft.GetKeyFramesCount());
        }
    }));
    EXPECT_EQ(2, calls);
    EXPECT_EQ(3, curve.GetKeyFramesCount());
    EXPECT_EQ(5.0, curve.GetPointValue(0).AsDouble());

    Parameter gone(std::move(curve));
    EXPECT_FALSE(curve.Edit([](Parameter&) { FAIL(); }));
    EXPECT_FALSE(curve.Restore(before));
    EXPECT_EQ(0U, curve.Revision());
}

// In any order, also among keyframes that are there, and with times that match.
TEST(Edit, AddsManyKeyframesAsOneByOne) {
    Dice dice(5);
    std::vector<TimeValuePair> batch;
    for (int i = 0; i < 1000; ++i) {
        batch.emplace_back(dice.Below(700) * 0.5, dice.Between(0, 1),
                           static_cast<KeyframeInterpolationType>(dice.Below(26)));
    }
    Parameter atOnce, oneByOne;
    for (Parameter* curve : {&atOnce, &oneByOne}) {
        for (int i = 0; i < 100; ++i) {
            curve->AddPoint(i * 3, i, kLinear);
        }
    }
    EXPECT_TRUE(atOnce.AddPoints(batch.data(), batch.size()));
    for (const TimeValuePair& keyframe : batch) {
        oneByOne.AddPoint(keyframe.GetTime(), keyframe.GetValue(), keyframe.GetInterpolation());
    }
    EXPECT_EQ(oneByOne.Snapshot(), atOnce.Snapshot());
    batch.back().SetTime(kNan);
    const CurveSnapshot before = atOnce.Snapshot();
    EXPECT_FALSE(atOnce.AddPoints(batch.data(), batch.size()));
    EXPECT_EQ(before, atOnce.Snapshot());
}

}  // namespace
