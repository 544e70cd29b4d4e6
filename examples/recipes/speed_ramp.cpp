// Ramps a clip of 10 s from normal to fourfold speed, and finds out what is shown when.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);                   // first: the length of the material
    speed.AddPoint(2.0, 1.0, Interpolation::Linear);  // up to here at normal speed,
    speed.AddPoint(7.0, 4.0, Interpolation::Hold);    // from here on four times as fast

    std::printf("10 s of material play in %.2f s\n", speed.GetRenderTotalTime());
    for (const double render : {0.0, 2.0, 3.0, 4.0, 4.5}) {
        std::printf("at %.1f s: %.3f s of the source, at speed %.2f\n", render,
                    speed.GetSourceTime(render), speed.GetCurrentFPS(render));
    }
    std::printf("5 s of the source are shown at %.3f s\n", speed.GetRenderTime(5.0));
}
