// JSON text to nodes.
//
// One pass over zero-terminated text, without recursion: the containers around the
// value being read stand on a stack of their own.
//
// 1. No byte before `limit` is zero, so that blocks are read there without passing the
//    end of the text. It is moved on in steps: a fragment of a long text costs no more
//    than its own length.
// 2. Every element and member is in its container before its value is read, so that
//    clearing the outermost node clears all.
// 3. A failure is noted where it is met; the words for it are found by those who tell.

#include "core/data/json_parser.h"

#include "core/data/deep_stack.h"
#include "core/data/escapes.h"
#include "core/data/json_nodes.h"
#include "core/data/number_reader.h"
#include "core/data/text_file.h"
#include "core/data/text_scan.h"
#include "core/data/utf8.h"

#include <core/data/json_doc.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <system_error>
#include <type_traits>

namespace core {
namespace {

using detail::DeepStack;
using detail::JsonFault;
using detail::JsonNodes;
using detail::kDeepestLevel;
using detail::kMaxJsonLength;
using detail::NodeMemory;
using detail::Space;
using detail::TextBlock;
using detail::TextMap;

/// Which texts are taken.
enum class Dialect : std::uint8_t {
    Trusting,  // numbers and white space as the C library has them, any bytes in texts
    Wide,      // the same, but UTF-8 and what numbers hold are looked at when asked for
    Standard,  // RFC 8259 instead of the C library
};

/// Reads nodes. One text per object.
template <Dialect kDialect>
class Parser {
public:
    Parser(const char* text, JsonAllocator* allocator, int depth,
           const JsonParseOptions& asked = {}) noexcept
        : memory(allocator), limit(text), options(asked), level(depth) {}

    /// Why and where reading has failed.
    JsonFault Fault() const noexcept { return fault; }
    const char* FaultPlace() const noexcept { return faultPlace; }

    // Where the node ends that starts at `at`, or behind white space there; null when there
    // is none.

    const char* ReadValue(JsonValue& value, const char* at) {
        at = SkipSpace(at);
        memory.Return();
        if (*at == '[') {
            return ReadArray(value.MakeEmptyArray(), at);
        }
        if (*at == '{') {
            return ReadObject(value.MakeEmptyObject(), at);
        }
        if (*at == '"') {
            return ReadString(value.MakeEmptyString(), at);
        }
        value.Clear();
        return ReadScalar(value, at);
    }
    const char* ReadArray(JsonArray& array, const char* at) {
        at = SkipSpace(at);
        return *at == '[' ? Run(Open(array, at)) : Fail(JsonFault::NoValue, at);
    }
    const char* ReadObject(JsonObject& object, const char* at) {
        at = SkipSpace(at);
        return *at == '{' ? Run(Open(object, at)) : Fail(JsonFault::NoValue, at);
    }
    const char* ReadMember(JsonMember& member, const char* at) {
        at = ReadName(member, SkipSpace(at));
        return at != nullptr ? ReadValue(member, at) : nullptr;
    }

private:
    /// A container whose content is being read: one of the two.
    struct Container {
        JsonArray* array;
        JsonObject* object;
    };
    /// What became of the innermost open container.
    enum class Change : std::uint8_t { None, Entered, Closed };

    [[gnu::cold, gnu::noinline]] const char* Fail(JsonFault why, const char* at) noexcept {
        fault = why;
        faultPlace = at;
        return nullptr;
    }

    // Reading goes on at `at`, which is passed on and answered: as a value of its own, which
    // no byte that is written can change, it stays in a register. Null means a failure.

    /// From the first child of the innermost open container to the end of the outermost.
    const char* Run(const char* at) {
        while (at != nullptr && !open.IsEmpty()) {
            change = Change::None;
            const Container& inside = open.Top();
            at = inside.array != nullptr ? ReadElements(*inside.array, at)
                                         : ReadMembers(*inside.object, at);
            while (at != nullptr && change == Change::Closed && !open.IsEmpty()) {
                at = GoOnBehind(SkipSpace(at), open.Top().array != nullptr ? ']' : '}');
            }
        }
        return at;
    }

