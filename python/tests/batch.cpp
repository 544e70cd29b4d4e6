// The nanoseconds of a sample in a batch of a million, the least of ten.
#include <core/core.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

int main() {
    core::Parameter curve;
    for (int i = 0; i < 1000; ++i) {
        curve.AddPoint(i, i % 7, core::KeyframeInterpolationType::Hermite);
    }
    const std::size_t count = 1000000;
    std::vector<double> times(count), values(count);
    for (std::size_t i = 0; i < count; ++i) {
        times[i] = 0.001 * static_cast<double>(i);
    }
    double least = 1e9;
    for (int round = 0; round < 10; ++round) {
        const auto start = std::chrono::steady_clock::now();
        curve.GetValues(times.data(), count, false, values.data());
        const std::chrono::duration<double, std::nano> taken =
            std::chrono::steady_clock::now() - start;
        least = std::min(least, taken.count() / static_cast<double>(count));
    }
    std::printf("%.3f %.17g\n", least, values[count - 1]);
}
