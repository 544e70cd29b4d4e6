#pragma once

// Values as the numbers that curves are made of.

#include <core/curve/val_any.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace core {

/// Areas, totals, speeds and coefficients nearer to zero than this are taken for zero:
/// those of real curves are many orders of magnitude larger, and dividing by one would
/// overflow. Kept on purpose: what has no answer, and is reported, depends on it.
inline constexpr double kNegligible = 1e-20;

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

/// The same; throws `AnyKindMismatch` for what is no number.
inline double RequireNumber(const ValAny& value) {
    double number = 0.0;
    return ReadNumber(value, number) ? number : value.AsDouble();
}

/// Whether two values are the same, bit by bit and of one kind.
bool IsSame(const ValAny& a, const ValAny& b);

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
