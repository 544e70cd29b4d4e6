#pragma once

// Telling the automatic handles of loaded keyframes from those that were set by hand.

#include "core/curve/handles.h"

#include <core/curve/interpolation.h>
#include <core/curve/time_value_pair.h>

#include <span>
#include <vector>

namespace core {

struct LoadedHandles {
    /// One for each keyframe.
    std::vector<HandSet> sides;
    /// Whether the handles are those of a motion path that keeps them at the thirds.
    bool keepsThirds = false;
};

/// Looks at the handles of keyframes that a text has given, in time order. An automatic
/// handle whose digits are in the text gets back what a file cuts off, because slopes per
/// tick have no digits left among eight decimals. O(n).
LoadedHandles RecogniseHandles(std::span<TimeValuePair> keyframes, ParameterTypeEnum type);

}  // namespace core
