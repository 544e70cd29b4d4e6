#pragma once

// Parts of a clip's speeds, as they are played.

#include "core/curve/area.h"
#include "core/curve/curve.h"
#include "core/curve/segment.h"
#include "core/speed/map_block.h"

#include <array>
#include <cstddef>
#include <limits>

namespace core {

/// A segment of speeds, ready to be sampled.
class PlayedSpeeds {
public:
    explicit PlayedSpeeds(const SpeedSegment& s) noexcept;
    PlayedSpeeds(const PlayedSpeeds&) = delete;
    PlayedSpeeds& operator=(const PlayedSpeeds&) = delete;

    const Segment& Get() const noexcept { return row[0]; }
    double SpeedAt(double t) const noexcept { return SampleSegment(Get(), t); }
    double Shown(double from, double to) const noexcept { return SegmentArea(Get(), from, to); }
    /// Whether both run through the same speeds, but for this part of their size.
    bool IsSame(const PlayedSpeeds& other, double rounding = 0.0) const noexcept;

private:
    SegmentCurve curve{};
    std::array<Segment, 2> row;
};

/// A segment of a clip's speeds, and what of it is played; times are those of its own clip.
struct PlayedStretch {
    SpeedSegment speeds;
    double from;         ///< render time, freezes not counted
    double to;           ///< the same
    double sourceStart;  ///< source time of the keyframe that starts the segment
    double sourceEnd;    ///< the same of the one that ends it
    /// Where that keyframe is kept; null for a stretch that was made.
    const Curve* curve;
    std::size_t keyframe;
    /// What its clip has shown where the source time of the row is 0; NaN where that is open.
    double sourceBefore = std::numeric_limits<double>::quiet_NaN();

    bool IsWhole() const noexcept { return from == speeds.t0 && to == speeds.t1; }
    bool IsHeld() const noexcept { return speeds.type0 == KeyframeInterpolationType::Hold; }
    /// Whether nothing of the source passes in it.
    bool IsStill() const noexcept;
    /// Whether the speed is held, or runs straight from the start's to the end's.
    bool IsStraight() const noexcept;
    double SpeedAt(double t) const noexcept;
    double Shown() const noexcept;
    bool LeadsTo(const PlayedStretch& next) const noexcept;
};

}  // namespace core
