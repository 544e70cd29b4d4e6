#pragma once

// The middle layer of a speed curve: the freezes, put around the time map.

#include "core/speed/time_map.h"

#include <core/curve/time_unit.h>

#include <cstddef>
#include <span>
#include <vector>

namespace core {

/// Render time that shows one source instant.
struct FreezeFrame {
    double key;  ///< where it starts on the point axis
    double duration;
    double renderStart;
    double sourceTime;
    double mapTime;  ///< render time of the instant in the time map
};

/// The freezes of a speed curve, in order on all three axes. They never overlap.
///
/// Kept by their point time and source instant; where they lie on the render axis
/// follows from the time map, which is to be the same in all calls since
/// `PlaceOnRenderAxis`. No lock.
class SpeedParameterFreezeImpl {
public:
    /// Within this far of its edges a time belongs to a freeze; a duration below it
    /// makes none. The tolerance at which keyframes match, because a freeze begins
    /// at one.
    static constexpr double kTolerance = kTimeTolerance;

    /// In order of their keys.
    std::span<const FreezeFrame> Frames() const noexcept { return frames; }
    double TotalDuration() const noexcept { return durationBefore.back(); }

    /// Where a time lies among the freezes: in one, or in none, behind those that
    /// take `shift` seconds. In one, `shift` is what those before it take.
    struct Place {
        const FreezeFrame* freeze;
        double shift;
    };
    /// O(log n).
    Place AtPoint(double pointTime) const noexcept;
    Place AtRender(double renderTime) const noexcept;
    Place AtSource(double sourceTime) const noexcept;

    /// The three questions of the time map with freezes counted. O(log n).
    double SourceOfRender(const TimeMap& map, double renderTime) const noexcept;
    double RenderOfSource(const TimeMap& map, double sourceTime) const noexcept;
    double PointOfRender(const TimeMap& map, double renderTime) const noexcept;
    double RenderOfPoint(const TimeMap& map, double pointTime) const noexcept;
    double SpeedAt(const TimeMap& map, double renderTime) const noexcept;

    /// Takes freezes that are in order, with their places on the point axis. Then the
    /// render axis is out of date.
    void Assign(std::vector<FreezeFrame> inOrder);

    /// Makes room for one more freeze; the next insertion does not throw.
    void ReserveOneMore();
    /// Puts a freeze at a point that lies in none; those behind it move by
    /// `duration` on the point axis. Then the render axis is out of date. There must be
    /// room.
    void Insert(double pointTime, double duration, double sourceTime) noexcept;
    /// Changes the duration of the freeze with this index; those behind it move with
    /// its end on the point axis. Then the render axis is out of date.
    void SetDuration(std::size_t index, double duration) noexcept;
    /// Lets each freeze start when the map reaches its source time, but none before
    /// the one before it has ended. O(n log n).
    void PlaceOnRenderAxis(const TimeMap& map) noexcept;

private:
    Place Find(std::span<const double> starts, double x, bool hasLength) const noexcept;
    void ShiftKeys(std::size_t from, double delta) noexcept;
    void SumDurations(std::size_t from) noexcept;

    std::vector<FreezeFrame> frames;
    // From the frames, close together for the searches.
    std::vector<double> keys;
    std::vector<double> renderStarts;
    std::vector<double> sourceTimes;
    std::vector<double> durationBefore = {0.0};  // sums; the last one is that of all
};

}  // namespace core
