#include <core/curve/keyframe_handle.h>

#include "core/curve/big_parameter_impl.h"

#include <core/curve/parameter_iterator.h>

#include <utility>

// Thin on purpose: everything but copying, moving and the answers of a handle
// without an implementation is in BigParameterImpl.

namespace core {

IKeyFrame::~IKeyFrame() = default;

KeyframeHandle::KeyframeHandle() : impl(std::make_unique<BigParameterImpl>()) {}

KeyframeHandle::KeyframeHandle(ValAny value)
    : impl(std::make_unique<BigParameterImpl>(std::move(value))) {}

KeyframeHandle::KeyframeHandle(double time, ValAny value, KeyframeInterpolationType interpolation,
                               ParameterTypeEnum type)
    : impl(std::make_unique<BigParameterImpl>(time, std::move(value), interpolation, type)) {}

KeyframeHandle::KeyframeHandle(std::unique_ptr<BigParameterImpl> implementation)
    : impl(std::move(implementation)) {}

KeyframeHandle::KeyframeHandle(const KeyframeHandle& other)
    : IKeyFrame(other),
      impl(other.impl != nullptr ? std::make_unique<BigParameterImpl>(*other.impl) : nullptr) {}

KeyframeHandle::KeyframeHandle(KeyframeHandle&& other) noexcept = default;

// Into the implementation at hand where there is one: other threads may be in it.
KeyframeHandle& KeyframeHandle::operator=(const KeyframeHandle& other) {
    if (impl != nullptr && other.impl != nullptr) {
        *impl = *other.impl;
    } else if (this != &other) {
        impl = other.impl != nullptr ? std::make_unique<BigParameterImpl>(*other.impl) : nullptr;
    }
    return *this;
}

KeyframeHandle& KeyframeHandle::operator=(KeyframeHandle&& other) noexcept = default;

KeyframeHandle::~KeyframeHandle() = default;

ParameterIterator* KeyframeHandle::GetParameterIterator(bool reverse) {
    return new ParameterIterator(this, reverse);
}

ValAny KeyframeHandle::GetValue(double time, bool clampToRange) {
    return impl != nullptr ? impl->GetValue(time, clampToRange) : ValAny();
}

int KeyframeHandle::AddPoint(double time, ValAny value, KeyframeInterpolationType type) {
    return impl != nullptr ? impl->AddPoint(time, std::move(value), type) : -1;
}

void KeyframeHandle::SetValueRange(ValAny min, ValAny max) {
    if (impl != nullptr) {
        impl->SetValueRange(std::move(min), std::move(max));
    }
}

bool KeyframeHandle::RemovePoint(int index) {
    return impl != nullptr ? impl->RemovePoint(index) : false;
}

ValAny KeyframeHandle::GetPointValue(int index) {
    return impl != nullptr ? impl->GetPointValue(index) : ValAny(nullptr);
}

double KeyframeHandle::GetPointTime(int index) const {
    return impl != nullptr ? impl->GetPointTime(index) : 0.0;
}

KeyframeInterpolationType KeyframeHandle::GetInterpolationType(int index) {
    return impl != nullptr ? impl->GetInterpolationType(index)
                           : KeyframeInterpolationType::Extrapolate;
}

bool KeyframeHandle::GetPointControlParam(int index, double& x, double& y) const {
    return impl != nullptr ? impl->GetPointControlParam(index, x, y) : false;
}

bool KeyframeHandle::SetPointValue(int index, ValAny value) {
    return impl != nullptr ? impl->SetPointValue(index, std::move(value)) : false;
}

bool KeyframeHandle::SetPointTime(int index, double time) {
    return impl != nullptr ? impl->SetPointTime(index, time) : false;
}

bool KeyframeHandle::SetPointInterpolationType(int index, KeyframeInterpolationType type) {
    return impl != nullptr ? impl->SetPointInterpolationType(index, type) : false;
}

bool KeyframeHandle::SetPointControlParam(int index, double x, double y) {
    return impl != nullptr ? impl->SetPointControlParam(index, x, y) : false;
}

int KeyframeHandle::GetKeyFramesCount() const {
    return impl != nullptr ? impl->GetKeyFramesCount() : 0;
}

void KeyframeHandle::SetParameterType(ParameterTypeEnum type) {
    if (impl != nullptr) {
        impl->SetParameterType(type);
    }
}

ParameterTypeEnum KeyframeHandle::GetParameterType() {
    return impl != nullptr ? impl->GetParameterType() : ParameterDouble;
}

void KeyframeHandle::GetValueRange(ValAny& min, ValAny& max) const {
    if (impl != nullptr) {
        impl->GetValueRange(min, max);
    } else {
        min = nullptr;
        max = nullptr;
    }
}

std::string KeyframeHandle::Serialize() {
    return impl != nullptr ? impl->Serialize() : std::string();
}

int KeyframeHandle::Desialize(const char* json) {
    return impl != nullptr ? impl->Desialize(json, nullptr) : -1;
}

double KeyframeHandle::GetAreaFromTo(double from, double to, bool flag, double a, double b) const {
    return impl != nullptr ? impl->GetAreaFromTo(from, to, flag, a, b) : 0.0;
}

double KeyframeHandle::SolveTimeBaseArea(double start, double area) const {
    return impl != nullptr ? impl->SolveTimeBaseArea(start, area) : start;
}

void KeyframeHandle::RemoveKeyFramesAfterTime(double time) {
    if (impl != nullptr) {
        impl->RemoveKeyFramesAfterTime(time);
    }
}

int KeyframeHandle::GetNKeyFramesInRange(double from, double to, std::list<double>* times) const {
    return impl != nullptr ? impl->GetNKeyFramesInRange(from, to, times) : 0;
}

int KeyframeHandle::GetPointIndex(double time) const {
    return impl != nullptr ? impl->GetPointIndex(time) : -1;
}

void KeyframeHandle::ClearKeyFrames() {
    if (impl != nullptr) {
        impl->ClearKeyFrames();
    }
}

bool KeyframeHandle::GetPreviousKeyframeTime(double time, TimeValuePair* out) const {
    return impl != nullptr ? impl->GetPreviousKeyframeTime(time, out) : false;
}

const char* KeyframeHandle::SerializeEx() const {
    return impl != nullptr ? impl->SerializeEx() : "";
}

void KeyframeHandle::AddPointEx(double time, ValAny value, KeyframeInterpolationType type) {
    if (impl != nullptr) {
        impl->AddPointEx(time, std::move(value), type);
    }
}

const char* KeyframeHandle::GetHashString() const {
    return impl != nullptr ? impl->GetHashString() : "";
}

bool KeyframeHandle::SetPointControlParamEx(int index, double leftX, double leftY, double rightX,
                                            double rightY) {
    return impl != nullptr ? impl->SetPointControlParamEx(index, leftX, leftY, rightX, rightY)
                           : false;
}

bool KeyframeHandle::GetPointControlParamEx(int index, double& leftX, double& leftY, double& rightX,
                                            double& rightY) const {
    return impl != nullptr ? impl->GetPointControlParamEx(index, leftX, leftY, rightX, rightY)
                           : false;
}

bool KeyframeHandle::SetPointControlLeftParam(int index, double x, double y) {
    return impl != nullptr ? impl->SetPointControlLeftParam(index, x, y) : false;
}

bool KeyframeHandle::SetPointControlRightParam(int index, double x, double y) {
    return impl != nullptr ? impl->SetPointControlRightParam(index, x, y) : false;
}

bool KeyframeHandle::GetPointControlLeftParam(int index, double& x, double& y) const {
    return impl != nullptr ? impl->GetPointControlLeftParam(index, x, y) : false;
}

bool KeyframeHandle::GetPointControlRightParam(int index, double& x, double& y) const {
    return impl != nullptr ? impl->GetPointControlRightParam(index, x, y) : false;
}

bool KeyframeHandle::HasPoint(double time) const {
    return impl != nullptr ? impl->HasPoint(time) : false;
}

bool KeyframeHandle::GetPointControlParamOnCurve(double time, double& a, double& b, double& c,
                                                 double& d, bool flag) const {
    return impl != nullptr ? impl->GetPointControlParamOnCurve(time, a, b, c, d, flag) : false;
}

bool KeyframeHandle::SplitIntoTwoMotionDimension(Parameter& xPart, Parameter& yPart) const {
    return impl != nullptr ? impl->SplitIntoTwoMotionDimension(xPart, yPart) : false;
}

bool KeyframeHandle::TransferAbsoluteParamToRelative(int index, double& startX, double& startY,
                                                     double& endX, double& endY) {
    return impl != nullptr
               ? impl->TransferAbsoluteParamToRelative(index, startX, startY, endX, endY)
               : false;
}

bool KeyframeHandle::TransferRelativeParamToAbsolute(int index, double& startX, double& startY,
                                                     double& endX, double& endY) {
    return impl != nullptr
               ? impl->TransferRelativeParamToAbsolute(index, startX, startY, endX, endY)
               : false;
}

ValAny KeyframeHandle::CORE_SLOT_NAME(GetValue)() {
    return impl != nullptr ? impl->GetValue() : ValAny();
}

void KeyframeHandle::SetBaseRatio(ValAny ratio) {
    if (impl != nullptr) {
        impl->SetBaseRatio(std::move(ratio));
    }
}

ValAny KeyframeHandle::GetBaseRatio() {
    return impl != nullptr ? impl->GetBaseRatio() : ValAny(nullptr);
}

}  // namespace core
