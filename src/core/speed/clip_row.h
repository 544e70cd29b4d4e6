#pragma once

// Stretches of clips in a row, and the speed curve that plays them one after the other.

#include "core/foundation/shared.h"
#include "core/speed/speed_state.h"
#include "core/speed/stretch.h"

#include <core/speed/snapshot.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace core {

/// Why stretches can't be one clip, for people.
class NoClip : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// That freezes would show other pictures.
class OtherPictures : public NoClip {
    using NoClip::NoClip;
};

/// The first and the last moment of a stretch of a clip, freezes not counted.
struct MapRange {
    double from;
    double to;
};

class CurveMaker;

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
    /// The same, with freezes that show what they show in their clips, also behind speeds that
    /// were replaced where those jump. Throws `OtherPictures` where they can't.
    Shared<SpeedState> MakeWithPictures(const SpeedState& settings) const;
    /// The source time that a clip's curve runs through at a render time without freezes,
    /// where it may jump.
    static double RunningSource(const SpeedState& clip, double mapTime);

private:
    struct PlayedFreeze {
        std::size_t before;  // the stretch that it comes before
        double duration;
        bool keepsKeyframe;
        double source;  // what it shows, where the row shows the same; NaN where that is open
    };
    // The least and the most of differences; NaN counts for none.
    struct Spread {
        double least = std::numeric_limits<double>::infinity();
        double most = -std::numeric_limits<double>::infinity();
        void Add(double x) noexcept {
            least = x < least ? x : least;
            most = x > most ? x : most;
        }
        void Add(const Spread& other) noexcept {
            least = other.least < least ? other.least : least;
            most = other.most > most ? other.most : most;
        }
    };
    // How a curve is made of the row.
    struct Making {
        // Whether keyframes are added so that slopes at those beside a cut stay.
        bool keepsSlopes;
        // By how much the keyframes come later in the source than what is shown there.
        double ahead;
    };
    struct Made {
        Shared<SpeedState> state;
        // By how much it shows too early a picture in freezes, and at keyframes that stay.
        Spread inFreezes;
        Spread atKeyframes;
        bool canBeStored = true;
    };
    void AddFreeze(double seconds, bool keepsKeyframe, double source);
    void AddHeld(double speed, double source);
    void AddPart(const PlayedStretch& stretch);
    // Whether a stretch stays what it is; with slopes, where keyframes are added beside it that
    // give it those of the neighbours that are gone.
    enum class Kept : char { No, AsIs, WithSlopes };
    static bool Is(Kept kept) noexcept { return kept != Kept::No; }
    std::vector<Kept> FindKept(Making making) const;
    bool StaysSame(std::size_t index, const std::vector<Kept>& kept, bool withSlopes,
                   bool hasLead) const;
    std::optional<SpeedKey> KeyBefore(std::size_t index) const;
    std::optional<SpeedKey> KeyBehind(std::size_t index) const;
    double PutLead(double ahead, bool startsBetween, CurveMaker& curve) const;
    Made MakeAs(const SpeedState& settings, Making making) const;
    double StartSpeed(std::size_t index, bool isKept) const noexcept;

    std::vector<PlayedStretch> stretches;
    std::vector<PlayedFreeze> freezes;
    // Where the curve begins; above 0 where a whole clip does.
    double sourceStart = 0.0;
    double restSpeed = 1.0;  // of a row without stretches
};

}  // namespace core
