#pragma once

#include <core/curve/keyframe_handle.h>
#include <core/export.h>

#include <cstddef>
#include <string>
#include <vector>

namespace core {

/// A keyframe of a stored text that is not in the curve.
struct LeftOutKeyframe {
    /// Its place in "keyframeSets", counted from 0.
    std::size_t index = 0;
    /// For people, as in "\"_time\" is no finite number".
    std::string reason;
};

/// `curve.Desialize(text)`, which also says which keyframes were left out, in the order of
/// the text; the log has them as ever. Keyframes that stand for freezes in older speed
/// curves are not left out. `leftOut` is as it was where -1 is answered.
///
///     std::vector<core::LeftOutKeyframe> leftOut;
///     core::DesializeAndReport(opacity, text.c_str(), leftOut);
///     for (const core::LeftOutKeyframe& each : leftOut) {
///         std::printf("keyframe %zu: %s\n", each.index, each.reason.c_str());
///     }
CORE_API int DesializeAndReport(KeyframeHandle& curve, const char* text,
                                std::vector<LeftOutKeyframe>& leftOut);

}  // namespace core
