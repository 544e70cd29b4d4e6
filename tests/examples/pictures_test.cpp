#include "support/pictures.h"

#include "support/curve_trace.h"
#include "support/levers.h"
#include "support/plot_axes.h"
#include "support/svg_document.h"

#include "examples/well_formed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace {

using core::Pointd;
using Interpolation = core::KeyframeInterpolationType;

double DistanceFromStrokes(const example::Strokes& strokes, Pointd p) {
    double nearest = 1e300;
    for (const std::vector<Pointd>& stroke : strokes) {
        for (std::size_t i = 0; i < stroke.size(); ++i) {
            const Pointd a = stroke[i == 0 ? 0 : i - 1];
            const Pointd b = stroke[i];
            const double length2 = (b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y);
            const double along = (p.x - a.x) * (b.x - a.x) + (p.y - a.y) * (b.y - a.y);
            const double s = length2 > 0.0 ? std::clamp(along / length2, 0.0, 1.0) : 0.0;
            nearest = std::min(
                nearest, std::hypot(p.x - a.x - s * (b.x - a.x), p.y - a.y - s * (b.y - a.y)));
        }
    }
    return nearest;
}

TEST(CurveTrace, LooksLikeTheCurveAndBreaksWhereItJumps) {
    const struct {
        const char* name;
        std::function<double(double)> y;
        std::size_t jumps;
    } cases[] = {
        {"level", [](double) { return 7.0; }, 0},
        {"wave", [](double t) { return 100.0 * std::sin(t / 20.0); }, 0},
        {"upright start", [](double t) { return 20.0 * std::sqrt(t); }, 0},
        {"steep but whole", [](double t) { return 100.0 * std::atan(1e4 * (t - 123.4)); }, 0},
        {"staircase", [](double t) { return 5.0 * std::floor(t / 12.7); }, 31},
        {"step at a sample", [](double t) { return t < 200.0 ? 0.0 : 80.0; }, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const example::Strokes strokes = example::TraceCurve(
            [&](double t) {
                return Pointd{t, c.y(t)};
            },
            example::TraceTimes(0.0, 400.0, 800, {}));
        EXPECT_EQ(strokes.size(), c.jumps + 1);
        std::size_t points = 0;
        for (std::size_t i = 0; i < strokes.size(); ++i) {
            ASSERT_FALSE(strokes[i].empty());
            points += strokes[i].size();
            for (const Pointd& p : strokes[i]) {
                EXPECT_EQ(p.y, c.y(p.x)) << "drawn from samples alone";
            }
            if (i > 0) {
                EXPECT_NEAR(strokes[i].front().x, strokes[i - 1].back().x, 1e-5) << "upright";
            }
        }
        EXPECT_LT(points, 400U) << "no point too many";
        for (double t = 0.05; t < 400.0; t += 0.37) {
            EXPECT_LT(DistanceFromStrokes(strokes, {t, c.y(t)}), 0.2) << t;
        }
    }
}

TEST(PlotAxes, TicksAreRoundFewAndInside) {
    const example::Span spans[] = {
        {-0.3, 3.2},   {0.0, 1e-7},  {-1e13, 3e13}, {1e12, 1e12}, {0.0, 0.0},
        {99.9, 100.1}, {-7.0, -6.9}, {0.0, 9.99},   {-0.4, 4.4},
    };
    for (const example::Span& raw : spans) {
        const example::Span span = example::Widened(raw, 0.0);
        for (const int count : {2, 5, 8}) {
            SCOPED_TRACE(std::to_string(raw.low) + ".." + std::to_string(raw.high));
            const std::vector<double> ticks = example::Ticks(span, count);
            // Steps of 1, 2 and 5 are never more than 2.1 times as wide as asked.
            const int made = static_cast<int>(ticks.size());
            EXPECT_TRUE(2.1 * (made + 1) >= count && made <= 2 * count + 1);
            EXPECT_GE(made, 2);
            std::string before;
            for (const double tick : ticks) {
                EXPECT_NEAR(tick, std::clamp(tick, span.low, span.high), 1e-6 * span.Length());
                const std::string text = example::TickText(tick, ticks);
                EXPECT_NEAR(std::stod(text), tick, 1e-3 * span.Length());
                EXPECT_NE(text, before);
                before = text;
            }
        }
    }
}

TEST(Pictures, AreWellFormedAndNameWhatTheyShow) {
    example::KeyframeTable table;
    table.title = "a < b & \"c\"";
    for (const core::ParameterTypeEnum type :
         {core::ParameterDouble, core::ParameterInt, core::ParameterBool, core::ParameterPoint}) {
        table.type = type;
        table.rows.clear();
        for (int i = 0; i < 3; ++i) {
            core::ValAny value = i;
            if (type == core::ParameterPoint) {
                value = Pointd{1.0 * i, 2};
            } else if (type == core::ParameterBool) {
                value = i == 1;
            }
            table.rows.push_back({0.5 * i, value, Interpolation::Hold, {}, {}});
            const std::string svg = example::DrawAnimation(table);
            EXPECT_TRUE(LooksWellFormed(svg)) << svg;
            EXPECT_NE(svg.find("a &lt; b &amp; &quot;c&quot;</text>"), std::string::npos);
        }
    }
    const std::string types = example::DrawInterpolationTypes();
    EXPECT_TRUE(LooksWellFormed(types));
    EXPECT_TRUE(LooksWellFormed(example::DrawInsertedKeyframe()));
    EXPECT_TRUE(LooksWellFormed(example::DrawOvershoot()));
    EXPECT_TRUE(LooksWellFormed(example::DrawReduced()));
    EXPECT_TRUE(LooksWellFormed(example::DrawOutside()));
    for (int type = 16; type <= 26; ++type) {
        EXPECT_NE(types.find(example::InterpolationName(static_cast<Interpolation>(type))),
                  std::string::npos)
            << type;
    }
}

}  // namespace
