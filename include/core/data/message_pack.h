#pragma once

#include <core/data/bson_box.h>
#include <core/data/json_parse.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace core {

class JsonValue;

/// What becomes of an item that JSON has no kind for.
enum class MessagePackForeign : std::uint8_t {
    Refuse,  ///< The document is refused.
    Skip,    ///< Null stands in its place, so that what follows keeps its index.
    /// A text: "base64:" and the bytes in Base64 (RFC 4648), for an extension behind its
    /// type: "ext:5:base64:AQI=".
    Keep,
};

/// What becomes of timestamps, the extensions of type -1.
enum class MessagePackTime : std::uint8_t {
    Text,       ///< RFC 3339, as in "2024-02-29T12:00:00.5Z"; years 0 to 9999 only.
    Seconds,    ///< Since 1970: an integer, a double where there are nanoseconds.
    Extension,  ///< Whatever becomes of other extensions.
};

/// What may be the key of a map.
enum class MessagePackKeys : std::uint8_t {
    Texts,     ///< Nothing else.
    Integers,  ///< Integers too; the member is called as they are written, "-5".
};

/// What becomes of texts with a zero byte, at which a JSON text ends.
enum class MessagePackZeros : std::uint8_t { Refuse, Cut };

/// What to make of items that JSON does not have; at first, nothing is lost quietly.
struct MessagePackOptions {
    /// Binary data (`bin`).
    MessagePackForeign binary = MessagePackForeign::Refuse;
    /// Extensions (`ext`).
    MessagePackForeign extensions = MessagePackForeign::Refuse;
    /// Timestamps.
    MessagePackTime timestamps = MessagePackTime::Text;
    /// Keys of maps.
    MessagePackKeys keys = MessagePackKeys::Texts;
    /// Texts that are no UTF-8.
    JsonEncoding encoding = JsonEncoding::Utf8;
    /// Texts with zero bytes.
    MessagePackZeros zeros = MessagePackZeros::Refuse;
    /// How many arrays and maps may lie in each other.
    std::size_t maxDepth = 1024;
};

/// Whether a document was read; if not, where it goes wrong and why.
struct MessagePackResult {
    /// The first byte of the item that is to blame, counted from 0.
    std::size_t offset = 0;
    /// The same item, counted from 0; headers and keys count.
    std::size_t item = 0;
    /// For people, as in "a text of 5 bytes, of which 2 are there"; empty when the
    /// document was read.
    std::string reason;

    /// Whether the document was read.
    explicit operator bool() const noexcept { return reason.empty(); }
    /// Place and reason in a line: "item 3, at byte 17: byte 0xC1 begins no item".
    CORE_API std::string Message() const;
};

/// Reads a whole document as the MessagePack standard has it, whoever wrote it; nothing
/// may follow it.
///
///     JsonDoc doc;
///     MessagePackOptions options;
///     options.binary = MessagePackForeign::Keep;
///     if (const auto result = MessagePackToJson(box, doc.Root(), options); !result) {
///         Report(result.Message());
///     }
///
/// `BsonToJson` reads the library's own form, takes bytes below zero for others and stops
/// quietly at what it does not know; what `JsonToBson` writes, both read alike. Integers
/// come as signed numbers where they fit, floats as doubles. On failure `out` is as it
/// was. Memory grows with what the bytes hold, not with what their headers promise. Throws
/// `std::bad_alloc` or what the allocator throws, with `out` as it was.
CORE_API MessagePackResult MessagePackToJson(const unsigned char* data, std::size_t size,
                                             JsonValue& out,
                                             const MessagePackOptions& options = {});
CORE_API MessagePackResult MessagePackToJson(const BsonBox& box, JsonValue& out,
                                             const MessagePackOptions& options = {});

/// What a document holds that the library's own form does not, in numbers of items.
struct MessagePackReport {
    /// Whether it is one whole document by the standard, whatever it holds.
    MessagePackResult standard;
    /// Whether `BsonToJson` reads it to its end; if not, where it stops.
    MessagePackResult own;

    /// All items; and how many arrays and maps lie in each other.
    std::size_t items = 0;
    std::size_t depth = 0;
    /// Numbers from -128 to -1 in one or two bytes: `BsonToJson` adds 256.
    std::size_t smallNegatives = 0;
    /// Binary data, timestamps and other extensions: `BsonToJson` stops.
    std::size_t binaries = 0;
    std::size_t timestamps = 0;
    std::size_t extensions = 0;
    /// Keys that are no texts: `BsonToJson` stops.
    std::size_t otherKeys = 0;
    /// Texts and keys with a zero byte, which end there; those that are no UTF-8.
    std::size_t textsWithZero = 0;
    std::size_t textsNotUtf8 = 0;

    /// Whether `BsonToJson` makes of it what the standard says.
    bool IsOwnForm() const noexcept {
        return standard && own && smallNegatives == 0 && textsWithZero == 0;
    }
};

/// Looks a document through without making a tree of it, up to its first fault. Any depth
/// is fine. Throws `std::bad_alloc`.
CORE_API MessagePackReport CheckMessagePack(const unsigned char* data, std::size_t size);
CORE_API MessagePackReport CheckMessagePack(const BsonBox& box);

}  // namespace core
