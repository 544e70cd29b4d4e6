#include "support/number_text.h"
#include "support/pictures.h"
#include "support/plot_parts.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace example {

namespace {

using core::Pointd;

constexpr double kWidth = 760.0;
constexpr double kHeight = 430.0;
constexpr Box kPlotArea = {76.0, 92.0, 660.0, 238.0};
constexpr double kBandHeight = 22.0;

// Closer frames would only be a thicker line, closer guides a grey area.
constexpr double kLeastFrameWidth = 8.0;
constexpr double kLeastGuideGap = 10.0;

std::string Subtitle(const KeyframeTable& table) {
    std::string text = std::string(ParameterTypeName(table.type)) + ", " +
                       std::to_string(table.rows.size()) + " keyframes, " +
                       ShortText(table.fps, 3) + " frames per second";
    if (table.baseRatio) {
        text += ", base ratio " + ShortText(*table.baseRatio, 6);
    }
    return text;
}

// All that is sampled and every keyframe; handles too, as long as they leave the
// curve most of the height.
Span ValueSpan(core::Parameter& parameter, const std::vector<SegmentLevers>& segments,
               const std::vector<double>& keyValues, Span times) {
    Span values = {keyValues.front(), keyValues.front()};
    for (const double value : keyValues) {
        values.Include(value);
    }
    const int count = 2000;
    for (int i = 0; i <= count; ++i) {
        const double time = times.low + times.Length() * i / count;
        values.Include(PlottedNumber(parameter.GetValue(time, true)));
    }
    const Span most = Widened(values, 0.5);
    for (const SegmentLevers& segment : segments) {
        if (segment.showsStart) {
            values.Include(std::clamp(segment.startControl.y, most.low, most.high));
        }
        if (segment.showsEnd) {
            values.Include(std::clamp(segment.endControl.y, most.low, most.high));
        }
    }
    return Widened(values, 0.08);
}

// Booleans are held, whatever the table says.
core::KeyframeInterpolationType TypeOf(const KeyframeTable& table, std::size_t i) {
    return table.type == core::ParameterBool ? core::KeyframeInterpolationType::Hold
                                             : table.rows[i].interpolation;
}

// The type's name over each segment that has room for it, between guides at the
// keyframes.
void DrawSegmentNames(SvgDocument& picture, const PlotAxes& axes, const KeyframeTable& table) {
    const Box& area = axes.Area();
    picture.Rectangle("band", {area.left, area.top - kBandHeight, area.width, kBandHeight});
    double lastGuide = area.left - kLeastGuideGap;
    for (std::size_t i = 0; i < table.rows.size(); ++i) {
        const double x = axes.X(table.rows[i].time);
        if (x - lastGuide >= kLeastGuideGap) {
            picture.Line("guide", {x, area.top - kBandHeight}, {x, area.Bottom()});
            lastGuide = x;
        }
        if (i + 1 == table.rows.size()) {
            break;
        }
        const double next = axes.X(table.rows[i + 1].time);
        const std::string name = InterpolationName(TypeOf(table, i));
        if (SmallTextWidth(name) + 6.0 < next - x) {
            picture.Text("small", {(x + next) / 2.0, area.top - 7.0}, name, TextAnchor::Middle);
        }
    }
}

// Shades what samples are clamped away from.
void ShadeBeyond(SvgDocument& picture, const PlotAxes& axes, double low, double high) {
    const Box& area = axes.Area();
    const double top = std::clamp(axes.Y(high), area.top, area.Bottom());
    const double bottom = std::clamp(axes.Y(low), area.top, area.Bottom());
    picture.Rectangle("beyond", {area.left, area.top, area.width, top - area.top});
    picture.Rectangle("beyond", {area.left, bottom, area.width, area.Bottom() - bottom});
}

}  // namespace

std::string DrawValueCurve(const KeyframeTable& table) {
    core::Parameter parameter = MakeParameter(table);
    const bool isCrowded = table.rows.size() > kMostLeveredKeyframes;
    const std::vector<SegmentLevers> segments =
        isCrowded ? std::vector<SegmentLevers>() : Levers(parameter);
    std::vector<double> keyTimes;
    std::vector<double> keyValues;
    for (const KeyframeRow& row : table.rows) {
        keyTimes.push_back(row.time);
        // A single keyframe is answered as stored, without the base ratio.
        keyValues.push_back(table.rows.size() == 1 ? PlottedNumber(row.value)
                                                   : ShownValue(parameter, row.value));
    }
    const Span times = Widened({keyTimes.front(), keyTimes.back()}, 0.04);
    const PlotAxes axes(kPlotArea, times, ValueSpan(parameter, segments, keyValues, times));

    SvgDocument picture(kWidth, kHeight, table.title, Subtitle(table));
    picture.Text("title", {22.0, 32.0}, table.title);
    picture.Text("small", {22.0, 52.0}, Subtitle(table));
    axes.Draw(picture, "time in seconds", table.valueLabel);
    DrawSegmentNames(picture, axes, table);

    picture.BeginClip(kPlotArea);
    if (table.range) {
        ShadeBeyond(picture, axes, table.range->first, table.range->second);
    }
    const auto trace = [&](double from, double to) {
        return TraceValues(parameter, axes, from, to, keyTimes);
    };
    const Strokes strokes = trace(keyTimes.front(), keyTimes.back());
    DrawStrokes(picture, "outside", trace(times.low, keyTimes.front()));
    DrawStrokes(picture, "outside", trace(keyTimes.back(), times.high));
    DrawStrokes(picture, "curve", strokes);

    const bool showsFrames = kPlotArea.width / (times.Length() * table.fps) >= kLeastFrameWidth;
    if (showsFrames) {
        std::vector<Pointd> frames;
        const auto [first, last] = FrameSpan(table);
        for (int frame = first; frame <= last; ++frame) {
            const double time = frame / table.fps;
            frames.push_back(axes.At({time, PlottedNumber(parameter.GetValue(time, true))}));
        }
        picture.Dots(frames);
    }
    DrawLevers(picture, axes, segments);
    LegendParts legend;
    for (std::size_t i = 0; i < keyTimes.size(); ++i) {
        const KeyframeShape shape = ShapeOf(TypeOf(table, i));
        DrawKeyframe(picture, axes.At({keyTimes[i], keyValues[i]}), shape, isCrowded ? 3.0 : 6.0);
        legend.keyframes.insert(shape);
    }
    picture.EndClip();

    legend.outside = true;
    legend.jump = strokes.size() > 1;
    legend.frames = showsFrames;
    legend.handles = HasLevers(segments, false);
    legend.fixedHandles = HasLevers(segments, true);
    legend.limits = table.range.has_value();
    DrawLegend(picture, {22.0, kHeight - 34.0}, legend);
    return picture.Finish();
}

std::string DrawAnimation(const KeyframeTable& table) {
    return table.type == core::ParameterPoint ? DrawMotionPath(table) : DrawValueCurve(table);
}

}  // namespace example
