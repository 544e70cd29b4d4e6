#pragma once

#include <core/curve/keyframe_handle.h>

#include <memory>

namespace core {

/// An animatable value: a clip property that changes over time.
///
/// Owned by its caller, usually through a `std::shared_ptr<Parameter>`; safe to
/// sample and edit from several threads. See `IKeyFrame` for what each call
/// does and `KeyframeHandle` for copying and moving.
///
///     core::Parameter opacity;
///     opacity.AddPoint(0.0, 0.0, core::KeyframeInterpolationType::EaseOutCubic);
///     opacity.AddPoint(1.5, 1.0, core::KeyframeInterpolationType::Hold);
///     double shown = opacity.GetValue(0.4, true).AsDouble();
///
/// A segment is straight where its start is `Linear` and nobody has set its handles by
/// hand; see `KeyframeInterpolationType`.
class CORE_API Parameter : public KeyframeHandle {
public:
    /// A double parameter without keyframes.
    Parameter();
    /// A parameter without keyframes whose constant is `value` and whose type
    /// follows from its kind: bool, int (all integers), double, point or string.
    explicit Parameter(ValAny value);
    /// A parameter of the given type with one keyframe, whose value is its
    /// constant too. Without the keyframe if `time` is not finite.
    Parameter(double time, ValAny value, KeyframeInterpolationType interpolation,
              ParameterTypeEnum type);
    /// Takes over an implementation, which may be null.
    explicit Parameter(std::unique_ptr<BigParameterImpl> implementation);
    Parameter(const Parameter& other);
    Parameter(Parameter&& other) noexcept;
    Parameter& operator=(const Parameter& other);
    Parameter& operator=(Parameter&& other) noexcept;
    ~Parameter() override;
};

}  // namespace core
