#include "plot/pictures.h"
#include "plot/plot_parts.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace plot {

namespace {

using Interpolation = core::KeyframeInterpolationType;

constexpr double kPanelWidth = 300.0;
constexpr double kPanelHeight = 200.0;
constexpr double kLeft = 16.0;
constexpr double kTop = 66.0;

Box PanelBox(std::size_t column, std::size_t row) {
    return {kLeft + static_cast<double>(column) * kPanelWidth + 8.0,
            kTop + static_cast<double>(row) * kPanelHeight + 20.0, kPanelWidth - 16.0,
            kPanelHeight - 36.0};
}

SvgDocument Begin(std::size_t columns, std::size_t rows, std::string_view title,
                  std::string_view subtitle) {
    SvgDocument picture(2.0 * kLeft + static_cast<double>(columns) * kPanelWidth,
                        kTop + static_cast<double>(rows) * kPanelHeight + 14.0, title, subtitle);
    picture.Text("title", {24.0, 30.0}, title);
    picture.Text("small", {24.0, 50.0}, subtitle);
    return picture;
}

std::vector<double> TimesOf(core::Parameter& parameter) {
    std::vector<double> times;
    for (const core::TimeValuePair& keyframe : Keyframes(parameter)) {
        times.push_back(keyframe.GetTime());
    }
    return times;
}

PlotAxes BeginPanel(SvgDocument& picture, const Box& box, std::string_view name, Span times,
                    Span values) {
    picture.Text("label", {box.left + 1.0, box.top - 6.0}, name);
    picture.Rectangle("border", box);
    return {box, times, values};
}

// The curve as it was, thin where it differs, and as it is now.
void DrawEdited(SvgDocument& picture, const PlotAxes& axes, core::Parameter& before,
                core::Parameter& after) {
    const Span& times = axes.Horizontal();
    picture.BeginClip(axes.Area());
    DrawStrokes(picture, "outside",
                TraceValues(before, axes, times.low, times.high, TimesOf(before)));
    DrawStrokes(picture, "curve", TraceValues(after, axes, times.low, times.high, TimesOf(after)));
    DrawLevers(picture, axes, Levers(after));
    for (const core::TimeValuePair& keyframe : Keyframes(after)) {
        DrawKeyframe(picture, axes.At({keyframe.GetTime(), keyframe.GetValue().AsDouble()}),
                     ShapeOf(keyframe.GetInterpolation()));
    }
    picture.EndClip();
}

// The source time that a clip shows.
void DrawSource(SvgDocument& picture, const PlotAxes& axes, const core::SpeedSnapshot& clip) {
    const double length = clip.GetRenderTotalTime();
    std::vector<core::Pointd> points;
    for (int i = 0; i <= 600; ++i) {
        const double t = length * (i + 0.013) / 600.026;
        points.push_back(axes.At({t, clip.GetSourceTime(t)}));
    }
    picture.BeginClip(axes.Area());
    picture.Polyline("curve", points);
    picture.EndClip();
}

}  // namespace

std::string DrawInsertedKeyframe() {
    core::Parameter before;
    before.AddPoint(0.0, 0.0, Interpolation::Bezier);
    before.AddPoint(1.0, 1.0, Interpolation::EaseOutBack);
    before.AddPoint(2.0, 0.0, Interpolation::Hold);
    before.SetPointControlRightParam(0, 0.8, -0.4);
    core::Parameter added(before);
    core::Parameter inserted(before);
    for (const double time : {0.7, 1.3}) {
        added.AddPoint(time, before.GetValue(time, false), Interpolation::Bezier);
        core::InsertKeyframe(inserted, time);
    }
    SvgDocument picture =
        Begin(3, 1, "Two more keyframes", "At 0.7 s and 1.3 s; dotted is the curve as it was.");
    const struct {
        std::string_view name;
        core::Parameter& curve;
    } panels[] = {{"before", before},
                  {"AddPoint(t, GetValue(t), ...)", added},
                  {"InsertKeyframe(curve, t)", inserted}};
    for (std::size_t i = 0; i < 3; ++i) {
        const PlotAxes axes =
            BeginPanel(picture, PanelBox(i, 0), panels[i].name, {-0.1, 2.1}, {-0.75, 1.45});
        DrawEdited(picture, axes, before, panels[i].curve);
    }
    return picture.Finish();
}

