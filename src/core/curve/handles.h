#pragma once

// Automatic handles: what a keyframe's two handles are while the caller has not
// set them.

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>

#include <cstddef>
#include <span>

namespace core {

/// The two handles of a keyframe: of the segment that arrives, and of the one that leaves.
enum class Side { Left, Right };

/// Which handles of a keyframe a caller has set; the others are automatic.
struct HandSet {
    bool left = false;
    bool right = false;
};

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

/// Whether a handle that was rounded to eight decimals can be one of these at all: they all
/// have a Y of 0, or one of two fractions as X. Tells most that were set by hand, at once.
bool CanBeAutomatic(Pointd handle) noexcept;

/// The handle of `point` towards `neighbour` on a motion path: the third of the
/// straight way, or `point` itself without a neighbour.
Pointd AutomaticPathHandle(Pointd point, const Pointd* neighbour) noexcept;

/// The handle of the keyframe with this index as it follows from its neighbours, which
/// may be missing; on a motion path the one towards the neighbour. Zero where the values
/// have none. Always finite.
Pointd AutomaticHandleAt(std::span<const TimeValuePair> keyframes, std::size_t index, Side side,
                         bool isPath);
/// The same of a keyframe between two others, which may be null.
Pointd AutomaticHandleOf(const TimeValuePair* previous, const TimeValuePair& keyframe,
                         const TimeValuePair* next, Side side, bool isPath);

}  // namespace core
