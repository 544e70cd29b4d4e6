#include "plot/keyframe_table.h"
#include "plot/pictures.h"
#include "plot/plot_parts.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace plot {

namespace {

using core::Pointd;
using Interpolation = core::KeyframeInterpolationType;

// One panel: a segment from (0, 0) to (1, 1), with handles that show what the type
// makes of them.
struct Panel {
    std::string_view numbers;
    Interpolation type;
    Pointd right;  // of the start
    Pointd left;   // of the end
};
constexpr std::array<Panel, 17> kPanels = {{
    {"6", Interpolation::Hold, {}, {}},
    {"1", Interpolation::Linear, {1.0, 0.0}, {1.0, 0.0}},
    {"7, 8, 10, 11", Interpolation::Hermite, {2.2, 0.0}, {-1.0, 0.0}},
    {"9", Interpolation::HermiteFlat, {}, {}},
    {"0, 2-5, 13-15", Interpolation::Bezier, {0.55, -0.35}, {0.75, -0.9}},
    {"12", Interpolation::ValueBezier, {0.75, 0.0}, {0.15, 0.0}},
    {"16", Interpolation::EaseInCubic, {}, {}},
    {"17", Interpolation::EaseOutCubic, {}, {}},
    {"18", Interpolation::EaseInOutCubic, {}, {}},
    {"19", Interpolation::EaseInCirc, {}, {}},
    {"20", Interpolation::EaseOutCirc, {}, {}},
    {"21", Interpolation::EaseInOutCirc, {}, {}},
    {"22", Interpolation::EaseInBack, {}, {}},
    {"23", Interpolation::EaseOutBack, {}, {}},
    {"24", Interpolation::EaseOutElastic, {}, {}},
    {"25", Interpolation::EaseOutBounce, {}, {}},
    {"26", Interpolation::Extrapolate, {}, {0.55, 0.0}},
}};

constexpr int kColumns = 6;
constexpr double kPanelWidth = 156.0;
constexpr double kPanelHeight = 168.0;
constexpr double kTop = 66.0;
constexpr double kWidth = 2 * 16.0 + kColumns * kPanelWidth;
constexpr double kHeight = kTop + 3 * kPanelHeight + 30.0;

Box PanelBox(int index) {
    return {16.0 + (index % kColumns) * kPanelWidth + 8.0,
            kTop + static_cast<double>(index / kColumns) * kPanelHeight + 20.0, kPanelWidth - 16.0,
            kPanelHeight - 36.0};
}

void DrawPanel(SvgDocument& picture, const Panel& panel, const Box& box) {
    core::Parameter parameter;
    parameter.AddPoint(0.0, 0.0, panel.type);
    parameter.AddPoint(1.0, 1.0, panel.type);
    parameter.SetPointControlRightParam(0, panel.right.x, panel.right.y);
    parameter.SetPointControlLeftParam(1, panel.left.x, panel.left.y);

    const PlotAxes axes(box, {-0.16, 1.16}, {-0.68, 1.68});
    picture.Text("label", {box.left + 1.0, box.top - 6.0}, InterpolationName(panel.type));
    picture.Text("small", {box.Right() - 1.0, box.top - 6.0}, panel.numbers, TextAnchor::End);
    for (const double value : {0.0, 1.0}) {
        picture.Line("grid", {box.left, axes.Y(value)}, {box.Right(), axes.Y(value)});
        picture.Line("grid", {axes.X(value), box.top}, {axes.X(value), box.Bottom()});
    }
    picture.Rectangle("border", box);
    const auto trace = [&](double from, double to) {
        return TraceValues(parameter, axes, from, to, {0.0, 1.0});
    };
    DrawStrokes(picture, "outside", trace(axes.Horizontal().low, 0.0));
    DrawStrokes(picture, "outside", trace(1.0, axes.Horizontal().high));
    DrawStrokes(picture, "curve", trace(0.0, 1.0));
    DrawLevers(picture, axes, Levers(parameter));
    for (const double value : {0.0, 1.0}) {
        DrawKeyframe(picture, axes.At({value, value}), ShapeOf(panel.type));
    }
}

}  // namespace

std::string DrawInterpolationTypes() {
    const std::string subtitle =
        "One segment from keyframe to keyframe: time to the right, value upwards. Beside the name "
        "the numbers of KeyframeInterpolationType.";
    SvgDocument picture(kWidth, kHeight, "Interpolation types", subtitle);
    picture.Text("title", {24.0, 30.0}, "Interpolation types");
    picture.Text("small", {24.0, 50.0}, subtitle);
    for (std::size_t i = 0; i < kPanels.size(); ++i) {
        DrawPanel(picture, kPanels[i], PanelBox(static_cast<int>(i)));
    }
    LegendParts legend;
    legend.keyframes = {KeyframeShape::Linear, KeyframeShape::Hold, KeyframeShape::Smooth,
                        KeyframeShape::Easing, KeyframeShape::Extrapolate};
    legend.outside = legend.jump = legend.handles = legend.fixedHandles = true;
    const Box last = PanelBox(static_cast<int>(kPanels.size()));
    DrawLegend(picture, {last.left + 8.0, last.top}, legend, true);
    return picture.Finish();
}

}  // namespace plot
