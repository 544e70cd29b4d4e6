#pragma once

// The first 128 bits of powers of five, worked out by the compiler.
//
// Every power of ten is a power of five, shifted; so these are the multipliers that
// turn decimal mantissas into binary ones (D. Lemire, "Number parsing at a gigabyte per
// second", Software: Practice and Experience 51, 2021).

#include "core/data/wide.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace core {

/// Outside, no decimal mantissa of 64 bits gives a finite double other than zero.
inline constexpr int kLeastPower = -342;
inline constexpr int kGreatestPower = 308;

using PowersOfFive = std::array<Wide, kGreatestPower - kLeastPower + 1>;

/// 5^q, q from `kLeastPower` on, scaled by a power of two into [2^127, 2^128): cut to an
/// integer where q >= 0, and the integer behind that where q < 0.
constexpr PowersOfFive MakePowersOfFive() {
    // The number from which powers are made, the lowest digits first.
    constexpr std::size_t kDigits = 32;
    std::array<std::uint32_t, kDigits> number{};
    const auto first128 = [&number] {
        std::size_t top = kDigits - 1;
        while (number[top] == 0) {
            --top;
        }
        int shift = 0;
        while ((number[top] << shift & 0x80000000) == 0) {
            ++shift;
        }
        std::array<std::uint64_t, 4> digits{};
        for (std::size_t i = 0; i < 4; ++i) {
            const std::uint64_t high = top >= i ? number[top - i] : 0;
            const std::uint64_t low = top >= i + 1 ? number[top - i - 1] : 0;
            digits[i] = ((high << 32 | low) << shift) >> 32 & 0xFFFFFFFF;
        }
        return Wide{digits[0] << 32 | digits[1], digits[2] << 32 | digits[3]};
    };

    PowersOfFive powers{};
    constexpr auto kZeroth = static_cast<std::size_t>(-kLeastPower);
    number[0] = 1;
    for (std::size_t q = kZeroth; q < powers.size(); ++q) {
        powers[q] = first128();
        std::uint64_t carry = 0;
        for (std::uint32_t& digit : number) {
            carry += std::uint64_t{digit} * 5;
            digit = static_cast<std::uint32_t>(carry);
            carry >>= 32;
        }
    }
    // Cutting after every division by 5 cuts as one division by their product does.
    number = {};
    number[kDigits - 1] = 0x80000000;
    for (std::size_t q = kZeroth; q-- > 0;) {
        std::uint64_t rest = 0;
        for (std::size_t i = kDigits; i-- > 0;) {
            rest = rest << 32 | number[i];
            number[i] = static_cast<std::uint32_t>(rest / 5);
            rest %= 5;
        }
        const Wide cut = first128();
        powers[q] = {cut.high + (cut.low + 1 == 0 ? 1 : 0), cut.low + 1};
    }
    return powers;
}

}  // namespace core
