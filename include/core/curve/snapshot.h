#pragma once

#include <core/curve/interpolation.h>
#include <core/curve/pointd.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>
#include <core/export.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace core {

class Curve;
class KeyframeHandle;
class Parameter;
struct SnapshotAccess;

/// A stretch of time, from `from` up to but without `to`; either may be infinite.
struct TimeRange {
    double from = 0.0;  ///< Part of it.
    double to = 0.0;    ///< Not part of it.

    /// Whether it holds no time at all.
    bool IsEmpty() const noexcept { return !(from < to); }
};

/// A curve as it was when `KeyframeHandle::Snapshot` was called: an immutable value.
///
/// It answers what the parameter answered then, bit for bit, also after the parameter
/// has changed or is gone. Any number of threads may ask one snapshot, without a lock;
/// fastest with a copy for each thread. It shares its keyframes with the parameter until
/// that is edited, so that taking, copying and restoring one costs the same for any number
/// of keyframes. The last one to go frees what only it has kept.
///
///     core::CurveSnapshot before = opacity.Snapshot();
///     opacity.RemovePoint(1);
///     double shown = before.GetValue(0.4, true).AsDouble();  // as if it was there still
///     opacity.Restore(before);                               // undo
class CORE_API CurveSnapshot {
public:
    /// Of a new `Parameter`.
    CurveSnapshot();
    CurveSnapshot(const CurveSnapshot& other) noexcept;
    CurveSnapshot& operator=(const CurveSnapshot& other) noexcept;
    ~CurveSnapshot();

    /// As `IKeyFrame::GetValue`.
    ValAny GetValue(double time, bool clampToRange) const;
    /// As `IKeyFrame::GetAreaFromTo`.
    double GetAreaFromTo(double from, double to) const;
    /// As `IKeyFrame::SolveTimeBaseArea`.
    double SolveTimeBaseArea(double start, double area) const;
    /// The number of keyframes.
    int GetKeyFramesCount() const noexcept;
    /// The keyframe with this index; a default one outside. O(log n).
    TimeValuePair GetKeyframe(int index) const;
    int GetPointIndex(double time) const noexcept;
    ParameterTypeEnum GetParameterType() const noexcept;
    void GetValueRange(ValAny& min, ValAny& max) const;
    ValAny GetBaseRatio() const;
    /// The text of the keyframes and settings; of a speed curve too, without its own members.
    std::string Serialize() const;

    /// The samples at `count` times, the same numbers as one by one, to the caller's array.
    ///
    /// Fastest for times that ascend. Throws `AnyBadAccess` where a sample is no number
    /// (no point); then the numbers before it are written.
    void GetValues(const double* times, std::size_t count, bool clampToRange, double* values) const;
    void GetValues(const double* times, std::size_t count, bool clampToRange, Pointd* values) const;
    /// The same at start, start + step, start + 2 step, ...
    void GetValues(double start, double step, std::size_t count, bool clampToRange,
                   double* values) const;
    void GetValues(double start, double step, std::size_t count, bool clampToRange,
                   Pointd* values) const;

    /// A parameter of its own with this curve.
    Parameter ToParameter() const;

    /// Whether both answer every question alike. O(1) where one is a copy of the other; what
    /// they share is not compared.
    friend CORE_API bool operator==(const CurveSnapshot& a, const CurveSnapshot& b);
    friend bool operator!=(const CurveSnapshot& a, const CurveSnapshot& b) { return !(a == b); }
    /// The times outside which the two have the same samples; empty where they have them
    /// everywhere. What they share is not compared.
    friend CORE_API TimeRange ChangedBetween(const CurveSnapshot& a, const CurveSnapshot& b);

private:
    friend class KeyframeHandle;
    friend struct SnapshotAccess;
    explicit CurveSnapshot(Curve* owned) noexcept;
    template <class Time, class Value>
    void Sample(const Time& timeOf, std::size_t count, bool clampToRange, Value* values) const;

    Curve* curve;  // counted
    // Where the last sample was found, for the next one.
    mutable std::atomic<const void*> lastSegment;
};

}  // namespace core
