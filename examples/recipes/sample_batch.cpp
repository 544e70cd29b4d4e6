// Many keyframes in, many samples out: an edit for all, a call for all.

#include <core/core.h>

#include <cstdio>
#include <vector>

int main() {
    // As a tracker finds them: in any order.
    std::vector<core::TimeValuePair> tracked;
    for (const int frame : {24, 0, 18, 6, 12}) {
        tracked.emplace_back(frame / 24.0, frame * frame / 10.0,
                             core::KeyframeInterpolationType::Hermite);
    }
    core::Parameter height;
    height.AddPoints(tracked.data(), tracked.size());

    std::vector<double> frames(9);
    height.GetValues(0.0, 1.0 / 8.0, frames.size(), true, frames.data());
    for (const double sample : frames) {
        std::printf("%.2f\n", sample);
    }
}
