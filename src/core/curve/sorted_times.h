#pragma once

#include <core/curve/time_unit.h>

#include <algorithm>
#include <cstddef>
#include <span>

namespace core {

inline bool TimesMatch(double a, double b) noexcept {
    const double difference = a - b;
    return difference > -kTimeTolerance && difference < kTimeTolerance;
}

/// The number of times at or before `t` in an ascending row, which is the index of
/// the first one after it. NaN lies behind all of them. O(log n).
///
/// Three pivots a round instead of one: their loads and comparisons overlap, and
/// there are half as many rounds. Sums instead of conditions, because a condition
/// becomes a branch, and random times mispredict every other one.
inline std::size_t UpperBound(std::span<const double> times, double t) noexcept {
    // Not "<=": NaN has to go right.
    const auto isNotAfter = [t](double time) { return static_cast<std::size_t>(!(time > t)); };
    const double* base = times.data();
    std::size_t length = times.size();
    while (length > 3) {
        const std::size_t quarter = length / 4;
        const std::size_t passed = isNotAfter(base[quarter - 1]) +
                                   isNotAfter(base[2 * quarter - 1]) +
                                   isNotAfter(base[3 * quarter - 1]);
        base += passed * quarter;
        length -= 3 * quarter;
    }
    auto index = static_cast<std::size_t>(base - times.data());
    for (std::size_t i = 0; i < length; ++i) {
        index += isNotAfter(base[i]);
    }
    return index;
}

/// The index of the last one of 64 times that is not after `t`, as the first one is: the
/// same three rounds, laid out.
inline std::size_t LastOf64UpTo(const double* times, double t) noexcept {
    const auto isNotAfter = [times, t](std::size_t i) {
        return static_cast<std::size_t>(!(times[i] > t));
    };
    std::size_t i = 16 * (isNotAfter(16) + isNotAfter(32) + isNotAfter(48));
    i += 4 * (isNotAfter(i + 4) + isNotAfter(i + 8) + isNotAfter(i + 12));
    return i + isNotAfter(i + 1) + isNotAfter(i + 2) + isNotAfter(i + 3);
}

/// As `UpperBound`, fastest where the times lie about evenly, as most do: looks first among
/// the 64 around where `t` would be then. For long rows, whose rounds miss the cache.
inline std::size_t UpperBoundByGuess(std::span<const double> times, double t) noexcept {
    constexpr std::size_t kLong = 256;
    if (times.size() >= kLong && times.front() <= t && t < times.back()) {
        const double evenly = (t - times.front()) / (times.back() - times.front());
        const double guess = evenly * static_cast<double>(times.size()) - 32.0;
        // Not beyond the row; NaN, which huge times make, is no guess either.
        const double last = static_cast<double>(times.size() - 64);
        const auto first = static_cast<std::size_t>(guess >= 0.0 ? std::min(guess, last) : 0.0);
        if (times[first] <= t && t < times[first + 63]) {
            return first + LastOf64UpTo(times.data() + first, t) + 1;
        }
    }
    return UpperBound(times, t);
}

}  // namespace core
