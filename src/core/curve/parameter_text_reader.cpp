#include "core/curve/numbers.h"
#include "core/curve/parameter_text.h"
#include "core/curve/sorted_times.h"

#include <core/data/json_array.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace core {
namespace {

// The members of a parameter and of a keyframe, in the order in which they are written;
// two more that older keyframes have.
enum Member : std::size_t { kVersion, kType, kMinVal, kMaxVal, kBaseRatio, kSets, kMemberCount };
constexpr std::array<const char*, kMemberCount> kMemberNames = {
    "Version", "ParameterType", "_minVal", "_maxVal", "_baseRatio", "keyframeSets",
};
enum Field : std::size_t {
    kTime,
    kInterpolation,
    kValue,
    kLeft,
    kLeftY,
    kRight,
    kRightY,
    kLeftX,
    kRightX,
    kFieldCount,
};
constexpr std::array<const char*, kFieldCount> kFieldNames = {
    "_time",
    "Interpolation",
    "_value",
    "_leftDerivative",
    "_leftDerivativeY",
    "_rightDerivative",
    "_rightDerivativeY",
    "_leftDerivativeX",
    "_rightDerivativeX",
};

// The first member of each name, or null.
template <std::size_t kCount>
std::array<const JsonValue*, kCount> FirstOfEach(const std::array<const char*, kCount>& names,
                                                 const JsonObject& object) noexcept {
    std::array<const JsonValue*, kCount> found{};
    // Members are expected in their order; any other order is found, too.
    std::size_t expected = 0;
    for (const JsonMember& member : object) {
        std::size_t i = expected;
        if (i == kCount || std::strcmp(member.Name(), names[i]) != 0) {
            i = 0;
            while (i < kCount && std::strcmp(member.Name(), names[i]) != 0) {
                ++i;
            }
        }
        if (i < kCount) {
            if (found[i] == nullptr) {
                found[i] = &member;
            }
            expected = i + 1;
        }
    }
    return found;
}

bool ReadFinite(const JsonValue& json, double& number) noexcept {
    double read = 0.0;
    if (!json.Get(read) || !std::isfinite(read)) {
        return false;
    }
    number = read;
    return true;
}

// A number that may be absent, or null; false for anything else.
bool ReadOptional(const JsonValue* json, double& number) noexcept {
    return json == nullptr || json->IsNull() || ReadFinite(*json, number);
}

// One side's handle. The older form has one number; X replaces it.
bool ReadHandle(const JsonValue* one, const JsonValue* xJson, const JsonValue* yJson, double& x,
                double& y) noexcept {
    return ReadOptional(one, x) && ReadOptional(xJson, x) && ReadOptional(yJson, y);
}

bool ReadPoint(const JsonValue& json, Pointd& point) noexcept {
    const JsonArray* numbers = nullptr;
    if (!json.Get(numbers) || numbers->Count() != 2) {
        return false;
    }
    const JsonElem* const x = numbers->First();
    return ReadFinite(*x, point.x) && ReadFinite(*x->NextSibling(), point.y);
}

// What the writer makes of the bounds that stand for no range: it cuts them, and what
// is left is read as the outermost integers.
double WithoutCut(const JsonValue& json, double number) noexcept {
    constexpr double kLeast = -9223372036854775808.0;
    constexpr double kMost = 18446744073709551616.0;
    if (json.IsSigned() && number == kLeast) {
        return kNoDoubleMin;
    }
    if (json.IsUnsigned() && number == kMost) {
        return kNoDoubleMax;
    }
    return std::clamp(number, kNoDoubleMin, kNoDoubleMax);
}

// A bound or a ratio. Null means none; a value that is none leaves the field alone.
void ReadSetting(const JsonValue* json, ParameterTypeEnum type, ValAny& setting) {
    if (json == nullptr) {
        return;
    }
    double number = 0.0;
    bool boolean = false;
    std::string text;
    Pointd point;
    if (json->IsNull()) {
        setting = nullptr;
    } else if (json->Get(number)) {
        if (type == ParameterInt) {
            setting = TruncateToInt(number);
        } else {
            setting = WithoutCut(*json, number);
        }
    } else if (json->Get(boolean)) {
        setting = boolean;
    } else if (json->Get(text)) {
        setting = std::move(text);
    } else if (ReadPoint(*json, point)) {
        setting = point;
    }
}

// Sorts, and of keyframes that match keeps the last one of the text: the outcome of
// adding them one by one.
void PutInOrder(std::vector<TimeValuePair>& keyframes) {
    const auto followsWell = [](const TimeValuePair& a, const TimeValuePair& b) {
        return !(a.GetTime() < b.GetTime()) || TimesMatch(a.GetTime(), b.GetTime());
    };
    if (std::adjacent_find(keyframes.begin(), keyframes.end(), followsWell) == keyframes.end()) {
        return;
    }
    std::vector<std::size_t> order(keyframes.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    const auto timeAt = [&](std::size_t i) { return keyframes[order[i]].GetTime(); };
    std::sort(order.begin(), order.end(), [&keyframes](std::size_t a, std::size_t b) {
        return keyframes[a].GetTime() < keyframes[b].GetTime();
    });

    // Keyframe i goes when a later one of the text matches it. Those that match it are a
    // window of the sorted row; `latest` holds the candidates for its maximum.
    std::vector<TimeValuePair> kept;
    kept.reserve(keyframes.size());
    std::vector<std::size_t> latest;
    std::size_t first = 0;
    std::size_t end = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
        for (; end < order.size() && (end <= i || TimesMatch(timeAt(end), timeAt(i))); ++end) {
            while (latest.size() > first && order[latest.back()] < order[end]) {
                latest.pop_back();
            }
            latest.push_back(end);
        }
        while (latest[first] < i && !TimesMatch(timeAt(latest[first]), timeAt(i))) {
            ++first;
        }
        if (latest[first] == i) {
            kept.push_back(std::move(keyframes[order[i]]));
        }
    }
    keyframes = std::move(kept);
}

}  // namespace

