#pragma once

#include <core/core.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace plot {

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

/// Where a picture stands on the timeline, and the point time that it is kept by.
struct FreezeSpan {
    double start;
    double duration;
    double pointTime;
};

/// The freezes of a curve in order of time.
std::vector<FreezeSpan> FreezesOf(core::SpeedParameter& speed);

/// The speed of a curve as it is seen, for many times; the curve stays as it is meanwhile.
class SeenSpeed {
public:
    explicit SeenSpeed(core::SpeedParameter& curve) : speed(curve), freezes(FreezesOf(curve)) {}

    const std::vector<FreezeSpan>& Freezes() const { return freezes; }
    bool IsFrozen(double renderTime) const;
    /// 0 in a freeze, negative in reverse.
    double At(double renderTime) const;

private:
    core::SpeedParameter& speed;
    std::vector<FreezeSpan> freezes;
};

/// Whether a clip can be shown frame by frame: it has a length, neither too long nor of
/// too many frames, and no keyframe beyond the limits of a table.
bool CanBeShown(core::SpeedParameter& speed);

/// Reads a speed curve that was saved as a JSON document; none when the file is not one.
/// Its title is the file's name. Throws `TableError` for one that cannot be shown.
std::optional<Clip> LoadClip(const std::filesystem::path& file);

/// Saves a speed curve as a JSON document. Throws `TableError`.
void SaveClip(Clip& clip, const std::filesystem::path& file);

}  // namespace plot
