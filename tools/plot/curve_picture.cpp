#include "plot/number_text.h"
#include "plot/pictures.h"
#include "plot/plot_parts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace plot {

namespace {

using core::Pointd;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr double kLeft = 76.0;
constexpr double kRight = 24.0;
constexpr double kTop = 70.0;
constexpr double kBandHeight = 22.0;
constexpr double kBetweenLanes = 52.0;
constexpr double kBottom = 88.0;  // the axis and a row of the legend
constexpr double kLeastLane = 40.0;
constexpr double kLeastWidth = 240.0;
constexpr double kLargestSide = 20'000.0;

// Closer frames would only be a thicker line, closer guides a grey area, closer keyframes
// hide the curve.
constexpr double kLeastFrameWidth = 8.0;
constexpr double kLeastGuideGap = 10.0;
constexpr double kLeastKeyframeGap = 4.0;

// A line with more points than these in a pixel is drawn as a band.
constexpr double kMostPointsPerPixel = 3.0;

// Two points that are nearer sideways, and further apart upright, are the ends of a jump.
constexpr double kJumpWidth = 0.02;
constexpr double kJumpHeight = 1.5;

constexpr std::size_t kColours = 6;

struct LaneLine {
    const CurveView* view;
    std::size_t channel;
    std::size_t colour;
    CurveTrace trace;
};

struct Lane {
    std::string title;
    double height;  // by default
    std::vector<LaneLine> lines;
    Span values = {kInfinity, -kInfinity};
    Box area = {};

    bool HasTexts() const { return !lines.front().view->Texts().empty(); }
};

std::string CurveStyle(std::size_t colour) {
    const std::size_t number = colour % kColours;
    return number == 0 ? "curve" : "curve" + std::to_string(number + 1);
}

// Points of the picture as strokes that end where the line jumps, or as a band.
Strokes StrokesOf(const LaneLine& line, const PlotAxes& axes, double from, double to) {
    const std::vector<double>& times = line.trace.times;
    const auto first = std::lower_bound(times.begin(), times.end(), from) - times.begin();
    const auto last = std::upper_bound(times.begin(), times.end(), to) - times.begin();
    const auto valueAt = [&](std::ptrdiff_t i) {
        return line.trace.answers[static_cast<std::size_t>(i)][line.channel];
    };
    Strokes strokes(1);
    const double pixels = axes.X(to) - axes.X(from);
    if (static_cast<double>(last - first) > kMostPointsPerPixel * pixels) {
        // Down and up once in each half pixel.
        double column = -kInfinity;
        Span seen = {0.0, 0.0};
        const auto flush = [&] {
            if (column > -kInfinity) {
                strokes.front().push_back({column, axes.Y(seen.low)});
                strokes.front().push_back({column, axes.Y(seen.high)});
            }
        };
        for (std::ptrdiff_t i = first; i < last; ++i) {
            const double x =
                std::floor(2.0 * axes.X(times[static_cast<std::size_t>(i)])) / 2.0 + 0.25;
            if (x != column) {
                flush();
                column = x;
                seen = {valueAt(i), valueAt(i)};
            }
            seen.Include(valueAt(i));
        }
        flush();
        return strokes;
    }
    for (std::ptrdiff_t i = first; i < last; ++i) {
        if (!std::isfinite(valueAt(i))) {
            continue;
        }
        const Pointd place = axes.At({times[static_cast<std::size_t>(i)], valueAt(i)});
        std::vector<Pointd>& stroke = strokes.back();
        if (!stroke.empty() && place.x - stroke.back().x < kJumpWidth &&
            std::fabs(place.y - stroke.back().y) > kJumpHeight) {
            strokes.push_back({place});
        } else {
            stroke.push_back(place);
        }
    }
    return strokes;
}

std::vector<Lane> LanesOf(const std::vector<CurveView>& curves, const PictureStyle& style) {
    std::vector<Lane> lanes;
    Lane values{style.valueLabel, 238.0, {}};
    Lane sources{"source time in seconds", 230.0, {}};
    Lane speeds{"speed", 120.0, {}};
    std::size_t colour = 0;
    for (const CurveView& view : curves) {
        if (view.Speed() != nullptr) {
            sources.lines.push_back({&view, 0, colour, {}});
            speeds.lines.push_back({&view, 1, colour, {}});
            ++colour;
        } else if (!view.Texts().empty()) {
            lanes.push_back({style.valueLabel, 120.0, {{&view, 0, colour++, {}}}});
        } else {
            for (std::size_t channel = 0; channel < view.Channels().size(); ++channel) {
                values.lines.push_back({&view, channel, colour++, {}});
            }
        }
    }
    if (!values.lines.empty()) {
        lanes.insert(lanes.begin(), std::move(values));
    }
    if (!sources.lines.empty()) {
        lanes.push_back(std::move(sources));
        lanes.push_back(std::move(speeds));
    }
    return lanes;
}

std::string SubtitleOf(const std::vector<CurveView>& curves, const PictureStyle& style) {
    if (curves.size() > 1) {
        return std::to_string(curves.size()) + " curves";
    }
    const CurveView& view = curves.front();
    const std::string count = std::to_string(view.Keyframes().size()) + " keyframes, ";
    if (const core::SpeedParameter* const speed = view.Speed()) {
        const std::size_t freezes = view.Freezes().size();
        return count + std::to_string(freezes) + (freezes == 1 ? " freeze, " : " freezes, ") +
               (speed->GetReverse() != 0 ? "in reverse, " : "forward, ") +
               ShortText(speed->GetSourceTotalTime(), 3) + " s shown in " +
               ShortText(view.To(), 3) + " s";
    }
    std::string text = std::string(ParameterTypeName(view.Curve().GetParameterType())) + ", " +
                       count + ShortText(style.fps, 3) + " frames per second";
    if (const core::ValAny ratio = view.Curve().GetBaseRatio(); ratio.IsNumber()) {
        text += ", base ratio " + ShortText(ratio.AsDouble(), 6);
    }
    return text;
}

class CurvePicture {
public:
    CurvePicture(const std::vector<CurveView>& what, const PictureStyle& how)
        : curves(what), style(how), lanes(LanesOf(what, how)), isSingle(what.size() == 1) {
        SetTimes();
        SetAreas();
        for (Lane& lane : lanes) {
            for (LaneLine& line : lane.lines) {
                TraceLine(lane, line);
            }
            IncludeLevers(lane);
        }
    }

