#pragma once

// Automatic handles: what a keyframe's two handles are while the caller has not
// set them.

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>

namespace core {

/// A keyframe as the automatic handles see it.
struct HandleKey {
    double time = 0.0;
    double value = 0.0;
    KeyframeInterpolationType type = KeyframeInterpolationType::Extrapolate;
};

/// A keyframe and its neighbours; a neighbour that is missing, or whose value is
/// no number, is null.
struct HandleKeys {
    const HandleKey* previous;
    HandleKey key;
    const HandleKey* next;
};

/// A handle, and how far a copy of it that went through a file may be off. Times
/// and values are saved with eight decimals, which shifts slopes between close
/// keyframes by much more than that.
struct AutomaticHandle {
    double x = 0.0;
    double y = 0.0;
    double toleranceX = 0.0;
    double toleranceY = 0.0;

    bool Matches(double otherX, double otherY) const noexcept;
};

/// The incoming handle of `keys.key`. Always finite.
///
/// The handle suits the rule by which the segment before the keyframe is
/// evaluated: a slope, a pair of fraction and slope, or a control value. Type 9 is
/// flat, the smooth types have the slope through both neighbours (of the one
/// neighbour at an end of the curve), and after a `Linear` keyframe the segment is
/// a straight line.
AutomaticHandle AutomaticLeftHandle(const HandleKeys& keys) noexcept;

/// The outgoing handle of `keys.key`, by the same rules. Always finite.
AutomaticHandle AutomaticRightHandle(const HandleKeys& keys) noexcept;

/// The handle of `point` towards `neighbour` on a motion path: the third of the
/// straight way, or `point` itself without a neighbour.
AutomaticHandle AutomaticPathHandle(Pointd point, const Pointd* neighbour) noexcept;

}  // namespace core
