#pragma once

#include <core/curve/edit_result.h>
#include <core/export.h>

namespace core {

class CurveSnapshot;
class KeyframeHandle;

/// An easing cubic-bezier(x1, y1, x2, y2), as style sheets write it: the inner control points
/// as (progress, eased progress), between (0, 0) and (1, 1).
struct CubicBezierEasing {
    double x1 = 0.0;  ///< Progress of the first control point, 0 to 1.
    double y1 = 0.0;  ///< Eased progress of it.
    double x2 = 1.0;  ///< Progress of the second one, 0 to 1.
    double y2 = 1.0;  ///< Eased progress of it.
};

/// Makes the segment from keyframe `index` to the next one run with an easing.
///
///     SetSegmentEasing(opacity, 0, {0.25, 0.1, 0.25, 1.0});
///
/// Where both x are thirds it becomes a Hermite segment, where it is one of the eight easings
/// with a type of their own it gets that, else it becomes a time-value Bezier; its handles are
/// set then. The segments around keep their shape: to rounding, or where one has to become a
/// time-value Bezier to its solver's tolerance. Refused, changing nothing: no such segment;
/// numbers that are not finite, an x outside [0, 1]; motion paths, booleans, texts and values
/// that are no numbers. One edit, from any thread; on a speed curve it concerns the keyframes,
/// as `KeyframeHandle::Edit`. O(log n + n / 64).
CORE_API CurveEditResult SetSegmentEasing(KeyframeHandle& curve, int index,
                                          const CubicBezierEasing& easing);

/// The inverse: what a segment is as an easing. False, changing nothing, where it is none: held
/// and extrapolated segments, elastic and bouncing ones, those without a change of value, and
/// motion paths. Any thread; O(log n).
CORE_API bool GetSegmentEasing(const CurveSnapshot& curve, int index, CubicBezierEasing& easing);

/// An easing that animators know by its name.
struct NamedEasing {
    /// "linear", "ease", "ease-in", "ease-out", "ease-in-out"; "sine", "quad", "cubic", "quart",
    /// "quint", "expo" and "back" with "-in", "-out" and "-in-out", as "sine-in-out".
    const char* name;
    /// Whether it is one cubic-bezier easing.
    bool isCubic;
    /// Which one, where it is.
    CubicBezierEasing cubic;
    /// How far it may be from its definition where it takes keyframes, as a part of the change
    /// of value; 0 where these are exact.
    double error;
};

/// The number of easings with a name.
inline constexpr int kNamedEasingCount = 26;
/// One of them, numbered from 0; null outside. Lives as long as the library. Any thread.
CORE_API const NamedEasing* GetNamedEasing(int number) noexcept;
/// The one with this name, or null, also for a null pointer. Any thread.
CORE_API const NamedEasing* FindNamedEasing(const char* name) noexcept;

/// The definition of a named easing: the eased progress for a progress from 0 to 1; outside
/// that of the nearer end. After R. Penner, Programming Macromedia Flash MX, 2002, and CSS
/// Easing Functions. Any thread.
CORE_API double EasedProgress(const NamedEasing& easing, double progress) noexcept;

/// Makes a segment run with a named easing, as `SetSegmentEasing`; where it is no single cubic,
/// with Hermite keyframes between: one for the two halves of quad, cubic and back, up to ten for
/// sine, quart, quint and expo. Refused, too: an int parameter where it takes keyframes; a
/// segment too short for them.
CORE_API CurveEditResult ApplyNamedEasing(KeyframeHandle& curve, int index,
                                          const NamedEasing& easing);

}  // namespace core