    std::string Draw() {
        const std::string subtitle = SubtitleOf(curves, style);
        SvgDocument picture(style.width, height, style.title, subtitle);
        picture.Text("title", {22.0, 32.0}, style.title);
        picture.Text("small", {22.0, 52.0}, subtitle);
        for (std::size_t i = 0; i < lanes.size(); ++i) {
            DrawLane(picture, lanes[i], i + 1 == lanes.size());
        }
        if (isSingle) {
            DrawLegend(picture, {22.0, height - 28.0}, legend, false, style.width - 16.0);
        } else {
            DrawNames(picture);
        }
        return picture.Finish();
    }

private:
    const CurveView& Single() const { return curves.front(); }

    void SetTimes() {
        Span all = {kInfinity, -kInfinity};
        bool hasParameter = false;
        for (const CurveView& view : curves) {
            all.Include(view.From());
            all.Include(view.To());
            hasParameter = hasParameter || view.Speed() == nullptr;
        }
        times = Widened(all, hasParameter ? 0.04 : 0.02);
        if (style.from) {
            times.low = *style.from;
        }
        if (style.to) {
            times.high = *style.to;
        }
        if (!(times.Length() > 1e-9 * std::max(std::fabs(times.low), std::fabs(times.high)))) {
            throw TableError(style.title + ": no time between " + ShortText(times.low, 6) +
                             " s and " + ShortText(times.high, 6) + " s");
        }
    }

    bool HasBand() const {
        return isSingle && Single().Speed() == nullptr && Single().Channels().size() == 1;
    }

