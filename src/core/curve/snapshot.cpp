#include <core/curve/snapshot.h>

#include "core/curve/big_parameter_impl.h"
#include "core/curve/curve.h"

#include <core/curve/parameter.h>

#include <cmath>
#include <memory>
#include <type_traits>
#include <utility>

namespace core {
namespace {

void ReadSample(const ValAny& sample, double& value) {
    value = sample.AsDouble();
}

void ReadSample(const ValAny& sample, Pointd& value) {
    value = sample.AsPoint();
}

}  // namespace

CurveSnapshot::CurveSnapshot() : CurveSnapshot(BigParameterImpl().CurrentCurve().Release()) {}

CurveSnapshot::CurveSnapshot(Curve* owned) noexcept
    : curve(owned), lastSegment(Segment::Nowhere()) {}

CurveSnapshot::CurveSnapshot(const CurveSnapshot& other) noexcept
    : CurveSnapshot(Shared<Curve>::Of(other.curve).Release()) {}

CurveSnapshot& CurveSnapshot::operator=(const CurveSnapshot& other) noexcept {
    if (this != &other) {
        Shared<Curve> taken = Shared<Curve>::Of(other.curve);
        const Shared<Curve> old = Shared<Curve>::Adopt(std::exchange(curve, taken.Release()));
        lastSegment.store(Segment::Nowhere(), std::memory_order_relaxed);
    }
    return *this;
}

CurveSnapshot::~CurveSnapshot() {
    Shared<Curve>::Adopt(curve);
}

// The order makes what a segment holds known to the thread that finds it here.
ValAny CurveSnapshot::GetValue(double time, bool clampToRange) const {
    const auto* last = static_cast<const Segment*>(lastSegment.load(std::memory_order_acquire));
    const Segment* found = last;
    ValAny value = curve->GetValue(found, time, clampToRange);
    if (found != last) {
        lastSegment.store(found, std::memory_order_release);
    }
    return value;
}

double CurveSnapshot::GetAreaFromTo(double from, double to) const {
    return curve->Area(from, to);
}

double CurveSnapshot::SolveTimeBaseArea(double start, double area) const {
    return curve->SolveArea(start, area);
}

int CurveSnapshot::GetKeyFramesCount() const noexcept {
    return static_cast<int>(curve->Count());
}

TimeValuePair CurveSnapshot::GetKeyframe(int index) const {
    const auto place = static_cast<std::size_t>(index);
    return index >= 0 && place < curve->Count() ? (*curve)[place] : TimeValuePair();
}

int CurveSnapshot::GetPointIndex(double time) const noexcept {
    const std::size_t index = curve->Find(time);
    return index == Curve::kNone ? -1 : static_cast<int>(index);
}

ParameterTypeEnum CurveSnapshot::GetParameterType() const noexcept {
    return curve->Type();
}

void CurveSnapshot::GetValueRange(ValAny& min, ValAny& max) const {
    min = curve->Settings().minVal;
    max = curve->Settings().maxVal;
}

ValAny CurveSnapshot::GetBaseRatio() const {
    return curve->Settings().baseRatio;
}

std::string CurveSnapshot::Serialize() const {
    return curve->Text();
}

template <class Time, class Value>
void CurveSnapshot::Sample(const Time& timeOf, std::size_t count, bool clampToRange,
                           Value* values) const {
    const auto* last = static_cast<const Segment*>(lastSegment.load(std::memory_order_acquire));
    const bool isPlain = curve->IsPlainDouble();
    for (std::size_t i = 0; i < count; ++i) {
        const double t = timeOf(i);
        if constexpr (std::is_same_v<Value, double>) {
            if (isPlain && last->Holds(t) && last->IsNumeric()) {
                using Shape = Segment::Shape;
                const double value = last->shape == Shape::Cubic ? last->CubicAt(t)
                                     : last->shape == Shape::TimeValueBezier
                                         ? last->CurveAt(t)
                                         : SampleSegment(*last, t);
                values[i] = clampToRange ? curve->Clamped(value) : value;
                continue;
            }
        }
        ReadSample(curve->GetValue(last, t, clampToRange), values[i]);
    }
    lastSegment.store(last, std::memory_order_release);
}

void CurveSnapshot::GetValues(const double* times, std::size_t count, bool clampToRange,
                              double* values) const {
    Sample([times](std::size_t i) { return times[i]; }, count, clampToRange, values);
}

void CurveSnapshot::GetValues(const double* times, std::size_t count, bool clampToRange,
                              Pointd* values) const {
    Sample([times](std::size_t i) { return times[i]; }, count, clampToRange, values);
}

void CurveSnapshot::GetValues(double start, double step, std::size_t count, bool clampToRange,
                              double* values) const {
    Sample([=](std::size_t i) { return start + static_cast<double>(i) * step; }, count,
           clampToRange, values);
}

void CurveSnapshot::GetValues(double start, double step, std::size_t count, bool clampToRange,
                              Pointd* values) const {
    Sample([=](std::size_t i) { return start + static_cast<double>(i) * step; }, count,
           clampToRange, values);
}

Parameter CurveSnapshot::ToParameter() const {
    return Parameter(std::make_unique<BigParameterImpl>(Shared<Curve>::Of(curve)));
}

bool operator==(const CurveSnapshot& a, const CurveSnapshot& b) {
    return Curve::HaveSameSettings(*a.curve, *b.curve) && a.curve->Count() == b.curve->Count() &&
           Curve::CommonStart(*a.curve, *b.curve) == a.curve->Count();
}

TimeRange ChangedBetween(const CurveSnapshot& a, const CurveSnapshot& b) {
    return Curve::ChangedBetween(*a.curve, *b.curve);
}

// What a parameter does with snapshots

CurveSnapshot KeyframeHandle::Snapshot() const {
    return impl != nullptr ? CurveSnapshot(impl->CurrentCurve().Release()) : CurveSnapshot();
}

bool KeyframeHandle::Restore(const CurveSnapshot& snapshot) {
    if (impl == nullptr) {
        return false;
    }
    BigParameterImpl wanted(Shared<Curve>::Of(snapshot.curve));
    impl->TakeCurve(wanted);
    return true;
}

std::uint64_t KeyframeHandle::Revision() const noexcept {
    return impl != nullptr ? impl->Revision() : 0;
}

bool KeyframeHandle::Edit(const std::function<void(Parameter&)>& edits) {
    while (impl != nullptr) {
        const Shared<Curve> base = impl->CurrentCurve();
        Parameter draft(std::make_unique<BigParameterImpl>(base));
        edits(draft);
        if (draft.p_impl() == nullptr) {
            return false;
        }
        if (impl->TakeCurveIfStill(base, *draft.p_impl())) {
            return true;
        }
    }
    return false;
}

bool KeyframeHandle::AddPoints(const TimeValuePair* keyframes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(keyframes[i].GetTime())) {
            return false;
        }
    }
    return Edit([=](Parameter& draft) { draft.p_impl()->AddPoints({keyframes, count}); });
}

void KeyframeHandle::GetValues(const double* times, std::size_t count, bool clampToRange,
                               double* values) const {
    Snapshot().GetValues(times, count, clampToRange, values);
}

void KeyframeHandle::GetValues(const double* times, std::size_t count, bool clampToRange,
                               Pointd* values) const {
    Snapshot().GetValues(times, count, clampToRange, values);
}

void KeyframeHandle::GetValues(double start, double step, std::size_t count, bool clampToRange,
                               double* values) const {
    Snapshot().GetValues(start, step, count, clampToRange, values);
}

void KeyframeHandle::GetValues(double start, double step, std::size_t count, bool clampToRange,
                               Pointd* values) const {
    Snapshot().GetValues(start, step, count, clampToRange, values);
}

}  // namespace core
