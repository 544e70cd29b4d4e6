#pragma once

// The parts that the pictures have in common.

#include "plot/curve_trace.h"
#include "plot/levers.h"
#include "plot/plot_axes.h"
#include "plot/svg_document.h"

#include <core/core.h>

#include <cstddef>
#include <set>
#include <string_view>
#include <vector>

namespace plot {

/// With more keyframes than this, levers would hide the curve.
inline constexpr std::size_t kMostLeveredKeyframes = 60;

/// A value as a number on a plot: booleans are 0 and 1.
double PlottedNumber(const core::ValAny& value);

/// The curve between `from` and `to` as `GetValue` answers it, on the picture;
/// `keyTimes` are the times where it may have corners.
Strokes TraceValues(core::Parameter& parameter, const PlotAxes& axes, double from, double to,
                    const std::vector<double>& keyTimes);

/// Draws the strokes; between two of them, the curve jumps.
void DrawStrokes(SvgDocument& picture, std::string_view style, const Strokes& strokes);

/// Draws the levers that an editor would show.
void DrawLevers(SvgDocument& picture, const PlotAxes& axes,
                const std::vector<SegmentLevers>& segments);

/// How keyframes are told apart: by what shapes the segment that they start.
enum class KeyframeShape { Linear, Hold, Smooth, Easing, Extrapolate };
KeyframeShape ShapeOf(core::KeyframeInterpolationType type);

void DrawKeyframe(SvgDocument& picture, core::Pointd place, KeyframeShape shape,
                  double radius = 6.0);

/// What a legend explains besides the curve.
struct LegendParts {
    std::set<KeyframeShape> keyframes;
    bool outside = false;
    bool jump = false;
    bool frames = false;
    bool handles = false;
    bool fixedHandles = false;
    bool limits = false;
    bool freezes = false;
};

/// Draws a legend: rows from `at` up to `right`, or a column when `isColumn`.
void DrawLegend(SvgDocument& picture, core::Pointd at, const LegendParts& parts,
                bool isColumn = false, double right = 744.0);

/// Whether any segment shows levers, of the draggable or of the fixed sort.
bool HasLevers(const std::vector<SegmentLevers>& segments, bool isFixed);

}  // namespace plot
