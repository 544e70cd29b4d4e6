#pragma once

// How functions beside the slots change a curve: on a draft, as a whole or not at all.

#include "core/curve/big_parameter_impl.h"
#include "core/curve/curve.h"
#include "core/curve/handles.h"
#include "core/curve/segment_form.h"
#include "core/foundation/shared.h"

#include <core/curve/edit_result.h>
#include <core/curve/keyframe_handle.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace core {

/// Has `edit(now, draft)` change a copy of the curve, again where another thread was faster.
/// `draft` is `now` until it is made its own; where it stays that, nothing has changed. The
/// answer is why it could not be done, or empty.
template <class Edit>
CurveEditResult EditCurve(KeyframeHandle& handle, const Edit& edit) {
    while (BigParameterImpl* impl = handle.p_impl()) {
        const Shared<Curve> now = impl->CurrentCurve();
        Shared<Curve> draft = now;
        if (std::string reason = edit(static_cast<const Curve&>(*now), draft); !reason.empty()) {
            return {std::move(reason)};
        }
        if (draft.get() == now.get()) {
            return {};
        }
        BigParameterImpl made(std::move(draft));
        if (impl->TakeCurveIfStill(now, made)) {
            return {};
        }
    }
    return {"the curve was moved away"};
}

/// The keyframes from one time to another, both included: indices `first` up to before `last`.
inline Curve::Range KeyframesFrom(const Curve& curve, double from, double to) noexcept {
    return {curve.MatchesOf(from).first, curve.MatchesOf(to).last};
}

/// Why these bounds are none; empty where they are.
std::string FaultOfBounds(double from, double to);

/// A time as a reason shows it.
std::string TimeText(double time);

/// Keyframes, what of their handles is set by hand, and the forms of the segments between.
struct KeyframeStretch {
    std::vector<TimeValuePair> keyframes;
    std::vector<HandSet> sides;
    std::vector<SegmentForm> forms;
};

/// Puts `stretch` in the place of the keyframes of `range`, whose first and last keyframes it
/// has too, in time and value. The segments around keep their shape, and as many of the
/// keyframes before as must get another type for that. Handles are set by hand where they were
/// or where they are not the automatic ones.
std::string ReplaceStretch(const Curve& curve, Curve::Range range, KeyframeStretch stretch,
                           Shared<Curve>& draft);

/// The reason that names a keyframe whose values have no form.
std::string NoNumbersAt(std::size_t index);

/// Why keyframes can't be stored: handles that are not finite. Empty where they can.
std::string FaultOfHandles(std::span<const TimeValuePair> row);

/// Gives a keyframe handles; what they are already, but for rounding, stays as it is. False,
/// changing nothing, where they are not finite.
bool WriteHandles(Shared<Curve>& draft, std::size_t index, const std::optional<Pointd>& left,
                  const std::optional<Pointd>& right);

}  // namespace core
