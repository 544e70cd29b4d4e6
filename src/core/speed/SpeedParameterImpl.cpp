#include "core/speed/SpeedParameterImpl.h"

#include "core/curve/numbers.h"

#include <core/speed/speed_parameter.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <list>
#include <span>
#include <utility>
#include <vector>

namespace core {
namespace {

constexpr double kNormalSpeed = 1.0;
constexpr double kTolerance = SpeedParameterFreezeImpl::kTolerance;

// By this part a speed or a time that was saved, with eight decimals, may differ from one that is
// worked out of other saved ones. Ten times as much would take speeds for one that a user tells
// apart.
constexpr double kSavedDigits = 1e-7;

}  // namespace

SpeedParameterImpl::SpeedParameterImpl() {
    BigParameterImpl::AddPoint(0.0, kNormalSpeed, KeyframeInterpolationType::Hold);
}

SpeedParameterImpl::SpeedParameterImpl(ValAny value) : BigParameterImpl(value) {
    BigParameterImpl::AddPoint(0.0, std::move(value), KeyframeInterpolationType::Hold);
}

SpeedParameterImpl::SpeedParameterImpl(const SpeedSnapshot& snapshot)
    : BigParameterImpl(snapshot.state->keyframes),
      sourceTotalTime(snapshot.state->sourceTotalTime),
      sourceFPS(snapshot.state->sourceFPS),
      freezes(snapshot.state->freezes),
      reverse(snapshot.reverse),
      isReverted(snapshot.isReverted),
      version{Shared<SpeedState>::Of(snapshot.state)} {}

SpeedParameterImpl::SpeedParameterImpl(const SpeedParameterImpl& other)
    CORE_NO_THREAD_SAFETY_ANALYSIS : SpeedParameterImpl(other, RecursiveLock(other.mutex)) {}

// No other thread knows the new object.
SpeedParameterImpl::SpeedParameterImpl(const SpeedParameterImpl& other,
                                       const RecursiveLock&) CORE_NO_THREAD_SAFETY_ANALYSIS
    : BigParameterImpl(other),
      sourceTotalTime(other.sourceTotalTime),
      sourceFPS(other.sourceFPS),
      freezes(other.freezes),
      reverse(other.reverse.load()),
      isReverted(other.isReverted),
      version{other.Current()},
      lastSourceTime(other.lastSourceTime) {
    FreezeNearZeroSpeeds();
}

SpeedParameterImpl::SpeedParameterImpl(const SpeedParameterImpl& other,
                                       SettingsOnly) CORE_NO_THREAD_SAFETY_ANALYSIS
    : BigParameterImpl(other, SettingsOnly()),
      sourceTotalTime(other.sourceTotalTime),
      sourceFPS(other.sourceFPS),
      reverse(other.reverse.load()),
      isReverted(other.isReverted),
      lastSourceTime(other.lastSourceTime) {}

SpeedParameterImpl& SpeedParameterImpl::operator=(const SpeedParameterImpl& other)
    CORE_NO_THREAD_SAFETY_ANALYSIS {
    if (this != &other) {
        SpeedParameterImpl copy(other);
        const RecursiveLock lock(mutex);
        Take(copy);
        lastSourceTime = copy.lastSourceTime;
    }
    return *this;
}

void SpeedParameterImpl::Take(SpeedParameterImpl& made) {
    const RecursiveLock lock(mutex);
    TakeLayers(made);
    reverse = made.reverse.load();
}

bool SpeedParameterImpl::TakeIfStill(const SpeedSnapshot& base, SpeedParameterImpl& made) {
    const RecursiveLock lock(mutex);
    // An edit lets the state go, and `base` keeps the next one from lying where it lies.
    if (version.state.get() != base.state) {
        return false;
    }
    TakeLayers(made);
    if (made.reverse != base.reverse) {  // else SetReverse may have set it meanwhile
        reverse = made.reverse.load();
    }
    return true;
}

void SpeedParameterImpl::TakeLayers(SpeedParameterImpl& copy) noexcept
    CORE_NO_THREAD_SAFETY_ANALYSIS {
    Shared<SpeedState> taken = std::move(copy.version.state);
    TakeCurve(copy);
    sourceTotalTime = copy.sourceTotalTime;
    sourceFPS = copy.sourceFPS;
    std::swap(freezes, copy.freezes);
    isReverted = copy.isReverted;
    // The curve that callers see is renewed with the state.
    version.state = renderCurve.use_count() > 1 ? Shared<SpeedState>() : std::move(taken);
}

SpeedParameterImpl::~SpeedParameterImpl() = default;

const Shared<SpeedState>& SpeedParameterImpl::Current() const {
    if (!version.state) {
        version.state =
            Shared<SpeedState>::Make(CurrentCurve(), freezes, sourceTotalTime, sourceFPS);
        if (renderCurve.use_count() > 1) {
            ShowRenderCurve();
        }
    }
    return version.state;
}

SpeedParameterFreezeImpl& SpeedParameterImpl::EditFreezes() {
    version = {};
    CountRevision();
    return freezes.Own();
}

SpeedSnapshot SpeedParameterImpl::Snapshot() const {
    const RecursiveLock lock(mutex);
    return SpeedSnapshot(Shared<SpeedState>(Current()).Release(), reverse, isReverted);
}

// What callers see

// Assigned as a whole, so that whoever holds it never sees a part of it.
void SpeedParameterImpl::ShowRenderCurve() const {
    *renderCurve = Current()->RenderCurve();
    version.isShown = true;
}

std::shared_ptr<Parameter> SpeedParameterImpl::GetParameterInternal() {
    const RecursiveLock lock(mutex);
    Current();
    if (!version.isShown) {
        ShowRenderCurve();
    }
    return renderCurve;
}

std::shared_ptr<Parameter> SpeedParameterImpl::GetParameterSource() {
    const RecursiveLock lock(mutex);
    std::list<double> times;
    if (!std::isnan(lastSourceTime)) {
        GetNKeyFramesInRange(0.0, lastSourceTime, &times);
    }
    Parameter ofSource;
    for (const double time : times) {
        ofSource.AddPoint(time, kNormalSpeed, KeyframeInterpolationType::Hold);
    }
    *sourceScratch = ofSource;
    return sourceScratch;
}

// Settings

double SpeedParameterImpl::GetSourceTotalTime() const {
    const RecursiveLock lock(mutex);
    return sourceTotalTime;
}

void SpeedParameterImpl::SetSourceTotalTime(double totalTime) {
    if (!std::isfinite(totalTime)) {
        return;
    }
    const RecursiveLock lock(mutex);
    if (std::fabs(sourceTotalTime) >= kNegligible) {
        RemovePoint(GetPointIndex(sourceTotalTime));
    }
    // After a removal there is room; without one, nothing has changed if this fails.
    AddPoint(totalTime, kNormalSpeed, KeyframeInterpolationType::Hold);
    sourceTotalTime = totalTime;
    CountRevision();
}

double SpeedParameterImpl::GetSourceFPS() const {
    const RecursiveLock lock(mutex);
    return sourceFPS;
}

void SpeedParameterImpl::SetSourceFPS(double fps) {
    if (!std::isfinite(fps)) {
        return;
    }
    const RecursiveLock lock(mutex);
    version = {};
    sourceFPS = fps;
    CountRevision();
}

int SpeedParameterImpl::GetKeyFramesCountEx() const {
    return GetKeyFramesCount();
}

// The freezes

bool SpeedParameterImpl::IsFreeze(double pointTime, double duration) noexcept {
    return std::isfinite(pointTime) && pointTime >= 0.0 && std::isfinite(duration) &&
           duration >= kTolerance;
}

double SpeedParameterImpl::InstantOf(double sourceTime) const {
    return std::fabs(sourceTime - sourceTotalTime) < kTolerance ? sourceTotalTime : sourceTime;
}

TimeValuePair SpeedParameterImpl::FrozenKeyframe(const TimeMap& map, double sourceTime,
                                                 bool& changesNoSpeed) {
    TimeValuePair before(0.0, kNormalSpeed, KeyframeInterpolationType::Hold);
    GetPreviousKeyframeTime(sourceTime, &before);
    // What the render curve has there, so that the two parts of a linear segment take the
    // time of the whole.
    const double renderTime = map.RenderOfInstant(sourceTime);
    changesNoSpeed = map.StaysWithKeyframeAt(sourceTime, renderTime);
    return {sourceTime, map.SpeedAt(renderTime), before.GetInterpolation()};
}

bool SpeedParameterImpl::AddFreezeFrame(double pointTime, double duration) {
    if (!IsFreeze(pointTime, duration)) {
        return false;
    }
    const RecursiveLock lock(mutex);
    Current()->Map();
    const SpeedParameterFreezeImpl::Place place = freezes->AtPoint(pointTime);
    const double sourceTime = InstantOf(pointTime - place.shift);
    if (place.IsFrozen() || sourceTime > sourceTotalTime) {
        return false;
    }
    const bool needsKeyframe = !HasPoint(sourceTime);
    bool changesNoSpeed = false;
    const TimeValuePair keyframe =
        needsKeyframe ? FrozenKeyframe(Current()->Map(), sourceTime, changesNoSpeed)
                      : TimeValuePair();
    EditFreezes().ReserveOneMore();
    if (needsKeyframe) {
        AddPoint(sourceTime, keyframe.PeekValue(), keyframe.GetInterpolation());
    }
    freezes->Insert({pointTime, duration, sourceTime, !needsKeyframe});
    return true;
}

bool SpeedParameterImpl::SetFreezeFrameDuration(int index, double duration) {
    if (!std::isfinite(duration) || duration <= 0.0) {
        return false;
    }
    const RecursiveLock lock(mutex);
    const std::size_t place = static_cast<std::size_t>(index);
    // Kept on purpose: a freeze may become shorter than any that can be added, and then
    // stays as it is. Callers rely on the answers.
    if (!HasFreeze(index) || freezes->Freezes()[place].duration < kTolerance) {
        return false;
    }
    EditFreezes().SetDuration(place, duration);
    return true;
}

bool SpeedParameterImpl::BroughtKeyframe(const Freeze& freeze, int keyframe) const {
    if (freeze.keepsKeyframe || keyframe <= 0 || keyframe + 1 >= GetKeyFramesCount() ||
        std::fabs(freeze.sourceTime - sourceTotalTime) < kTolerance) {
        return false;
    }
    SpeedParameterImpl without(Snapshot());
    const RecursiveLock lock(without.mutex);
    const TimeValuePair present = without.KeyframeAt(static_cast<std::size_t>(keyframe));
    without.RemovePoint(keyframe);
    const TimeMap& map = without.Current()->Map();
    const double time = present.GetTime();
    bool changesNoSpeed = false;
    const TimeValuePair brought = without.FrozenKeyframe(map, time, changesNoSpeed);
    // The digits of a saved curve also move it in time: far from its speed, where it is steep.
    const double moved = kSavedDigits * std::max(1.0, std::fabs(time));
    const auto [least, greatest] =
        std::minmax({brought.PeekValue().AsDouble(), map.SpeedAt(map.RenderOfInstant(time - moved)),
                     map.SpeedAt(map.RenderOfInstant(time + moved))});
    const double speed = present.PeekValue().AsDouble();
    const double digits = kSavedDigits * std::max(1.0, std::fabs(speed));
    return brought.GetInterpolation() == present.GetInterpolation() && least - digits <= speed &&
           speed <= greatest + digits;
}

bool SpeedParameterImpl::RemoveFreezeFrame(int index) {
    const RecursiveLock lock(mutex);
    if (!HasFreeze(index)) {
        return false;
    }
    const auto place = static_cast<std::size_t>(index);
    const int keyframe = GetPointIndex(freezes->Freezes()[place].sourceTime);
    const bool removesKeyframe = BroughtKeyframe(freezes->Freezes()[place], keyframe);
    EditFreezes();  // what takes memory is done before anything changes
    if (removesKeyframe) {
        RemovePoint(keyframe);
    }
    freezes->Remove(place);
    return true;
}

bool SpeedParameterImpl::MoveFreezeFrame(int index, double pointTime) {
    const RecursiveLock lock(mutex);
    if (!HasFreeze(index)) {
        return false;
    }
    const double duration = freezes->Freezes()[static_cast<std::size_t>(index)].duration;
    SpeedParameterImpl draft(Snapshot());
    if (!draft.RemoveFreezeFrame(index) || !draft.AddFreezeFrame(pointTime, duration)) {
        return false;
    }
    TakeLayers(draft);
    return true;
}

// Each at its keyframe's own source time, and so behind whatever freezes lie before that;
// where one is already, it stays alone.
void SpeedParameterImpl::FreezeNearZeroSpeeds() {
    std::vector<Freeze> all;
    double added = 0.0;
    std::size_t next = 0;
    const std::span<const Freeze> present = freezes->Freezes();
    const auto takeBefore = [&](double sourceTime) {
        for (; next < present.size() && present[next].sourceTime <= sourceTime; ++next) {
            all.push_back(present[next]);
            all.back().key += added;
        }
    };
    const Curve& keyframes = *Current()->keyframes;
    for (const std::size_t i : Current()->NearZeroSpeeds()) {
        const double start = keyframes.TimeOf(i);
        const double duration = keyframes.TimeOf(i + 1) - start;
        const SpeedParameterFreezeImpl::Place place = freezes->AtSource(start);
        if (place.IsFrozen() || start < 0.0 || start >= sourceTotalTime + kTolerance ||
            duration < kTolerance || !std::isfinite(duration)) {
            continue;
        }
        takeBefore(start);
        all.push_back({start + place.shift + added, duration, start, true});
        added += duration;
    }
    if (added > 0.0) {
        takeBefore(std::numeric_limits<double>::infinity());
        EditFreezes().Assign(std::move(all));
    }
}

// Questions

double SpeedParameterImpl::GetRenderTotalTime() {
    const RecursiveLock lock(mutex);
    const double total = Current()->RenderTotalTime();
    // Kept on purpose: what a caller has done to the curve that it was shown is undone.
    if (renderCurve.use_count() > 1) {
        ShowRenderCurve();
    }
    return total;
}

double SpeedParameterImpl::GetCurrentFPS(double renderTime) const {
    const RecursiveLock lock(mutex);
    return Current()->Placed().SpeedAt(renderTime);
}

double SpeedParameterImpl::PointTimeToRenderTime(double pointTime) {
    const RecursiveLock lock(mutex);
    return Current()->Placed().RenderOfPoint(pointTime);
}

double SpeedParameterImpl::RenderTimeToPointTime(double renderTime) const {
    const RecursiveLock lock(mutex);
    return Current()->Placed().PointOfRender(renderTime);
}

double SpeedParameterImpl::GetSourceTime(double renderTime) const {
    const RecursiveLock lock(mutex);
    const double sourceTime = Current()->Placed().SourceOfRender(renderTime);
    return reverse != 0 ? sourceTotalTime - sourceTime : sourceTime;
}

double SpeedParameterImpl::GetRenderTime(double sourceTime) {
    const RecursiveLock lock(mutex);
    const PlacedFreezes& placed = Current()->Placed();
    lastSourceTime = reverse != 0 ? sourceTotalTime - sourceTime : sourceTime;
    return placed.RenderOfSource(lastSourceTime);
}

// Reverse

int SpeedParameterImpl::SetReverse(bool isReverse) noexcept {
    reverse = isReverse ? 1 : 0;
    CountRevision();
    return 0;
}

void SpeedParameterImpl::GetVelocityTimeCurve(double& a, double& b, double& c, double& d,
                                              int index) {
    const RecursiveLock lock(mutex);
    const Velocity velocity = Current()->VelocityAt(index, reverse != 0, isReverted);
    a = velocity.a;
    b = velocity.b;
    c = velocity.c;
    d = velocity.d;
}

std::unique_ptr<SpeedParameterImpl> SpeedParameterImpl::RevertSpeedParameter() {
    const RecursiveLock lock(mutex);
    auto copy = std::make_unique<SpeedParameterImpl>(*this);
    const RecursiveLock copyLock(copy->mutex);
    // In a state of its own, because near-zero speeds are freezes in the copy alone.
    copy->isReverted = true;
    copy->version = {};
    copy->Current()->GiveReversed(*Current());
    if (renderCurve.use_count() > 1) {
        ShowRenderCurve();
    }
    return copy;
}

}  // namespace core
