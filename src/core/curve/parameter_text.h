#pragma once

// A parameter as JSON text, and back.
//
// The text is written number by number in one pass, without a document tree, and the
// digest's text along with it. What the digest covers is what a reader of the text
// gets: a number that the writer rounds counts as rounded, and a keyframe that no
// reader would take does not count.

#include <core/curve/interpolation.h>
#include <core/curve/time_value_pair.h>
#include <core/curve/val_any.h>
#include <core/data/json_object.h>
#include <core/data/json_value.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace core {

/// The bounds that stand for no range.
inline constexpr double kNoDoubleMin = -std::numeric_limits<double>::max();
inline constexpr double kNoDoubleMax = std::numeric_limits<double>::max();
inline constexpr int kNoIntMin = -2147483647;
inline constexpr int kNoIntMax = 2147483647;

/// What a parameter's text holds beside the keyframes.
struct ParameterSettings {
    /// As it was read; 1 for a parameter that never was.
    std::int64_t version = 1;
    ParameterTypeEnum type = ParameterDouble;
    ValAny minVal = kNoDoubleMin;
    ValAny maxVal = kNoDoubleMax;
    ValAny baseRatio = nullptr;

    /// Gives the bounds that stand for no range with this type.
    void ResetRange();
    bool HasNoRange() const;
};

/// What a reader gets for a number that is written.
double AfterSaving(double number) noexcept;

/// Writes the whole text to `text` and answers the digest that ends it. `keyframes`
/// are in time order, no two of them matching. O(n).
std::string WriteParameter(const ParameterSettings& settings,
                           std::span<const TimeValuePair> keyframes, std::string& text);

/// The digest alone.
std::string DigestOf(ParameterTypeEnum type, std::span<const TimeValuePair> keyframes);

/// Reads the members of a parameter's object: into `settings`, where an absent member
/// leaves its field as it is, and the keyframes in time order, of two that match the
/// later one of the array. False, with both half read, when "ParameterType" is no
/// known type or "keyframeSets" no array.
///
/// `skipped` is told the place and the reason of each keyframe that is left out: without
/// "_time" or "_value", with a value of another type, or with a number that is not finite.
/// O(n), O(n log n) when the keyframes are out of order.
using SkippedKeyframe = std::function<void(std::size_t index, const char* reason)>;
bool ReadParameter(const JsonObject& document, ParameterSettings& settings,
                   std::vector<TimeValuePair>& keyframes, const SkippedKeyframe& skipped);

/// Reads one keyframe of the array. Null, or why it is to be left out.
const char* ReadKeyframe(const JsonObject& object, ParameterTypeEnum type, TimeValuePair& keyframe);

/// What the log says of one.
std::string LeftOutText(std::size_t index, const char* reason);

/// A keyframe's value as the type stores it; false when it does not fit.
bool ReadValue(const JsonValue& json, ParameterTypeEnum type, ValAny& value);

}  // namespace core
