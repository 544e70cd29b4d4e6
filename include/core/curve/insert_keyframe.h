#pragma once

#include <core/export.h>

#include <string>

namespace core {

class KeyframeHandle;

/// Whether a keyframe is there now; if not, why.
struct KeyframeInsertion {
    /// The index of the keyframe at the time, or -1.
    int index = -1;
    /// How many keyframes were added: 0 where one was there already, more than 1 where
    /// the shape takes more.
    int added = 0;
    /// For people, as in "the value there is not whole"; empty when the keyframe is there.
    std::string reason;

    /// Whether the keyframe is there.
    explicit operator bool() const noexcept { return reason.empty(); }
};

/// Puts a keyframe on the curve at any time without changing what the curve answers.
///
///     if (const KeyframeInsertion cut = InsertKeyframe(opacity, 0.4); !cut) {
///         Report(cut.reason);
///     }
///
/// The new keyframe has the value of the curve there, and the handles of the two beside it
/// are set so that every time has the value that it had: to rounding, and where samples are
/// found by bisection, in eased and time-value Bezier segments, to the bisection's
/// tolerance. Handles that stay what they are stay automatic.
///  - A time-value Bezier that is too steep for two pieces gets a third one.
///  - Between an eased keyframe and the next one the curve becomes time-value Beziers. An
///    elastic or bouncing segment becomes as many cubics as keep 1e-4 of the span of its
///    values; the last 0.6 % of an elastic one, which end in a jump, are held.
///  - Before the first and after the last keyframe the curve stays constant.
///
/// Refused, changing nothing: a time that is not finite; a curve without keyframes; one of
/// integers where its value is not whole, since its keyframes hold whole numbers alone; a
/// segment whose values are no numbers; one that solves for time and whose ends count
/// different units, but for a start at 0. There, the times that a curve in ticks reads as
/// seconds (see `kFirstTickCount`) are not kept.
///
/// One edit, whole or not at all, from any thread; on a speed curve it concerns the
/// keyframes, as `KeyframeHandle::Edit`. O(log n + n / 64). Cuts by de Casteljau's method
/// (Farin, Curves and Surfaces for CAGD, section 4.2, 5.4).
CORE_API KeyframeInsertion InsertKeyframe(KeyframeHandle& curve, double time);

}  // namespace core
