#include "core/speed/SpeedParameterImpl.h"

#include "core/curve/numbers.h"
#include "core/foundation/report.h"

#include <core/speed/speed_parameter.h>

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

}  // namespace

SpeedParameterImpl::SpeedParameterImpl() {
    BigParameterImpl::AddPoint(0.0, kNormalSpeed, KeyframeInterpolationType::Hold);
}

SpeedParameterImpl::SpeedParameterImpl(ValAny value) : BigParameterImpl(value) {
    BigParameterImpl::AddPoint(0.0, std::move(value), KeyframeInterpolationType::Hold);
}

SpeedParameterImpl::SpeedParameterImpl(const SpeedParameterImpl& other)
    CORE_NO_THREAD_SAFETY_ANALYSIS : SpeedParameterImpl(other, RecursiveLock(other.mutex)) {}

// No other thread knows the new object, but AddFreezeFrame locks it.
SpeedParameterImpl::SpeedParameterImpl(const SpeedParameterImpl& other,
                                       const RecursiveLock&) CORE_NO_THREAD_SAFETY_ANALYSIS
    : BigParameterImpl(other),
      sourceTotalTime(other.sourceTotalTime),
      sourceFPS(other.sourceFPS),
      reverse(other.reverse.load()),
      freeze(other.freeze),
      reversed(other.reversed),
      reversedValid(other.reversedValid),
      lastSourceTime(other.lastSourceTime) {
    FreezeNearZeroSpeeds();
}

SpeedParameterImpl::SpeedParameterImpl(const SpeedParameterImpl& other,
                                       SettingsOnly) CORE_NO_THREAD_SAFETY_ANALYSIS
    : BigParameterImpl(other, SettingsOnly()),
      sourceTotalTime(other.sourceTotalTime),
      sourceFPS(other.sourceFPS),
      reverse(other.reverse.load()),
      reversed(other.reversed),
      lastSourceTime(other.lastSourceTime) {}

SpeedParameterImpl& SpeedParameterImpl::operator=(const SpeedParameterImpl& other) {
    if (this != &other) {
        SpeedParameterImpl copy(other);
        const RecursiveLock lock(mutex);
        TakeLayers(copy);
        reverse = copy.reverse.load();
    }
    return *this;
}

void SpeedParameterImpl::TakeLayers(SpeedParameterImpl& copy) noexcept
    CORE_NO_THREAD_SAFETY_ANALYSIS {
    TakeCurve(copy);
    sourceTotalTime = copy.sourceTotalTime;
    sourceFPS = copy.sourceFPS;
    freeze = std::move(copy.freeze);
    reversed = std::move(copy.reversed);
    reversedValid = copy.reversedValid;
    lastSourceTime = copy.lastSourceTime;
}

SpeedParameterImpl::~SpeedParameterImpl() = default;

// The map holds on to the keyframes; without it, they are changed in place.
void SpeedParameterImpl::OnEditing() {
    map = nullptr;
}

void SpeedParameterImpl::OnEdited() {
    map = nullptr;
    FreezesChanged();
}

void SpeedParameterImpl::FreezesChanged() {
    CountRevision();
    freezesPlaced = false;
    stretchesValid = false;
    reversedValid = false;
    text.clear();
}

// The curve layer

void SpeedParameterImpl::RebuildMap() const {
    if (GetKeyFramesCount() == 0) {
        ReportUnsolved("core::SpeedParameterImpl::GetRenderTotalTime0", 511);
    }
    map = std::make_unique<TimeMap>(CurrentCurve(), sourceTotalTime);
    mapLacksKeyframes = false;
    freezesPlaced = false;
    MapWasMade();
}

void SpeedParameterImpl::MapWasMade() const {
    renderCurvePublished = false;
    if (renderCurve.use_count() > 1) {
        PublishRenderCurve();
    }
}

void SpeedParameterImpl::BringMapUpToDate() const {
    if (map == nullptr || mapLacksKeyframes) {
        RebuildMap();
    }
}

// Assigned as a whole, so that whoever holds it never sees a part of it.
void SpeedParameterImpl::PublishRenderCurve() const {
    Parameter published;
    for (std::size_t i = 0; i < map->RenderCount(); ++i) {
        const SpeedKey key = map->RenderKey(i);
        published.AddPoint(key.time, key.speed, key.type);
    }
    *renderCurve = published;
    renderCurvePublished = true;
}

