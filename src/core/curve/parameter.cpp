#include <core/curve/parameter.h>

#include "core/curve/big_parameter_impl.h"

#include <utility>

namespace core {

Parameter::Parameter() = default;
Parameter::Parameter(ValAny value) : KeyframeHandle(std::move(value)) {}
Parameter::Parameter(double time, ValAny value, KeyframeInterpolationType interpolation,
                     ParameterTypeEnum type)
    : KeyframeHandle(time, std::move(value), interpolation, type) {}
Parameter::Parameter(std::unique_ptr<BigParameterImpl> implementation)
    : KeyframeHandle(std::move(implementation)) {}
Parameter::Parameter(const Parameter& other) = default;
Parameter::Parameter(Parameter&& other) noexcept = default;
Parameter& Parameter::operator=(const Parameter& other) = default;
Parameter& Parameter::operator=(Parameter&& other) noexcept = default;
Parameter::~Parameter() = default;

}  // namespace core
