#include "core/foundation/report.h"
#include "core/speed/SpeedParameterImpl.h"
#include "core/speed/speed_text.h"

#include <core/data/json_doc.h>

#include <utility>
#include <vector>

// Texts: those of a parameter with members added. The lock is held while one is written
// or read, so that a text is of one moment.

namespace core {
namespace {

// Kept on purpose: log filters look for this line number, which follows no source.
void ReportSkippedKeyframe() {
    Report(ReportLevel::Error, "SpeedParameterImpl", "file[SpeedParameterImpl] line[380]");
}

}  // namespace

// The text is kept until something changes. The reverse flag changes without the lock,
// so that the text remembers which flag it tells of.
std::string SpeedParameterImpl::Serialize() {
    const RecursiveLock lock(mutex);
    const int flag = reverse;
    if (text.empty() || textReverse != flag) {
        // By way of a tree, whose writer gives the numbers their stored form.
        JsonDoc document;
        document.Parse(Write().c_str());
        std::vector<WrittenFreeze> freezes;
        freezes.reserve(freeze.Frames().size());
        for (const FreezeFrame& frame : freeze.Frames()) {
            const int keyframe = GetPointIndex(frame.sourceTime);
            freezes.push_back({frame.key, frame.duration,
                               keyframe >= 0 ? GetPointTime(keyframe) : frame.sourceTime});
        }
        WriteSpeedMembers(document.Root().AsObject(), {sourceTotalTime, sourceFPS, flag}, freezes);
        std::string written;
        document.Root().DumpToTail(written);
        text = std::move(written);
        textReverse = flag;
    }
    return text;
}

int SpeedParameterImpl::Desialize(const char* json) {
    const RecursiveLock lock(mutex);
    JsonDoc document;
    JsonObject* object = nullptr;
    if (json == nullptr || document.Parse(json) < 0 || !document.Root().Get(object)) {
        return -1;
    }
    if (FreezeStillKeyframes(*object)) {
        // By way of a text, because rounding the numbers is part of the conversion.
        std::string converted;
        document.Dump(converted);
        if (document.Parse(converted.c_str()) < 0 || !document.Root().Get(object)) {
            return -1;
        }
    }
    // Kept on purpose: a member that a text lacks leaves its field as it was, the freezes
    // included. Callers load partial texts over a curve.
    const int reverseBefore = reverse;
    SpeedSettings settings{sourceTotalTime, sourceFPS, reverseBefore};
    ReadSpeedSettings(*object, settings);
    std::vector<StoredFreeze> freezes;
    const bool hasFreezes = ReadFreezes(*object, freezes);
    if (!(hasFreezes ? LoadWithFreezes(*object, settings, freezes)
                     : LoadSpeeds(*object, settings))) {
        return -1;
    }
    if (settings.reverse != reverseBefore) {  // else SetReverse may have set it meanwhile
        reverse = settings.reverse;
    }
    return 0;
}

// Aside: when a freeze can't be added, the keyframes must not be there already.
bool SpeedParameterImpl::LoadWithFreezes(const JsonObject& document, const SpeedSettings& settings,
                                         const std::vector<StoredFreeze>& freezes) {
    SpeedParameterImpl loaded(*this, SettingsOnly());
    const RecursiveLock loadedLock(loaded.mutex);
    if (!loaded.LoadSpeeds(document, settings)) {
        return false;
    }
    // Instants are found by speeds, which only numbers are.
    const ParameterTypeEnum type = loaded.GetParameterType();
    if (type == ParameterDouble || type == ParameterInt) {
        for (const StoredFreeze& stored : freezes) {
            loaded.AddFreezeFrame(stored.pointTime, stored.duration);
        }
    }
    TakeLayers(loaded);
    return true;
}

bool SpeedParameterImpl::LoadSpeeds(const JsonObject& document, const SpeedSettings& settings) {
    if (!Load(document, &ReportSkippedKeyframe)) {
        return false;
    }
    sourceTotalTime = settings.totalTime;
    sourceFPS = settings.fps;
    return true;
}

}  // namespace core
