#pragma once

#include <core/data/json_parse.h>
#include <core/export.h>

#include <cstdint>
#include <string>

namespace core {

class JsonValue;

/// How a text is laid out.
enum class JsonLayout : std::uint8_t {
    Compact,  ///< One line, as `JsonValue::Dump` has it.
    Pretty,   ///< Indented lines, as `JsonValue::PrettyDump` has them.
};

/// What becomes of NaN and the infinities, for which JSON has no text.
enum class JsonNotFinite : std::uint8_t {
    Refuse,  ///< Nothing is written.
    Null,    ///< They are written as null.
};

/// How a tree is written.
struct JsonWriteOptions {
    /// One line or many.
    JsonLayout layout = JsonLayout::Compact;
    /// Numbers that JSON has no text for.
    JsonNotFinite notFinite = JsonNotFinite::Refuse;
    /// Whether texts and names must be UTF-8.
    JsonEncoding encoding = JsonEncoding::Utf8;
};

/// Whether a tree has a text, or was written; if not, which value is to blame and why.
struct JsonWriteResult {
    /// A JSON Pointer (RFC 6901), as in "/tracks/0/gain"; "" is the root, or the file.
    std::string pointer;
    /// For people; empty when all is well.
    std::string reason;

    /// Whether there is nothing to blame.
    explicit operator bool() const noexcept { return reason.empty(); }
    /// Place and reason in a line: "/tracks/0/gain: a number that is not finite".
    CORE_API std::string Message() const;
};

/// Replaces `out` by JSON text that loses nothing: `JsonValue::Parse` and `ParseJson` make
/// the same tree of it.
///
/// Each double has the shortest text that is read as the same bits, with a point or an
/// exponent, so that it stays a double. An unsigned integer below 2^63 comes back as a
/// signed one, an empty value as null; a text ends at its first zero byte, as for every
/// reader of it. Refused is what no parser takes: numbers that are not finite and bytes
/// that are no UTF-8, unless asked for, and containers with content more than 81 levels
/// deep. Then `out` is as it was. Takes as long as `JsonValue::Dump`, longer where doubles have
/// more digits. Throws `std::bad_alloc` or `std::length_error`, with `out` as it was.
CORE_API JsonWriteResult WriteJson(const JsonValue& value, std::string& out,
                                   const JsonWriteOptions& options = {});

/// What `WriteJson` would answer, without a text.
CORE_API JsonWriteResult CheckJson(const JsonValue& value, const JsonWriteOptions& options = {});

/// Saves a tree as the text that `WriteJson` makes of it and a line feed, as `SaveFile`
/// does: after a failure or a crash, the file is the old one or the new one, whole.
CORE_API JsonWriteResult SaveJson(const std::string& path, const JsonValue& value,
                                  const JsonWriteOptions& options = {});

}  // namespace core
