#pragma once

#include <core/curve/keyframe_handle.h>

#include <memory>

namespace core {

/// The second public handle over the same implementation: constructors and
/// calls are those of `Parameter`.
class CORE_API BigKeyframe : public KeyframeHandle {
public:
    BigKeyframe();
    /// Without keyframes; `value` is the constant and tells the type.
    explicit BigKeyframe(ValAny value);
    /// With one keyframe, unless `time` is not finite.
    BigKeyframe(double time, ValAny value, KeyframeInterpolationType interpolation,
                ParameterTypeEnum type);
    BigKeyframe(const BigKeyframe& other);
    BigKeyframe(BigKeyframe&& other) noexcept;
    BigKeyframe& operator=(const BigKeyframe& other);
    BigKeyframe& operator=(BigKeyframe&& other) noexcept;
    ~BigKeyframe() override;

protected:
    /// Takes over an implementation, which may be null.
    explicit BigKeyframe(std::unique_ptr<BigParameterImpl> implementation);
};

}  // namespace core
