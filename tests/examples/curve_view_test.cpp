#include "support/curve_view.h"

#include "support/curve_gallery.h"
#include "support/pictures.h"

#include "examples/well_formed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using example::CurveView;
using Interpolation = core::KeyframeInterpolationType;

// How far the straight line between two points of a trace is from an answer.
double Miss(const CurveView& view, const example::CurveTrace& trace, double time) {
    const auto behind = std::upper_bound(trace.times.begin(), trace.times.end(), time);
    const auto i = static_cast<std::size_t>(behind - trace.times.begin());
    const double t0 = trace.times[i - 1];
    const double t1 = trace.times[i];
    const double part = (time - t0) / (t1 - t0);
    const double straight =
        trace.answers[i - 1][0] + part * (trace.answers[i][0] - trace.answers[i - 1][0]);
    return std::fabs(view.At(time)[0] - straight);
}

// What pages and pictures rely on: a trace looks like its curve, with every jump in place and
// the highest and the lowest point among its own.
TEST(CurveView, FollowsEveryInterpolationToItsExtremes) {
    std::mt19937 random(20261122);
    for (int type = 0; type <= 26; ++type) {
        SCOPED_TRACE(type);
        core::Parameter parameter;
        for (const double time : {0.0, 0.5, 2.0, 2.25}) {
            parameter.AddPoint(time, std::sin(7.0 * time) * 40.0, static_cast<Interpolation>(type));
        }
        const CurveView view("curve", std::make_unique<core::Parameter>(parameter));
        const example::CurveTrace trace = view.Trace(-0.5, 3.0);
        double low = INFINITY;
        double high = -INFINITY;
        for (const example::Answer& answer : trace.answers) {
            low = std::min(low, answer[0]);
            high = std::max(high, answer[0]);
        }
        for (int i = 0; i < 20'000; ++i) {
            const double time = std::uniform_real_distribution<double>(-0.5, 3.0)(random);
            // Halving ends before the steepest ends of easings are all straight.
            EXPECT_LE(Miss(view, trace, time), 3e-3 * (high - low)) << time;
            const double value = parameter.GetValue(time, true).AsDouble();
            EXPECT_TRUE(value >= low - 1e-9 && value <= high + 1e-9) << time << ": " << value;
        }
        EXPECT_LT(trace.times.size(), 1200U);
    }
}

TEST(CurveView, ReadsTicksAsSecondsAndTextsAsSteps) {
    core::Parameter ticks;
    ticks.AddPoint(0.0, 1.0, Interpolation::Linear);
    ticks.AddPoint(2e7, 3.0, Interpolation::Linear);
    const CurveView seconds("ticks", std::make_unique<core::Parameter>(ticks));
    EXPECT_EQ(seconds.To(), 2.0);
    EXPECT_EQ(seconds.At(1.0)[0], 2.0);

    core::Parameter words(core::ValAny("a"));
    words.AddPoint(0.0, "b", Interpolation::Hold);
    words.AddPoint(1.0, "a", Interpolation::Hold);
    words.AddPoint(2.0, "b", Interpolation::Hold);
    const CurveView steps("words", std::make_unique<core::Parameter>(words));
    ASSERT_EQ(steps.Texts(), (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(steps.At(1.5)[0], 1.0);
    EXPECT_EQ(steps.At(2.5)[0], 0.0);
}

TEST(DrawCurves, TakesManyKeyframesALongTimeAndSeveralCurves) {
    std::vector<CurveView> curves;
    auto crowd = std::make_unique<core::Parameter>();
    for (int i = 0; i < 10'000; ++i) {
        crowd->AddPoint(i * 3.0, (i * 37) % 101, static_cast<Interpolation>(i % 27));
    }
    curves.emplace_back("crowd <1>", std::move(crowd));
    example::PictureStyle style;
    style.title = "crowd";
    const std::string alone = example::DrawCurves(curves, style);
    EXPECT_TRUE(LooksWellFormed(alone));
    EXPECT_LT(alone.size(), 100'000U) << "a band, not each keyframe";
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        core::Parameter curve = gallery::Build(exhibit);
        if (curve.GetKeyFramesCount() > 0 && exhibit.name != std::string("HugeValues")) {
            curves.emplace_back(exhibit.name, std::make_unique<core::Parameter>(curve));
        }
    }
    style.height = 1800.0;
    EXPECT_TRUE(LooksWellFormed(example::DrawCurves(curves, style)));
    style.from = 1.0;
    style.to = 1.5;
    EXPECT_TRUE(LooksWellFormed(example::DrawCurves(curves, style)));
    style.height = 60.0;
    EXPECT_THROW(example::DrawCurves(curves, style), example::TableError);
}

}  // namespace