    /// Enters a container at its bracket, unless it is empty.
    template <class Node>
    [[gnu::always_inline]] const char* Open(Node& node, const char* at) {
        constexpr bool kIsArray = std::is_same_v<Node, JsonArray>;
        const char* const bracket = at;
        at = SkipSpace(at + 1);
        if (*at == (kIsArray ? ']' : '}')) {
            return at + 1;
        }
        if (level > kDeepestLevel) {
            return Fail(JsonFault::TooDeep, bracket);
        }
        Container& inside = open.Push();
        if constexpr (kIsArray) {
            inside.array = &node;
            inside.object = nullptr;
        } else {
            inside.array = nullptr;
            inside.object = &node;
        }
        ++level;
        change = Change::Entered;
        return at;
    }

    /// Behind a child: behind the comma, or behind the container, which is closed then.
    [[gnu::always_inline]] const char* GoOnBehind(const char* at, char closing) noexcept {
        if (*at == ',') {
            change = Change::None;
            return at + 1;
        }
        if (*at != closing) {
            return Fail(closing == ']' ? JsonFault::NoCommaOrBracket : JsonFault::NoCommaOrBrace,
                        at);
        }
        open.Drop();
        --level;
        change = Change::Closed;
        return at + 1;
    }

    // The following two go on to the end of a container, or to the first child of one
    // within.

    [[gnu::always_inline]] const char* ReadElements(JsonArray& array, const char* at) {
        do {
            at = ReadChild(JsonNodes::AddNull(array, memory), SkipSpace(at));
            if (at == nullptr || change != Change::None) {
                return at;
            }
            at = GoOnBehind(SkipSpace(at), ']');
        } while (at != nullptr && change == Change::None);
        return at;
    }

    [[gnu::always_inline]] const char* ReadMembers(JsonObject& object, const char* at) {
        do {
            JsonMember& member = JsonNodes::AddNull(object, memory);
            at = ReadName(member, SkipSpace(at));
            if (at == nullptr) {
                return nullptr;
            }
            at = ReadChild(member, SkipSpace(at));
            if (at == nullptr || change != Change::None) {
                return at;
            }
            at = GoOnBehind(SkipSpace(at), '}');
        } while (at != nullptr && change == Change::None);
        return at;
    }

    /// `child` is a null.
    [[gnu::always_inline]] const char* ReadChild(JsonValue& child, const char* at) {
        switch (*at) {
            case '"':
                return ReadString(JsonNodes::MakeString(child, memory), at);
            case '[':
                return Open(JsonNodes::MakeArray(child, memory), at);
            case '{':
                return Open(JsonNodes::MakeObject(child, memory), at);
            default:
                return ReadScalar(child, at);
        }
    }

    /// `value` owns no node.
    [[gnu::always_inline]] const char* ReadScalar(JsonValue& value, const char* at) noexcept {
        if (number::IsDigit(*at) || *at == '-') {
            if (limit - at < kAhead) {
                MoveLimit();
            }
            NumberReading read = ReadNumber<kDialect == Dialect::Standard>(at, limit);
            if constexpr (kDialect != Dialect::Trusting) {
                if (!IsHeld(read) && !Settle(at, read)) [[unlikely]] {
                    return nullptr;
                }
            }
            JsonNodes::SetScalar(value, static_cast<std::int32_t>(read.kind), read.bits);
            if constexpr (kDialect == Dialect::Standard) {
                const char* const digits = at + (*at == '-' ? 1 : 0);
                if (*digits == '0' && number::IsDigit(digits[1])) [[unlikely]] {
                    return Fail(JsonFault::LeadingZero, at);
                }
            }
            return read.kind != NumberKind::None ? read.end : Fail(JsonFault::BadNumber, at);
        }
        switch (*at) {
            case 't':
                return SetWord(value, JsonValue::kBool, 1, at, "true");
            case 'f':
                return SetWord(value, JsonValue::kBool, 0, at, "false");
            case 'n':
                return SetWord(value, JsonValue::kNull, 0, at, "null");
            default:
                return Fail(JsonFault::NoValue, at);
        }
    }