    void SetAreas() {
        const double top = kTop + (HasBand() ? kBandHeight : 0.0);
        double wanted = 0.0;
        for (const Lane& lane : lanes) {
            wanted += lane.height;
        }
        const double rest = top + kBetweenLanes * static_cast<double>(lanes.size() - 1) + kBottom +
                            (HasBand() ? 12.0 : 0.0) +
                            (isSingle ? 0.0 : 18.0 * static_cast<double>((curves.size() - 1) / 4));
        height = style.height > 0.0 ? style.height : rest + wanted;
        const double scale = (height - rest) / wanted;
        double y = top;
        for (Lane& lane : lanes) {
            lane.area = {kLeft, y, style.width - kLeft - kRight, scale * lane.height};
            y += lane.area.height + kBetweenLanes;
            if (!(style.width >= kLeastWidth && lane.area.height >= kLeastLane &&
                  style.width <= kLargestSide && height <= kLargestSide)) {
                throw TableError(style.title + ": a picture of " + ShortText(style.width, 0) +
                                 " by " + ShortText(height, 0) + " is too small or too large");
            }
        }
    }

    void TraceLine(Lane& lane, LaneLine& line) const {
        const CurveView& view = *line.view;
        double from = std::max(times.low, isSingle && !view.Speed() ? -kInfinity : view.From());
        double to = std::min(times.high, isSingle && !view.Speed() ? kInfinity : view.To());
        if (view.Speed() != nullptr) {  // the speed of the last keyframe is never seen
            to = std::min(to, std::nextafter(view.To(), view.From()));
        }
        if (from > to) {
            return;  // nothing of it is seen
        }
        line.trace = view.Trace(from, to);
        for (const Answer& answer : line.trace.answers) {
            if (std::isfinite(answer[line.channel])) {
                lane.values.Include(answer[line.channel]);
            }
        }
        for (const SeenKeyframe& keyframe : view.Keyframes()) {
            if (keyframe.time >= from && keyframe.time <= to &&
                std::isfinite(keyframe.place[line.channel])) {
                lane.values.Include(keyframe.place[line.channel]);
            }
        }
    }

    // Handles, as long as they leave the curve most of the height.
    void IncludeLevers(Lane& lane) const {
        if (!(lane.values.low <= lane.values.high)) {
            lane.values = {0.0, 1.0};
        }
        if (lane.HasTexts()) {
            const auto last = static_cast<double>(lane.lines.front().view->Texts().size() - 1);
            lane.values = {0.0, std::max(1.0, last)};
        }
        if (ShowsLevers()) {
            const Span most = Widened(lane.values, 0.5);
            for (const SeenKeyframe& keyframe : Single().Keyframes()) {
                for (const std::optional<Pointd>& end : {keyframe.before, keyframe.after}) {
                    if (end && end->x >= times.low && end->x <= times.high) {
                        lane.values.Include(std::clamp(end->y, most.low, most.high));
                    }
                }
            }
        }
        lane.values = Widened(lane.values, lane.title == "source time in seconds" ? 0.06 : 0.08);
    }

    bool ShowsLevers() const {
        return HasBand() && Single().Keyframes().size() <= kMostLeveredKeyframes;
    }

    std::ptrdiff_t KeyframesSeen(const CurveView& view) const {
        return std::count_if(view.Keyframes().begin(), view.Keyframes().end(),
                             [this](const SeenKeyframe& keyframe) {
                                 return keyframe.time >= times.low && keyframe.time <= times.high;
                             });
    }

    void DrawLane(SvgDocument& picture, const Lane& lane, bool isLast) {
        const PlotAxes axes(lane.area, times, lane.values);
        const bool isOfClips = lane.lines.front().view->Speed() != nullptr;
        if (isSingle) {
            ShadeFreezes(picture, axes);
        }
        const std::string timeLabel =
            isLast ? (isOfClips ? "render time in seconds" : "time in seconds") : "";
        axes.Draw(picture, timeLabel, lane.title,
                  lane.HasTexts() ? &lane.lines.front().view->Texts() : nullptr);
        if (HasBand()) {
            DrawSegmentNames(picture, axes);
        }
        picture.BeginClip(lane.area);
        if (HasBand() && Single().Range()) {
            ShadeBeyond(picture, axes, *Single().Range());
        }
        for (const LaneLine& line : lane.lines) {
            DrawLine(picture, axes, line);
        }
        if (HasBand()) {
            DrawFrames(picture, axes);
        }
        if (ShowsLevers()) {
            DrawCurveLevers(picture, axes);
        }
        for (const LaneLine& line : lane.lines) {
            DrawKeyframes(picture, axes, line);
        }
        picture.EndClip();
    }

