#pragma once

#include <core/curve/snapshot.h>
#include <core/export.h>

#include <cstddef>
#include <string>

namespace core {

class SpeedParameter;
class SpeedState;
struct SpeedSnapshotAccess;

/// A freeze of a speed curve, and where it lies on the three axes.
struct FreezeFrame {
    double pointTime = 0.0;   ///< Where it starts on the point axis.
    double duration = 0.0;    ///< Seconds, on the point axis and on the timeline.
    double sourceTime = 0.0;  ///< The instant that it shows, played forward.
    double renderTime = 0.0;  ///< Where it starts on the timeline.
};

/// A speed curve as it was when `SpeedParameter::Snapshot` was called: keyframes, freezes,
/// settings and the reverse flag, an immutable value.
///
/// It answers what the curve answered then, bit for bit, also after the curve has changed
/// or is gone. Any number of threads may ask one snapshot, without a lock: render while
/// somebody drags. What questions work out is shared by the curve, its copies and all
/// snapshots of that moment, and done once. Taking, copying and restoring one costs the same
/// for any number of keyframes. The last one to go frees what only it has kept.
///
///     core::SpeedSnapshot before = speed.Snapshot();
///     speed.AddFreezeFrame(3.0, 2.0);
///     double shown = before.GetSourceTime(4.0);  // as if there was no freeze
///     speed.Restore(before);                     // undo
///
/// Questions about speeds throw `AnyBadAccess` where a keyframe's value is not a number.
class CORE_API SpeedSnapshot {
public:
    /// Of a new `SpeedParameter`.
    SpeedSnapshot();
    SpeedSnapshot(const SpeedSnapshot& other) noexcept;
    SpeedSnapshot& operator=(const SpeedSnapshot& other) noexcept;
    ~SpeedSnapshot();

    /// As the members of `SpeedParameter` with these names.
    double GetSourceTime(double renderTime) const;
    double GetRenderTime(double sourceTime) const;
    double PointTimeToRenderTime(double pointTime) const;
    double RenderTimeToPointTime(double renderTime) const;
    double GetCurrentFPS(double renderTime) const;
    double GetRenderTotalTime() const;
    double GetSourceTotalTime() const noexcept;
    double GetSourceFPS() const noexcept;
    int GetReverse() const noexcept;
    void GetVelocityTimeCurve(double& a, double& b, double& c, double& d, int index) const;
    /// The whole text.
    std::string Serialize() const;

    /// The source times at `count` render times, the same numbers as one by one, to the
    /// caller's array.
    ///
    /// O(1) each for times that ascend slowly, as those of frames do.
    void GetSourceTimes(const double* renderTimes, std::size_t count, double* sourceTimes) const;
    /// The same at start, start + step, start + 2 step, ...
    void GetSourceTimes(double start, double step, std::size_t count, double* sourceTimes) const;

    /// The number of freezes.
    int GetFreezeFramesCount() const noexcept;
    /// The freeze with this index, in order of time; one of zeros outside.
    FreezeFrame GetFreezeFrame(int index) const;
    /// The keyframes and the settings that any parameter has.
    CurveSnapshot Keyframes() const;

    /// A speed curve of its own that is as this one.
    SpeedParameter ToSpeedParameter() const;

    /// Whether both answer every question alike. O(1) where one is a copy of the other; what
    /// they share of the keyframes is not compared.
    friend CORE_API bool operator==(const SpeedSnapshot& a, const SpeedSnapshot& b);
    friend bool operator!=(const SpeedSnapshot& a, const SpeedSnapshot& b) { return !(a == b); }
    /// The render times outside which both show the same source times, but for rounding;
    /// empty where they do everywhere. It may hold more than these; two curves of which one
    /// plays in reverse, or from another length, have nothing in common.
    friend CORE_API TimeRange ChangedBetween(const SpeedSnapshot& a, const SpeedSnapshot& b);

private:
    friend class SpeedParameter;
    friend class SpeedParameterImpl;
    friend struct SpeedSnapshotAccess;
    SpeedSnapshot(SpeedState* owned, int reverseFlag, bool hasReversed) noexcept;
    template <class Time>
    void Sample(const Time& timeOf, std::size_t count, double* sourceTimes) const;

    SpeedState* state;  // counted
    int reverse;
    bool isReverted;  // made by RevertSpeedParameter
};

}  // namespace core