std::string DrawOvershoot() {
    SvgDocument picture = Begin(2, 2, "Handles that do not overshoot",
                                "Automatic handles, and the same after PreventOvershoot.");
    const Interpolation types[] = {Interpolation::Hermite, Interpolation::Bezier};
    for (std::size_t row = 0; row < 2; ++row) {
        core::Parameter before;
        const struct {
            double time, value;
        } keys[] = {{0.0, 0.0}, {0.5, 0.05}, {0.8, 1.0}, {1.4, 1.0}, {2.0, 0.2}};
        for (const auto& key : keys) {
            before.AddPoint(key.time, key.value, types[row]);
        }
        core::Parameter after(before);
        core::PreventOvershoot(after, 0.0, 2.0);
        const std::string name = row == 0 ? "Hermite" : "Bezier";
        core::Parameter* const curves[] = {&before, &after};
        for (std::size_t column = 0; column < 2; ++column) {
            const PlotAxes axes = BeginPanel(picture, PanelBox(column, row),
                                             name + (column == 0 ? ", automatic" : ", limited"),
                                             {-0.1, 2.1}, {-0.35, 1.35});
            DrawEdited(picture, axes, before, *curves[column]);
        }
    }
    return picture.Finish();
}

std::string DrawReduced() {
    core::Parameter drawn;
    const struct { double time, value; } keys[] = {{0.0, 0.1}, {0.7, 1.0}, {1.2, 0.3}, {2.0, 0.8}};
    for (const auto& key : keys) {
        drawn.AddPoint(key.time, key.value, Interpolation::Bezier);
    }
    core::Parameter recorded;
    core::BakeCurve(drawn.Snapshot(), core::TimeBase::Seconds(), core::TimeBase::Frames(24), 0.0,
                    2.0, recorded);
    core::Parameter reduced(recorded);
    core::ReduceKeyframes(reduced, 0.0, 2.0, 0.005);
    SvgDocument picture = Begin(2, 1, "Fewer keyframes",
                                "One for each frame, and those that stay within 0.005 of them.");
    core::Parameter* const curves[] = {&recorded, &reduced};
    for (std::size_t i = 0; i < 2; ++i) {
        const PlotAxes axes =
            BeginPanel(picture, PanelBox(i, 0), i == 0 ? "recorded" : "ReduceKeyframes",
                       {-0.1, 2.1}, {-0.1, 1.2});
        DrawEdited(picture, axes, recorded, *curves[i]);
    }
    return picture.Finish();
}

std::string DrawOutside() {
    core::Parameter curve;
    curve.AddPoint(0.0, 0.0, Interpolation::Hermite);
    curve.AddPoint(0.6, 1.6, Interpolation::Hermite);
    curve.AddPoint(1.0, 0.7, Interpolation::Hold);
    const struct {
        std::string_view name;
        core::OutsideRule rule;
    } panels[] = {{"Hold", core::OutsideRule::Hold},
                  {"Linear", core::OutsideRule::Linear},
                  {"Loop", core::OutsideRule::Loop},
                  {"PingPong", core::OutsideRule::PingPong},
                  {"LoopWithOffset", core::OutsideRule::LoopWithOffset}};
    SvgDocument picture =
        Begin(3, 2, "Beyond the keyframes",
              "The same three keyframes under each OutsideRule, before and after.");
    for (std::size_t i = 0; i < 5; ++i) {
        const PlotAxes axes =
            BeginPanel(picture, PanelBox(i % 3, i / 3), panels[i].name, {-1.6, 2.6}, {-2.6, 3.6});
        core::OutsideRules rules;
        rules.before = rules.after = panels[i].rule;
        const core::ExtendedCurve extended(curve.Snapshot(), rules);
        const auto trace = [&](double from, double to) {
            std::vector<double> ends;
            for (int k = -2; k <= 3; ++k) {
                ends.insert(ends.end(), {k - 1e-6, k + 0.0});
            }
            return TraceCurve(
                [&](double time) {
                    return axes.At({time, extended.GetValue(time, false).AsDouble()});
                },
                TraceTimes(from, to, 400, ends));
        };
        picture.BeginClip(axes.Area());
        DrawStrokes(picture, "outside", trace(-1.6, 0.0));
        DrawStrokes(picture, "outside", trace(1.0, 2.6));
        DrawStrokes(picture, "curve", trace(0.0, 1.0 - 1e-9));
        for (const core::TimeValuePair& keyframe : Keyframes(curve)) {
            DrawKeyframe(picture, axes.At({keyframe.GetTime(), keyframe.GetValue().AsDouble()}),
                         ShapeOf(keyframe.GetInterpolation()));
        }
        picture.EndClip();
    }
    return picture.Finish();
}

