#pragma once

#include <core/curve/keyframe_handle.h>

#include <memory>

namespace core {

/// The second public handle over the same implementation: constructors and
/// calls are those of `Parameter`.
class CORE_API BigKeyframe : public KeyframeHandle {
public:
    BigKeyframe();
    explicit BigKeyframe(ValAny value);
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
