#include <core/speed/snapshot.h>

#include "core/speed/SpeedParameterImpl.h"
#include "core/speed/speed_state.h"

#include <core/speed/speed_parameter.h>

#include <limits>
#include <memory>
#include <utility>

namespace core {

SpeedSnapshot::SpeedSnapshot() : SpeedSnapshot(SpeedParameterImpl().Snapshot()) {}

SpeedSnapshot::SpeedSnapshot(SpeedState* owned, int reverseFlag, bool hasReversed) noexcept
    : state(owned), reverse(reverseFlag), isReverted(hasReversed) {}

SpeedSnapshot::SpeedSnapshot(const SpeedSnapshot& other) noexcept
    : SpeedSnapshot(Shared<SpeedState>::Of(other.state).Release(), other.reverse,
                    other.isReverted) {}

SpeedSnapshot& SpeedSnapshot::operator=(const SpeedSnapshot& other) noexcept {
    if (this != &other) {
        const auto old = Shared<SpeedState>::Adopt(
            std::exchange(state, Shared<SpeedState>::Of(other.state).Release()));
        reverse = other.reverse;
        isReverted = other.isReverted;
    }
    return *this;
}

SpeedSnapshot::~SpeedSnapshot() {
    Shared<SpeedState>::Adopt(state);
}

double SpeedSnapshot::GetSourceTime(double renderTime) const {
    const double sourceTime = state->Placed().SourceOfRender(renderTime);
    return reverse != 0 ? state->sourceTotalTime - sourceTime : sourceTime;
}

double SpeedSnapshot::GetRenderTime(double sourceTime) const {
    return state->Placed().RenderOfSource(reverse != 0 ? state->sourceTotalTime - sourceTime
                                                       : sourceTime);
}

double SpeedSnapshot::PointTimeToRenderTime(double pointTime) const {
    return state->Placed().RenderOfPoint(pointTime);
}

double SpeedSnapshot::RenderTimeToPointTime(double renderTime) const {
    return state->Placed().PointOfRender(renderTime);
}

double SpeedSnapshot::GetCurrentFPS(double renderTime) const {
    return state->Placed().SpeedAt(renderTime);
}

double SpeedSnapshot::GetRenderTotalTime() const {
    return state->RenderTotalTime();
}

double SpeedSnapshot::GetSourceTotalTime() const noexcept {
    return state->sourceTotalTime;
}

double SpeedSnapshot::GetSourceFPS() const noexcept {
    return state->sourceFPS;
}

int SpeedSnapshot::GetReverse() const noexcept {
    return reverse;
}

void SpeedSnapshot::GetVelocityTimeCurve(double& a, double& b, double& c, double& d,
                                         int index) const {
    const Velocity velocity = state->VelocityAt(index, reverse != 0, isReverted);
    a = velocity.a;
    b = velocity.b;
    c = velocity.c;
    d = velocity.d;
}

std::string SpeedSnapshot::Serialize() const {
    return state->Text(reverse);
}

template <class Time>
void SpeedSnapshot::Sample(const Time& timeOf, std::size_t count, double* sourceTimes) const {
    const PlacedFreezes& placed = state->Placed();
    PlacedFreezes::Found last;
    for (std::size_t i = 0; i < count; ++i) {
        const double sourceTime = placed.SourceOfRender(timeOf(i), last);
        sourceTimes[i] = reverse != 0 ? state->sourceTotalTime - sourceTime : sourceTime;
    }
}

void SpeedSnapshot::GetSourceTimes(const double* renderTimes, std::size_t count,
                                   double* sourceTimes) const {
    Sample([renderTimes](std::size_t i) { return renderTimes[i]; }, count, sourceTimes);
}

void SpeedSnapshot::GetSourceTimes(double start, double step, std::size_t count,
                                   double* sourceTimes) const {
    Sample([=](std::size_t i) { return start + static_cast<double>(i) * step; }, count,
           sourceTimes);
}

int SpeedSnapshot::GetFreezeFramesCount() const noexcept {
    return static_cast<int>(state->freezes->Freezes().size());
}

FreezeFrame SpeedSnapshot::GetFreezeFrame(int index) const {
    return index >= 0 && index < GetFreezeFramesCount()
               ? state->FreezeAt(static_cast<std::size_t>(index))
               : FreezeFrame();
}

CurveSnapshot SpeedSnapshot::Keyframes() const {
    return Parameter(std::make_unique<BigParameterImpl>(state->keyframes)).Snapshot();
}

SpeedParameter SpeedSnapshot::ToSpeedParameter() const {
    return SpeedParameter(std::make_unique<SpeedParameterImpl>(*this));
}

bool operator==(const SpeedSnapshot& a, const SpeedSnapshot& b) {
    return a.reverse == b.reverse && a.isReverted == b.isReverted &&
           SpeedState::AreSame(*a.state, *b.state);
}

TimeRange ChangedBetween(const SpeedSnapshot& a, const SpeedSnapshot& b) {
    const bool inReverse = a.reverse != 0;
    if (inReverse != (b.reverse != 0) ||
        (inReverse && a.state->sourceTotalTime != b.state->sourceTotalTime)) {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        return {-kInfinity, kInfinity};
    }
    return a.state == b.state ? TimeRange{} : SpeedState::ChangedBetween(*a.state, *b.state);
}

// What a speed curve does with snapshots

SpeedSnapshot SpeedParameter::Snapshot() const {
    if (Speed() != nullptr) {
        return Speed()->Snapshot();
    }
    SpeedParameterImpl none;
    none.ClearKeyFrames();
    return none.Snapshot();
}

bool SpeedParameter::Restore(const SpeedSnapshot& snapshot) {
    if (Speed() == nullptr) {
        return false;
    }
    SpeedParameterImpl wanted(snapshot);
    Speed()->Take(wanted);
    return true;
}

bool SpeedParameter::Edit(const std::function<void(SpeedParameter&)>& edits) {
    while (Speed() != nullptr) {
        const SpeedSnapshot base = Speed()->Snapshot();
        SpeedParameter draft = base.ToSpeedParameter();
        edits(draft);
        if (draft.Speed() == nullptr) {
            return false;
        }
        if (Speed()->TakeIfStill(base, *draft.Speed())) {
            return true;
        }
    }
    return false;
}

void SpeedParameter::GetSourceTimes(const double* renderTimes, std::size_t count,
                                    double* sourceTimes) const {
    Snapshot().GetSourceTimes(renderTimes, count, sourceTimes);
}

void SpeedParameter::GetSourceTimes(double start, double step, std::size_t count,
                                    double* sourceTimes) const {
    Snapshot().GetSourceTimes(start, step, count, sourceTimes);
}

}  // namespace core
