// What core-inspect and core-demo draw: that it looks like the curve. The pictures themselves
// are held against those of the guide, the tables' errors by inspect_test.

#include "plot/curve_view.h"
#include "plot/parameter_document.h"
#include "plot/pictures.h"

#include "support/curve_gallery.h"
#include "support/scratch_directory.h"
#include "tools/well_formed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Interpolation = core::KeyframeInterpolationType;
using plot::CurveView;

// How far the straight line between two points of a trace is from an answer.
double Miss(const CurveView& view, const plot::CurveTrace& trace, double time) {
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
        const plot::CurveTrace trace = view.Trace(-0.5, 3.0);
        double low = INFINITY;
        double high = -INFINITY;
        for (const plot::Answer& answer : trace.answers) {
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

TEST(DrawCurves, TakesManyKeyframesALongTimeAndSeveralCurves) {
    std::vector<CurveView> curves;
    auto crowd = std::make_unique<core::Parameter>();
    for (int i = 0; i < 10'000; ++i) {
        crowd->AddPoint(i * 3.0, (i * 37) % 101, static_cast<Interpolation>(i % 27));
    }
    curves.emplace_back("crowd <1>", std::move(crowd));
    plot::PictureStyle style;
    style.title = "crowd";
    const std::string alone = plot::DrawCurves(curves, style);
    EXPECT_TRUE(LooksWellFormed(alone));
    EXPECT_LT(alone.size(), 100'000U) << "a band, not each keyframe";
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        core::Parameter curve = gallery::Build(exhibit);
        if (curve.GetKeyFramesCount() > 0 && exhibit.name != std::string("HugeValues")) {
            curves.emplace_back(exhibit.name, std::make_unique<core::Parameter>(curve));
        }
    }
    style.height = 1800.0;
    EXPECT_TRUE(LooksWellFormed(plot::DrawCurves(curves, style)));
    style.from = 1.0;
    style.to = 1.5;
    EXPECT_TRUE(LooksWellFormed(plot::DrawCurves(curves, style)));
    style.height = 60.0;
    EXPECT_THROW(plot::DrawCurves(curves, style), plot::TableError);
}

const std::string kFade =
    "title: Fade <in> & \"out\" # \xC3\xA9\n"
    "value: opacity\n"
    "type:  double\n"
    "ratio: 2\n"
    "range: 0 2.5\n"
    "fps:   12.5  # few\n"
    "2.0  1     0            -   -    0.4  -0.5\n"
    "0    0     EaseInBack\n"
    "1    1.5   Hold         0.6 0.25 -    -     # in the middle\n";

TEST(KeyframeTable, IsWhatItsDocumentShows) {
    std::string windows = "\xEF\xBB\xBF";
    for (const char c : kFade) {
        windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    const support::ScratchDirectory scratch;
    const auto file = support::PathOf(scratch.Path("saved.json"));
    for (const std::string& text : {windows, std::string("type: bool\n0 true 1\n1 false 3\n"),
                                    std::string("type: point\n0 0 0 1\n0.5 3 4 6 1 1 2 2\n"),
                                    std::string("type: int\nratio: 12\n0 -7 26\n0.2 5 13\n")}) {
        std::istringstream in(text);
        const plot::KeyframeTable table = plot::ReadKeyframeTable(in, "table.kf");
        plot::SaveParameterDocument(table, file);
        core::Parameter parameter = plot::MakeParameter(table);
        core::Parameter saved = plot::MakeParameter(plot::LoadParameterDocument(file));
        EXPECT_EQ(parameter.Serialize(), saved.Serialize());
        EXPECT_TRUE(LooksWellFormed(plot::DrawAnimation(table)));
        if (text == windows) {
            EXPECT_EQ(table.title, "Fade <in> & \"out\" # \xC3\xA9");
            EXPECT_EQ(parameter.GetValue(1.0, false).AsDouble(), 3.0) << "the ratio applies";
            EXPECT_EQ(parameter.GetValue(1.0, true).AsDouble(), 2.5) << "the range applies";
            double x = 0.0;
            double y = 0.0;
            parameter.GetPointControlRightParam(2, x, y);
            EXPECT_EQ(std::make_pair(x, y), std::make_pair(0.4, -0.5));
        }
    }
}

}  // namespace
