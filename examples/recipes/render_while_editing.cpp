// Renders a curve as it was, on other threads, while somebody drags a keyframe of it.

#include <core/core.h>

#include <cstdio>
#include <thread>
#include <vector>

int main() {
    core::Parameter opacity;
    opacity.AddPoint(0.0, 0.0, core::KeyframeInterpolationType::Linear);
    opacity.AddPoint(4.0, 1.0, core::KeyframeInterpolationType::Linear);
    opacity.AddPoint(8.0, 0.0, core::KeyframeInterpolationType::Linear);

    const core::CurveSnapshot shown = opacity.Snapshot();
    std::vector<std::thread> renderers;
    std::vector<double> sums(2);
    for (double& sum : sums) {
        renderers.emplace_back([shown, &sum] {  // a copy for each thread
            for (int frame = 0; frame < 96; ++frame) {
                sum += shown.GetValue(frame / 24.0, true).AsDouble();
            }
        });
    }
    for (int step = 1; step <= 100; ++step) {
        opacity.SetPointValue(1, step / 10.0);
    }
    for (std::thread& renderer : renderers) {
        renderer.join();
    }

    std::printf("rendered %.3f and %.3f\n", sums[0], sums[1]);
    const core::TimeRange changed = ChangedBetween(shown, opacity.Snapshot());
    std::printf("to be rendered again from %.1f s to %.1f s\n", changed.from, changed.to);
}
