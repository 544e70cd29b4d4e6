#include "support/clip.h"
#include "support/number_text.h"
#include "support/pictures.h"
#include "support/plot_parts.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace example {

namespace {

using core::Pointd;

constexpr double kWidth = 760.0;
constexpr double kHeight = 560.0;
constexpr Box kSourceArea = {76.0, 70.0, 660.0, 230.0};
constexpr Box kSpeedArea = {76.0, 352.0, 660.0, 120.0};

struct Mark {
    double render;
    double source;
    double speed;
    KeyframeShape shape;
};

// Each keyframe where it is shown.
std::vector<Mark> MarksOf(core::SpeedParameter& speed) {
    std::vector<Mark> marks;
    for (int i = 0; i < speed.GetKeyFramesCount(); ++i) {
        const double time = speed.GetPointTime(i);
        const bool isReverse = speed.GetReverse() != 0;
        const double shown = isReverse ? speed.GetSourceTotalTime() - time : time;
        const double value = speed.GetPointValue(i).AsDouble();
        marks.push_back({speed.GetRenderTime(shown), shown, isReverse ? -value : value,
                         ShapeOf(speed.GetInterpolationType(i))});
    }
    return marks;
}

void ShadeFreezes(SvgDocument& picture, const PlotAxes& axes,
                  const std::vector<FreezeSpan>& freezes) {
    for (const FreezeSpan& freeze : freezes) {
        const double left = axes.X(freeze.start);
        picture.Rectangle("beyond",
                          {left, axes.Area().top, axes.X(freeze.start + freeze.duration) - left,
                           axes.Area().height});
    }
}

}  // namespace

std::string DrawClip(Clip& clip) {
    core::SpeedParameter& speed = clip.speed;
    const double length = speed.GetRenderTotalTime();
    const SeenSpeed seen(speed);
    const std::vector<FreezeSpan>& freezes = seen.Freezes();
    const std::vector<Mark> marks = MarksOf(speed);
    std::vector<double> corners;
    const auto addCorner = [&](double time) {
        corners.push_back(std::nextafter(time, -std::numeric_limits<double>::infinity()));
        corners.push_back(time);
    };
    for (const FreezeSpan& freeze : freezes) {
        addCorner(freeze.start);
        addCorner(freeze.start + freeze.duration);
    }
    for (const Mark& mark : marks) {
        addCorner(mark.render);
    }
    // The speed of the last keyframe is never seen.
    const double last = std::nextafter(length, 0.0);
    const auto speedAt = [&](double renderTime) { return seen.At(std::min(renderTime, last)); };

    const Span times = Widened({0.0, length}, 0.02);
    const auto count = static_cast<int>(4.0 * kSourceArea.width);
    const std::vector<double> samples = TraceTimes(0.0, length, count, corners);
    Span sources;
    Span speeds;
    for (const double time : samples) {
        sources.Include(speed.GetSourceTime(time));
        speeds.Include(speedAt(time));
    }
    for (std::size_t i = 0; i + 1 < marks.size(); ++i) {
        speeds.Include(marks[i].speed);
    }
    const PlotAxes sourceAxes(kSourceArea, times, Widened(sources, 0.06));
    const PlotAxes speedAxes(kSpeedArea, times, Widened(speeds, 0.1));

    const std::string subtitle =
        std::to_string(speed.GetKeyFramesCount()) + " keyframes, " +
        std::to_string(freezes.size()) + (freezes.size() == 1 ? " freeze, " : " freezes, ") +
        (speed.GetReverse() != 0 ? "in reverse, " : "forward, ") +
        ShortText(speed.GetSourceTotalTime(), 3) + " s shown in " + ShortText(length, 3) + " s";
    SvgDocument picture(kWidth, kHeight, clip.title, subtitle);
    picture.Text("title", {22.0, 32.0}, clip.title);
    picture.Text("small", {22.0, 52.0}, subtitle);
    const auto draw = [&](const PlotAxes& axes, const char* xTitle, const char* yTitle,
                          const std::function<double(double)>& valueAt) {
        ShadeFreezes(picture, axes, freezes);
        axes.Draw(picture, xTitle, yTitle);
        DrawStrokes(picture, "curve",
                    TraceCurve(
                        [&](double time) {
                            return axes.At({time, valueAt(time)});
                        },
                        samples));
    };
    draw(sourceAxes, "", "source time in seconds",
         [&](double time) { return speed.GetSourceTime(time); });
    draw(speedAxes, "render time in seconds", "speed", speedAt);
    LegendParts legend;
    legend.freezes = !freezes.empty();
    for (std::size_t i = 0; i < marks.size() && marks.size() <= kMostLeveredKeyframes; ++i) {
        const Mark& mark = marks[i];
        DrawKeyframe(picture, sourceAxes.At({mark.render, mark.source}), mark.shape);
        if (i + 1 < marks.size()) {  // the last one's speed is never seen
            DrawKeyframe(picture, speedAxes.At({mark.render, mark.speed}), mark.shape);
        }
        legend.keyframes.insert(mark.shape);
    }
    DrawLegend(picture, {22.0, kHeight - 26.0}, legend);
    return picture.Finish();
}

}  // namespace example
