#include "core/curve/big_parameter_impl.h"

#include "core/curve/loaded_handles.h"

#include <cmath>
#include <utility>

// Construction, settings and questions, which the curve answers. Edits are in
// big_parameter_editing.cpp, handles and motion paths in big_parameter_motion.cpp, texts
// in big_parameter_serialisation.cpp.

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

ParameterSettings SettingsOf(ParameterTypeEnum type) {
    ParameterSettings settings;
    settings.type = type;
    settings.ResetRange();
    return settings;
}

}  // namespace

BigParameterImpl::BigParameterImpl() : BigParameterImpl(ParameterDouble, ValAny(), {}) {}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
BigParameterImpl::BigParameterImpl(ValAny value) : BigParameterImpl(TypeOfKind(value), value, {}) {}

BigParameterImpl::BigParameterImpl(double time, ValAny value,
                                   KeyframeInterpolationType interpolation, ParameterTypeEnum type)
    : BigParameterImpl(type, value, {}) {
    BigParameterImpl::AddPoint(time, std::move(value), interpolation);
}

BigParameterImpl::BigParameterImpl(ParameterTypeEnum type, ValAny constant,
                                   std::vector<TimeValuePair> keyframes)
    : lastSegment(Segment::Nowhere()) {
    LoadedHandles handles = RecogniseHandles(keyframes, type);
    handles.keepsThirds = false;
    curve =
        Shared<Curve>::Make(SettingsOf(type), std::move(constant), std::move(keyframes), handles);
}

BigParameterImpl::BigParameterImpl(const BigParameterImpl& other)
    : curve(other.CurrentCurve()), lastSegment(Segment::Nowhere()) {}

BigParameterImpl& BigParameterImpl::operator=(const BigParameterImpl& other) {
    if (this == &other) {
        return *this;
    }
    Shared<Curve> copy = other.CurrentCurve();
    const RecursiveLock lock(mutex);
    Take(copy);
    return *this;
}

BigParameterImpl::BigParameterImpl(const BigParameterImpl& other,
                                   SettingsOnly) CORE_NO_THREAD_SAFETY_ANALYSIS
    : curve(Shared<Curve>::Make(*other.curve)),
      lastSegment(Segment::Nowhere()) {
    curve->Clear();
}

BigParameterImpl::BigParameterImpl(Shared<Curve> shared)
    : curve(std::move(shared)), lastSegment(Segment::Nowhere()) {}

void BigParameterImpl::TakeCurve(BigParameterImpl& made) CORE_NO_THREAD_SAFETY_ANALYSIS {
    const RecursiveLock lock(mutex);
    Take(made.curve);
}

bool BigParameterImpl::TakeCurveIfStill(const Shared<Curve>& base,
                                        BigParameterImpl& made) CORE_NO_THREAD_SAFETY_ANALYSIS {
    const RecursiveLock lock(mutex);
    // Nobody changes a curve that is shared: if it is the same one, it is as it was.
    if (curve.get() != base.get()) {
        return false;
    }
    if (made.curve.get() != base.get()) {
        Take(made.curve);
    }
    return true;
}

void BigParameterImpl::Take(Shared<Curve>& made) {
    std::swap(curve, made);
    Edited();
}

BigParameterImpl::~BigParameterImpl() = default;

Shared<Curve> BigParameterImpl::CurrentCurve() const {
    const RecursiveLock lock(mutex);
    return curve;
}

Curve& BigParameterImpl::BeginEdit() {
    lastSegment = Segment::Nowhere();
    OnEditing();
    return curve.Own();
}

void BigParameterImpl::Edited() {
    CountRevision();
    lastSegment = Segment::Nowhere();
    OnEdited();
}

ValAny BigParameterImpl::GetValue(double time, bool clampToRange) {
    const RecursiveLock lock(mutex);
    return curve->GetValue(lastSegment, time, clampToRange);
}

double BigParameterImpl::GetAreaFromTo(double from, double to, bool, double, double) const {
    const RecursiveLock lock(mutex);
    return curve->Area(from, to);
}

double BigParameterImpl::SolveTimeBaseArea(double start, double area) const {
    const RecursiveLock lock(mutex);
    return curve->SolveArea(start, area);
}

void BigParameterImpl::SetValueRange(ValAny min, ValAny max) {
    const RecursiveLock lock(mutex);
    BeginEdit().SetRange(min, max);
    Edited();
}

void BigParameterImpl::GetValueRange(ValAny& min, ValAny& max) const {
    const RecursiveLock lock(mutex);
    ValAny low = curve->Settings().minVal;
    ValAny high = curve->Settings().maxVal;
    min = std::move(low);
    max = std::move(high);
}

