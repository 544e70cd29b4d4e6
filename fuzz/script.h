#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

/// Bytes read as choices, from the front, so that a change of one byte changes one
/// choice. What is missing at the end is 0.
class Script {
public:
    explicit Script(std::span<const std::uint8_t> allBytes) : bytes(allBytes) {}

    bool IsEmpty() const { return bytes.empty(); }
    int Byte() {
        if (bytes.empty()) {
            return 0;
        }
        const int byte = bytes.front();
        bytes = bytes.subspan(1);
        return byte;
    }
    /// From 0 to `count` - 1.
    int Below(int count) { return Byte() % count; }
    bool Flag() { return Byte() % 2 != 0; }
    template <class T, std::size_t count>
    T Pick(const std::array<T, count>& from) {
        return from[static_cast<std::size_t>(Byte()) % count];
    }
    /// From -128 to 128, in steps that are exact.
    double Fraction() {
        const int high = Byte();
        return (high - 128) + Byte() / 256.0;
    }
    /// Any double there is.
    double AnyDouble() {
        constexpr double kMost = std::numeric_limits<double>::max();
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        static constexpr std::array kSpecial = {0.0,
                                                -0.0,
                                                1e-7,
                                                1e-21,
                                                1e-300,
                                                5e-324,
                                                166666.66666666666,
                                                1e16,
                                                1e100,
                                                kMost,
                                                -kMost,
                                                kInfinity,
                                                -kInfinity,
                                                std::numeric_limits<double>::quiet_NaN()};
        if (Flag()) {
            return Pick(kSpecial);
        }
        std::uint64_t bits = 0;
        for (int i = 0; i < 8; ++i) {
            bits = bits << 8 | static_cast<unsigned>(Byte());
        }
        return std::bit_cast<double>(bits);
    }

private:
    std::span<const std::uint8_t> bytes;
};
