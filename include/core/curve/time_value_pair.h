#pragma once

#include <core/curve/interpolation.h>
#include <core/curve/val_any.h>

#include <utility>

namespace core {

/// One keyframe: a time, a value, the interpolation of the segment that starts
/// here, and the incoming (left) and outgoing (right) handle.
///
/// What a handle's X and Y mean follows from the interpolation type. A plain
/// value: no locking, one thread at a time; copying clones the value.
class TimeValuePair {
public:
    /// Time 0, integer zero, `Extrapolate`, handles 0.
    TimeValuePair() = default;
    /// Handles 0. `time` is in seconds, or in 100-nanosecond ticks from
    /// 166666.67 on.
    TimeValuePair(double atTime, ValAny newValue, KeyframeInterpolationType type)
        : time(atTime), value(std::move(newValue)), interpolation(type) {}

    /// In seconds, or in ticks.
    double GetTime() const noexcept { return time; }
    void SetTime(double newTime) noexcept { time = newTime; }

    /// A copy of the value.
    ValAny GetValue() const { return value; }
    /// The value without a copy; the reference lives until the keyframe changes.
    const ValAny& PeekValue() const noexcept { return value; }
    /// Replaces the value; handles stay.
    void SetValue(ValAny newValue) noexcept { value = std::move(newValue); }

    /// The type of the segment that starts here.
    KeyframeInterpolationType GetInterpolation() const noexcept { return interpolation; }
    void SetInterpolation(KeyframeInterpolationType type) noexcept { interpolation = type; }

    /// X of the incoming handle.
    double GetLeftDerivative() const noexcept { return leftX; }
    void SetLeftDerivative(double x) noexcept { leftX = x; }
    /// X of the outgoing handle.
    double GetRightDerivative() const noexcept { return rightX; }
    void SetRightDerivative(double x) noexcept { rightX = x; }

    /// The incoming handle.
    void GetLeftDerivativeEx(double& x, double& y) const noexcept {
        x = leftX;
        y = leftY;
    }
    void SetLeftDerivativeEx(double x, double y) noexcept {
        leftX = x;
        leftY = y;
    }
    /// The outgoing handle.
    void GetRightDerivativeEx(double& x, double& y) const noexcept {
        x = rightX;
        y = rightY;
    }
    void SetRightDerivativeEx(double x, double y) noexcept {
        rightX = x;
        rightY = y;
    }

private:
    double time = 0.0;
    ValAny value;
    KeyframeInterpolationType interpolation = KeyframeInterpolationType::Extrapolate;
    double leftX = 0.0;
    double leftY = 0.0;
    double rightX = 0.0;
    double rightY = 0.0;
};

}  // namespace core
