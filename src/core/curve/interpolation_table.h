#pragma once

// All interpolation types. A new one is a row here, an enumerator in interpolation.h, and,
// where it belongs to no group yet, a rule in segment.h and its shape in segment.cpp and
// area.cpp.

#include <core/curve/interpolation_info.h>

#include <array>
#include <cstddef>

namespace core {

/// In the order of their numbers.
inline constexpr std::array<InterpolationInfo, kInterpolationCount> kInterpolations = [] {
    using Type = KeyframeInterpolationType;
    using Group = InterpolationGroup;
    return std::array<InterpolationInfo, kInterpolationCount>{{
        {Type::Bezier, "Bezier", Group::TimeValueBezier, {}, {}},
        {Type::Linear, "Linear", Group::Linear, {}, {}},
        {Type::Bezier2, "Bezier2", Group::TimeValueBezier, {}, {}},
        {Type::Bezier3, "Bezier3", Group::TimeValueBezier, {}, {}},
        {Type::Bezier4, "Bezier4", Group::TimeValueBezier, {}, {}},
        {Type::Bezier5, "Bezier5", Group::TimeValueBezier, {}, {}},
        {Type::Hold, "Hold", Group::Hold, {}, {}},
        {Type::Hermite, "Hermite", Group::Hermite, {}, {}},
        {Type::Hermite8, "Hermite8", Group::Hermite, {}, {}},
        {Type::HermiteFlat, "HermiteFlat", Group::Hermite, {}, {}},
        {Type::Hermite10, "Hermite10", Group::Hermite, {}, {}},
        {Type::Hermite11, "Hermite11", Group::Hermite, {}, {}},
        {Type::ValueBezier, "ValueBezier", Group::ValueBezier, {}, {}},
        {Type::Bezier13, "Bezier13", Group::LateTimeValueBezier, {}, {}},
        {Type::Bezier14, "Bezier14", Group::LateTimeValueBezier, {}, {}},
        {Type::Bezier15, "Bezier15", Group::LateTimeValueBezier, {}, {}},
        {Type::EaseInCubic, "EaseInCubic", Group::CubicEasing, {0.32, 0.0}, {0.67, 0.0}},
        {Type::EaseOutCubic, "EaseOutCubic", Group::CubicEasing, {0.33, 1.0}, {0.68, 1.0}},
        {Type::EaseInOutCubic, "EaseInOutCubic", Group::CubicEasing, {0.65, 0.0}, {0.35, 1.0}},
        {Type::EaseInCirc, "EaseInCirc", Group::CubicEasing, {0.55, 0.0}, {1.0, 0.45}},
        {Type::EaseOutCirc, "EaseOutCirc", Group::CubicEasing, {0.0, 0.55}, {0.45, 1.0}},
        {Type::EaseInOutCirc, "EaseInOutCirc", Group::CubicEasing, {0.85, 0.0}, {0.15, 1.0}},
        {Type::EaseInBack, "EaseInBack", Group::CubicEasing, {0.36, 0.0}, {0.66, -0.56}},
        {Type::EaseOutBack, "EaseOutBack", Group::CubicEasing, {0.34, 1.56}, {0.64, 1.0}},
        {Type::EaseOutElastic, "EaseOutElastic", Group::ClosedEasing, {}, {}},
        {Type::EaseOutBounce, "EaseOutBounce", Group::ClosedEasing, {}, {}},
        {Type::Extrapolate, "Extrapolate", Group::Extrapolate, {}, {}},
    }};
}();

/// Null for a number without a name.
constexpr const InterpolationInfo* InfoOf(KeyframeInterpolationType type) noexcept {
    const auto number = static_cast<std::uint32_t>(type);
    return number < kInterpolations.size() ? &kInterpolations[number] : nullptr;
}
constexpr InterpolationGroup GroupOf(KeyframeInterpolationType type) noexcept {
    const InterpolationInfo* const info = InfoOf(type);
    return info != nullptr ? info->group : InterpolationGroup::Hermite;
}
constexpr bool IsBezier(KeyframeInterpolationType type) noexcept {
    const InterpolationGroup group = GroupOf(type);
    return group == InterpolationGroup::TimeValueBezier ||
           group == InterpolationGroup::LateTimeValueBezier;
}

static_assert([] {
    for (std::size_t i = 0; i < kInterpolations.size(); ++i) {
        if (static_cast<std::size_t>(kInterpolations[i].type) != i) {
            return false;
        }
    }
    return true;
}());

}  // namespace core
