#pragma once

// Values as the numbers that curves are made of.

#include <core/curve/val_any.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace core {

/// The value as a curve reads it: a number, or a boolean as 0 or 1. False, leaving
/// `number` alone, for anything else.
inline bool ReadNumber(const ValAny& value, double& number) {
    if (value.Kind() == ValAny::kBool) {
        number = value.AsBool() ? 1.0 : 0.0;
        return true;
    }
    if (!value.IsNumber()) {
        return false;
    }
    number = value.AsDouble();
    return true;
}

/// Truncated toward zero; saturating at the bounds, 0 for NaN.
inline int TruncateToInt(double x) noexcept {
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    constexpr double kLeast = std::numeric_limits<std::int32_t>::min();
    if (x >= kMost) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (x <= kLeast) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return std::isnan(x) ? 0 : static_cast<int>(x);
}

}  // namespace core
