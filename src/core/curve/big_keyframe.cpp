#include <core/curve/big_keyframe.h>

#include "core/curve/big_parameter_impl.h"

#include <utility>

namespace core {

BigKeyframe::BigKeyframe() = default;
BigKeyframe::BigKeyframe(ValAny value) : KeyframeHandle(std::move(value)) {}
BigKeyframe::BigKeyframe(double time, ValAny value, KeyframeInterpolationType interpolation,
                         ParameterTypeEnum type)
    : KeyframeHandle(time, std::move(value), interpolation, type) {}
BigKeyframe::BigKeyframe(std::unique_ptr<BigParameterImpl> implementation)
    : KeyframeHandle(std::move(implementation)) {}
BigKeyframe::BigKeyframe(const BigKeyframe& other) = default;
BigKeyframe::BigKeyframe(BigKeyframe&& other) noexcept = default;
BigKeyframe& BigKeyframe::operator=(const BigKeyframe& other) = default;
BigKeyframe& BigKeyframe::operator=(BigKeyframe&& other) noexcept = default;
BigKeyframe::~BigKeyframe() = default;

}  // namespace core
