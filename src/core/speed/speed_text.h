#pragma once

// What the text of a speed curve holds beside that of a parameter.

#include <core/data/json_object.h>
#include <core/speed/speed_parameter.h>

#include <cstddef>
#include <span>
#include <vector>

namespace core {

/// The settings of a speed curve.
struct SpeedSettings {
    double totalTime;
    double fps;
    int reverse;
};

/// A freeze as texts hold it.
struct StoredFreeze {
    double pointTime;
    double duration;
};

/// A freeze to be written: its place on the point axis, and the time of the keyframe that
/// it stands at, or of its source instant where that has none.
struct WrittenFreeze {
    double key;
    double duration;
    double instant;
};

/// Adds the members of a speed curve to the object of its keyframes. The freezes are in
/// order; one too short for a reader is left out. O(n).
void WriteSpeedMembers(JsonObject& document, const SpeedSettings& settings,
                       std::span<const WrittenFreeze> freezes);

/// Reads the settings. An absent member, and one that is no finite number, leaves its
/// field as it is.
void ReadSpeedSettings(const JsonObject& document, SpeedSettings& settings);

/// Reads the freezes in the order of the text, without those that are no two numbers
/// and those without a duration; which of them can be is for the curve to say. False,
/// leaving `freezes` alone, for a text that has no array of them.
bool ReadFreezes(const JsonObject& document, std::vector<StoredFreeze>& freezes);

/// Rewrites an older document, in which keyframes of near-zero speed stand for freezes,
/// as one that has freezes: takes those keyframes out, each with the one behind it, lets
/// what follows move up, and adds their stretches to "_freeze". False, leaving the
/// document alone, when there are none. Reports keyframes without "_value" or "_time".
/// O(n log n).
/// `places` gets where the keyframes that are left stood.
bool FreezeStillKeyframes(JsonObject& document, std::vector<std::size_t>& places);

}  // namespace core
