// Makes the opacity curve of a title, edits it as an editor would, and samples it.

#include <core/core.h>

#include <cstdio>

using Interpolation = core::KeyframeInterpolationType;

namespace {

void PrintFade(const char* when, core::Parameter& opacity) {
    std::printf("%-16s", when);
    for (const double time : {0.0, 0.25, 0.5, 1.0, 2.0, 2.25, 2.5, 3.0}) {
        std::printf("  %.3f", opacity.GetValue(time, true).AsDouble());
    }
    std::printf("\n");
}

}  // namespace

int main() {
    std::printf("at seconds        0.00   0.25   0.50   1.00   2.00   2.25   2.50   3.00\n");
    core::Parameter opacity;
    opacity.SetValueRange(0.0, 1.0);
    opacity.AddPoint(0.0, 0.0, Interpolation::EaseInOutCubic);
    opacity.AddPoint(1.0, 1.0, Interpolation::Hold);
    opacity.AddPoint(2.0, 1.0, Interpolation::Linear);
    opacity.AddPoint(3.0, 0.0, Interpolation::Hold);
    PrintFade("as made", opacity);

    // A keyframe at a time that has one replaces it.
    opacity.AddPoint(2.0, 1.0, Interpolation::HermiteFlat);
    PrintFade("softer out", opacity);

    // Later, and only half transparent.
    opacity.SetPointTime(opacity.GetPointIndex(1.0), 1.5);
    opacity.SetPointValue(opacity.GetKeyFramesCount() - 1, 0.5);
    PrintFade("later, not gone", opacity);

    opacity.RemoveKeyFramesAfterTime(2.0);
    std::printf("%d keyframes left, the last at %.1f s\n", opacity.GetKeyFramesCount(),
                opacity.GetPointTime(opacity.GetKeyFramesCount() - 1));
    return 0;
}