    void ShadeFreezes(SvgDocument& picture, const PlotAxes& axes) {
        for (const FreezeSpan& freeze : Single().Freezes()) {
            const double left = std::max(axes.X(freeze.start), axes.Area().left);
            const double right =
                std::min(axes.X(freeze.start + freeze.duration), axes.Area().Right());
            if (right > left) {
                picture.Rectangle("beyond",
                                  {left, axes.Area().top, right - left, axes.Area().height});
                legend.freezes = true;
            }
        }
    }

    // Shades what samples are cut away from.
    void ShadeBeyond(SvgDocument& picture, const PlotAxes& axes, const NumberSpan& range) {
        const Box& area = axes.Area();
        const double top = std::clamp(axes.Y(range.high), area.top, area.Bottom());
        const double bottom = std::clamp(axes.Y(range.low), area.top, area.Bottom());
        picture.Rectangle("beyond", {area.left, area.top, area.width, top - area.top});
        picture.Rectangle("beyond", {area.left, bottom, area.width, area.Bottom() - bottom});
        legend.limits = true;
    }

    void DrawLine(SvgDocument& picture, const PlotAxes& axes, const LaneLine& line) {
        const CurveView& view = *line.view;
        const bool hasOutside = HasBand();
        const double from = hasOutside ? std::max(view.From(), times.low) : times.low;
        const double to = hasOutside ? std::min(view.To(), times.high) : times.high;
        if (hasOutside) {
            DrawStrokes(picture, "outside", StrokesOf(line, axes, times.low, view.From()));
            DrawStrokes(picture, "outside", StrokesOf(line, axes, view.To(), times.high));
            legend.outside = true;
        }
        const Strokes strokes = StrokesOf(line, axes, from, to);
        DrawStrokes(picture, CurveStyle(line.colour), strokes);
        legend.jump = legend.jump || strokes.size() > 1;
    }

    void DrawFrames(SvgDocument& picture, const PlotAxes& axes) {
        if (axes.Area().width / (times.Length() * style.fps) < kLeastFrameWidth) {
            return;
        }
        const double from = std::max(times.low, Single().From());
        const double to = std::min(times.high, Single().To());
        std::vector<Pointd> places;
        for (double frame = std::ceil(from * style.fps - 1e-6); frame <= to * style.fps + 1e-6;
             ++frame) {
            const double time = frame / style.fps;
            places.push_back(axes.At({time, Single().At(time)[0]}));
        }
        picture.Dots(places);
        legend.frames = true;
    }

    void DrawCurveLevers(SvgDocument& picture, const PlotAxes& axes) {
        const std::vector<SeenKeyframe>& keyframes = Single().Keyframes();
        std::vector<SegmentLevers> segments;
        for (std::size_t i = 1; i < keyframes.size(); ++i) {
            SegmentLevers segment;
            segment.start = {keyframes[i - 1].time, keyframes[i - 1].place[0]};
            segment.end = {keyframes[i].time, keyframes[i].place[0]};
            segment.showsStart = keyframes[i - 1].after.has_value();
            segment.showsEnd = keyframes[i].before.has_value();
            segment.startControl = keyframes[i - 1].after.value_or(segment.start);
            segment.endControl = keyframes[i].before.value_or(segment.end);
            segment.isFixed = keyframes[i - 1].isFixed;
            segments.push_back(segment);
        }
        DrawLevers(picture, axes, segments);
        legend.handles = HasLevers(segments, false);
        legend.fixedHandles = HasLevers(segments, true);
    }

    void DrawKeyframes(SvgDocument& picture, const PlotAxes& axes, const LaneLine& line) {
        const auto seen = static_cast<double>(KeyframesSeen(*line.view));
        if (seen > axes.Area().width / kLeastKeyframeGap) {
            return;
        }
        const bool isCrowded = !isSingle || seen > static_cast<double>(kMostLeveredKeyframes);
        for (const SeenKeyframe& keyframe : line.view->Keyframes()) {
            const double value = keyframe.place[line.channel];
            if (keyframe.time < times.low || keyframe.time > times.high || !std::isfinite(value)) {
                continue;
            }
            const KeyframeShape shape = ShapeOf(keyframe.keyframe.GetInterpolation());
            DrawKeyframe(picture, axes.At({keyframe.time, value}), shape, isCrowded ? 3.0 : 6.0);
            legend.keyframes.insert(shape);
        }
    }

