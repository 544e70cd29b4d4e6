// Lists which frame of the material each frame of the timeline shows, with rates that are
// fractions: 24000/1001 on the timeline, 30000/1001 in the material.

#include <core/core.h>

#include <cstdint>
#include <cstdio>
#include <vector>

int main() {
    const auto timeline = core::TimeBase::Frames(24000, 1001);
    const auto material = core::TimeBase::Frames(30000, 1001);

    core::SpeedParameter speed(0.5);
    speed.SetSourceTotalTime(60.0);
    speed.AddFreezeFrame(0.2, 0.25);

    std::vector<std::int64_t> shown(16);
    const core::SpeedSnapshot clip = speed.Snapshot();
    GetSourceFrames(clip, 0, shown.size(), timeline, material, shown.data());
    for (const std::int64_t frame : shown) {
        std::printf(" %lld", static_cast<long long>(frame));
    }

    // An hour later nothing has drifted.
    core::SpeedParameter day;
    day.SetSourceTotalTime(86400.0);
    const std::int64_t hour = 3600 * 30;
    std::printf("\nframe %lld shows %lld\n", static_cast<long long>(hour),
                static_cast<long long>(GetSourceFrame(day.Snapshot(), hour, material, material)));
}