bool ReadValue(const JsonValue& json, ParameterTypeEnum type, ValAny& value) {
    switch (type) {
        case ParameterInt: {
            int integer = 0;
            double number = 0.0;
            // A double outside the range of integers would be cut to anything.
            if (json.IsDouble() ? !ReadFinite(json, number) || std::fabs(number) >= 0x1p31
                                : !json.Get(integer)) {
                return false;
            }
            value = json.IsDouble() ? static_cast<int>(number) : integer;
            return true;
        }
        case ParameterBool: {
            bool boolean = false;
            if (!json.Get(boolean)) {
                return false;
            }
            value = boolean;
            return true;
        }
        case ParameterString:
            if (!json.IsString()) {
                return false;
            }
            value = json.AsString();
            return true;
        case ParameterPoint: {
            Pointd point;
            if (!ReadPoint(json, point)) {
                return false;
            }
            value = point;
            return true;
        }
        default: {
            double number = 0.0;
            if (!ReadFinite(json, number)) {
                return false;
            }
            value = number;
            return true;
        }
    }
}

const char* ReadKeyframe(const JsonObject& object, ParameterTypeEnum type,
                         TimeValuePair& keyframe) {
    const auto fields = FirstOfEach(kFieldNames, object);
    double time = 0.0;
    ValAny value;
    auto interpolation = static_cast<double>(KeyframeInterpolationType::Extrapolate);
    double leftX = 0.0;
    double leftY = 0.0;
    double rightX = 0.0;
    double rightY = 0.0;
    if (fields[kTime] == nullptr) {
        return "it has no \"_time\"";
    }
    if (fields[kValue] == nullptr) {
        return "it has no \"_value\"";
    }
    if (!ReadFinite(*fields[kTime], time)) {
        return "\"_time\" is no finite number";
    }
    if (!ReadValue(*fields[kValue], type, value)) {
        return "\"_value\" is not of the parameter's type";
    }
    if (!ReadOptional(fields[kInterpolation], interpolation)) {
        return "\"Interpolation\" is no finite number";
    }
    if (!ReadHandle(fields[kLeft], fields[kLeftX], fields[kLeftY], leftX, leftY)) {
        return "its left handle is no finite number";
    }
    if (!ReadHandle(fields[kRight], fields[kRightX], fields[kRightY], rightX, rightY)) {
        return "its right handle is no finite number";
    }
    const bool isHeld = type == ParameterBool || type == ParameterString;
    keyframe = TimeValuePair(
        time, std::move(value),
        isHeld ? KeyframeInterpolationType::Hold
               : static_cast<KeyframeInterpolationType>(TruncateToInt(interpolation)));
    keyframe.SetLeftDerivativeEx(leftX, leftY);
    keyframe.SetRightDerivativeEx(rightX, rightY);
    return nullptr;
}

