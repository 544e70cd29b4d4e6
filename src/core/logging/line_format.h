#pragma once

// How a log line looks. Pure but for `FormatBody`, whose formatting follows the
// process locale.

#include "core/logging/text_buffer.h"

#include <core/logging/pref_trace.h>

#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace core {

/// What goes into a line. A field that is absent has a null pointer, a line -1.
struct LineFields {
    int level = 0;
    const char* tag = nullptr;
    const char* file = nullptr;
    const char* function = nullptr;
    int line = -1;
    std::uint64_t threadId = 0;
    /// Behind the number, unless null or empty.
    const char* threadName = nullptr;
    /// The local time, as "%d" writes it.
    std::string_view time;
    std::string_view body;
    /// For one JSON object a line.
    const char* module = nullptr;
    const TraceProperty* properties = nullptr;
    std::size_t propertyCount = 0;
    /// Whether control characters in its texts are escaped.
    bool isOneLine = false;
    bool isJson = false;
};

/// The message buffer; what needs more than its 1024 bytes allocates.
using BodyBuffer = TextBuffer<1024>;
using LineBuffer = TextBuffer<2048>;

enum class Colour : bool { No, Yes };

/// A line is cut behind so many bytes, and a message so that there is room for the rest
/// of its line; what is cut says so.
inline constexpr std::size_t kLongestLine = std::size_t{16} << 20;
inline constexpr std::size_t kLongestBody = kLongestLine - (std::size_t{64} << 10);

/// A level as it is written: its name, or its number where it has none.
struct LevelText {
    bool isNamed = false;
    std::string_view colourPrefix;
    char storage[16] = {};
    std::size_t size = 0;

    std::string_view Name() const noexcept { return {storage, size}; }
};
LevelText LevelTextOf(int level) noexcept;

/// The pattern for the fields that are there: "[%s][%i][%d][%t]%m", then "[%f]",
/// "[%l]" and "[%F]".
std::string_view PatternOf(const LineFields& fields) noexcept;

/// Expands a pattern. '%' and a letter that names no field write nothing, nor does
/// '%' at the end; everything else, and all that the fields hold, is copied.
void ExpandPattern(std::string_view pattern, const LineFields& fields, Colour colour,
                   LineBuffer& line);

/// A line with the pattern for its fields, or as a JSON object.
void ExpandLine(const LineFields& fields, Colour colour, LineBuffer& line);

/// Appends " key=value" for each property.
void AppendProperties(const LineFields& fields, BodyBuffer& body);

/// A time as "%d" writes it in the form of ISO 8601, "2024-01-31T23:59:59.123+01:00"; one
/// that has it already stays.
std::string IsoTime(std::string_view time);

/// The time in an expanded line.
std::string_view TimeIn(std::string_view line) noexcept;

/// Formats a message, whole up to `kLongestBody`. A format that can't be used is the
/// message itself.
void FormatBody(const char* format, std::va_list arguments, BodyBuffer& body);

}  // namespace core
