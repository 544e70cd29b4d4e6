#pragma once

// The stretches of a speed curve as it is played, and the polynomial of each.

#include "core/speed/freezes.h"
#include "core/speed/time_map.h"

#include <cstddef>
#include <vector>

namespace core {

/// Coefficients a + b x + c x^2 + d x^3; all zeros for a freeze.
struct Velocity {
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    double d = 0.0;
};

/// One stretch on the point axis, to the next one's start.
struct VelocityStretch {
    static constexpr int kFreeze = -1;
    /// The start of the remaining part of a segment whose keyframe is gone.
    static constexpr int kNoKeyframe = -2;

    double pointTime;
    /// The keyframe whose speeds are played, or one of the above.
    int keyframe;
};

/// Keyframes and both ends of each freeze, in order; what lies within a freeze's
/// tolerance of the one before is dropped. The last stretch has no end.
std::vector<VelocityStretch> ListStretches(const TimeMap& map,
                                           const SpeedParameterFreezeImpl& freezes);

/// Whether a segment leads from this keyframe to the next.
bool HasVelocity(const TimeMap& map, int keyframe) noexcept;

enum class Direction { Forward, Backward };
/// The segment from a keyframe that has one, played in either direction.
Velocity VelocityFrom(const TimeMap& map, int keyframe, Direction direction) noexcept;

/// The outermost layer for velocities: the stretches of a curve played from the last
/// to the first. Immutable, so that copies of a curve can share it, and it refers to
/// none of them.
class SpeedParameterEx {
public:
    SpeedParameterEx(const TimeMap& map, const SpeedParameterFreezeImpl& freezes);

    /// Zeros for an index outside.
    Velocity VelocityAt(int index) const noexcept;

private:
    std::vector<Velocity> velocities;
};

}  // namespace core
