#include "core/speed/speed_text.h"

#include "core/curve/numbers.h"
#include "core/curve/parameter_text.h"
#include "core/curve/sorted_times.h"
#include "core/foundation/report.h"

#include <core/curve/time_unit.h>
#include <core/data/json_array.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace core {
namespace {

constexpr double kTolerance = kTimeTolerance;
constexpr double kUsualFps = 25.0;
constexpr int kSavedDecimals = 8;
// Kept on purpose: converted projects have been saved with six decimals, not eight.
constexpr int kConvertedDecimals = 6;

// Numbers as "%.8lf %.8lf" writes them and "%lf %lf" reads them, whatever the locale.

std::string FixedPair(double first, double second, int decimals) {
    // The largest double has 309 digits before the point.
    std::array<char, 800> text;
    char* const limit = text.data() + text.size();
    char* at = std::to_chars(text.data(), limit, first, std::chars_format::fixed, decimals).ptr;
    *at++ = ' ';
    at = std::to_chars(at, limit, second, std::chars_format::fixed, decimals).ptr;
    return {text.data(), at};
}

const char* ReadFixed(const char* at, const char* end, double& number) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    while (at != end && kBlanks.find(*at) != std::string_view::npos) {
        ++at;
    }
    if (end - at > 1 && *at == '+' && at[1] != '-') {
        ++at;
    }
    const std::from_chars_result read = std::from_chars(at, end, number);
    return read.ec == std::errc() ? read.ptr : nullptr;
}

bool ReadPair(std::string_view text, StoredFreeze& freeze) {
    const char* const end = text.data() + text.size();
    const char* const behind = ReadFixed(text.data(), end, freeze.pointTime);
    return behind != nullptr && ReadFixed(behind, end, freeze.duration) != nullptr;
}

// What a reader gets for a number that is written with eight decimals.
double Saved(double number) {
    StoredFreeze read{number, 0.0};
    ReadPair(FixedPair(number, 0.0, kSavedDecimals), read);
    return read.pointTime;
}

bool ReadFinite(const JsonValue* json, double& number) {
    double read = 0.0;
    if (json == nullptr || !json->Get(read) || !std::isfinite(read)) {
        return false;
    }
    number = read;
    return true;
}

}  // namespace

// A reader takes the source instant of a freeze from its point time, less the freezes
// before it, and then finds the keyframe that matches it. Where their rounding has added up
// to so much that it would find none, or where rounding made two freezes touch, so that a
// reader would refuse the second one, the point time follows what was written of the others.
void WriteSpeedMembers(JsonObject& document, const SpeedSettings& settings,
                       std::span<const WrittenFreeze> freezes) {
    JsonValue number;
    number.Set(settings.totalTime);
    document.Add("_totalTime", number);
    if (std::fabs(settings.fps - kUsualFps) >= kTolerance) {
        number.Set(settings.fps);
        document.Add("_sourceFPS", number);
    }
    if (settings.reverse != 0) {
        number.Set(settings.reverse);
        document.Add("reverse", number);
    }
    JsonArray* elements = nullptr;
    const double total = AfterSaving(settings.totalTime);
    double before = 0.0;
    double end = -std::numeric_limits<double>::infinity();
    for (const WrittenFreeze& freeze : freezes) {
        if (freeze.duration < kTolerance) {
            continue;
        }
        const auto findsInstant = [&](double key) {
            const double found = Saved(key) - before;
            return TimesMatch(TimesMatch(found, total) ? total : found,
                              AfterSaving(freeze.instant));
        };
        double key = freeze.key;
        if (!findsInstant(key)) {
            key = freeze.instant + before;
        }
        if (Saved(key) - end < kTolerance) {
            key = end + 1.1 * kTolerance;
        }
        if (elements == nullptr) {
            elements = &document.AddArray("_freeze");
        }
        elements->Add(nullptr).Set(FixedPair(key, freeze.duration, kSavedDecimals));
        before += Saved(freeze.duration);
        end = Saved(key) + Saved(freeze.duration);
    }
}

void ReadSpeedSettings(const JsonObject& document, SpeedSettings& settings) {
    ReadFinite(document.Find("_totalTime"), settings.totalTime);
    ReadFinite(document.Find("_sourceFPS"), settings.fps);
    const JsonMember* const reverse = document.Find("reverse");
    double number = 0.0;
    if (reverse != nullptr && reverse->IsBool()) {
        settings.reverse = reverse->AsBool() ? 1 : 0;
    } else if (ReadFinite(reverse, number)) {
        settings.reverse = TruncateToInt(number);
    }
}

bool ReadFreezes(const JsonObject& document, std::vector<StoredFreeze>& freezes) {
    const JsonMember* const member = document.Find("_freeze");
    const JsonArray* elements = nullptr;
    if (member == nullptr || !member->Get(elements)) {
        return false;
    }
    freezes.clear();
    for (const JsonElem& element : *elements) {
        StoredFreeze freeze{};
        if (element.IsString() && ReadPair(element.AsString(), freeze) &&
            std::fabs(freeze.duration) >= kTolerance) {
            freezes.push_back(freeze);
        }
    }
    return true;
}