std::string DrawRazor() {
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);
    speed.AddPoint(2.0, 1.0, Interpolation::Linear);
    speed.AddPoint(7.0, 4.0, Interpolation::Hold);
    speed.AddFreezeFrame(3.75, 1.0);
    constexpr double kCut = 3.5;
    const core::SpeedSnapshot whole = speed.Snapshot();
    const core::ClipParts parts = core::CutClip(whole, kCut);
    SvgDocument picture =
        Begin(3, 1, "The razor", "The source time over the render time; the cut is in the freeze.");
    const Span times{-0.3, 6.1};
    const Span sources{-0.6, 10.6};
    const PlotAxes cut = BeginPanel(picture, PanelBox(0, 0), "the whole", times, sources);
    picture.Line("guide", cut.At({kCut, sources.low}), cut.At({kCut, sources.high}));
    DrawSource(picture, cut, whole);
    DrawSource(picture, BeginPanel(picture, PanelBox(1, 0), "first", times, sources),
               parts.first.speed);
    DrawSource(picture, BeginPanel(picture, PanelBox(2, 0), "second", times, sources),
               parts.second.speed);
    return picture.Finish();
}

std::string DrawGuard() {
    core::SpeedParameter before;
    before.SetSourceTotalTime(10.0);
    before.SetPointInterpolationType(0, Interpolation::Hermite);
    before.AddPoint(3.0, 2.6, Interpolation::Hermite);
    before.AddPoint(4.0, 0.15, Interpolation::Hermite);
    before.AddPoint(5.0, 0.15, Interpolation::EaseOutCubic);
    before.SetPointValue(4, 3.0);
    core::SpeedParameter after(before);
    core::KeepInside(after);
    SvgDocument picture = Begin(
        2, 1, "The guard", "Dotted is the end of the material, the band where it runs backwards.");
    const core::ShownRange shown = core::FindShownRange(before.Snapshot());
    const Span times{-0.6, before.GetRenderTotalTime() + 0.6};
    const Span sources{-0.8, shown.highest + 0.8};
    const struct {
        std::string_view name;
        const core::SpeedParameter& speed;
    } panels[] = {{"as it was", before}, {"KeepInside", after}};
    for (std::size_t i = 0; i < 2; ++i) {
        const PlotAxes axes = BeginPanel(picture, PanelBox(i, 0), panels[i].name, times, sources);
        const core::SpeedSnapshot clip = panels[i].speed.Snapshot();
        for (const core::TimeRange& range : core::FindShownRange(clip).backwards) {
            picture.Rectangle("band", {axes.X(range.from), axes.Area().top,
                                       axes.X(range.to) - axes.X(range.from), axes.Area().height});
        }
        picture.Line("guide", axes.At({times.low, 10.0}), axes.At({times.high, 10.0}));
        DrawSource(picture, axes, clip);
    }
    return picture.Finish();
}

std::string DrawCarriedCurve() {
    core::Parameter curve;
    curve.AddPoint(0.5, 0.0, Interpolation::EaseInOutCubic);
    curve.AddPoint(3.0, 1.0, Interpolation::Linear);
    curve.AddPoint(4.5, 0.3, Interpolation::Hold);
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(5.0);
    speed.SetPointInterpolationType(0, Interpolation::Linear);
    speed.AddPoint(2.0, 2.0, Interpolation::Hold);
    speed.AddFreezeFrame(2.0, 1.0);
    core::Parameter carried;
    core::CarryToRenderTime(curve.Snapshot(), speed.Snapshot(), carried);
    SvgDocument picture = Begin(3, 1, "A curve goes along",
                                "Keyframes land where their pictures are shown; a freeze holds.");
    const auto draw = [&](std::size_t column, std::string_view name, core::Parameter& drawn) {
        const PlotAxes axes =
            BeginPanel(picture, PanelBox(column, 0), name, {-0.2, 5.2}, {-0.15, 1.15});
        DrawEdited(picture, axes, drawn, drawn);
    };
    draw(0, "over the source", curve);
    DrawSource(picture, BeginPanel(picture, PanelBox(1, 0), "the clip", {-0.2, 5.2}, {-0.4, 5.4}),
               speed.Snapshot());
    draw(2, "over the timeline", carried);
    return picture.Finish();
}

}  // namespace plot