    // The type's name over each segment that has room for it, between guides at the
    // keyframes.
    void DrawSegmentNames(SvgDocument& picture, const PlotAxes& axes) {
        const Box& area = axes.Area();
        picture.Rectangle("band", {area.left, area.top - kBandHeight, area.width, kBandHeight});
        const std::vector<SeenKeyframe>& keyframes = Single().Keyframes();
        double lastGuide = area.left - kLeastGuideGap;
        for (std::size_t i = 0; i < keyframes.size(); ++i) {
            const double x = axes.X(keyframes[i].time);
            if (x >= area.left && x <= area.Right() && x - lastGuide >= kLeastGuideGap) {
                picture.Line("guide", {x, area.top - kBandHeight}, {x, area.Bottom()});
                lastGuide = x;
            }
            if (i + 1 == keyframes.size()) {
                break;
            }
            const double start = std::max(x, area.left);
            const double next = std::min(axes.X(keyframes[i + 1].time), area.Right());
            const std::string name = InterpolationName(keyframes[i].keyframe.GetInterpolation());
            if (SmallTextWidth(name) + 6.0 < next - start) {
                picture.Text("small", {(start + next) / 2.0, area.top - 7.0}, name,
                             TextAnchor::Middle);
            }
        }
    }

    // Which colour is whose.
    void DrawNames(SvgDocument& picture) {
        const double columnWidth = (style.width - 2 * 22.0) / 4.0;
        const auto rows = static_cast<double>((CountOfLines() - 1) / 4);
        std::size_t place = 0;
        std::size_t colour = 0;
        for (const CurveView& view : curves) {
            const bool isSplit = view.Speed() == nullptr && view.Channels().size() > 1;
            for (std::size_t channel = 0; channel < (isSplit ? view.Channels().size() : 1);
                 ++channel, ++place, ++colour) {
                const Pointd at = {22.0 + columnWidth * static_cast<double>(place % 4),
                                   height - 28.0 - 18.0 * (rows - static_cast<double>(place / 4))};
                const auto room = static_cast<std::size_t>((columnWidth - 40.0) / 6.4);
                std::string name = view.Name();
                if (isSplit) {
                    name += ", " + view.Channels()[channel];
                }
                if (name.size() > room) {  // the end tells more than the folders
                    std::size_t cut = name.size() - room;
                    while (cut < name.size() &&
                           (static_cast<unsigned char>(name[cut]) & 0xC0U) == 0x80U) {
                        ++cut;
                    }
                    name = "..." + name.substr(cut);
                }
                picture.Line(CurveStyle(colour), at, {at.x + 26.0, at.y});
                picture.Text("small", {at.x + 33.0, at.y + 4.0}, name);
            }
        }
    }

    std::size_t CountOfLines() const {
        std::size_t count = 0;
        for (const CurveView& view : curves) {
            count += view.Speed() != nullptr ? 1 : view.Channels().size();
        }
        return count;
    }

    const std::vector<CurveView>& curves;
    const PictureStyle& style;
    std::vector<Lane> lanes;
    bool isSingle;
    Span times;
    double height = 0.0;
    LegendParts legend;
};

}  // namespace

std::string DrawCurves(const std::vector<CurveView>& curves, const PictureStyle& style) {
    return CurvePicture(curves, style).Draw();
}

std::string DrawAnimation(const KeyframeTable& table) {
    if (table.type == core::ParameterPoint) {
        return DrawMotionPath(table);
    }
    std::vector<CurveView> curves;
    curves.emplace_back(table.title, std::make_unique<core::Parameter>(MakeParameter(table)));
    PictureStyle style;
    style.title = table.title;
    style.valueLabel = table.valueLabel;
    style.fps = table.fps;
    return DrawCurves(curves, style);
}

std::string DrawClip(const Clip& clip) {
    std::vector<CurveView> curves;
    curves.emplace_back(clip.title, std::make_unique<core::SpeedParameter>(clip.speed));
    PictureStyle style;
    style.title = clip.title;
    return DrawCurves(curves, style);
}

}  // namespace plot
