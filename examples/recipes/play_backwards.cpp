// Plays a clip backwards, and lists its speeds in the order in which they come then.

#include <core/core.h>

#include <cstdio>
#include <memory>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::SpeedParameter speed(0.5);
    speed.SetSourceTotalTime(6.0);
    speed.AddPoint(3.0, 1.0, Interpolation::Hold);

    // Backwards the source counts down from its end; the speeds come as they are.
    core::SpeedParameter backwards(speed);
    backwards.SetReverse(true);
    std::printf("render  forward  backwards\n");
    for (const double render : {0.0, 2.0, 4.0, 6.0, 8.0, 9.0}) {
        std::printf("%6.1f  %7.2f  %9.2f\n", render, speed.GetSourceTime(render),
                    backwards.GetSourceTime(render));
    }

    // With the speeds mirrored too, each stretch keeps the material that it belongs to.
    const std::unique_ptr<core::SpeedParameter> mirrored = speed.RevertSpeedParameter();
    mirrored->SetReverse(true);
    for (const int stretch : {0, 1}) {
        double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
        mirrored->GetVelocityTimeCurve(a, b, c, d, stretch);
        std::printf("mirrored, stretch %d: speed %.2f\n", stretch, a);
    }
}
