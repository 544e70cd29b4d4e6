#pragma once

// Straight speeds in place of others.

#include "core/speed/stretch.h"

#include <core/curve/time_unit.h>

#include <vector>

namespace core {

/// A speed that is made is at least so much: a slower one counts as a freeze.
inline constexpr double kSlowest = 2e-4;

/// Pieces that show or take less than this would be one keyframe.
inline constexpr double kLeastPiece = 2.0 * kTimeTolerance;

/// A speed that runs straight to the next one's.
struct StraightSpeed {
    double speed;  ///< where it starts
    double shown;  ///< source, up to the next one
};

/// What shows the same as speeds that are neither held nor straight, to a hundredth of a frame at
/// 60 frames per second, between two speeds of 0.0002 or more. Empty where it can't, because they
/// run backwards. What has been shown too much before, `ahead`, they show less,
/// and keep within so much less, `besides`, of it.
std::vector<StraightSpeed> MakeStraight(const PlayedSpeeds& speeds, double from, double to,
                                        double startSpeed, double endSpeed, double ahead = 0.0,
                                        double besides = 0.0);

}  // namespace core
