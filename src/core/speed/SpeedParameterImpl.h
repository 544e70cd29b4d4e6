#pragma once

#include "core/curve/big_parameter_impl.h"
#include "core/foundation/shared.h"
#include "core/speed/freezes.h"
#include "core/speed/speed_state.h"
#include "core/speed/speed_text.h"
#include "core/speed/time_map.h"

#include <core/curve/parameter.h>
#include <core/speed/snapshot.h>

#include <atomic>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace core {

/// The one implementation behind `SpeedParameter`, whose operations it has: the lock, the
/// keyframes of the base, the freezes and settings over them, and the reverse flag.
///
/// All that follows from these is in `version`, made for the first question after an edit.
/// The state holds on to keyframes and freezes, so that whoever has one, a snapshot or a
/// copy, keeps it as it is. Every edit, whoever makes it, begins with `OnEditing`, which
/// lets the state go: what nobody else holds is then changed in place.
///
/// `renderCurve` and `sourceScratch` are what callers see. No answer is read from them,
/// because callers can change them.
///
/// No call holds the locks of two implementations that callers know.
class SpeedParameterImpl final : public BigParameterImpl {
public:
    SpeedParameterImpl();
    explicit SpeedParameterImpl(ValAny value);
    explicit SpeedParameterImpl(const SpeedSnapshot& snapshot);
    SpeedParameterImpl(const SpeedParameterImpl& other);
    SpeedParameterImpl& operator=(const SpeedParameterImpl& other);
    ~SpeedParameterImpl() override;

    void GetVelocityTimeCurve(double& a, double& b, double& c, double& d, int index);
    int GetKeyFramesCountEx() const;
    bool SetFreezeFrameDuration(int index, double duration);

    bool AddFreezeFrame(double pointTime, double duration);
    bool RemoveFreezeFrame(int index);
    bool MoveFreezeFrame(int index, double pointTime);
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

    SpeedSnapshot Snapshot() const;
    /// Takes all that a curve is, from one that no other thread knows.
    void Take(SpeedParameterImpl& made);
    /// The same, but false and nothing where the curve is not `base` any more. `base` has
    /// the flag that `made` began with.
    bool TakeIfStill(const SpeedSnapshot& base, SpeedParameterImpl& made);

    std::string Serialize() override;
    int Desialize(const char* json, std::vector<LeftOutKeyframe>* leftOut) override;

protected:
    void OnEditing() override CORE_REQUIRES(mutex) { version = {}; }
    void OnEdited() override CORE_REQUIRES(mutex) { version = {}; }

private:
    // Copies under a lock of `other` that is held until the copy is complete.
    SpeedParameterImpl(const SpeedParameterImpl& other, const RecursiveLock& lock);

    // The settings of `other`, under its lock; neither keyframes nor freezes.
    SpeedParameterImpl(const SpeedParameterImpl& other, SettingsOnly);

    // All but the reverse flag of a curve that no other thread knows.
    void TakeLayers(SpeedParameterImpl& copy) noexcept CORE_REQUIRES(mutex);
    // False, changing nothing, for a text that is no parameter's.
    bool LoadSpeeds(const JsonObject& document, const SpeedSettings& settings,
                    const SkippedKeyframe& skipped) CORE_REQUIRES(mutex);
    bool LoadWithFreezes(const JsonObject& document, const SpeedSettings& settings,
                         const std::vector<StoredFreeze>& stored, const SkippedKeyframe& skipped)
        CORE_REQUIRES(mutex);

    // Whether a freeze can be so at all.
    static bool IsFreeze(double pointTime, double duration) noexcept;
    // The instant that a freeze holds: the end of the source where it is that near.
    double InstantOf(double sourceTime) const CORE_REQUIRES(mutex);
    // The keyframe that a freeze adds between others, by the map; and whether the map stays
    // right with it.
    TimeValuePair FrozenKeyframe(const TimeMap& map, double sourceTime, bool& changesNoSpeed)
        CORE_REQUIRES(mutex);
    // As `AddFreezeFrame` one by one, on a curve that has none; where they add many hundred
    // keyframes to smooth speeds, the last of these may lack what others changed. O(n log n).
    void AddStoredFreezes(const std::vector<StoredFreeze>& stored) CORE_REQUIRES(mutex);
    void FreezeNearZeroSpeeds() CORE_REQUIRES(mutex);
    bool HasFreeze(int index) const CORE_REQUIRES(mutex) {
        return index >= 0 && static_cast<std::size_t>(index) < freezes->Freezes().size();
    }
    // Whether the keyframe at a freeze's instant goes with it: no end of the curve or of the
    // source, and what the freeze would bring if it was not there.
    bool BroughtKeyframe(const Freeze& freeze, int keyframe) const CORE_REQUIRES(mutex);

    // The freezes, to be changed.
    SpeedParameterFreezeImpl& EditFreezes() CORE_REQUIRES(mutex);

    const Shared<SpeedState>& Current() const CORE_REQUIRES(mutex);
    void ShowRenderCurve() const CORE_REQUIRES(mutex);

    double sourceTotalTime CORE_GUARDED_BY(mutex) = 0.0;
    double sourceFPS CORE_GUARDED_BY(mutex) = 25.0;
    Shared<SpeedParameterFreezeImpl> freezes CORE_GUARDED_BY(mutex) =
        Shared<SpeedParameterFreezeImpl>::Make();
    std::atomic<int> reverse = 0;
    // Whether RevertSpeedParameter made it, or what it is a copy of.
    bool isReverted CORE_GUARDED_BY(mutex) = false;

    struct Version {
        Shared<SpeedState> state;  // null from an edit to the next question
        bool isShown = false;      // to callers, as `renderCurve`
    };
    mutable Version version CORE_GUARDED_BY(mutex);

    const std::shared_ptr<Parameter> renderCurve = std::make_shared<Parameter>();
    const std::shared_ptr<Parameter> sourceScratch = std::make_shared<Parameter>();
    // The source time that was last asked for; none before the first.
    double lastSourceTime CORE_GUARDED_BY(mutex) = std::numeric_limits<double>::quiet_NaN();
};

}  // namespace core
