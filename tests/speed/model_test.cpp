#include <core/speed/clip.h>
#include <core/speed/guard.h>
#include <core/speed/retime.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <algorithm>

#include "support/dice.h"
#include "support/speed_edits.h"
#include "support/speed_words.h"

namespace {

using plain::SpeedModel;

int RandomType(Dice& dice) {
    return dice.Pick(std::vector<int>{kHold, kLine, kEasedStep});
}

struct DiceChoices {
    int Below(int count) { return dice.Below(count); }
    bool Flag() { return dice.OneIn(2); }
    double Between(double from, double to) { return dice.Between(from, to); }
    double Speed() { return dice.OneIn(4) ? 1.0 : dice.Between(0.05, 4.0); }

    Dice& dice;
};

void ExpectAgreement(SpeedParameter& speed, const SpeedModel& model, Dice& dice) {
    constexpr double kRounding = 1e-9;
    const double length = model.RenderTotal();
    EXPECT_NEAR(length, speed.GetRenderTotalTime(), kRounding * length);
    const double t = dice.Between(-1, length + 1);
    const double s = dice.Between(-1, model.total + 1);
    EXPECT_NEAR(model.SourceTime(t), speed.GetSourceTime(t), kRounding) << "render " << t;
    EXPECT_NEAR(model.RenderTime(s), speed.GetRenderTime(s), kRounding * (1 + length))
        << "source " << s;
    EXPECT_NEAR(model.PointOfRender(t), speed.RenderTimeToPointTime(t), kRounding) << t;
    EXPECT_NEAR(model.RenderOfPoint(s), speed.PointTimeToRenderTime(s), kRounding * (1 + length))
        << "point " << s;
    EXPECT_NEAR(model.Speed(t), speed.GetCurrentFPS(t), kRounding) << "render " << t;
    for (const SpeedModel::Freeze& freeze : model.freezes) {
        const double start = speed.PointTimeToRenderTime(freeze.point);
        const double inside = start + dice.Between(0, freeze.duration);
        EXPECT_NEAR(model.SourceTime(inside), speed.GetSourceTime(inside), kRounding);
    }
}

// Cut, guarded and made twice as long, a clip still shows what the model shows.
void ExpectRetimed(SpeedParameter& speed, const SpeedModel& model, Dice& dice) {
    constexpr double kHundredthOfAFrame = 0.01 / 60.0;
    const double length = model.RenderTotal();
    const double cut = dice.Between(0.01, length - 0.01);
    const core::ClipParts parts = CutClip(speed.Snapshot(), cut);
    const core::ShownRange shown = FindShownRange(speed.Snapshot());
    double last = model.keys.back().time;
    for (const SpeedModel::Freeze& freeze : model.freezes) {
        last = std::max(last, freeze.source);
    }
    if (last > model.keys.back().time + 1e-7) {
        return;  // a freeze that was left behind when the source was shortened
    }
    ASSERT_TRUE(parts) << parts.first.reason << parts.second.reason;
    EXPECT_EQ(last <= model.total + 1e-7, shown.StaysInside());
    EXPECT_FALSE(shown.RunsBackwards());
    SpeedParameter longer(speed);
    ASSERT_TRUE(ScaleToLength(longer, 2 * length, core::FreezeLengths::Scale));
    for (int i = 0; i < 20; ++i) {
        const double t = dice.Between(0, length - 1e-6);
        const double source = model.SourceTime(t);
        const core::ClipPart& part = t < cut ? parts.first : parts.second;
        EXPECT_NEAR(source, part.GetSourceTime(t < cut ? t : t - cut), kHundredthOfAFrame) << t;
        EXPECT_NEAR(source, longer.GetSourceTime(2 * t), 2e-7 * (1 + model.Speed(t))) << t;
        EXPECT_TRUE(source > shown.lowest - 1e-9 && source < shown.highest + 1e-9);
    }
}

TEST(SpeedModelTest, ThousandsOfScriptsAgree) {
    for (std::uint64_t seed = 0; seed < 3000; ++seed) {
        Dice dice(seed);
        auto speed = std::make_unique<SpeedParameter>();
        SpeedModel model;
        speed->SetSourceTotalTime(10);
        model.SetTotal(10);
        // Small scripts first.
        const int steps = 1 + static_cast<int>(seed / 100);
        for (int step = 0; step < steps; ++step) {
            DiceChoices choices{dice};
            ASSERT_TRUE(plain::EditBoth(speed, model, choices)) << "seed " << seed;
            ExpectAgreement(*speed, model, dice);
            if (step + 1 == steps) {
                ExpectRetimed(*speed, model, dice);
            }
            if (HasFailure()) {
                FAIL() << "seed " << seed << ", step " << step << "\n" << model.Print();
            }
        }
    }
}

// Without freezes and past the first keyframe each time has one counterpart, and both
// grow together.
TEST(SpeedProperties, EachMappingInvertsTheOther) {
    for (std::uint64_t seed = 0; seed < 500; ++seed) {
        Dice dice(seed);
        SpeedKeys keys;
        const int count = 2 + dice.Below(12);
        for (int i = 0; i < count; ++i) {
            keys.push_back({10.0 * i / (count - 1), dice.Between(0.01, 8), RandomType(dice)});
        }
        auto speed = Speeds(10, keys);
        double before = -1;
        for (double s = 0; s <= 10; s += 0.09375) {
            const double t = speed->GetRenderTime(s);
            EXPECT_NEAR(s, speed->GetSourceTime(t), 1e-8) << "seed " << seed;
            EXPECT_EQ(t, speed->PointTimeToRenderTime(s));
            EXPECT_LT(before, t) << "seed " << seed << ", source " << s;
            before = t;
        }
    }
}

bool IsNumber(double x) {
    return !std::isnan(x);
}

// Speeds of every sign and size, keyframes on top of each other, freezes anywhere.
TEST(SpeedProperties, NoQuestionAboutAFiniteTimeAnswersNan) {
    const Times values = {0,     1,    -1,    2,      1e-21,  -1e-21, 0.00005, 1e-300,
                          1e300, -3.5, 1e308, -1e308, 0.0001, 1e-5,   100};
    const Times times = {0,  1,   2,     3,      5,     1e-7, 1.00000012, 1.00000024,
                         -4, 1e9, 1e300, -1e308, 1e308, 9.99, 2e5,        4.5};
    for (std::uint64_t seed = 0; seed < 2000; ++seed) {
        Dice dice(seed);
        SpeedParameter made;
        made.SetSourceTotalTime(dice.Pick(times));
        for (int i = dice.Below(8); i >= 0; --i) {
            made.AddPoint(dice.Pick(times), dice.Pick(values),
                          KeyframeInterpolationType(dice.Pick(gallery::Types())));
        }
        for (int i = dice.Below(4); i > 0; --i) {
            made.AddFreezeFrame(dice.Pick(times), std::fabs(dice.Pick(values)));
        }
        made.SetFreezeFrameDuration(dice.Below(3), dice.Pick(values));
        SpeedParameter copy(made);
        auto reverted = made.RevertSpeedParameter();
        reverted->SetReverse(true);
        for (SpeedParameter* speed : {&made, &copy, reverted.get()}) {
            for (double t : times) {
                EXPECT_TRUE(IsNumber(speed->GetSourceTime(t)) && IsNumber(speed->GetRenderTime(t)))
                    << "seed " << seed << " at " << t;
                EXPECT_TRUE(IsNumber(speed->RenderTimeToPointTime(t)) &&
                            IsNumber(speed->PointTimeToRenderTime(t)) &&
                            IsNumber(speed->GetCurrentFPS(t)))
                    << "seed " << seed << " at " << t;
            }
            EXPECT_TRUE(IsNumber(speed->GetRenderTotalTime())) << "seed " << seed;
            for (double never : {kNan, kInfinity, -kInfinity}) {
                speed->GetSourceTime(never);
                speed->GetRenderTime(never);
                speed->RenderTimeToPointTime(never);
                speed->PointTimeToRenderTime(never);
                speed->GetCurrentFPS(never);
            }
            VelocityAt(*speed, dice.Below(8));
        }
    }
}

}  // namespace
