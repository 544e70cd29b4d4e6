#include "core/curve/big_parameter_impl.h"

#include "core/curve/loaded_handles.h"
#include "core/curve/numbers.h"

#include <algorithm>
#include <cmath>
#include <utility>

// Construction, settings and queries. Sampling and areas are in
// big_parameter_sampling.cpp, edits in big_parameter_editing.cpp, handles and motion
// paths in big_parameter_motion.cpp, texts in big_parameter_serialisation.cpp.

namespace core {
namespace {

ParameterTypeEnum TypeOfKind(const ValAny& value) noexcept {
    switch (value.Kind()) {
        case ValAny::kBool:
            return ParameterBool;
        case ValAny::kInt:
        case ValAny::kUnsigned:
        case ValAny::kInt64:
        case ValAny::kUnsigned64:
            return ParameterInt;
        case ValAny::kPoint:
            return ParameterPoint;
        case ValAny::kString:
            return ParameterString;
        default:
            return ParameterDouble;
    }
}

}  // namespace

BigParameterImpl::BigParameterImpl() = default;

BigParameterImpl::BigParameterImpl(ValAny value) {
    state.type = TypeOfKind(value);
    state.constant = std::move(value);
    state.ResetRange();
    UpdateSampling();
}

BigParameterImpl::BigParameterImpl(double time, ValAny value,
                                   KeyframeInterpolationType interpolation,
                                   ParameterTypeEnum type) {
    state.type = type;
    state.constant = value;
    state.ResetRange();
    UpdateSampling();
    BigParameterImpl::AddPoint(time, std::move(value), interpolation);
}

BigParameterImpl::BigParameterImpl(ParameterTypeEnum type, ValAny constant,
                                   std::vector<TimeValuePair> keyframes) {
    state.type = type;
    state.constant = std::move(constant);
    LoadedHandles handles = RecogniseHandles(keyframes, type);
    state.keyframes.Assign(std::move(keyframes), std::move(handles.sides));
    state.ResetRange();
    UpdateSampling();
}

BigParameterImpl::BigParameterImpl(const BigParameterImpl& other) : state(other.Snapshot()) {
    UpdateSampling();
}

BigParameterImpl& BigParameterImpl::operator=(const BigParameterImpl& other) {
    if (this == &other) {
        return *this;
    }
    State copy = other.Snapshot();
    const RecursiveLock lock(mutex);
    Take(copy);
    return *this;
}

BigParameterImpl::BigParameterImpl(const BigParameterImpl& other,
                                   SettingsOnly) CORE_NO_THREAD_SAFETY_ANALYSIS {
    static_cast<ParameterSettings&>(state) = other.state;
    state.constant = other.state.constant;
    state.maintainsPathHandles = other.state.maintainsPathHandles;
    UpdateSampling();
}

void BigParameterImpl::TakeCurve(BigParameterImpl& made) CORE_NO_THREAD_SAFETY_ANALYSIS {
    const RecursiveLock lock(mutex);
    Take(made.state);
}

void BigParameterImpl::Take(State& made) {
    std::swap(state, made);
    prepared = PreparedCurve();
    UpdateSampling();
    Edited(0, state.keyframes.Count());
}

BigParameterImpl::~BigParameterImpl() = default;

BigParameterImpl::State BigParameterImpl::Snapshot() const {
    const RecursiveLock lock(mutex);
    return state;
}

void BigParameterImpl::OnEdited() {}

void BigParameterImpl::UpdateSampling() {
    sampling = Sampling{};
    if (state.baseRatio.IsNumber()) {
        sampling.ratio = state.baseRatio.AsDouble();
        sampling.integerRatio = state.baseRatio.AsInt();
    }
    sampling.isPlainDouble = state.type == ParameterDouble && sampling.ratio == 1.0;
    if (state.HasNoRange()) {
        return;
    }
    const ValAny& min = state.minVal;
    const ValAny& max = state.maxVal;
    if (state.type == ParameterBool) {
        if (min.Kind() == ValAny::kBool && max.Kind() == ValAny::kBool) {
            sampling.clamp = Sampling::Clamp::Bool;
            sampling.min = min.AsBool() ? 1.0 : 0.0;
            sampling.max = max.AsBool() ? 1.0 : 0.0;
        }
    } else if (min.IsNumber() && max.IsNumber()) {
        if (state.type == ParameterInt) {
            sampling.clamp = Sampling::Clamp::Int;
            sampling.min = min.AsInt();
            sampling.max = max.AsInt();
        } else if (state.type == ParameterDouble) {
            sampling.clamp = Sampling::Clamp::Double;
            sampling.min = min.AsDouble();
            sampling.max = max.AsDouble();
        }
    }
}

void BigParameterImpl::SetValueRange(ValAny min, ValAny max) {
    const RecursiveLock lock(mutex);
    std::swap(state.minVal, min);
    std::swap(state.maxVal, max);
    UpdateSampling();
    OnEdited();
}

void BigParameterImpl::GetValueRange(ValAny& min, ValAny& max) const {
    const RecursiveLock lock(mutex);
    ValAny low = state.minVal;
    ValAny high = state.maxVal;
    min = std::move(low);
    max = std::move(high);
}

void BigParameterImpl::SetParameterType(ParameterTypeEnum type) {
    const RecursiveLock lock(mutex);
    const bool hadNoRange = state.HasNoRange();
    state.type = type;
    if (hadNoRange) {
        state.ResetRange();
    }
    UpdateSampling();
    prepared.MarkAllStale();
    areasAreValid = false;
    digestIsValid = false;
    OnEdited();
}

ParameterTypeEnum BigParameterImpl::GetParameterType() {
    const RecursiveLock lock(mutex);
    return state.type;
}

void BigParameterImpl::SetBaseRatio(ValAny ratio) {
    const RecursiveLock lock(mutex);
    std::swap(state.baseRatio, ratio);
    UpdateSampling();
    OnEdited();
}

ValAny BigParameterImpl::GetBaseRatio() {
    const RecursiveLock lock(mutex);
    return state.baseRatio;
}

ValAny BigParameterImpl::GetValue() {
    const RecursiveLock lock(mutex);
    return state.constant;
}

int BigParameterImpl::GetKeyFramesCount() const {
    const RecursiveLock lock(mutex);
    return static_cast<int>(state.keyframes.Count());
}

ValAny BigParameterImpl::GetPointValue(int index) {
    const RecursiveLock lock(mutex);
    return IsValid(index) ? state.keyframes[static_cast<std::size_t>(index)].PeekValue()
                          : ValAny(nullptr);
}

double BigParameterImpl::GetPointTime(int index) const {
    const RecursiveLock lock(mutex);
    return IsValid(index) ? state.keyframes.TimeOf(static_cast<std::size_t>(index)) : 0.0;
}

KeyframeInterpolationType BigParameterImpl::GetInterpolationType(int index) {
    const RecursiveLock lock(mutex);
    return IsValid(index) ? state.keyframes[static_cast<std::size_t>(index)].GetInterpolation()
                          : KeyframeInterpolationType::Extrapolate;
}

bool BigParameterImpl::GetPointControlParam(int index, double& x, double& y) const {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    const TimeValuePair& keyframe = state.keyframes[static_cast<std::size_t>(index)];
    x = keyframe.GetLeftDerivative();
    y = keyframe.GetRightDerivative();
    return true;
}

bool BigParameterImpl::GetPointControlLeftParam(int index, double& x, double& y) const {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    state.keyframes[static_cast<std::size_t>(index)].GetLeftDerivativeEx(x, y);
    return true;
}

bool BigParameterImpl::GetPointControlRightParam(int index, double& x, double& y) const {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    state.keyframes[static_cast<std::size_t>(index)].GetRightDerivativeEx(x, y);
    return true;
}

bool BigParameterImpl::GetPointControlParamEx(int index, double& leftX, double& leftY,
                                              double& rightX, double& rightY) const {
    const RecursiveLock lock(mutex);
    return GetPointControlLeftParam(index, leftX, leftY) &&
           GetPointControlRightParam(index, rightX, rightY);
}

int BigParameterImpl::GetPointIndex(double time) const {
    const RecursiveLock lock(mutex);
    const std::size_t index = state.keyframes.Find(time);
    return index == KeyframeStore::kNone ? -1 : static_cast<int>(index);
}

bool BigParameterImpl::HasPoint(double time) const {
    return GetPointIndex(time) >= 0;
}

int BigParameterImpl::GetNKeyFramesInRange(double from, double to, std::list<double>* times) const {
    const RecursiveLock lock(mutex);
    if (std::isnan(from)) {
        return 0;
    }
    const std::span<const double> all = state.keyframes.Times();
    const auto first = std::lower_bound(all.begin(), all.end(), from);
    // Kept on purpose: the first keyframe beyond `to` counts too.
    auto last = std::find_if(first, all.end(), [to](double time) { return time > to; });
    if (last != all.end()) {
        ++last;
    }
    if (times != nullptr) {
        times->insert(times->end(), first, last);
    }
    return static_cast<int>(last - first);
}

bool BigParameterImpl::GetPreviousKeyframeTime(double time, TimeValuePair* out) const {
    const RecursiveLock lock(mutex);
    std::size_t before = state.keyframes.UpperBound(time);
    while (before > 0 && KeyframeStore::Matches(state.keyframes.TimeOf(before - 1), time)) {
        --before;
    }
    if (before == 0 || std::isnan(time)) {
        return false;
    }
    if (out != nullptr) {
        *out = state.keyframes[before - 1];
    }
    return true;
}

std::size_t BigParameterImpl::ForwardNext(std::size_t position) const {
    return ForwardIsDone(position) ? position : position + 1;
}

bool BigParameterImpl::ForwardIsDone(std::size_t position) const {
    const RecursiveLock lock(mutex);
    return position >= state.keyframes.Count();
}

std::size_t BigParameterImpl::BackwardBegin() const {
    const RecursiveLock lock(mutex);
    return state.keyframes.Count();
}

std::size_t BigParameterImpl::BackwardNext(std::size_t position) const {
    return BackwardIsDone(position) ? position : position - 1;
}

bool BigParameterImpl::BackwardIsDone(std::size_t position) const {
    const RecursiveLock lock(mutex);
    return position == 0 || position > state.keyframes.Count();
}

TimeValuePair BigParameterImpl::KeyframeAt(std::size_t index) const {
    const RecursiveLock lock(mutex);
    return index < state.keyframes.Count() ? state.keyframes[index] : TimeValuePair();
}

}  // namespace core
