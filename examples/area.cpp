// A clip that speeds up: the area under its speed curve is how far its source has
// come, and the inverse tells when a given source time is reached.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;
    core::Parameter speed;
    speed.AddPoint(0.0, 1.0, Interpolation::HermiteFlat);
    speed.AddPoint(2.0, 3.0, Interpolation::HermiteFlat);
    speed.AddPoint(4.0, 0.5, Interpolation::Hold);

    std::printf("time  speed  source\n");
    for (int time = 0; time <= 5; ++time) {
        std::printf("%4d  %5.2f  %6.3f\n", time, speed.GetValue(time, false).AsDouble(),
                    speed.GetAreaFromTo(0.0, time, false, 0.0, 0.0));
    }

    std::printf("\nsource  reached at\n");
    for (int source = 0; source <= 8; source += 2) {
        const double time = speed.SolveTimeBaseArea(0.0, source);
        // And back: the area up to that time is the source time again.
        std::printf("%6d  %10.4f  (area %.4f)\n", source, time,
                    speed.GetAreaFromTo(0.0, time, false, 0.0, 0.0));
    }
    return 0;
}
