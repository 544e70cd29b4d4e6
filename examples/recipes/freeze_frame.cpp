// Holds one picture of a clip for a while, makes that longer, moves and removes it.

#include <core/core.h>

#include <cstdio>

namespace {

void Show(const char* what, core::SpeedParameter& speed) {
    std::printf("%-8s %4.1f s long, source at", what, speed.GetRenderTotalTime());
    for (const double render : {2.0, 3.0, 4.0, 5.0, 6.0}) {
        std::printf("  %.1f", speed.GetSourceTime(render));
    }
    std::printf("\n");
}

}  // namespace

int main() {
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(8.0);
    Show("plain", speed);

    speed.AddFreezeFrame(3.0, 1.5);
    Show("frozen", speed);

    speed.SetFreezeFrameDuration(0, 2.5);
    Show("longer", speed);

    // Two freezes never overlap.
    std::printf("again: %s\n", speed.AddFreezeFrame(4.0, 1.0) ? "added" : "refused");

    // Each has a place in the list of freezes, by which it is moved and removed.
    speed.MoveFreezeFrame(0, 5.0);
    const core::FreezeFrame moved = speed.GetFreezeFrame(0);
    std::printf("moved:   shows %.1f s from %.1f s on, for %.1f s\n", moved.sourceTime,
                moved.renderTime, moved.duration);
    speed.RemoveFreezeFrame(0);
    Show("removed", speed);
}
