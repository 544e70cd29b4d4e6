#pragma once

#include <core/core.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace example {

/// A clip that is played at changing speed.
struct Clip {
    std::string title;
    core::SpeedParameter speed;

    /// Frames of the timeline run at the source's rate.
    double FramesPerSecond() const { return speed.GetSourceFPS(); }
    /// The number of the last frame, counted from 0.
    int LastFrame();
    /// The speed at a render time as it is seen: 0 in a freeze, negative in reverse.
    double SpeedAt(double renderTime);
};

/// Where a picture stands on the timeline.
struct FreezeSpan {
    double start;
    double duration;
};

/// The freezes of a curve in order of time.
std::vector<FreezeSpan> FreezesOf(core::SpeedParameter& speed);

/// Reads a speed curve that was saved as a JSON document; none when the file is not one.
/// Its title is the file's name. Throws `TableError` for one that cannot be shown.
std::optional<Clip> LoadClip(const std::filesystem::path& file);

/// Saves a speed curve as a JSON document. Throws `TableError`.
void SaveClip(Clip& clip, const std::filesystem::path& file);

}  // namespace example