    /// Whether a number is certain to be what its text says.
    static bool IsHeld(const NumberReading& read) noexcept {
        constexpr std::uint64_t kInfinity = 0x7FF0'0000'0000'0000;
        return read.kind == NumberKind::Signed   ? read.bits != std::uint64_t{1} << 63
               : read.kind == NumberKind::Double ? (read.bits & kInfinity) != kInfinity
                                                 : false;
    }
    /// Makes of another number what was asked for; false where that is a failure.
    [[gnu::cold, gnu::noinline]] bool Settle(const char* at, NumberReading& read) noexcept {
        std::uint64_t whole = 0;
        const bool isNegative = *at == '-';
        const char* const digits = at + (isNegative ? 1 : 0);
        if (read.kind == NumberKind::None) {
            return true;
        }
        if (read.kind != NumberKind::Double) {
            const bool fits = std::from_chars(digits, read.end, whole).ec == std::errc();
            if (fits && (!isNegative || whole <= std::uint64_t{1} << 63)) {
                // Not what errno has made of it.
                read.kind =
                    whole >> 63 == 0 || isNegative ? NumberKind::Signed : NumberKind::Unsigned;
                return true;
            }
            if (options.overflow == JsonOverflow::Refuse) {
                return Fail(JsonFault::LargeInteger, at) != nullptr;
            }
            if (options.overflow == JsonOverflow::ToDouble) {
                read.kind = NumberKind::Double;
                read.bits = number::NearestDouble({digits, read.end, 0, read.end}) |
                            std::uint64_t{isNegative} << 63;
            }
        }
        return options.overflow == JsonOverflow::Saturate || IsHeld(read) ||
               Fail(JsonFault::LargeNumber, at) != nullptr;
    }

    const char* SetWord(JsonValue& value, std::int32_t kind, std::uint64_t bits, const char* at,
                        const char* word) noexcept {
        JsonNodes::SetScalar(value, kind, bits);
        const char* const first = at;
        for (; *word != '\0'; ++word, ++at) {
            if (*at != *word) {
                return Fail(JsonFault::NoValue, first);
            }
        }
        return at;
    }

    /// Up to behind the colon.
    [[gnu::always_inline]] const char* ReadName(JsonMember& member, const char* at) {
        if (*at != '"') {
            return Fail(JsonFault::NoName, at);
        }
        at = ReadString(JsonNodes::Name(member), at);
        if (at == nullptr) {
            return nullptr;
        }
        at = SkipSpace(at);
        return *at == ':' ? at + 1 : Fail(JsonFault::NoColon, at);
    }

    /// Reads a string from its opening quote on.
    [[gnu::noinline]] const char* ReadString(JsonString& string, const char* at) {
        const char* const first = at + 1;
        const char* const end = PlainEnd(first);
        const std::ptrdiff_t length = end - first;
        if (length < TextBlock::kSize && limit - first >= TextBlock::kSize && *end == '"') {
            const TextBlock block(first);
            if (kDialect == Dialect::Trusting || (block.Others() & ((1U << length) - 1)) == 0) {
                // Whatever is behind the end, there is room for a block.
                char* const to = JsonNodes::Storage(string);
                block.CopyTo(to);
                to[length] = '\0';
                return end + 1;
            }
        }
        return ReadLongString(string, first, end);
    }

    /// The same where the plain part ends at `end`.
    const char* ReadLongString(JsonString& string, const char* first, const char* end) {
        if (*end != '"') {
            return *end == '\\' ? ReadEscapedString(string, first, end)
                                : FailInText(JsonFault::BadText, first, end);
        }
        const std::ptrdiff_t length = end - first;
        if (length >= kMaxJsonLength) {
            return Fail(JsonFault::LongText, first);
        }
        if (!IsGoodText(first, end)) {
            return nullptr;
        }
        char* const to = JsonNodes::Reserve(string, static_cast<std::int32_t>(length + 1), memory);
        std::memcpy(to, first, static_cast<std::size_t>(length));
        to[length] = '\0';
        return end + 1;
    }

