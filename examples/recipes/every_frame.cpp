// The opacity of a title, frame by frame: it comes, stays and goes.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter opacity;
    opacity.SetValueRange(0.0, 1.0);
    opacity.AddPoint(0.0, 0.0, Interpolation::EaseInOutCubic);
    opacity.AddPoint(1.0, 1.0, Interpolation::Hold);
    opacity.AddPoint(2.0, 1.0, Interpolation::HermiteFlat);
    opacity.AddPoint(3.0, 0.0, Interpolation::Hold);

    for (int frame = 0; frame <= 72; frame += 6) {
        std::printf("%3d  %.3f\n", frame, opacity.GetValue(frame / 24.0, true).AsDouble());
    }
}
