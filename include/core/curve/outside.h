#pragma once

#include <core/curve/snapshot.h>
#include <core/curve/val_any.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>

namespace core {

/// How a curve goes on beyond its keyframes.
enum class OutsideRule : std::uint8_t {
    /// It stays at the value of the first or last keyframe, as `GetValue` has it.
    Hold,
    /// A straight line with the slope at that keyframe; held where the slope is upright.
    Linear,
    /// The same again and again: f(t + d) = f(t), d the time from the first keyframe to the
    /// last. At the last keyframe's time it begins anew.
    Loop,
    /// Backwards and forwards in turn: f mirrors at every end.
    PingPong,
    /// As `Loop`, and each time the whole rise from the first to the last keyframe higher:
    /// f(t + d) = f(t) + f's rise.
    LoopWithOffset,
};

/// What lies before the first and behind the last keyframe.
struct OutsideRules {
    OutsideRule before = OutsideRule::Hold;  ///< Before the first.
    OutsideRule after = OutsideRule::Hold;   ///< Behind the last.
};

/// A snapshot that goes on beyond its keyframes. Nothing of it is stored.
///
///     core::OutsideRules rules;
///     rules.after = core::OutsideRule::Loop;
///     const core::ExtendedCurve wheel(angle.Snapshot(), rules);
///     double shown = wheel.GetValue(1000.0, false).AsDouble();
///
/// Between the keyframes, for a curve of fewer than two keyframes and at times that are not
/// finite it answers what the snapshot answers. An immutable value; any number of threads may
/// ask one, fastest with a copy for each thread.
class CORE_API ExtendedCurve {
public:
    /// O(log n).
    ExtendedCurve(const CurveSnapshot& curve, OutsideRules rules);
    ExtendedCurve(const ExtendedCurve& other) noexcept;
    ExtendedCurve& operator=(const ExtendedCurve& other) noexcept;
    ~ExtendedCurve();

    /// As `CurveSnapshot::GetValue`. Lines and offsets are added before the base ratio, the
    /// cut to integers and the range; booleans and texts have neither and are held or
    /// repeated. A path goes on with its velocity and rises by a vector.
    ValAny GetValue(double time, bool clampToRange) const;
    /// As `CurveSnapshot::GetValues`.
    void GetValues(const double* times, std::size_t count, bool clampToRange, double* values) const;
    void GetValues(const double* times, std::size_t count, bool clampToRange, Pointd* values) const;
    /// As `IKeyFrame::GetAreaFromTo`, of the extended curve. The same cost for any time.
    double GetAreaFromTo(double from, double to) const;

private:
    double AreaUpTo(double time) const;
    double CycleArea() const;

    CurveSnapshot snapshot;
    OutsideRules rules;
    // The keyframes' first and last time; where there is no time between them, only held.
    double first = 0.0;
    double last = 0.0;
    // Where lines start and how they rise, in x alone for numbers; before the base ratio.
    Pointd firstValue;
    Pointd lastValue;
    Pointd firstSlope;
    Pointd lastSlope;
};

}  // namespace core
