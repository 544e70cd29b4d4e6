#include "core/curve/sorted_times.h"
#include "core/foundation/report.h"
#include "core/speed/SpeedParameterImpl.h"
#include "core/speed/freeze_order.h"
#include "core/speed/speed_text.h"

#include <core/curve/time_unit.h>
#include <core/data/json_doc.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>
#include <vector>

// Texts: those of a parameter with members added. The lock is held while one is written
// or read, so that a text is of one moment.

namespace core {
namespace {

// Kept on purpose: log filters look for this line number, which follows no source.
void ReportSkippedKeyframe(const std::string& what) {
    const std::string text = "file[SpeedParameterImpl] line[380] " + what;
    Report(ReportLevel::Error, "SpeedParameterImpl", text.c_str());
}

}  // namespace

std::string SpeedParameterImpl::Serialize() {
    const RecursiveLock lock(mutex);
    return Current()->Text(reverse);
}

int SpeedParameterImpl::Desialize(const char* json, std::vector<LeftOutKeyframe>* leftOut) {
    const RecursiveLock lock(mutex);
    JsonDoc document;
    JsonObject* object = nullptr;
    if (json == nullptr || document.Parse(json) < 0 || !document.Root().Get(object)) {
        return -1;
    }
    std::vector<std::size_t> places;  // of the keyframes of a converted text
    if (FreezeStillKeyframes(*object, places)) {
        // By way of a text, because rounding the numbers is part of the conversion.
        std::string converted;
        document.Dump(converted);
        if (document.Parse(converted.c_str()) < 0 || !document.Root().Get(object)) {
            return -1;
        }
    }
    // Kept on purpose: a member that a text lacks leaves its field as it was, the freezes
    // included. Callers load partial texts over a curve.
    const auto skipped = [&](std::size_t index, const char* reason) {
        const std::size_t place = index < places.size() ? places[index] : index;
        ReportSkippedKeyframe(LeftOutText(place, reason));
        if (leftOut != nullptr) {
            leftOut->push_back({place, reason});
        }
    };
    const int reverseBefore = reverse;
    SpeedSettings settings{sourceTotalTime, sourceFPS, reverseBefore};
    ReadSpeedSettings(*object, settings);
    std::vector<StoredFreeze> stored;
    const bool hasFreezes = ReadFreezes(*object, stored);
    if (!(hasFreezes ? LoadWithFreezes(*object, settings, stored, skipped)
                     : LoadSpeeds(*object, settings, skipped))) {
        return -1;
    }
    if (settings.reverse != reverseBefore) {  // else SetReverse may have set it meanwhile
        reverse = settings.reverse;
    }
    return 0;
}

// Aside: when a freeze can't be added, the keyframes must not be there already.
bool SpeedParameterImpl::LoadWithFreezes(const JsonObject& document, const SpeedSettings& settings,
                                         const std::vector<StoredFreeze>& stored,
                                         const SkippedKeyframe& skipped) {
    SpeedParameterImpl loaded(*this, SettingsOnly());
    const RecursiveLock loadedLock(loaded.mutex);
    if (!loaded.LoadSpeeds(document, settings, skipped)) {
        return false;
    }
    // Instants are found by speeds, which only numbers are.
    const ParameterTypeEnum type = loaded.GetParameterType();
    if (type == ParameterDouble || type == ParameterInt) {
        loaded.AddStoredFreezes(stored);
    }
    TakeLayers(loaded);
    return true;
}

namespace {

// The keyframes that freezes add, until they are added all at once.
class AddedKeyframes {
public:
    bool Has(double time) const {
        const auto at = keyframes.lower_bound(time - 2.0 * kTimeTolerance);
        return std::any_of(at, keyframes.upper_bound(time + 2.0 * kTimeTolerance),
                           [time](const auto& added) { return TimesMatch(added.first, time); });
    }
    void Add(const TimeValuePair& keyframe) { keyframes.emplace(keyframe.GetTime(), keyframe); }
    std::size_t Count() const { return keyframes.size(); }
    std::vector<TimeValuePair> Take() {
        std::vector<TimeValuePair> taken;
        taken.reserve(keyframes.size());
        for (auto& added : keyframes) {
            taken.push_back(std::move(added.second));
        }
        keyframes.clear();
        return taken;
    }

private:
    std::map<double, TimeValuePair> keyframes;
};

// A freeze within smooth speeds changes them for the next one: the map is made anew. After
// this many keyframes in such maps, some seven hundred freezes, that is done only when half
// of the keyframes are new, so that no text takes minutes.
constexpr std::size_t kMostMapped = 300'000;

}  // namespace

void SpeedParameterImpl::AddStoredFreezes(const std::vector<StoredFreeze>& stored) {
    FreezeOrder order;
    AddedKeyframes added;
    Shared<SpeedState> mappedState;
    std::size_t mapped = 0;
    bool isStale = true;
    for (const StoredFreeze& each : stored) {
        if (!IsFreeze(each.pointTime, each.duration)) {
            continue;
        }
        const FreezeOrder::Place place = order.AtPoint(each.pointTime);
        const double sourceTime = InstantOf(each.pointTime - place.shift);
        if (place.isFrozen || sourceTime > sourceTotalTime) {
            continue;
        }
        if (!HasPoint(sourceTime) && !added.Has(sourceTime)) {
            const std::size_t count = static_cast<std::size_t>(GetKeyFramesCount()) + added.Count();
            const bool isWorthIt =
                mapped == 0 || mapped + count <= kMostMapped || 2 * added.Count() >= count;
            if (isStale && isWorthIt) {
                AddPoints(added.Take());
                mappedState = Current();
                mapped += count;
                isStale = false;
            }
            bool changesNoSpeed = false;
            added.Add(FrozenKeyframe(mappedState->Map(), sourceTime, changesNoSpeed));
            isStale = isStale || !changesNoSpeed;
        }
        order.Insert(each.pointTime, place.shift, each.duration, sourceTime);
    }
    AddPoints(added.Take());
    EditFreezes().Assign(order.Freezes());
}

bool SpeedParameterImpl::LoadSpeeds(const JsonObject& document, const SpeedSettings& settings,
                                    const SkippedKeyframe& skipped) {
    if (!Load(document, skipped)) {
        return false;
    }
    sourceTotalTime = settings.totalTime;
    sourceFPS = settings.fps;
    return true;
}

}  // namespace core
