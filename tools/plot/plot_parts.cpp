#include "plot/plot_parts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>

namespace plot {

namespace {

using core::Pointd;

constexpr double kControlRadius = 3.75;

constexpr double kLegendRow = 18.0;

void DrawLever(SvgDocument& picture, Pointd anchor, Pointd control, bool isFixed) {
    picture.Line(isFixed ? "fixedlever" : "lever", anchor, control);
    picture.Circle(isFixed ? "fixedcontrol" : "control", control, kControlRadius);
}

}  // namespace

double PlottedNumber(const core::ValAny& value) {
    return value.Kind() == core::ValAny::kBool ? (value.AsBool() ? 1.0 : 0.0) : value.AsDouble();
}

Strokes TraceValues(core::Parameter& parameter, const PlotAxes& axes, double from, double to,
                    const std::vector<double>& keyTimes) {
    // Four samples a pixel, and both sides of each keyframe.
    const int count = std::max(16, static_cast<int>(4.0 * (axes.X(to) - axes.X(from))));
    std::vector<double> corners = keyTimes;
    for (const double time : keyTimes) {
        corners.push_back(std::nextafter(time, -std::numeric_limits<double>::infinity()));
    }
    return TraceCurve(
        [&](double time) {
            return axes.At({time, PlottedNumber(parameter.GetValue(time, true))});
        },
        TraceTimes(from, to, count, corners));
}

void DrawStrokes(SvgDocument& picture, std::string_view style, const Strokes& strokes) {
    for (std::size_t i = 0; i < strokes.size(); ++i) {
        if (i > 0) {
            picture.Line("jump", strokes[i - 1].back(), strokes[i].front());
        }
        picture.Polyline(style, strokes[i]);
    }
}

void DrawLevers(SvgDocument& picture, const PlotAxes& axes,
                const std::vector<SegmentLevers>& segments) {
    for (const SegmentLevers& segment : segments) {
        if (segment.showsStart) {
            DrawLever(picture, axes.At(segment.start), axes.At(segment.startControl),
                      segment.isFixed);
        }
        if (segment.showsEnd) {
            DrawLever(picture, axes.At(segment.end), axes.At(segment.endControl), segment.isFixed);
        }
    }
}

KeyframeShape ShapeOf(core::KeyframeInterpolationType type) {
    using Group = core::InterpolationGroup;
    const core::InterpolationInfo* const info = core::FindInterpolation(type);
    switch (info != nullptr ? info->group : Group::Hermite) {
        case Group::Linear:
            return KeyframeShape::Linear;
        case Group::Hold:
            return KeyframeShape::Hold;
        case Group::CubicEasing:
        case Group::ClosedEasing:
            return KeyframeShape::Easing;
        case Group::Extrapolate:
            return KeyframeShape::Extrapolate;
        default:
            return KeyframeShape::Smooth;
    }
}

void DrawKeyframe(SvgDocument& picture, Pointd place, KeyframeShape shape, double radius) {
    const auto corner = [&](double x, double y) {
        return Pointd{place.x + x * radius, place.y + y * radius};
    };
    switch (shape) {
        case KeyframeShape::Linear:
            picture.Polygon(
                "key", {corner(-1.0, 0.0), corner(0.0, -1.0), corner(1.0, 0.0), corner(0.0, 1.0)});
            break;
        case KeyframeShape::Hold:
            picture.Polygon("key", {corner(-0.8, -0.8), corner(0.8, -0.8), corner(0.8, 0.8),
                                    corner(-0.8, 0.8)});
            break;
        case KeyframeShape::Smooth:
            picture.Circle("key", place, 0.9 * radius);
            break;
        case KeyframeShape::Easing:  // an hourglass
            picture.Polygon("key", {corner(-0.9, -1.0), corner(0.9, -1.0), corner(0.25, 0.0),
                                    corner(0.9, 1.0), corner(-0.9, 1.0), corner(-0.25, 0.0)});
            break;
        case KeyframeShape::Extrapolate:  // an arrow back from the segment's end
            picture.Polygon("key", {corner(-1.0, 0.0), corner(0.8, -0.95), corner(0.8, 0.95)});
            break;
    }
}

void DrawLegend(SvgDocument& picture, Pointd at, const LegendParts& parts, bool isColumn,
                double right) {
    const double wide = 26.0;
    const double narrow = 12.0;
    const double start = at.x;
    const auto entry = [&](bool isShown, std::string_view text, double width, auto&& drawSwatch) {
        if (!isShown) {
            return;
        }
        const double end = at.x + width + 7.0 + SmallTextWidth(text);
        if (!isColumn && end > right) {
            at = {start, at.y + kLegendRow};
        }
        // In a column, the texts stand below each other.
        const double indent = isColumn ? wide : width;
        const double left = at.x + (indent - width) / 2.0;
        drawSwatch(Pointd{left, at.y}, Pointd{left + width, at.y});
        picture.Text("small", {at.x + indent + 7.0, at.y + 4.0}, text);
        if (isColumn) {
            at.y += kLegendRow;
        } else {
            at.x += indent + 7.0 + SmallTextWidth(text) + 14.0;
        }
    };
    const auto line = [&picture](std::string_view style) {
        return [&picture, style](Pointd a, Pointd b) { picture.Line(style, a, b); };
    };
    const auto lever = [&picture](bool isFixed) {
        return [&picture, isFixed](Pointd a, Pointd b) {
            DrawLever(picture, {a.x + 2.0, a.y}, {b.x - 4.0, b.y}, isFixed);
        };
    };
    entry(true, "curve", wide, line("curve"));
    entry(parts.outside, "outside", wide, line("outside"));
    entry(parts.jump, "jump", wide, line("jump"));
    for (const auto& [shape, name] :
         {std::pair(KeyframeShape::Linear, "linear"), std::pair(KeyframeShape::Hold, "hold"),
          std::pair(KeyframeShape::Smooth, "smooth"), std::pair(KeyframeShape::Easing, "easing"),
          std::pair(KeyframeShape::Extrapolate, "extrapolated")}) {
        entry(parts.keyframes.count(shape) > 0, name, narrow,
              [&picture, drawn = shape](Pointd a, Pointd b) {
                  DrawKeyframe(picture, {(a.x + b.x) / 2.0, a.y}, drawn);
              });
    }
    entry(parts.handles, "handle", wide, lever(false));
    entry(parts.fixedHandles, "set by the type", wide, lever(true));
    entry(parts.frames, "frame", narrow, [&picture](Pointd a, Pointd b) {
        picture.Dots({{(a.x + b.x) / 2.0, a.y}});
    });
    const auto shade = [&picture](Pointd a, Pointd b) {
        picture.Rectangle("beyond", {a.x, a.y - 6.0, b.x - a.x, 12.0});
    };
    entry(parts.limits, "beyond the range", narrow, shade);
    entry(parts.freezes, "freeze", narrow, shade);
}

bool HasLevers(const std::vector<SegmentLevers>& segments, bool isFixed) {
    return std::any_of(segments.begin(), segments.end(), [isFixed](const SegmentLevers& segment) {
        return segment.isFixed == isFixed && (segment.showsStart || segment.showsEnd);
    });
}

}  // namespace plot
