#pragma once

#include "plot/svg_document.h"

#include <core/curve/pointd.h>

#include <string>
#include <string_view>
#include <vector>

namespace plot {

/// A stretch of numbers on an axis, never empty once it went through `Widened`.
struct Span {
    double low = 0.0;
    double high = 0.0;

    double Length() const { return high - low; }
    /// Stretches to hold `value`.
    void Include(double value);
};

/// `span` with `margin` of its length added at both ends; one too short to be
/// divided by is stretched around its middle first.
Span Widened(Span span, double margin);

/// Round numbers inside `span`, in steps of 1, 2 or 5 times a power of ten, about
/// `count` of them.
std::vector<double> Ticks(Span span, int count);

/// The label of a tick among its neighbours.
std::string TickText(double tick, const std::vector<double>& ticks);

/// A plot's frame: where its numbers lie on the picture.
class PlotAxes {
public:
    PlotAxes(const Box& plotArea, Span horizontal, Span vertical, bool yDown = false);

    const Box& Area() const { return area; }
    const Span& Horizontal() const { return xs; }
    const Span& Vertical() const { return ys; }
    double X(double value) const;
    double Y(double value) const;
    core::Pointd At(core::Pointd value) const { return {X(value.x), Y(value.y)}; }

    /// Grid, tick labels and axis titles. With `names` the ticks are the numbers 0, 1, ...
    /// and read as these.
    void Draw(SvgDocument& picture, std::string_view xTitle, std::string_view yTitle,
              const std::vector<std::string>* names = nullptr) const;

private:
    Box area;
    Span xs;
    Span ys;
    bool down;
};

}  // namespace plot
