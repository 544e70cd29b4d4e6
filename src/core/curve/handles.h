#pragma once

// Automatic handles: what a keyframe's two handles are while the caller has not
// set them.

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>

#include <cmath>

namespace core {

/// The two handles of a keyframe: of the segment that arrives, and of the one that leaves.
enum class Side { Left, Right };

/// Which handles of a keyframe a caller has set; the others are automatic.
struct HandSet {
    bool left = false;
    bool right = false;
};

inline Pointd LeftOf(const TimeValuePair& keyframe) noexcept {
    Pointd handle;
    keyframe.GetLeftDerivativeEx(handle.x, handle.y);
    return handle;
}
inline Pointd RightOf(const TimeValuePair& keyframe) noexcept {
    Pointd handle;
    keyframe.GetRightDerivativeEx(handle.x, handle.y);
    return handle;
}

/// Whether two handles are one but for rounding: the curve then differs by less than 1e-12
/// of its span, and a handle that only rounding has moved stays automatic.
inline bool HandlesMatch(Pointd a, Pointd b) noexcept {
    constexpr double kRounding = 1e-13;
    const auto isNear = [](double p, double q) {
        // Not "<=": infinite numbers match nothing but themselves.
        return p == q || std::fabs(p - q) < kRounding * (std::fabs(p) + std::fabs(q));
    };
    return isNear(a.x, b.x) && isNear(a.y, b.y);
}

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

/// The incoming handle of `keys.key`. Always finite.
///
/// The handle suits the rule by which the segment before the keyframe is
/// evaluated: a slope, a pair of fraction and slope, or a control value. Type 9 is
/// flat, the smooth types have the slope through both neighbours (of the one
/// neighbour at an end of the curve), and after a `Linear` keyframe the segment is
/// a straight line.
Pointd AutomaticLeftHandle(const HandleKeys& keys) noexcept;

/// The outgoing handle of `keys.key`, by the same rules. Always finite.
Pointd AutomaticRightHandle(const HandleKeys& keys) noexcept;

/// The X of the automatic handles of time-value Bezier segments.
inline constexpr double kLeftFraction = 2.0 / 3.0;
inline constexpr double kRightFraction = 1.0 / 3.0;

/// Whether a handle that was rounded to eight decimals can be one of these at all: they all
/// have a Y of 0, or one of two fractions as X. Tells most that were set by hand, at once.
inline bool CanBeAutomatic(Pointd handle) noexcept {
    constexpr double kRounding = 1e-8;
    return handle.y == 0.0 || std::fabs(handle.x - kLeftFraction) < kRounding ||
           std::fabs(handle.x - kRightFraction) < kRounding;
}

/// The handle of `point` towards `neighbour` on a motion path: the third of the
/// straight way, or `point` itself without a neighbour.
Pointd AutomaticPathHandle(Pointd point, const Pointd* neighbour) noexcept;

/// Both automatic handles of a keyframe.
struct HandlePair {
    Pointd left;
    Pointd right;
};

/// The handles of a keyframe as they follow from its neighbours, which may be null; on a
/// motion path those towards the neighbours. Zero where the values have none. Always finite.
HandlePair AutomaticHandlesOf(const TimeValuePair* previous, const TimeValuePair& keyframe,
                              const TimeValuePair* next, bool isPath);

}  // namespace core
