#pragma once

// A motion path as two curves of numbers, and back.

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>

#include <span>
#include <vector>

namespace core {

/// One dimension of a path, `&Pointd::x` or `&Pointd::y`, as the keyframes of a
/// double parameter.
///
/// A path is a cubic in progress, and so is a value Bezier: the inner control
/// values are those of the path, and the samples agree to rounding. `Hold` stays
/// what it is. Handles that no segment reads are automatic ones. Keyframes without
/// a point are left out.
std::vector<TimeValuePair> SplitPath(std::span<const TimeValuePair> path,
                                     double Pointd::*dimension);

/// A curve of numbers that is to be one dimension of a path.
struct MotionDimension {
    /// In time order, no two of them matching; each value a number or a boolean.
    std::vector<TimeValuePair> keyframes;
    /// Samples are multiplied by this.
    double ratio = 1.0;
    /// Samples are truncated to integers.
    bool isInteger = false;
};

/// The keyframes of the path. See `MergeTwoMotionDimensionIntoWhole` for how near
/// it comes to its dimensions.
std::vector<TimeValuePair> MergeDimensions(const MotionDimension& x, const MotionDimension& y);

}  // namespace core