    /// The same where the first backslash is at `escape`.
    const char* ReadEscapedString(JsonString& string, const char* first, const char* escape) {
        std::ptrdiff_t size = escape - first;
        const char* end = escape;
        while (*end != '"') {
            if (*end != '\\') {
                return FailInText(JsonFault::BadText, first, end);
            }
            const Escape found = EscapeAt(end);
            if (found.length == 0) {
                return FailInText(JsonFault::BadEscape, first, end);
            }
            if (kDialect == Dialect::Standard && found.codePoint == 0) {
                return FailInText(JsonFault::ZeroEscape, first, end);
            }
            // Kept on purpose: room for four bytes per \uXXXX, also where two of them are one
            // character; allocators of callers count on these sizes.
            size += found.length == 2 ? 1 : 4 * (found.length / 6);
            const char* const plain = end + found.length;
            end = PlainEnd(plain);
            size += end - plain;
        }
        if (size >= kMaxJsonLength) {
            return Fail(JsonFault::LongText, first);
        }
        if (!IsGoodText(first, end)) {
            return nullptr;
        }
        char* const to = JsonNodes::Reserve(string, static_cast<std::int32_t>(size + 1), memory);
        Unescape(first, end, to, to + size);
        return end + 1;
    }

    /// The first byte from `from` on that does not stand for itself in a string.
    const char* PlainEnd(const char* from) noexcept {
        const char* const end = map.SkipPlain(from);
        return end != nullptr ? end : FindFarther(from, &Map::SkipPlain);
    }

    /// Whether bytes of a string are UTF-8 where they must be.
    bool IsGoodText(const char* first, const char* end) noexcept {
        if (kDialect == Dialect::Trusting || options.encoding != JsonEncoding::Utf8 ||
            IsAscii(first, end)) {
            return true;
        }
        const char* const valid = detail::ValidUtf8End(first, end, std::max(end, limit));
        return valid == end || Fail(JsonFault::BadText, valid) != nullptr;
    }
    /// Whether all bytes are ASCII, or it could not be told at once.
    bool IsAscii(const char* first, const char* end) const noexcept {
        unsigned others = 0;
        for (; first < end && limit - first >= TextBlock::kSize; first += TextBlock::kSize) {
            others |= TextBlock(first).Others();
        }
        return others == 0 && first >= end;
    }
    [[gnu::cold, gnu::noinline]] const char* FailInText(JsonFault why, const char* first,
                                                        const char* at) noexcept {
        // What comes first is to blame.
        return kDialect == Dialect::Trusting || IsGoodText(first, at) ? Fail(why, at) : nullptr;
    }

public:
    /// The first byte from `at` on that is not white space.
    const char* SkipSpace(const char* at) noexcept {
        if (static_cast<unsigned char>(*at) > ' ') {
            return at;
        }
        const char next = *at == ' ' ? at[1] : '\0';
        return static_cast<unsigned char>(next) > ' ' ? at + 1 : SkipMuchSpace(at);
    }

private:
    static constexpr Space kSpace =
        kDialect == Dialect::Standard ? Space::OfJson : Space::OfTheCLibrary;

    // How deep a line is indented, and how long a text is, no branch foresees: the map is
    // asked, which was made before.

    const char* SkipMuchSpace(const char* at) noexcept {
        const char* const end = map.SkipSpace(at);
        return end != nullptr ? end : FindFarther(at, &Map::SkipSpace);
    }

    using Map = TextMap<kSpace>;
    /// What `find` looks for from `at` on, at the zero byte at last.
    [[gnu::noinline]] const char* FindFarther(const char* at, const char* (Map::*find)(const char*)
                                                                  const noexcept) noexcept {
        for (;;) {
            at = map.GoOnFrom(at);
            while (limit - at < Map::kBlock && MoveLimit()) {
            }
            map.Map(at, limit, *limit == '\0');
            if (const char* const found = (map.*find)(at)) {
                return found;
            }
        }
    }

    /// Finds out about more text; false when the limit is its end.
    [[gnu::noinline]] bool MoveLimit() noexcept {
        if (*limit == '\0') {
            return false;
        }
        const void* const end = std::memchr(limit, '\0', step);
        limit = end != nullptr ? static_cast<const char*>(end) : limit + step;
        step = std::min(2 * step, kLargestStep);
        return true;
    }

