#pragma once

#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace core {

class JsonValue;

/// Which texts are JSON.
enum class JsonGrammar : std::uint8_t {
    /// RFC 8259. Only "\u0000" is refused in addition: a text would end there.
    Standard,
    /// What `JsonValue::Parse` reads, too: leading zeros and "1.", vertical tabs and form
    /// feeds between values, and "\u0000".
    Wide,
};

/// What becomes of numbers that neither 64 bits nor a double hold.
enum class JsonOverflow : std::uint8_t {
    /// The text is refused.
    Refuse,
    /// An integer becomes the nearest double; what a double can't hold is refused.
    ToDouble,
    /// The nearest integer, or an infinity, as `JsonValue::Parse` has them.
    Saturate,
};

/// What becomes of bytes in texts and names that are no UTF-8.
enum class JsonEncoding : std::uint8_t {
    Utf8,      ///< The text is refused.
    AnyBytes,  ///< They are kept as they are.
};

/// How strict a reader is; at first, as strict as can be.
struct JsonParseOptions {
    /// Which texts are JSON.
    JsonGrammar grammar = JsonGrammar::Standard;
    /// Numbers that do not fit.
    JsonOverflow overflow = JsonOverflow::Refuse;
    /// Texts that are no UTF-8.
    JsonEncoding encoding = JsonEncoding::Utf8;
};

/// Whether a document was read; if not, where it goes wrong and why.
struct JsonParseResult {
    /// The first byte that is to blame, counted from 0; the mark at a file's start counts.
    std::size_t offset = 0;
    /// The same place as editors count it: lines and characters from 1; 0 where a file
    /// could not be read at all.
    std::size_t line = 0;
    std::size_t column = 0;
    /// For people, as in "expected ',' or ']', not '}'"; empty when the document was read.
    std::string reason;

    /// Whether the document was read.
    explicit operator bool() const noexcept { return reason.empty(); }
    /// Reason and place in a line: "line 3, column 7: expected a value, not ','".
    CORE_API std::string Message() const;
};

/// Reads a whole JSON document; nothing but white space may follow it.
///
///     JsonDoc doc;
///     if (const JsonParseResult result = ParseJson(text, doc.Root()); !result) {
///         Report(result.Message());
///     }
///
/// On failure, `out` is as it was. Containers with content may be 81 levels deep, the text
/// 2147483647 bytes long; a zero byte is no end but a fault. It may lie inside `out`; a
/// view is copied first, the others are not. Takes as long as `JsonValue::Parse`. Throws
/// `std::bad_alloc` or what the allocator throws, with `out` as it was.
CORE_API JsonParseResult ParseJson(const char* text, JsonValue& out,
                                   const JsonParseOptions& options = {});
CORE_API JsonParseResult ParseJson(const std::string& text, JsonValue& out,
                                   const JsonParseOptions& options = {});
CORE_API JsonParseResult ParseJson(std::string_view text, JsonValue& out,
                                   const JsonParseOptions& options = {});

/// The same for a file with a UTF-8 path; a UTF-8 mark at its start is skipped, and UTF-16
/// is told apart. A file that can't be read is a failure whose reason names the system's.
CORE_API JsonParseResult ParseJsonFile(const std::string& path, JsonValue& out,
                                       const JsonParseOptions& options = {});

}  // namespace core
