#pragma once

#include <core/curve/pointd.h>

#include <functional>
#include <vector>

namespace plot {

/// The pieces of a curve between its jumps, each a polyline.
using Strokes = std::vector<std::vector<core::Pointd>>;

/// Turns a curve, given as the place on the picture at each time, into polylines
/// that look like it: nowhere further than 0.1 from the samples, and broken where
/// it jumps.
///
/// Places are in pixels. `times` ascend and hold the first and the last time; they
/// should lie no more than a pixel apart along the curve where it is smooth, and
/// hold the times where it has corners. Between two of them whose places lie apart
/// the function halves the time until they do not, or until only a jump is left.
Strokes TraceCurve(const std::function<core::Pointd(double)>& placeAt,
                   const std::vector<double>& times);

/// `count` + 1 times from `from` to `to` in equal steps, and `extra` times between
/// them, ascending.
std::vector<double> TraceTimes(double from, double to, int count, const std::vector<double>& extra);

}  // namespace plot
