#pragma once

// The shape of a segment apart from when it runs and from what its keyframes' types make of
// handles: it can be moved, stretched and mirrored, and written into keyframes again.

#include "core/curve/handles.h"

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace core {

struct SegmentForm {
    enum class Kind : std::uint8_t {
        Held,         ///< the start's value
        Backward,     ///< the line through the end; rises by second.x
        Forward,      ///< the line through the start, before an end of type 26; by first.x
        Hermite,      ///< slopes times the duration: first.x, second.x
        ValueBezier,  ///< control values: first.x, second.x
        TimeValue,    ///< controls: (fraction of the duration, rise from the own keyframe)
        Eased,        ///< by the type
        Path,         ///< controls in the plane
    };
    Kind kind = Kind::Held;
    KeyframeInterpolationType type = KeyframeInterpolationType::Hold;  ///< of the start
    Pointd first;
    Pointd second;
};

/// The form of the segment between two keyframes. False where their values are no numbers,
/// and no points on a path.
bool ReadForm(const TimeValuePair& start, const TimeValuePair& end, ParameterTypeEnum type,
              SegmentForm& form);

/// A segment as its two levers see it: how high each of them rises above its keyframe in the
/// direction of time, over which part of the duration. Numbers in x; paths in x and y. One
/// that has no effect is missing.
struct Lever {
    Pointd rise;
    double reach = 0.0;
};
struct Levers {
    std::optional<Lever> first;
    std::optional<Lever> second;
};
Levers LeversOf(const SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end);
/// Those that are missing stay.
void SetLevers(SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end,
               const Levers& levers);

/// The right handle of the start and the left one of the end that make this form with the
/// types that these have; a side that the form does not read has none.
struct FormHandles {
    std::optional<Pointd> right;
    std::optional<Pointd> left;
};
FormHandles HandlesOf(const SegmentForm& form, const TimeValuePair& start,
                      const TimeValuePair& end);

/// The same backwards in time, between the same two keyframes the other way round. False
/// where no segment has that shape.
bool Mirror(SegmentForm& form, const TimeValuePair& start, const TimeValuePair& end);

/// Gives keyframes of one type of parameter the types and the inner handles that make the
/// forms between them. The last one's type changes only where it has to have a handle. Cubics
/// in time become time-value Beziers where an end leaves them no other rule. False where a
/// path can't be written.
bool WriteForms(std::span<TimeValuePair> row, std::span<SegmentForm> forms);

}  // namespace core
