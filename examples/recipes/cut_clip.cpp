// Cuts a clip in two where the picture is frozen, trims one part, and joins the two again.

#include <core/core.h>

#include <cstdio>

namespace {

void Show(const char* what, const core::ClipPart& part) {
    const core::SpeedSnapshot& speed = part.speed;
    std::printf("%-7s %4.2f s of material from %4.2f s, plays %4.2f s, %d keyframes, %d freezes\n",
                what, speed.GetSourceTotalTime(), part.sourceStart, speed.GetRenderTotalTime(),
                speed.Keyframes().GetKeyFramesCount(), speed.GetFreezeFramesCount());
}

}  // namespace

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10.0);
    speed.AddPoint(2.0, 1.0, Interpolation::Linear);
    speed.AddPoint(7.0, 4.0, Interpolation::Hold);
    speed.AddFreezeFrame(3.75, 1.0);  // from 3 s to 4 s of the timeline
    Show("clip", {speed.Snapshot(), 0.0, {}});

    const core::ClipParts cut = core::CutClip(speed.Snapshot(), 3.5);
    if (!cut) {
        std::printf("%s%s\n", cut.first.reason.c_str(), cut.second.reason.c_str());
        return 1;
    }
    Show("first", cut.first);
    Show("second", cut.second);
    // What the second part shows after a second, the clip shows at 4.5 s.
    std::printf("%.4f s, %.4f s\n", cut.second.GetSourceTime(1.0), speed.GetSourceTime(4.5));

    Show("trimmed", core::TrimClip(speed.Snapshot(), 1.0, 4.5));
    Show("joined", core::JoinClips(cut.first, cut.second));

    // A part is a value; this is a curve to be edited.
    core::SpeedParameter made = cut.first.speed.ToSpeedParameter();
    std::printf("the first part plays %.2f s\n", made.GetRenderTotalTime());
}
