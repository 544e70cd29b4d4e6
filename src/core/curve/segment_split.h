#pragma once

// A segment as several with the same shape: which keyframes lie between its two, and what
// becomes of the handles of these.

#include "core/curve/handles.h"
#include "core/curve/segment.h"

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>

#include <optional>
#include <vector>

namespace core {

/// A keyframe of the split; a side without a handle keeps its automatic one.
struct SplitKey {
    double time = 0.0;
    ValAny value;
    KeyframeInterpolationType type = KeyframeInterpolationType::Hold;
    std::optional<Pointd> left;
    std::optional<Pointd> right;
};

struct SegmentSplit {
    /// Why there is none; null where there is one.
    const char* refusal = nullptr;
    /// What becomes of the start: its type, and its right handle unless that stays.
    KeyframeInterpolationType startType = KeyframeInterpolationType::Hold;
    std::optional<Pointd> startRight;
    /// In time order; one of them at the time that was asked for.
    std::vector<SplitKey> inner;
    std::optional<Pointd> endLeft;
    /// Whether an end of type `Linear` must become `Hermite` to have a handle.
    bool freesEnd = false;
};

/// Splits the segment between two keyframes of numbers at a time inside.
///
/// `previous` is the type of the keyframe before the start, if there is one: the segment
/// that arrives at the start keeps its rule.
SegmentSplit SplitSegment(const SegmentEnds& ends,
                          std::optional<KeyframeInterpolationType> previous, double t);

/// The same on a motion path.
SegmentSplit SplitPath(const TimeValuePair& start, const TimeValuePair& end, double t);

/// The right handle of the start and the left one of the end with which two keyframes of
/// one type and one value have a constant segment between them.
HandlePair HandlesOfRest(KeyframeInterpolationType type, const ValAny& value);

}  // namespace core
