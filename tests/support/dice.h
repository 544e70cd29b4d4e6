#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

/// Random numbers that are the same on every platform for the same seed.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine(seed) {}

    /// In [0, count).
    int Below(int count) { return static_cast<int>(engine() % static_cast<std::uint64_t>(count)); }
    std::uint64_t Bits() { return engine(); }
    bool OneIn(int count) { return Below(count) == 0; }
    /// In [low, high).
    double Between(double low, double high) {
        return low + (high - low) * (static_cast<double>(engine() >> 11) * 0x1p-53);
    }
    template <class T>
    const T& Pick(const std::vector<T>& from) {
        return from[static_cast<std::size_t>(Below(static_cast<int>(from.size())))];
    }

private:
    std::mt19937_64 engine;
};