    static constexpr std::size_t kLargestStep = 32768;
    /// Longer than most numbers: these are read best where their bytes are known.
    static constexpr std::ptrdiff_t kAhead = 64;

    NodeMemory memory;
    const char* limit;
    std::size_t step = 256;
    const char* faultPlace = nullptr;
    const JsonParseOptions options;
    Map map;
    int level;
    JsonFault fault = JsonFault::None;
    Change change = Change::None;
    DeepStack<Container, kDeepestLevel + 1> open;
};

using TrustingParser = Parser<Dialect::Trusting>;

/// Reads a node and answers the bytes that it takes; clears it when that fails or throws.
template <class Node, class Clear>
int ParseNode(Node& node, const char* text, int depth,
              const char* (TrustingParser::*read)(Node&, const char*), Clear clear) {
    text = text != nullptr ? text : "";
    TrustingParser parser(text, node.Allocator(), depth);
    const char* end = nullptr;
    try {
        end = (parser.*read)(node, text);
    } catch (...) {
        clear();
        throw;
    }
    if (end == nullptr || end - text > kMaxJsonLength) {
        clear();
        return -1;
    }
    return static_cast<int>(end - text);
}

/// The text of a string node is written while it is read when it is the node's own.
bool IsOwnText(const JsonString& string, const char* text) noexcept {
    const std::less<> before;
    return !before(text, string.Text()) && before(text, string.Text() + string.Capacity());
}

template <Dialect kDialect>
detail::JsonReading ReadJson(const char* text, JsonValue& empty, const JsonParseOptions& options) {
    Parser<kDialect> parser(text, empty.Allocator(), 0, options);
    const char* const end = parser.ReadValue(empty, text);
    return {end != nullptr ? parser.SkipSpace(end) : nullptr, parser.Fault(), parser.FaultPlace()};
}

}  // namespace

detail::JsonReading detail::ReadJson(const char* text, JsonValue& empty,
                                     const JsonParseOptions& options) {
    const int errorBefore = errno;
    const JsonReading reading = options.grammar == JsonGrammar::Standard
                                    ? core::ReadJson<Dialect::Standard>(text, empty, options)
                                    : core::ReadJson<Dialect::Wide>(text, empty, options);
    errno = errorBefore;
    return reading;
}

int JsonValue::Parse(const char* text, int depth) {
    if (IsString() && IsOwnText(JsonNodes::String(*this), text)) {
        return Parse(std::string(text).c_str(), depth);
    }
    return ParseNode(*this, text, depth, &TrustingParser::ReadValue, [this] { Clear(); });
}

int JsonArray::Parse(const char* text, int depth) {
    Clear();
    return ParseNode(*this, text, depth, &TrustingParser::ReadArray, [this] { Clear(); });
}

int JsonObject::Parse(const char* text, int depth) {
    Clear();
    return ParseNode(*this, text, depth, &TrustingParser::ReadObject, [this] { Clear(); });
}

int JsonMember::Parse(const char* text, int depth) {
    if (IsOwnText(*name, text) || (IsString() && IsOwnText(JsonNodes::String(*this), text))) {
        return Parse(std::string(text).c_str(), depth);
    }
    return ParseNode(*this, text, depth, &TrustingParser::ReadMember, [this] {
        Clear();
        name->Clear();
    });
}

int JsonDoc::Parse(const char* text) {
    return root.Parse(text, 0);
}

int JsonDoc::ParseFile(const char* path) {
    constexpr std::uint64_t kMaxSize = std::uint64_t{64} << 20;
    detail::FileText text;
    platform::SystemError error = 0;
    if (path == nullptr ||
        detail::ReadTextFile(path, kMaxSize, text, error) != detail::FileFault::None ||
        detail::HasUtf16Mark(text.View())) {
        return -1;
    }
    const std::size_t mark = detail::Utf8MarkSize(text.View());
    const int consumed = Parse(text.bytes.get() + mark);
    return consumed < 0 ? -1 : consumed + static_cast<int>(mark);
}

}  // namespace core
