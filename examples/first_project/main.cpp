// A title slides and fades through a line of the terminal, in time; a file has its curve,
// others a clip that is cut in two, and what was logged.

#include <core/core.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

namespace {

// The line with the title at a column; the fainter, the more of its letters are dots.
std::string Line(int column, double opacity) {
    constexpr int kColumns = 60;
    const std::string title = "FIRST LIGHT";
    std::string line(kColumns, ' ');
    const auto shown = static_cast<int>(opacity * static_cast<double>(title.size()) + 0.5);
    for (int i = 0; i < static_cast<int>(title.size()); ++i) {
        const int at = column + i;
        if (at >= 0 && at < kColumns && title[i] != ' ') {
            line[at] = i < shown ? title[i] : '.';
        }
    }
    return line;
}

bool Save(const char* path, const std::string& text) {
    const auto saved = core::SaveFile(path, text);
    if (!saved) {
        std::fprintf(stderr, "%s\n", saved.reason.c_str());
    }
    return bool(saved);
}

}  // namespace

int main() {
    using Interpolation = core::KeyframeInterpolationType;

    // What is logged goes to the folder log: three files of a megabyte at most.
    CoreLogSetLogSinkByModule("first", CORE_LOG_FILE);
    CoreLogSetLogLevelByModule("first", CORE_LOG_INFO);
    CoreLogSetFilePath("first", "log", 1 << 20, 3);

    core::Parameter column;  // times are seconds
    column.AddPoint(0.0, -11.0, Interpolation::EaseOutBack);
    column.AddPoint(1.0, 24.0, Interpolation::Hold);
    column.AddPoint(2.0, 24.0, Interpolation::EaseInCubic);
    column.AddPoint(3.0, 60.0, Interpolation::Hold);

    core::Parameter opacity;
    opacity.SetValueRange(0.0, 1.0);
    opacity.AddPoint(0.0, 0.0, Interpolation::Linear);
    opacity.AddPoint(1.0, 1.0, Interpolation::Hold);
    opacity.AddPoint(2.5, 1.0, Interpolation::Linear);
    opacity.AddPoint(3.0, 0.0, Interpolation::Hold);

    if (!Save("column.json", column.Serialize())) {
        return 1;
    }

    // 10 s of material, from 7 s on four times as fast, with a picture held for a second.
    core::SpeedParameter clip;
    clip.SetSourceTotalTime(10.0);
    clip.AddPoint(2.0, 1.0, Interpolation::Linear);
    clip.AddPoint(7.0, 4.0, Interpolation::Hold);
    clip.AddFreezeFrame(1.0, 1.0);

    // Cut in the ramp: two clips, which show what the whole shows.
    const core::ClipParts cut = core::CutClip(clip.Snapshot(), 4.0);
    if (!cut || !Save("clip.json", clip.Serialize()) ||
        !Save("clip_1.json", cut.first.speed.Serialize()) ||
        !Save("clip_2.json", cut.second.speed.Serialize())) {
        return 1;
    }

    constexpr int kFramesPerSecond = 25;
    const auto start = std::chrono::steady_clock::now();
    for (int frame = 0; frame <= 3 * kFramesPerSecond; ++frame) {
        const double time = static_cast<double>(frame) / kFramesPerSecond;
        std::this_thread::sleep_until(start + std::chrono::duration<double>(time));
        const double at = column.GetValue(time, false).AsDouble();
        const double shown = opacity.GetValue(time, true).AsDouble();
        std::printf("\r%s", Line(static_cast<int>(at), shown).c_str());
        std::fflush(stdout);
        if (frame % kFramesPerSecond == 0) {
            CoreLogPrintLog("first", CORE_LOG_INFO, "frame", nullptr, nullptr, -1,
                            "%d: column %.1f, opacity %.2f", frame, at, shown);
        }
    }
    std::printf("\n");
}
