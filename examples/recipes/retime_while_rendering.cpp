// Renders a clip from a snapshot while it is retimed; two edits are made as one, and undone.

#include <core/core.h>

#include <cstdio>
#include <vector>

int main() {
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);

    const core::SpeedSnapshot shown = speed.Snapshot();  // any thread may ask it, without a lock
    speed.Edit([](core::SpeedParameter& draft) {
        draft.AddPoint(4.0, 2.0, core::KeyframeInterpolationType::Hold);
        draft.AddFreezeFrame(6.0, 1.5);
    });

    // The source times of 6 frames at 0.5 per second, before and after.
    std::vector<double> before(6);
    std::vector<double> after(6);
    shown.GetSourceTimes(0.0, 2.0, before.size(), before.data());
    speed.GetSourceTimes(0.0, 2.0, after.size(), after.data());
    for (std::size_t frame = 0; frame < before.size(); ++frame) {
        std::printf("frame %zu: %4.1f, now %4.1f\n", frame, before[frame], after[frame]);
    }
    const core::TimeRange changed = ChangedBetween(shown, speed.Snapshot());
    std::printf("to be rendered again from %.1f s to %.1f s\n", changed.from, changed.to);

    speed.Restore(shown);
    std::printf("undone: %.1f s long, as it was: %s\n", speed.GetRenderTotalTime(),
                speed.Snapshot() == shown ? "yes" : "no");
}
