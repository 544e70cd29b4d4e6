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
};

// Each keyframe where it is shown.
std::vector<Mark> MarksOf(core::SpeedParameter& speed) {
    std::vector<Mark> marks;
    for (int i = 0; i < speed.GetKeyFramesCount(); ++i) {
        const double time = speed.GetPointTime(i);
        const double shown = speed.GetReverse() != 0 ? speed.GetSourceTotalTime() - time : time;
        marks.push_back({speed.GetRenderTime(shown), shown});
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

void DrawClipLegend(SvgDocument& picture, Pointd at) {
    picture.Line("curve", at, {at.x + 26.0, at.y});
    picture.Text("small", {at.x + 33.0, at.y + 4.0}, "curve");
    DrawKeyframe(picture, {at.x + 92.0, at.y});
    picture.Text("small", {at.x + 105.0, at.y + 4.0}, "keyframe");
    picture.Rectangle("beyond", {at.x + 176.0, at.y - 6.0, 12.0, 12.0});
    picture.Text("small", {at.x + 195.0, at.y + 4.0}, "freeze");
}

}  // namespace

std::string DrawClip(Clip& clip) {
    core::SpeedParameter& speed = clip.speed;
    const double length = speed.GetRenderTotalTime();
    const std::vector<FreezeSpan> freezes = FreezesOf(speed);
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
    // As Clip::SpeedAt, but for many times. The speed of the last keyframe is never seen.
    const double last = std::nextafter(length, 0.0);
    const auto speedAt = [&](double renderTime) {
        const double time = std::min(renderTime, last);
        const auto behind =
            std::upper_bound(freezes.begin(), freezes.end(), time,
                             [](double t, const FreezeSpan& freeze) { return t < freeze.start; });
        if (behind != freezes.begin() &&
            time < std::prev(behind)->start + std::prev(behind)->duration) {
            return 0.0;
        }
        return speed.GetReverse() != 0 ? -speed.GetCurrentFPS(time) : speed.GetCurrentFPS(time);
    };

    const Span times = Widened({0.0, length}, 0.02);
    const auto count = static_cast<int>(4.0 * kSourceArea.width);
    const std::vector<double> samples = TraceTimes(0.0, length, count, corners);
    Span sources;
    Span speeds;
    for (const double time : samples) {
        sources.Include(speed.GetSourceTime(time));
        speeds.Include(speedAt(time));
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
    if (marks.size() <= kMostLeveredKeyframes) {
        for (const Mark& mark : marks) {
            DrawKeyframe(picture, sourceAxes.At({mark.render, mark.source}));
        }
    }
    DrawClipLegend(picture, {22.0, kHeight - 26.0});
    return picture.Finish();
}

}  // namespace example