// Older texts

namespace {

constexpr char kTransformer[] = "FreezeArrayTransformer";

void ReportIncomplete(int line) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "file[SpeedParameterImpl] line[%d]", line);
    Report(ReportLevel::Error, kTransformer, text.data());
}

// Kept on purpose: log filters know the three cases by these line numbers.
constexpr int kNextWithoutTime = 233;
constexpr int kIncomplete = 215;
constexpr int kWithoutValue = 262;

/// What the conversion needs of an element of "keyframeSets".
struct OlderKeyframe {
    JsonElem* element;
    JsonMember* time = nullptr;
    JsonMember* value = nullptr;

    explicit OlderKeyframe(JsonElem& ofArray) : element(&ofArray) {
        JsonObject* object = nullptr;
        if (ofArray.Get(object)) {
            time = object->Find("_time");
            value = object->Find("_value");
        }
    }
    /// Slow enough to stand for a freeze.
    bool IsStill() const {
        double speed = 0.0;
        return ReadFinite(value, speed) && std::fabs(speed) < kNearZeroSpeed;
    }
};

// Adds the converted freezes to those that the text has already. These lie on the
// point axis, with each other counted; the converted ones on the axis of the keyframes,
// which the freezes of the text don't lengthen.
void AddConverted(JsonObject& document, const std::map<double, double>& converted) {
    std::vector<StoredFreeze> present;
    ReadFreezes(document, present);
    std::vector<std::string> texts;
    double shift = 0.0;
    auto next = converted.begin();
    const auto addUpTo = [&](double pointTime) {
        for (; next != converted.end() && next->first + shift <= pointTime; ++next) {
            texts.push_back(FixedPair(next->first + shift, next->second, kConvertedDecimals));
        }
    };
    for (const StoredFreeze& freeze : present) {
        addUpTo(freeze.pointTime);
        texts.push_back(FixedPair(freeze.pointTime, freeze.duration, kSavedDecimals));
        shift += freeze.duration;
    }
    addUpTo(std::numeric_limits<double>::infinity());
    JsonArray& elements = document["_freeze"].MakeEmptyArray();
    for (const std::string& text : texts) {
        elements.Add(nullptr).Set(text);
    }
}

}  // namespace

bool FreezeStillKeyframes(JsonObject& document, std::vector<std::size_t>& places) {
    JsonArray* array = nullptr;
    JsonMember* const sets = document.Find("keyframeSets");
    if (sets == nullptr || !sets->Get(array)) {
        return false;
    }
    std::vector<OlderKeyframe> keyframes;
    keyframes.reserve(static_cast<std::size_t>(array->Count()));
    for (JsonElem& element : *array) {
        keyframes.emplace_back(element);
    }

    // Where the still stretches are, and how far each keyframe moves up.
    std::map<double, double> freezes;
    std::vector<std::pair<JsonMember*, double>> moved;
    double freezeStart = -1.0;
    double removed = 0.0;
    for (std::size_t i = 0; i < keyframes.size(); ++i) {
        const OlderKeyframe& keyframe = keyframes[i];
        if (keyframe.value == nullptr || keyframe.time == nullptr) {
            ReportIncomplete(kIncomplete);
            continue;
        }
        double speed = 0.0;
        double time = 0.0;
        if (!ReadFinite(keyframe.value, speed) || !ReadFinite(keyframe.time, time)) {
            continue;
        }
        if (std::fabs(speed) < kNearZeroSpeed) {
            freezeStart = freezeStart < 0.0 ? time : freezeStart;
            double duration = 0.0;
            if (i + 1 < keyframes.size()) {
                double end = 0.0;
                if (keyframes[i + 1].time == nullptr) {
                    ReportIncomplete(kNextWithoutTime);
                } else if (ReadFinite(keyframes[i + 1].time, end)) {
                    duration = end - time;
                }
            }
            freezes[time] = duration;
        } else if (freezeStart >= 0.0) {
            removed += time - freezeStart;
            freezeStart = -1.0;
        }
        moved.emplace_back(keyframe.time, time - removed);
    }
    if (removed < kTolerance || !std::isfinite(removed)) {
        return false;
    }
    for (const auto& [member, time] : moved) {
        member->Set(time);
    }

    // Kept on purpose: every still keyframe takes the one behind it along, so that of two
    // in a row three are gone, and one more. Stored projects were converted so.
    std::vector<std::size_t> kept;  // the last one first
    for (std::size_t i = keyframes.size(); i-- > 0;) {
        if (keyframes[i].value == nullptr) {
            ReportIncomplete(kWithoutValue);
        }
        if (!keyframes[i].IsStill()) {
            kept.push_back(i);
        } else if (!kept.empty()) {
            kept.pop_back();
        }
    }
    JsonElem* to = array->First();
    places.assign(kept.rbegin(), kept.rend());
    for (const std::size_t place : places) {
        if (to != keyframes[place].element) {
            *to = std::move(*keyframes[place].element);
        }
        to = to->NextSibling();
    }
    array->Resize(static_cast<int>(places.size()));
    AddConverted(document, freezes);
    return true;
}

}  // namespace core
