#pragma once

// The middle layer of a speed curve: the freezes, and where they lie around the time map.

#include "core/foundation/shared.h"
#include "core/speed/time_map.h"

#include <core/curve/time_unit.h>

#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace core {

/// Render time that shows one source instant.
struct Freeze {
    double key;  ///< where it starts on the point axis
    double duration;
    double sourceTime;
    /// Whether its keyframe was there before it; of those that were loaded nobody knows.
    bool keepsKeyframe = false;
};

/// The freezes of a speed curve, in order. They never overlap. No lock.
///
/// Kept by their point time and source instant; where they lie on the render axis
/// follows from the time map: see `PlacedFreezes`.
class SpeedParameterFreezeImpl : public Counted {
public:
    /// Within this far of its edges a time belongs to a freeze; a duration below it
    /// makes none. The tolerance at which keyframes match, because a freeze begins
    /// at one.
    static constexpr double kTolerance = kTimeTolerance;
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// In order of their keys.
    std::span<const Freeze> Freezes() const noexcept { return freezes; }
    double TotalDuration() const noexcept { return durationBefore.back(); }
    /// What the freezes before this one take, or all of them.
    double DurationBefore(std::size_t index) const noexcept { return durationBefore[index]; }

    /// Where a time lies among the freezes: in one, or in none (`kNone`), behind those
    /// that take `shift` seconds. In one, `shift` is what those before it take.
    struct Place {
        std::size_t freeze;
        double shift;
        bool IsFrozen() const noexcept { return freeze != kNone; }
    };
    /// O(log n).
    Place AtPoint(double pointTime) const noexcept { return Find(keys, pointTime, true); }
    Place AtSource(double sourceTime) const noexcept {
        return Find(sourceTimes, sourceTime, false);
    }
    /// The same on an axis where they start here, and have a length or not.
    Place Find(std::span<const double> starts, double x, bool hasLength) const noexcept;

    /// Takes freezes that are in order, with their places on the point axis.
    void Assign(std::vector<Freeze> inOrder);
    /// Makes room for one more freeze; the next insertion does not throw.
    void ReserveOneMore();
    /// Puts a freeze at a point that lies in none; those behind it move by
    /// `duration` on the point axis. There must be room.
    void Insert(const Freeze& freeze) noexcept;
    /// Those behind it move up.
    void Remove(std::size_t index) noexcept;
    /// Changes the duration of the freeze with this index; those behind it move with
    /// its end on the point axis.
    void SetDuration(std::size_t index, double duration) noexcept;

private:
    void ShiftKeys(std::size_t from, double delta) noexcept;
    void SumDurations(std::size_t from) noexcept;

    std::vector<Freeze> freezes;
    // From the freezes, close together for the searches.
    std::vector<double> keys;
    std::vector<double> sourceTimes;
    std::vector<double> durationBefore = {0.0};  // sums; the last one is that of all
};

/// The freezes around a time map: each starts when the map reaches its source time, but
/// none before the one before it has ended. Immutable.
class PlacedFreezes {
public:
    /// Refers to both, which stay what they are as long as this is. O(f log n).
    PlacedFreezes(const SpeedParameterFreezeImpl& freezes, const TimeMap& map);

    const SpeedParameterFreezeImpl& List() const noexcept { return list; }
    const TimeMap& Map() const noexcept { return map; }
    double RenderStart(std::size_t index) const noexcept { return renderStarts[index]; }
    /// The time in the map at which a freeze stands.
    double MapTime(std::size_t index) const noexcept { return mapTimes[index]; }

    using Place = SpeedParameterFreezeImpl::Place;
    Place AtRender(double renderTime) const noexcept;

    /// Where a source time was found, for times that lie near.
    struct Found {
        TimeMap::Found inMap;
        // Between two freezes, behind `shift`.
        double from = std::numeric_limits<double>::infinity();
        double to = -std::numeric_limits<double>::infinity();
        double shift = 0.0;
    };
    /// The questions of the time map with freezes counted. O(log n).
    double SourceOfRender(double renderTime) const noexcept;
    double SourceOfRender(double renderTime, Found& last) const noexcept {
        return Holds(last, renderTime) ? map.SourceOfRender(renderTime - last.shift, last.inMap)
                                       : FindSource(renderTime, last);
    }
    /// Whether no freeze begins or ends between a time and the one that was found.
    static bool Holds(const Found& last, double renderTime) noexcept {
        constexpr double kTolerance = SpeedParameterFreezeImpl::kTolerance;
        return renderTime - last.from >= kTolerance && last.to - renderTime >= kTolerance;
    }
    double RenderOfSource(double sourceTime) const;
    double PointOfRender(double renderTime) const noexcept;
    double RenderOfPoint(double pointTime) const;
    double SpeedAt(double renderTime) const noexcept;
    double RenderLength() const noexcept { return map.RenderLength() + list.TotalDuration(); }

private:
    double FindSource(double renderTime, Found& found) const noexcept;

    const SpeedParameterFreezeImpl& list;
    const TimeMap& map;
    std::vector<double> mapTimes;
    std::vector<double> renderStarts;
};

}  // namespace core
