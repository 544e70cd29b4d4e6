#pragma once

#include "plot/clip.h"
#include "plot/curve_view.h"
#include "plot/keyframe_table.h"

#include <optional>
#include <string>
#include <vector>

namespace plot {

/// How a picture of curves looks.
struct PictureStyle {
    std::string title;
    std::string valueLabel = "value";
    double fps = 25.0;           // for the dots on a single curve
    std::optional<double> from;  // seconds; none: all of the curves
    std::optional<double> to;
    double width = 760.0;  // pixels
    double height = 0.0;   // 0: what suits
};

/// An SVG plot of curves as they are sampled, over one time axis: values; of clips the source
/// time that is shown, and below it the speed; texts as steps. One curve alone comes with its
/// handles, frames, range and freezes. Where keyframes lie closer than pixels, the curve is
/// the band between its least and its greatest values.
///
/// Throws `TableError` for a size or a stretch of time in which nothing can be drawn.
std::string DrawCurves(const std::vector<CurveView>& curves, const PictureStyle& style);

/// An SVG picture of a motion path in the plane, y downwards as on a screen: a dot
/// for each frame shows how fast it moves, a chart below says it in numbers.
std::string DrawMotionPath(const KeyframeTable& table);

/// The one of the two that suits the table.
std::string DrawAnimation(const KeyframeTable& table);

/// An SVG plot of a clip.
std::string DrawClip(const Clip& clip);

/// An SVG picture of one segment of every interpolation type, side by side.
std::string DrawInterpolationTypes();

/// An SVG picture of a curve before and after keyframes are put on it, by `AddPoint` and by
/// `InsertKeyframe`.
std::string DrawInsertedKeyframe();

/// An SVG picture of curves before and after `PreventOvershoot`.
std::string DrawOvershoot();

/// An SVG picture of a recording before and after `ReduceKeyframes`.
std::string DrawReduced();

/// An SVG picture of one curve under every rule for what lies beyond its keyframes.
std::string DrawOutside();

/// An SVG picture of a clip and of the two that it is cut into.
std::string DrawRazor();

/// An SVG picture of a clip that leaves its material and runs backwards, and of what
/// `KeepInside` makes of it.
std::string DrawGuard();

/// An SVG picture of a curve over source time, of a clip, and of the curve that is carried to
/// the timeline.
std::string DrawCarriedCurve();

}  // namespace plot
