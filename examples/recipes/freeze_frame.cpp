// Holds one picture of a clip for a while, and makes it longer later.

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
}
