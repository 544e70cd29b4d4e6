#pragma once

// The reader of JSON text, for those who tell why a text is none.

#include <core/data/json_parse.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace core {

class JsonValue;

namespace detail {

/// Containers at deeper levels must be empty.
inline constexpr int kDeepestLevel = 80;
inline constexpr std::ptrdiff_t kMaxJsonLength = std::numeric_limits<std::int32_t>::max();

/// Why a text is not read on.
enum class JsonFault : std::uint8_t {
    None,
    NoValue,
    NoName,
    NoColon,
    NoCommaOrBracket,
    NoCommaOrBrace,
    BadText,  // by the byte: its end, one that must be escaped, or no UTF-8
    BadEscape,
    ZeroEscape,  // \u0000, which would cut the text
    LongText,
    BadNumber,  // no digit, or none behind the point
    LeadingZero,
    LargeInteger,
    LargeNumber,
    TooDeep,
};

struct JsonReading {
    /// Behind the value and the white space that follows it; null where there is no value.
    const char* end;
    /// Why, and the place where that was noticed.
    JsonFault fault;
    const char* place;
};

/// Reads a value from zero-terminated text into one that is empty. It may hold a part of
/// it, or all, when that fails; errno is left alone.
JsonReading ReadJson(const char* text, JsonValue& empty, const JsonParseOptions& options);

}  // namespace detail
}  // namespace core
