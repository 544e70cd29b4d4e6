#include "plot/number_text.h"
#include "plot/pictures.h"
#include "plot/plot_parts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace plot {

namespace {

using core::Pointd;

constexpr double kWidth = 760.0;
constexpr double kHeight = 660.0;
constexpr Box kPathArea = {76.0, 72.0, 660.0, 340.0};
constexpr Box kSpeedArea = {76.0, 490.0, 660.0, 76.0};

// Both axes in one scale, so that the path keeps its shape.
PlotAxes PathAxes(Span xs, Span ys) {
    const double scale = std::max(xs.Length() / kPathArea.width, ys.Length() / kPathArea.height);
    const auto stretched = [scale](Span span, double length) {
        const double more = (scale * length - span.Length()) / 2.0;
        return Span{span.low - more, span.high + more};
    };
    return {kPathArea, stretched(xs, kPathArea.width), stretched(ys, kPathArea.height), true};
}

// Where a keyframe's name stands: above or below, away from the levers.
Pointd NamePlace(const std::vector<SegmentLevers>& segments, std::size_t key, Pointd place,
                 const PlotAxes& axes) {
    double lean = 0.0;
    if (key > 0) {
        lean += axes.At(segments[key - 1].endControl).y - place.y;
    }
    if (key < segments.size()) {
        lean += axes.At(segments[key].startControl).y - place.y;
    }
    return {place.x, lean < 0.0 ? place.y + 22.0 : place.y - 13.0};
}

// A bar for how far each frame moves from the one before.
void DrawSpeed(SvgDocument& picture, const KeyframeTable& table, const std::vector<Pointd>& frames,
               int firstFrame) {
    std::vector<double> lengths;
    double longest = 0.0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        lengths.push_back(std::hypot(frames[i].x - frames[i - 1].x, frames[i].y - frames[i - 1].y));
        longest = std::max(longest, lengths.back());
    }
    const double start = firstFrame / table.fps;
    const double end = start + static_cast<double>(lengths.size()) / table.fps;
    const PlotAxes axes(kSpeedArea, Widened({start, end}, 0.02),
                        {0.0, longest > 0.0 ? 1.1 * longest : 1.0});
    picture.Text("small", {22.0, kSpeedArea.top - 14.0},
                 "Distance covered in each frame; dotted lines are keyframes");
    axes.Draw(picture, "time in seconds", "distance");
    const double width = axes.X(1.0 / table.fps) - axes.X(0.0);
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const double left = axes.X(start) + (static_cast<double>(i) + 0.1) * width;
        const double top = axes.Y(lengths[i]);
        picture.Rectangle("bar", {left, top, 0.8 * width, kSpeedArea.Bottom() - top});
    }
    for (const KeyframeRow& row : table.rows) {
        const double x = axes.X(row.time);
        picture.Line("guide", {x, kSpeedArea.top}, {x, kSpeedArea.Bottom()});
    }
}

}  // namespace

std::string DrawMotionPath(const KeyframeTable& table) {
    core::Parameter parameter = MakeParameter(table);
    const std::vector<SegmentLevers> segments = Levers(parameter);
    const auto pointAt = [&parameter](double time) {
        return parameter.GetValue(time, false).AsPoint();
    };
    const auto [firstFrame, lastFrame] = FrameSpan(table);
    std::vector<Pointd> frames;
    for (int frame = firstFrame; frame <= lastFrame; ++frame) {
        frames.push_back(pointAt(frame / table.fps));
    }
    // The path lies inside the hull of its control points.
    const Pointd start = table.rows.front().value.AsPoint();
    Span xs = {start.x, start.x};
    Span ys = {start.y, start.y};
    for (const SegmentLevers& segment : segments) {
        for (const Pointd& p : {segment.startControl, segment.endControl, segment.end}) {
            xs.Include(p.x);
            ys.Include(p.y);
        }
    }
    const PlotAxes axes = PathAxes(Widened(xs, 0.06), Widened(ys, 0.1));

    const std::string subtitle = "motion path, " + std::to_string(table.rows.size()) +
                                 " keyframes, " + ShortText(table.fps, 3) + " frames per second";
    SvgDocument picture(kWidth, kHeight, table.title, subtitle);
    picture.Text("title", {22.0, 32.0}, table.title);
    picture.Text("small", {22.0, 52.0}, subtitle);
    axes.Draw(picture, "x", "y, downwards");

    std::vector<double> corners;
    for (const KeyframeRow& row : table.rows) {
        corners.push_back(row.time);
        corners.push_back(std::nextafter(row.time, -std::numeric_limits<double>::infinity()));
    }
    const Strokes strokes =
        TraceCurve([&](double time) { return axes.At(pointAt(time)); },
                   TraceTimes(table.rows.front().time, table.rows.back().time,
                              std::max(1000, 4 * (lastFrame - firstFrame)), corners));
    DrawStrokes(picture, "curve", strokes);
    std::vector<Pointd> framePlaces;
    for (const Pointd& frame : frames) {
        framePlaces.push_back(axes.At(frame));
    }
    picture.Dots(framePlaces);
    LegendParts legend;
    const bool isCrowded = table.rows.size() > kMostLeveredKeyframes;
    if (!isCrowded) {
        DrawLevers(picture, axes, segments);
    }
    for (std::size_t i = 0; i < table.rows.size(); ++i) {
        const Pointd place = axes.At(table.rows[i].value.AsPoint());
        const KeyframeShape shape = ShapeOf(table.rows[i].interpolation);
        DrawKeyframe(picture, place, shape, isCrowded ? 3.0 : 6.0);
        legend.keyframes.insert(shape);
        if (isCrowded) {
            continue;
        }
        picture.Text("keyname", NamePlace(segments, i, place, axes),
                     ShortText(table.rows[i].time, 3) + " s", TextAnchor::Middle);
    }
    DrawSpeed(picture, table, frames, firstFrame);

    legend.jump = strokes.size() > 1;
    legend.frames = true;
    legend.handles = !isCrowded && HasLevers(segments, false);
    DrawLegend(picture, {22.0, kHeight - 24.0}, legend);
    return picture.Finish();
}

}  // namespace plot
