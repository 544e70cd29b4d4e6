#pragma once

// Stretches of clips in a row, and the speed curve that plays them one after the other.

#include "core/foundation/shared.h"
#include "core/speed/speed_state.h"
#include "core/speed/stretch.h"

#include <core/speed/snapshot.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace core {

/// Why stretches can't be one clip, for people.
class NoClip : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The first and the last moment of a stretch of a clip, freezes not counted.
struct MapRange {
    double from;
    double to;
};

class ClipRow {
public:
    /// The row refers to the clips that it plays, which outlive it.
    ClipRow() = default;

    /// Adds what a clip plays between two render times. Throws `NoClip` where they are not in
    /// it, or its keyframes don't follow each other on the timeline.
    MapRange Add(const SpeedState& clip, double from, double to);
    /// Adds the source that a clip plays between two render times, and its freezes, at one speed.
    void AddAtSpeed(const SpeedState& clip, double from, double to, double speed);
    /// Makes one of two stretches that meet here and run straight through it.
    void MergeAt(std::size_t index);
    std::size_t Count() const noexcept { return stretches.size(); }

    /// The curve, with the settings of `settings`. Throws `NoClip`.
    Shared<SpeedState> Make(const SpeedState& settings) const;
    /// The source time that a clip's curve runs through at a render time without freezes,
    /// where it may jump.
    static double RunningSource(const SpeedState& clip, double mapTime);

private:
    struct PlayedFreeze {
        std::size_t before;  // the stretch that it comes before
        double duration;
        bool keepsKeyframe;
    };
    void AddFreeze(double seconds, bool keepsKeyframe);
    void AddHeld(double speed, double source);
    void AddPart(const PlayedStretch& stretch);
    std::vector<bool> FindKept() const;
    bool StaysSame(std::size_t index, const std::vector<bool>& kept) const;
    double StartSpeed(std::size_t index, bool isKept) const noexcept;

    std::vector<PlayedStretch> stretches;
    std::vector<PlayedFreeze> freezes;
    // Where the curve begins; above 0 where a whole clip does.
    double sourceStart = 0.0;
    double restSpeed = 1.0;  // of a row without stretches
};

}  // namespace core
