// Keeps a clip inside its material, makes it fill its place on the timeline, and takes along a
// fade that is keyed on the material.

#include <core/core.h>

#include <cstdio>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    // 4 s from a film of 60 s; a speed that starts fast shows more than that.
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(4.0);
    speed.SetPointValue(0, 3.0);
    speed.SetPointInterpolationType(0, Interpolation::EaseInCubic);
    const core::ShownRange shown = core::FindShownRange(speed.Snapshot());
    std::printf("shows %.3f s to %.3f s\n", shown.lowest, shown.highest);
    for (const core::TimeRange& range : shown.outside) {
        std::printf("outside its 4 s from %.3f s to %.3f s\n", range.from, range.to);
    }
    std::printf("in the film: %s\n",
                core::FindShownRange(speed.Snapshot(), -10.0, 50.0).StaysInside() ? "yes" : "no");

    if (const auto kept = core::KeepInside(speed); !kept) {
        std::printf("%s\n", kept.reason.c_str());
    }
    std::printf("now up to %.3f s\n", core::FindShownRange(speed.Snapshot()).highest);

    // Its place is 5 s long, with a picture held for a second of it.
    speed.AddFreezeFrame(2.0, 1.0);
    core::ScaleToLength(speed, 5.0);
    std::printf("plays %.3f s\n", speed.GetRenderTotalTime());
    core::SetUniformSpeed(speed, 0.0, 1.0, 2.0);
    std::printf("plays %.3f s, at speed %.1f first\n", speed.GetRenderTotalTime(),
                speed.GetCurrentFPS(0.25));

    core::Parameter fade;  // over the material
    fade.AddPoint(0.0, 0.0, Interpolation::Linear);
    fade.AddPoint(2.0, 1.0, Interpolation::Hold);
    core::Parameter carried;  // over the timeline
    if (core::CarryToRenderTime(fade.Snapshot(), speed.Snapshot(), carried)) {
        const double t = 0.4;
        std::printf("at %.1f s: %.3f, as on its picture: %.3f\n", t,
                    carried.GetValue(t, false).AsDouble(),
                    fade.GetValue(speed.GetSourceTime(t), false).AsDouble());
    }
}
