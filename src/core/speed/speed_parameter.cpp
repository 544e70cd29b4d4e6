#include <core/speed/speed_parameter.h>

#include "core/speed/SpeedParameterImpl.h"

#include <core/curve/parameter_iterator.h>

#include <cmath>
#include <string>
#include <typeinfo>
#include <utility>

namespace core {

SpeedParameter::SpeedParameter() : Parameter(std::make_unique<SpeedParameterImpl>()) {}

SpeedParameter::SpeedParameter(ValAny value)
    : Parameter(std::make_unique<SpeedParameterImpl>(std::move(value))) {}

SpeedParameter::SpeedParameter(std::unique_ptr<SpeedParameterImpl> implementation)
    : Parameter(std::move(implementation)) {}

// A plain parameter's implementation is copied as what it is.
SpeedParameter::SpeedParameter(const SpeedParameter& other)
    : Parameter(other.Speed() != nullptr
                    ? Parameter(std::make_unique<SpeedParameterImpl>(*other.Speed()))
                    : Parameter(other)) {}

SpeedParameter::SpeedParameter(SpeedParameter&& other) noexcept = default;

// Into the implementation at hand where there is one: other threads may be in it.
SpeedParameter& SpeedParameter::operator=(const SpeedParameter& other) {
    if (Speed() != nullptr && other.Speed() != nullptr) {
        *Speed() = *other.Speed();
    } else if (this != &other) {
        *this = SpeedParameter(other);
    }
    return *this;
}

SpeedParameter& SpeedParameter::operator=(SpeedParameter&& other) noexcept = default;

SpeedParameter::~SpeedParameter() = default;

SpeedParameterImpl* SpeedParameter::Speed() const noexcept {
    // The class is final, so that equal types tell as much as a cast, in less time.
    BigParameterImpl* base = p_impl();
    return base != nullptr && typeid(*base) == typeid(SpeedParameterImpl)
               ? static_cast<SpeedParameterImpl*>(base)
               : nullptr;
}

// The implementation knows what it is.
std::string SpeedParameter::Serialize() {
    return Parameter::Serialize();
}

int SpeedParameter::Desialize(const char* text) {
    return Parameter::Desialize(text);
}

bool SpeedParameter::LoadAsNew(const char* text) {
    SpeedParameter made;
    return made.Desialize(text) == 0 && Restore(made.Snapshot());
}

const char* SpeedParameter::SerializeEx() const {
    return Parameter::SerializeEx();
}

void SpeedParameter::GetVelocityTimeCurve(double& a, double& b, double& c, double& d, int index) {
    a = b = c = d = 0.0;
    if (SpeedParameterImpl* speed = Speed()) {
        speed->GetVelocityTimeCurve(a, b, c, d, index);
    }
}

int SpeedParameter::GetKeyFramesCountEx() {
    return Speed() != nullptr ? Speed()->GetKeyFramesCountEx() : 0;
}

bool SpeedParameter::SetFreezeFrameDuration(int index, double duration) {
    return Speed() != nullptr && Speed()->SetFreezeFrameDuration(index, duration);
}

bool SpeedParameter::AddFreezeFrame(double pointTime, double duration) {
    return Speed() != nullptr && Speed()->AddFreezeFrame(pointTime, duration);
}

int SpeedParameter::GetFreezeFramesCount() const {
    return Speed() != nullptr ? Speed()->Snapshot().GetFreezeFramesCount() : 0;
}

FreezeFrame SpeedParameter::GetFreezeFrame(int index) const {
    return Speed() != nullptr ? Speed()->Snapshot().GetFreezeFrame(index) : FreezeFrame();
}

bool SpeedParameter::RemoveFreezeFrame(int index) {
    return Speed() != nullptr && Speed()->RemoveFreezeFrame(index);
}

bool SpeedParameter::MoveFreezeFrame(int index, double pointTime) {
    return Speed() != nullptr && Speed()->MoveFreezeFrame(index, pointTime);
}

double SpeedParameter::GetCurrentFPS(double renderTime) const {
    const SpeedParameterImpl* speed = Speed();
    return speed != nullptr ? speed->GetCurrentFPS(renderTime) : 0.0;
}

double SpeedParameter::GetSourceTime(double renderTime) const {
    const SpeedParameterImpl* speed = Speed();
    return speed != nullptr ? speed->GetSourceTime(renderTime) : renderTime;
}

double SpeedParameter::GetRenderTime(double sourceTime) {
    SpeedParameterImpl* speed = Speed();
    return speed != nullptr ? speed->GetRenderTime(sourceTime) : sourceTime;
}

double SpeedParameter::PointTimeToRenderTime(double pointTime) {
    SpeedParameterImpl* speed = Speed();
    return speed != nullptr ? speed->PointTimeToRenderTime(pointTime) : pointTime;
}

double SpeedParameter::RenderTimeToPointTime(double renderTime) const {
    const SpeedParameterImpl* speed = Speed();
    return speed != nullptr ? speed->RenderTimeToPointTime(renderTime) : renderTime;
}

double SpeedParameter::GetRenderTotalTime() {
    return Speed() != nullptr ? Speed()->GetRenderTotalTime() : 0.0;
}

double SpeedParameter::GetSourceTotalTime() const {
    return Speed() != nullptr ? Speed()->GetSourceTotalTime() : 0.0;
}

void SpeedParameter::SetSourceTotalTime(double totalTime) {
    if (SpeedParameterImpl* speed = Speed()) {
        speed->SetSourceTotalTime(totalTime);
    }
}

double SpeedParameter::GetSourceFPS() const {
    return Speed() != nullptr ? Speed()->GetSourceFPS() : 25.0;
}

void SpeedParameter::SetSourceFPS(double fps) {
    if (SpeedParameterImpl* speed = Speed()) {
        speed->SetSourceFPS(fps);
    }
}

int SpeedParameter::GetReverse() const {
    return Speed() != nullptr ? Speed()->GetReverse() : 0;
}

int SpeedParameter::SetReverse(bool reverse) {
    return Speed() != nullptr ? Speed()->SetReverse(reverse) : 0;
}

std::unique_ptr<SpeedParameter> SpeedParameter::RevertSpeedParameter() {
    SpeedParameterImpl* speed = Speed();
    auto implementation = speed != nullptr ? speed->RevertSpeedParameter() : nullptr;
    return std::unique_ptr<SpeedParameter>(new SpeedParameter(std::move(implementation)));
}

std::shared_ptr<Parameter> SpeedParameter::GetParameterInternal() {
    return Speed() != nullptr ? Speed()->GetParameterInternal() : std::make_shared<Parameter>();
}

std::shared_ptr<Parameter> SpeedParameter::GetParameterSource() {
    return Speed() != nullptr ? Speed()->GetParameterSource() : std::make_shared<Parameter>();
}

double SpeedParameter::PrimeX(double x, double a, double b, double c, double d) {
    return ((d * x + c) * x + b) * x + a;
}

double SpeedParameter::SampleX(double x, double a, double b, double c, double d, double e) {
    return (((d * 0.25 * x + c / 3.0) * x + b * 0.5) * x + a) * x + e;
}

double SpeedParameter::SolveX(double x0, double a, double b, double c, double d, double e,
                              double eps) {
    // Kept on purpose: callers' solutions take as many rounds as they need.
    for (double x = x0;;) {
        const double next = x - SampleX(x, a, b, c, d, e) / PrimeX(x, a, b, c, d);
        if (std::fabs(next - x) < eps) {
            return next;
        }
        x = next;
    }
}

// Kept on purpose: both functions take their pointers over; callers link against that.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void ZYLCoreCreateSourceTimeSpeedObj(std::shared_ptr<SpeedParameter> source,
                                     std::shared_ptr<SpeedParameter>& result) {
    if (source == nullptr) {
        return;
    }
    auto curve = std::make_shared<SpeedParameter>();
    curve->SetSourceTotalTime(source->GetSourceTotalTime());
    ParameterIterator it(source.get(), false);
    for (it.First(); !it.IsDone(); it.Next()) {
        const TimeValuePair keyframe = it.Current();
        const double speed = keyframe.GetValue().AsDouble();
        if (std::fabs(speed) >= kNearZeroSpeed) {
            curve->AddPoint(keyframe.GetTime(), speed, keyframe.GetInterpolation());
        }
    }
    curve->GetRenderTotalTime();
    result = std::move(curve);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool ZYLCoreIsNormalSpeed(std::shared_ptr<SpeedParameter> speed) {
    if (speed == nullptr || speed->GetKeyFramesCountEx() < 2) {
        return false;
    }
    ParameterIterator it(speed.get(), false);
    for (it.First(); !it.IsDone(); it.Next()) {
        if (it.Current().GetValue().AsDouble() != 1.0) {
            return false;
        }
    }
    return true;
}

}  // namespace core
