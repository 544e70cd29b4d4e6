#pragma once

// A speed curve that is made keyframe by keyframe, of stretches that stay and of speeds in place
// of others.

#include "core/curve/curve.h"
#include "core/foundation/shared.h"
#include "core/speed/clip_row.h"
#include "core/speed/stretch.h"

#include <cmath>
#include <optional>
#include <vector>

namespace core {

// So long before a jump of the speed a ramp ends. Ten times as much would be seen in the sixth
// digit of the source time, a tenth would make segments that are searched one by one.
inline constexpr double kJump = 1e-5;

// So far beside a keyframe that stays lies one that keeps its slope. It has a speed of its own: ten
// times as much would be seen in what is shown, a third would be too near for files.
inline constexpr double kBeside = 3e-6;

/// The curve as it grows.
class CurveMaker {
public:
    explicit CurveMaker(double sourceStart) noexcept : source(sourceStart) {}

    double Source() const noexcept { return source; }
    void Meet(double keyframeSource) noexcept { source = keyframeSource; }
    /// The keyframe that starts the stretch.
    void Keep(const PlayedStretch& s);
    void Put(double speed, KeyframeInterpolationType type);
    void Run(double speed, KeyframeInterpolationType type, double shown);
    /// Throws `NoClip` where two keyframes would be one.
    Shared<Curve> Finish(const Curve& settings);

private:
    struct MadeKey {
        double source;
        TimeValuePair keyframe;
        HandSet sides;
    };

    double source;
    std::vector<MadeKey> keys;
    std::vector<HandSet> handSets;
    const Curve* handSetsOf = nullptr;
};

/// Speeds in place of a stretch's own, as near as they can be: `Hold` and `Linear` ones.
class StretchMaker {
public:
    StretchMaker(const PlayedStretch& replaced, CurveMaker& grows) noexcept
        : played(replaced.speeds), s(replaced), curve(grows), from(s.from), to(s.to) {}

    /// Whether it is long enough to begin and to end with keyframes for others; one at an end of
    /// the clip may be there for nothing else.
    static bool HasRoom(const PlayedStretch& replaced, bool isAtEnd) noexcept {
        const double length = replaced.to - replaced.from;
        return !replaced.IsStill() && (length > 100.0 * kJump || (isAtEnd && IsBeside(length)));
    }
    /// It has been played at this speed so far, from its start on.
    void BeginAt(double speed, double seconds) noexcept;
    /// The keyframe that starts it stays, and leads to this one.
    void BeginWith(const SpeedKey& key);
    /// It leads to this one, before the keyframe that it ends at, which stays.
    void EndWith(const SpeedKey& key);
    /// Its speed jumps at its end, and it ends before.
    void EndWithJump() noexcept;
    /// Runs through all of it, and answers the last speed. Keyframes in between may lie where
    /// frames hardly do. Throws `NoClip` where it runs backwards.
    double Run(bool offFrames);

private:
    static bool IsBeside(double length) noexcept { return length < 1.5 * kBeside; }
    double SpeedAt(double t) const noexcept;
    void ShowAhead(double more) noexcept {
        ahead += more;
        besides += std::fabs(more);
    }
    void CatchUp();
    void RunPieces(double startSpeed, double endSpeed);

    PlayedSpeeds played;
    const PlayedStretch& s;
    CurveMaker& curve;
    double from;
    double to;
    double ahead = 0.0;    // what has been shown too much, and will be behind `to`
    double besides = 0.0;  // its parts, each without its sign
    double jump = 0.0;
    std::optional<SpeedKey> last;
    bool isDone = false;
};

}  // namespace core