void BigParameterImpl::SetParameterType(ParameterTypeEnum type) {
    const RecursiveLock lock(mutex);
    BeginEdit().SetType(type);
    Edited();
}

ParameterTypeEnum BigParameterImpl::GetParameterType() {
    const RecursiveLock lock(mutex);
    return curve->Type();
}

void BigParameterImpl::SetBaseRatio(ValAny ratio) {
    const RecursiveLock lock(mutex);
    BeginEdit().SetRatio(ratio);
    Edited();
}

ValAny BigParameterImpl::GetBaseRatio() {
    const RecursiveLock lock(mutex);
    return curve->Settings().baseRatio;
}

ValAny BigParameterImpl::GetValue() {
    const RecursiveLock lock(mutex);
    return curve->Constant();
}

int BigParameterImpl::GetKeyFramesCount() const {
    const RecursiveLock lock(mutex);
    return static_cast<int>(curve->Count());
}

ValAny BigParameterImpl::GetPointValue(int index) {
    const RecursiveLock lock(mutex);
    return IsValid(index) ? KeyframeOf(index).PeekValue() : ValAny(nullptr);
}

double BigParameterImpl::GetPointTime(int index) const {
    const RecursiveLock lock(mutex);
    return IsValid(index) ? KeyframeOf(index).GetTime() : 0.0;
}

KeyframeInterpolationType BigParameterImpl::GetInterpolationType(int index) {
    const RecursiveLock lock(mutex);
    return IsValid(index) ? KeyframeOf(index).GetInterpolation()
                          : KeyframeInterpolationType::Extrapolate;
}

bool BigParameterImpl::GetPointControlParam(int index, double& x, double& y) const {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    const TimeValuePair& keyframe = KeyframeOf(index);
    x = keyframe.GetLeftDerivative();
    y = keyframe.GetRightDerivative();
    return true;
}

bool BigParameterImpl::GetPointControlLeftParam(int index, double& x, double& y) const {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    KeyframeOf(index).GetLeftDerivativeEx(x, y);
    return true;
}

bool BigParameterImpl::GetPointControlRightParam(int index, double& x, double& y) const {
    const RecursiveLock lock(mutex);
    if (!IsValid(index)) {
        return false;
    }
    KeyframeOf(index).GetRightDerivativeEx(x, y);
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
    const std::size_t index = curve->Find(time);
    return index == Curve::kNone ? -1 : static_cast<int>(index);
}

bool BigParameterImpl::HasPoint(double time) const {
    return GetPointIndex(time) >= 0;
}

int BigParameterImpl::GetNKeyFramesInRange(double from, double to, std::list<double>* times) const {
    const RecursiveLock lock(mutex);
    if (std::isnan(from)) {
        return 0;
    }
    std::size_t first = curve->UpperBound(from);
    while (first > 0 && curve->TimeOf(first - 1) == from) {
        --first;
    }
    int found = 0;
    for (std::size_t i = first; i < curve->Count(); ++i) {
        const double time = curve->TimeOf(i);
        ++found;
        if (times != nullptr) {
            times->push_back(time);
        }
        // Kept on purpose: the first keyframe beyond `to` counts too.
        if (time > to) {
            break;
        }
    }
    return found;
}

bool BigParameterImpl::GetPreviousKeyframeTime(double time, TimeValuePair* out) const {
    const RecursiveLock lock(mutex);
    std::size_t before = curve->UpperBound(time);
    while (before > 0 && TimesMatch(curve->TimeOf(before - 1), time)) {
        --before;
    }
    if (before == 0 || std::isnan(time)) {
        return false;
    }
    if (out != nullptr) {
        *out = (*curve)[before - 1];
    }
    return true;
}

std::size_t BigParameterImpl::ForwardNext(std::size_t position) const {
    return ForwardIsDone(position) ? position : position + 1;
}

bool BigParameterImpl::ForwardIsDone(std::size_t position) const {
    const RecursiveLock lock(mutex);
    return position >= curve->Count();
}

std::size_t BigParameterImpl::BackwardBegin() const {
    const RecursiveLock lock(mutex);
    return curve->Count();
}

std::size_t BigParameterImpl::BackwardNext(std::size_t position) const {
    return BackwardIsDone(position) ? position : position - 1;
}

bool BigParameterImpl::BackwardIsDone(std::size_t position) const {
    const RecursiveLock lock(mutex);
    return position == 0 || position > curve->Count();
}

TimeValuePair BigParameterImpl::KeyframeAt(std::size_t index) const {
    const RecursiveLock lock(mutex);
    return index < curve->Count() ? (*curve)[index] : TimeValuePair();
}

}  // namespace core
