#pragma once

#include <core/curve/edit_result.h>
#include <core/curve/pointd.h>
#include <core/export.h>

#include <cstddef>

namespace core {

class KeyframeHandle;
class Parameter;

/// Leaves out the keyframes from `from` to `to` that a curve within `error` of the old one does
/// not need, the first and the last one kept.
///
///     ReduceKeyframes(tracked, 0.0, 60.0, 0.001 * height);
///
/// The error is one of value, before the base ratio and the cut to integers; of a motion path
/// a distance. It holds at every time and not just at samples, but for the tolerance of the
/// bisection where samples are found by one. Keyframes that stay keep their time and value; between
/// two of them the curve is one cubic in time, or what it was where nothing is left out. Through
/// a keyframe between two cubics it goes without a corner where the error allows it. Jumps,
/// held, elastic, bouncing and extrapolated segments stay; a held keyframe with the value of
/// the held one before it goes.
///
/// Refused, changing nothing: bounds that are not finite or in the wrong order, an error that is
/// not above 0, values that are no numbers. One edit, from any thread; on a speed curve it
/// concerns the keyframes, as `KeyframeHandle::Edit`. O(n log n).
///
/// Cubics by least squares (Schneider: An Algorithm for Automatically Fitting Digitized
/// Curves, Graphics Gems, 1990), with their parameter fixed by time, each as long as the error
/// allows, found by galloping search. The difference of both curves is a Bezier curve itself, and
/// lies within the error where its control points do, else its halves are asked (Farin, Curves
/// and Surfaces for CAGD, convex hull property).
CORE_API CurveEditResult ReduceKeyframes(KeyframeHandle& curve, double from, double to,
                                         double error);

/// Makes `fitted` a curve of cubics that comes within `error` of all samples, with few
/// keyframes; as for tracking data, whose noise the error allows for.
///
/// Keyframes lie at times of samples; their values need not be those of the samples. Numbers
/// become a double parameter of Hermite segments, points a motion path. It has no range and no
/// base ratio.
///
/// Refused, leaving `fitted` as it was: no samples, or more than 2147483647; times that are not
/// finite, not ascending or that match; values that are not finite; an error that is not above 0.
/// O(n log n); the method is that of `ReduceKeyframes`.
CORE_API CurveEditResult FitKeyframes(const double* times, const double* values, std::size_t count,
                                      double error, Parameter& fitted);
CORE_API CurveEditResult FitKeyframes(const double* times, const Pointd* values, std::size_t count,
                                      double error, Parameter& fitted);

}  // namespace core
