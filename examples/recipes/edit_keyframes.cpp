// Finds, moves, changes and removes keyframes, and walks over what is left.

#include <core/core.h>

#include <cstdio>
#include <memory>

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::Parameter volume;
    for (const double time : {0.0, 1.0, 2.0, 3.0, 8.0}) {
        volume.AddPoint(time, time / 4.0, Interpolation::Linear);
    }

    volume.AddPoint(1.0, 0.75, Interpolation::Hold);  // replaces the keyframe at 1 s
    volume.SetPointTime(volume.GetPointIndex(3.0), 2.5);
    volume.SetPointValue(0, 0.1);
    volume.RemoveKeyFramesAfterTime(4.0);
    if (!volume.RemovePoint(7)) {
        std::printf("no keyframe 7\n");
    }

    const std::unique_ptr<core::ParameterIterator> it(volume.GetParameterIterator(false));
    for (it->First(); !it->IsDone(); it->Next()) {
        const core::TimeValuePair keyframe = it->Current();
        std::printf("%.2f s  %.3f  type %d\n", keyframe.GetTime(), keyframe.GetValue().AsDouble(),
                    static_cast<int>(keyframe.GetInterpolation()));
    }
}
