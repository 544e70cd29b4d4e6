// Undo and redo: a list of snapshots. What is dragged as one goes back as one.

#include <core/core.h>

#include <cstddef>
#include <cstdio>
#include <vector>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter volume;
    std::vector<core::CurveSnapshot> history = {volume.Snapshot()};
    std::size_t now = 0;
    const auto done = [&] {
        history.resize(++now);
        history.push_back(volume.Snapshot());
    };

    volume.AddPoint(0.0, 0.0, Interpolation::Linear);
    volume.AddPoint(2.0, 1.0, Interpolation::Linear);
    done();
    volume.Edit([](core::Parameter& draft) {  // a keyframe goes right and down
        draft.SetPointTime(1, 3.0);
        draft.SetPointValue(1, 0.5);
    });
    done();

    std::printf("at 1 s %.3f\n", volume.GetValue(1.0, true).AsDouble());
    volume.Restore(history[--now]);
    std::printf("undone %.3f\n", volume.GetValue(1.0, true).AsDouble());
    volume.Restore(history[++now]);
    std::printf("redone %.3f\n", volume.GetValue(1.0, true).AsDouble());
    std::printf("%d keyframes at first\n", history.front().GetKeyFramesCount());
}