std::shared_ptr<Parameter> SpeedParameterImpl::GetParameterInternal() {
    const RecursiveLock lock(mutex);
    BringMapUpToDate();
    if (!renderCurvePublished) {
        PublishRenderCurve();
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
    sourceFPS = fps;
    text.clear();
    CountRevision();
}

int SpeedParameterImpl::GetKeyFramesCountEx() const {
    return GetKeyFramesCount();
}

// The freeze layer

void SpeedParameterImpl::BringUpToDate() const {
    BringMapUpToDate();
    if (!freezesPlaced) {
        freeze.PlaceOnRenderAxis(*map);
        freezesPlaced = true;
    }
}

bool SpeedParameterImpl::IsFreeze(double pointTime, double duration) noexcept {
    return std::isfinite(pointTime) && pointTime >= 0.0 && std::isfinite(duration) &&
           duration >= kTolerance;
}

double SpeedParameterImpl::InstantOf(double sourceTime) const {
    return std::fabs(sourceTime - sourceTotalTime) < kTolerance ? sourceTotalTime : sourceTime;
}

TimeValuePair SpeedParameterImpl::FrozenKeyframe(double sourceTime, bool& changesNoSpeed) {
    TimeValuePair before(0.0, kNormalSpeed, KeyframeInterpolationType::Hold);
    GetPreviousKeyframeTime(sourceTime, &before);
    // What the render curve has there, so that the two parts of a linear segment take the
    // time of the whole.
    const double renderTime = map->RenderOfInstant(sourceTime);
    changesNoSpeed = map->StaysWithKeyframeAt(sourceTime, renderTime);
    return {sourceTime, map->SpeedAt(renderTime), before.GetInterpolation()};
}

bool SpeedParameterImpl::AddFreezeFrame(double pointTime, double duration) {
    if (!IsFreeze(pointTime, duration)) {
        return false;
    }
    const RecursiveLock lock(mutex);
    if (map == nullptr) {
        RebuildMap();
    }
    const SpeedParameterFreezeImpl::Place place = freeze.AtPoint(pointTime);
    if (place.freeze != nullptr) {
        return false;
    }
    const double sourceTime = InstantOf(pointTime - place.shift);
    if (sourceTime > sourceTotalTime) {
        return false;
    }
    freeze.ReserveOneMore();
    if (!HasPoint(sourceTime)) {
        bool staysValid = false;
        const TimeValuePair keyframe = FrozenKeyframe(sourceTime, staysValid);
        std::unique_ptr<const TimeMap> kept = staysValid ? std::move(map) : nullptr;
        AddPoint(sourceTime, keyframe.PeekValue(), keyframe.GetInterpolation());
        if (kept != nullptr) {
            map = std::move(kept);
            mapLacksKeyframes = true;
        }
    }
    freeze.Insert(pointTime, duration, sourceTime);
    FreezesChanged();
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
    if (index < 0 || place >= freeze.Frames().size() ||
        freeze.Frames()[place].duration < kTolerance) {
        return false;
    }
    freeze.SetDuration(place, duration);
    FreezesChanged();
    return true;
}

// Each at its keyframe's own source time, and so behind whatever freezes lie before that;
// where one is already, it stays alone.
void SpeedParameterImpl::FreezeNearZeroSpeeds() {
    std::vector<FreezeFrame> all;
    double added = 0.0;
    std::size_t next = 0;
    const std::span<const FreezeFrame> present = freeze.Frames();
    const auto takeBefore = [&](double sourceTime) {
        for (; next < present.size() && present[next].sourceTime <= sourceTime; ++next) {
            all.push_back(present[next]);
            all.back().key += added;
        }
    };
    const int count = GetKeyFramesCountEx();
    for (int i = 0; i < count; ++i) {
        // The last one has no segment; it too must be a number.
        if (!(std::fabs(GetPointValue(i).AsDouble()) < kNearZeroSpeed) || i + 1 == count) {
            continue;
        }
        const double start = GetPointTime(i);
        const double duration = GetPointTime(i + 1) - start;
        const SpeedParameterFreezeImpl::Place place = freeze.AtSource(start);
        if (place.freeze != nullptr || start < 0.0 || start >= sourceTotalTime + kTolerance ||
            duration < kTolerance || !std::isfinite(duration)) {
            continue;
        }
        takeBefore(start);
        all.push_back({start + place.shift + added, duration, 0.0, start, 0.0});
        added += duration;
    }
    if (added > 0.0) {
        takeBefore(std::numeric_limits<double>::infinity());
        freeze.Assign(std::move(all));
        FreezesChanged();
    }
}

double SpeedParameterImpl::GetRenderTotalTime() {
    const RecursiveLock lock(mutex);
    if (map == nullptr || mapLacksKeyframes || map->SourceCount() == 0) {
        RebuildMap();
    } else {
        // Kept on purpose: what a caller has done to the curve that it was shown is undone.
        MapWasMade();
    }
    return map->RenderLength() + freeze.TotalDuration();
}

double SpeedParameterImpl::GetCurrentFPS(double renderTime) const {
    const RecursiveLock lock(mutex);
    BringUpToDate();
    return freeze.SpeedAt(*map, renderTime);
}

double SpeedParameterImpl::PointTimeToRenderTime(double pointTime) {
    const RecursiveLock lock(mutex);
    BringUpToDate();
    return freeze.RenderOfPoint(*map, pointTime);
}

double SpeedParameterImpl::RenderTimeToPointTime(double renderTime) const {
    const RecursiveLock lock(mutex);
    BringUpToDate();
    return freeze.PointOfRender(*map, renderTime);
}

// The reverse layer

double SpeedParameterImpl::GetSourceTime(double renderTime) const {
    const RecursiveLock lock(mutex);
    BringUpToDate();
    const double sourceTime = freeze.SourceOfRender(*map, renderTime);
    return reverse != 0 ? sourceTotalTime - sourceTime : sourceTime;
}

double SpeedParameterImpl::GetRenderTime(double sourceTime) {
    const RecursiveLock lock(mutex);
    BringUpToDate();
    lastSourceTime = reverse != 0 ? sourceTotalTime - sourceTime : sourceTime;
    return freeze.RenderOfSource(*map, lastSourceTime);
}

int SpeedParameterImpl::SetReverse(bool isReverse) noexcept {
    reverse = isReverse ? 1 : 0;
    CountRevision();
    return 0;
}

void SpeedParameterImpl::GetVelocityTimeCurve(double& a, double& b, double& c, double& d,
                                              int index) {
    const RecursiveLock lock(mutex);
    const Velocity velocity = VelocityAt(index);
    a = velocity.a;
    b = velocity.b;
    c = velocity.c;
    d = velocity.d;
}

Velocity SpeedParameterImpl::VelocityAt(int index) {
    BringUpToDate();
    if (reverse != 0) {
        if (reversed != nullptr && !reversedValid) {
            reversed = std::make_shared<SpeedParameterEx>(*map, freeze);
            reversedValid = true;
        }
        return reversed != nullptr ? reversed->VelocityAt(index) : Velocity{};
    }
    if (!stretchesValid) {
        stretches = ListStretches(*map, freeze);
        stretchesValid = true;
    }
    if (index < 0 || static_cast<std::size_t>(index) >= stretches.size()) {
        return {};
    }
    const int keyframe = stretches[static_cast<std::size_t>(index)].keyframe;
    if (keyframe == VelocityStretch::kFreeze) {
        return {};
    }
    if (!HasVelocity(*map, keyframe)) {
        ReportUnsolved("core::SpeedParameterImpl::GetVelocityTimeCurve0", 920);
        return {};
    }
    return VelocityFrom(*map, keyframe, Direction::Forward);
}

std::unique_ptr<SpeedParameterImpl> SpeedParameterImpl::RevertSpeedParameter() {
    const RecursiveLock lock(mutex);
    RebuildMap();
    BringUpToDate();
    auto copy = std::make_unique<SpeedParameterImpl>(*this);
    const RecursiveLock copyLock(copy->mutex);
    copy->reversed = std::make_shared<SpeedParameterEx>(*map, freeze);
    copy->reversedValid = true;
    return copy;
}

}  // namespace core
