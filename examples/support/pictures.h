#pragma once

#include "support/clip.h"
#include "support/keyframe_table.h"

#include <string>

namespace example {

/// An SVG plot of an animation as it is sampled: a curve over time, with its
/// keyframes, handles and frames.
std::string DrawValueCurve(const KeyframeTable& table);

/// An SVG picture of a motion path in the plane, y downwards as on a screen: a dot
/// for each frame shows how fast it moves, a chart below says it in numbers.
std::string DrawMotionPath(const KeyframeTable& table);

/// The one of the two that suits the table.
std::string DrawAnimation(const KeyframeTable& table);

/// An SVG plot of a clip: the source time that is shown over the timeline, its freezes
/// shaded, and below it the speed.
std::string DrawClip(Clip& clip);

/// An SVG picture of one segment of every interpolation type, side by side.
std::string DrawInterpolationTypes();

}  // namespace example
