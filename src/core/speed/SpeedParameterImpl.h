#pragma once

#include "core/curve/big_parameter_impl.h"
#include "core/speed/freezes.h"
#include "core/speed/speed_text.h"
#include "core/speed/time_map.h"
#include "core/speed/velocity.h"

#include <core/curve/parameter.h>

#include <atomic>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace core {

/// The one implementation behind `SpeedParameter`, whose operations it has: the
/// keyframes of the base, the three layers over them, and the lock.
///
/// The layers, from the inside out: `map` maps times over the keyframes alone,
/// `freeze` puts the freezes around it, and `reverse` takes source times from the
/// source length. The first two know only what they are given; here is what keeps them
/// up to date:
///  1. `map` follows from the keyframes and the source length, and is dropped when
///     they change. While `mapLacksKeyframes` is true, it lacks keyframes that change
///     none of its speeds, so that a row of new freezes is placed by one map;
///  2. where the freezes start on the render axis follows from the map and the
///     freezes; it is stale while `freezesPlaced` is false;
///  3. `stretches` and `reversed` follow from both, and have flags of their own;
///  4. `renderCurve` and `sourceScratch` are what callers see of the map. No answer is
///     read from them, because callers can change them;
///  5. `text` follows from everything that is stored; it is stale while it is empty or
///     `textReverse` is not the reverse flag.
/// Every edit, whoever makes it, ends in `OnEdited`, which sets the flags; every
/// question first works out what it needs of what is stale.
///
/// No call holds the locks of two implementations that callers know.
class SpeedParameterImpl final : public BigParameterImpl {
public:
    SpeedParameterImpl();
    explicit SpeedParameterImpl(ValAny value);
    SpeedParameterImpl(const SpeedParameterImpl& other);
    SpeedParameterImpl& operator=(const SpeedParameterImpl& other);
    ~SpeedParameterImpl() override;

    void GetVelocityTimeCurve(double& a, double& b, double& c, double& d, int index);
    int GetKeyFramesCountEx() const;
    bool SetFreezeFrameDuration(int index, double duration);

    bool AddFreezeFrame(double pointTime, double duration);
    double GetCurrentFPS(double renderTime) const;
    double GetSourceTime(double renderTime) const;
    double GetRenderTime(double sourceTime);
    double PointTimeToRenderTime(double pointTime);
    double RenderTimeToPointTime(double renderTime) const;
    double GetRenderTotalTime();
    double GetSourceTotalTime() const;
    void SetSourceTotalTime(double totalTime);
    double GetSourceFPS() const;
    void SetSourceFPS(double fps);
    int GetReverse() const noexcept { return reverse; }
    int SetReverse(bool isReverse) noexcept;
    std::unique_ptr<SpeedParameterImpl> RevertSpeedParameter();
    std::shared_ptr<Parameter> GetParameterInternal();
    std::shared_ptr<Parameter> GetParameterSource();

    std::string Serialize() override;
    int Desialize(const char* json) override;

protected:
    void OnEditing() override CORE_REQUIRES(mutex);
    void OnEdited() override CORE_REQUIRES(mutex);

private:
    // Copies under a lock of `other` that is held until the copy is complete.
    SpeedParameterImpl(const SpeedParameterImpl& other, const RecursiveLock& lock);

    // The settings of `other`, under its lock; neither keyframes nor freezes.
    SpeedParameterImpl(const SpeedParameterImpl& other, SettingsOnly);

    // Keyframes, settings and freezes of a curve that no other thread knows; the reverse
    // flag apart.
    void TakeLayers(SpeedParameterImpl& copy) noexcept CORE_REQUIRES(mutex);
    // False, changing nothing, for a text that is no parameter's.
    bool LoadSpeeds(const JsonObject& document, const SpeedSettings& settings) CORE_REQUIRES(mutex);
    bool LoadWithFreezes(const JsonObject& document, const SpeedSettings& settings,
                         const std::vector<StoredFreeze>& freezes) CORE_REQUIRES(mutex);

    // Whether a freeze can be so at all.
    static bool IsFreeze(double pointTime, double duration) noexcept;
    // The instant that a freeze holds: the end of the source where it is that near.
    double InstantOf(double sourceTime) const CORE_REQUIRES(mutex);
    // The keyframe that a freeze adds between others, by the map; and whether the map stays
    // right with it.
    TimeValuePair FrozenKeyframe(double sourceTime, bool& changesNoSpeed) CORE_REQUIRES(mutex);
    // As `AddFreezeFrame` one by one, on a curve that has none; where they add many hundred
    // keyframes to smooth speeds, the last of these may lack what others changed. O(n log n).
    void AddStoredFreezes(const std::vector<StoredFreeze>& stored) CORE_REQUIRES(mutex);

    void FreezeNearZeroSpeeds() CORE_REQUIRES(mutex);
    void FreezesChanged() CORE_REQUIRES(mutex);
    void BringMapUpToDate() const CORE_REQUIRES(mutex);
    void BringUpToDate() const CORE_REQUIRES(mutex);
    void RebuildMap() const CORE_REQUIRES(mutex);
    void MapWasMade() const CORE_REQUIRES(mutex);
    void PublishRenderCurve() const CORE_REQUIRES(mutex);
    Velocity VelocityAt(int index) CORE_REQUIRES(mutex);

    double sourceTotalTime CORE_GUARDED_BY(mutex) = 0.0;
    double sourceFPS CORE_GUARDED_BY(mutex) = 25.0;
    std::atomic<int> reverse = 0;

    mutable std::unique_ptr<const TimeMap> map CORE_GUARDED_BY(mutex);
    mutable bool mapLacksKeyframes CORE_GUARDED_BY(mutex) = false;
    mutable SpeedParameterFreezeImpl freeze CORE_GUARDED_BY(mutex);
    mutable bool freezesPlaced CORE_GUARDED_BY(mutex) = false;

    std::vector<VelocityStretch> stretches CORE_GUARDED_BY(mutex);
    bool stretchesValid CORE_GUARDED_BY(mutex) = false;
    // Empty until somebody asks for it; shared by copies.
    std::shared_ptr<const SpeedParameterEx> reversed CORE_GUARDED_BY(mutex);
    bool reversedValid CORE_GUARDED_BY(mutex) = false;

    std::string text CORE_GUARDED_BY(mutex);
    int textReverse CORE_GUARDED_BY(mutex) = 0;

    const std::shared_ptr<Parameter> renderCurve = std::make_shared<Parameter>();
    mutable bool renderCurvePublished CORE_GUARDED_BY(mutex) = false;
    const std::shared_ptr<Parameter> sourceScratch = std::make_shared<Parameter>();
    // The source time that was last asked for; none before the first.
    double lastSourceTime CORE_GUARDED_BY(mutex) = std::numeric_limits<double>::quiet_NaN();
};

}  // namespace core
