#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include "support/speed_words.h"

namespace {

/// The speed of a stretch after `x` seconds of its `D`.
double SpeedAfter(const Velocities& v, double x, double D, bool isEasedStep) {
    const double u = isEasedStep ? x : x / D;
    return v.a + v.b * x + v.c * u * u + v.d * u * u * u;
}

struct Shape {
    double duration;  // of the stretch, or 0 for a freeze
    int type;
};

// The mirror, stretch by stretch: at equal distances from the two ends of the curve
// the speeds are equal. The 0.0001 in an eased step's coefficients puts it off by
// about that much.
void ExpectMirror(SpeedParameter& forward, SpeedParameter& reversed,
                  const std::vector<Shape>& shapes) {
    const int count = static_cast<int>(shapes.size());
    for (int i = 0; i < count; ++i) {
        const Shape& shape = shapes[static_cast<std::size_t>(i)];
        const Velocities there = VelocityAt(forward, i);
        const Velocities back = VelocityAt(reversed, count - 1 - i);
        if (shape.duration == 0) {
            EXPECT_EQ((Velocities{0, 0, 0, 0}), there) << i;
            EXPECT_EQ((Velocities{0, 0, 0, 0}), back) << i;
            continue;
        }
        const bool isEasedStep = shape.type == kEasedStep;
        for (double x : {0.0, 0.3, 0.5, 1.0}) {
            x *= shape.duration;
            EXPECT_NEAR(SpeedAfter(there, shape.duration - x, shape.duration, isEasedStep),
                        SpeedAfter(back, x, shape.duration, isEasedStep),
                        isEasedStep ? 1e-3 : 1e-12)
                << "stretch " << i << " after " << x;
        }
    }
    for (int outside : {-1, count, count + 1}) {
        EXPECT_EQ((Velocities{0, 0, 0, 0}), VelocityAt(reversed, outside)) << outside;
    }
}

TEST(Reverse, TheRevertedCurvePlaysTheStretchesFromTheEnd) {
    auto speed =
        Speeds(12, {{0, 1, kLine}, {3, 2, kEasedStep}, {6, 1, 7}, {8, 3, kHold}, {12, 1, kHold}});
    ASSERT_TRUE(speed->AddFreezeFrame(3.0, 2.0));
    ASSERT_TRUE(speed->AddFreezeFrame(14.0, 1.0));
    auto reverted = speed->RevertSpeedParameter();
    EXPECT_EQ(0, reverted->GetReverse());
    EXPECT_EQ(VelocityAt(*speed, 0), VelocityAt(*reverted, 0)) << "until it is set to reverse";
    reverted->SetReverse(true);
    EXPECT_EQ(speed->GetRenderTotalTime(), reverted->GetRenderTotalTime());
    const std::vector<Shape> shapes = {{2, kLine},       {}, {2, kEasedStep}, {1, 7},
                                       {4.0 / 3, kHold}, {}};
    ExpectMirror(*speed, *reverted, shapes);

    // Copies share it; each outlives the other and the source.
    SpeedParameter copy(*reverted);
    auto longer = reverted->RevertSpeedParameter();
    auto source = std::make_unique<SpeedParameter>(*speed);
    speed.reset();
    reverted.reset();
    ExpectMirror(*source, copy, shapes);
    ExpectMirror(*source, *longer, shapes);

    // An edit of one is followed by its own alone.
    copy.SetPointValue(0, 5.0);
    EXPECT_EQ(5.0, SpeedAfter(VelocityAt(copy, 5), 6.0 / 7, 6.0 / 7, false));
    ExpectMirror(*source, *longer, shapes);
}

}  // namespace