std::string LeftOutText(std::size_t index, const char* reason) {
    return "keyframe " + std::to_string(index) + " is left out: " + reason;
}

void ParameterSettings::ResetRange() {
    switch (type) {
        case ParameterInt:
            minVal = kNoIntMin;
            maxVal = kNoIntMax;
            break;
        case ParameterBool:
        case ParameterString:
        case ParameterPoint:
            minVal = nullptr;
            maxVal = nullptr;
            break;
        default:
            minVal = kNoDoubleMin;
            maxVal = kNoDoubleMax;
            break;
    }
}

bool ParameterSettings::HasNoRange() const {
    if (minVal.IsEmpty() && maxVal.IsEmpty()) {
        return true;
    }
    if (!minVal.IsNumber() || !maxVal.IsNumber()) {
        return false;
    }
    const double low = minVal.AsDouble();
    const double high = maxVal.AsDouble();
    return (low == kNoDoubleMin && high == kNoDoubleMax) ||
           (type == ParameterInt && low == kNoIntMin && high == kNoIntMax);
}

bool ReadParameter(const JsonObject& document, ParameterSettings& settings,
                   std::vector<TimeValuePair>& keyframes, const SkippedKeyframe& skipped) {
    const auto members = FirstOfEach(kMemberNames, document);
    const JsonArray* elements = nullptr;
    if (members[kSets] == nullptr || !members[kSets]->Get(elements)) {
        return false;
    }
    if (members[kType] != nullptr) {
        int number = 0;
        if (!members[kType]->Get(number) || number < ParameterDouble || number > ParameterPoint) {
            return false;
        }
        const bool hadNoRange = settings.HasNoRange();
        settings.type = static_cast<ParameterTypeEnum>(number);
        if (hadNoRange) {
            settings.ResetRange();
        }
    }
    if (members[kVersion] != nullptr) {
        members[kVersion]->Get(settings.version);
    }
    ReadSetting(members[kMinVal], settings.type, settings.minVal);
    ReadSetting(members[kMaxVal], settings.type, settings.maxVal);
    ReadSetting(members[kBaseRatio], settings.type, settings.baseRatio);
    if (settings.HasNoRange()) {
        settings.ResetRange();
    }

    keyframes.clear();
    keyframes.reserve(static_cast<std::size_t>(elements->Count()));
    std::size_t index = 0;
    for (const JsonElem& element : *elements) {
        const JsonObject* object = nullptr;
        keyframes.emplace_back();
        const char* const reason = element.Get(object)
                                       ? ReadKeyframe(*object, settings.type, keyframes.back())
                                       : "it is no object";
        if (reason != nullptr) {
            keyframes.pop_back();
            skipped(index, reason);
        }
        ++index;
    }
    PutInOrder(keyframes);
    return true;
}

}  // namespace core
