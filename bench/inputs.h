#pragma once

// What all benchmarks measure on: the same curves and the same times for every
// contestant, and the same on every run.

#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>

#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace bench {

/// Numbers of keyframes.
inline constexpr std::array<int, 4> kSizes = {10, 100, 1'000, 10'000};

/// Long enough that no branch predictor learns a pool of random times.
inline constexpr int kPoolSize = 64'000;

class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine(seed) {}
    /// In [low, high).
    double Between(double low, double high) {
        return low + (high - low) * (static_cast<double>(engine() >> 11) * 0x1p-53);
    }
    /// In [0, count).
    int Below(int count) { return static_cast<int>(engine() % static_cast<std::uint64_t>(count)); }

private:
    std::mt19937_64 engine;
};

/// Times of `n` keyframes in seconds, from 0 on, 0.5 to 1.5 s apart. A longer
/// list starts like a shorter one.
std::vector<double> KeyTimes(int n);

/// Values of `n` keyframes, 50 to 100: a curve through them stays above 0, so
/// that its area grows with time.
std::vector<double> KeyValues(int n);

/// A curve of n keyframes of one type. Handles are those that the curve sets
/// itself, but for the time-value Bezier types: these get fractions from all of
/// [0, 1] and slopes of either sign, because automatic handles (1/3 and 2/3)
/// make time linear in the curve parameter, and hence trivial to solve.
std::shared_ptr<core::Parameter> MakeCurve(core::KeyframeInterpolationType type, int n);

/// A motion path of n points with hand-set handles.
std::shared_ptr<core::Parameter> MakePath(int n);

/// The keyframes of a curve, handles included.
std::vector<core::TimeValuePair> KeyframesOf(core::Parameter& curve);

enum class Order {
    Ascending,  ///< spread evenly over the curve: the more keyframes, the fewer times each
    Playback,   ///< 25 frames a second, from the start again at the end
    Random,
};
const char* NameOf(Order order);

/// `kPoolSize` times inside the curve of `n` keyframes.
std::shared_ptr<const std::vector<double>> SampleTimes(int n, Order order);

}  // namespace bench
