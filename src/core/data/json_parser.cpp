// JSON text to nodes.
//
// One pass over zero-terminated text, without recursion: the containers around the
// value being read stand on a stack of their own.
//
// 1. `at` is the next byte; no byte before `limit` is zero, so that blocks are read
//    there without passing the end of the text. `limit` is moved on in steps: a
//    fragment of a long text costs no more than its own length.
// 2. A value is complete, or it is the container on top of the stack.
// 3. Every element and member is in its container before its value is read, so that
//    clearing the outermost node clears all.

#include "core/data/deep_stack.h"
#include "core/data/json_nodes.h"
#include "core/data/number_text.h"
#include "core/data/text_scan.h"
#include "core/platform/platform.h"

#include <core/data/json_doc.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace core {
namespace {

using detail::DeepStack;
using detail::JsonNodes;
using detail::NodeMemory;
using detail::TextBlock;

/// Containers at deeper levels must be empty.
constexpr int kDeepestLevel = 80;
constexpr std::ptrdiff_t kMaxLength = std::numeric_limits<std::int32_t>::max();

bool IsSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The value of a hexadecimal digit; -1 for any other byte.
int HexValue(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// The number of four hexadecimal digits; -1 where they are not there.
int Hex4Value(const char* text) noexcept {
    int value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = HexValue(text[i]);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

/// An escaped character: the bytes that it takes, 2, 6 or 12, and what they stand for.
/// A length of 0 means that it is none.
struct Escape {
    int length;
    int codePoint;
};

Escape UnicodeEscapeAt(const char* backslash) noexcept {
    constexpr Escape kNone{0, 0};
    const int unit = Hex4Value(backslash + 2);
    if (unit < 0 || (unit >= 0xDC00 && unit < 0xE000)) {
        return kNone;
    }
    if (unit < 0xD800 || unit >= 0xE000) {
        return {6, unit};
    }
    if (backslash[6] != '\\' || backslash[7] != 'u') {
        return kNone;
    }
    const int low = Hex4Value(backslash + 8);
    if (low < 0xDC00 || low >= 0xE000) {
        return kNone;
    }
    return {12, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00)};
}

Escape EscapeAt(const char* backslash) noexcept {
    const char c = backslash[1];
    switch (c) {
        case 'n':
            return {2, '\n'};
        case 'r':
            return {2, '\r'};
        case 't':
            return {2, '\t'};
        case 'b':
            return {2, '\b'};
        case 'f':
            return {2, '\f'};
        case '"':
        case '\\':
        case '/':
            return {2, c};
        case 'u':
            return UnicodeEscapeAt(backslash);
        default:
            return {0, 0};
    }
}

char* WriteUtf8(int codePoint, char* to) noexcept {
    const auto continued = [codePoint](int shift) {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80) {
        *to++ = static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        *to++ = static_cast<char>(0xC0 | (codePoint >> 6));
        *to++ = continued(0);
    } else if (codePoint < 0x10000) {
        *to++ = static_cast<char>(0xE0 | (codePoint >> 12));
        *to++ = continued(6);
        *to++ = continued(0);
    } else {
        *to++ = static_cast<char>(0xF0 | (codePoint >> 18));
        *to++ = continued(12);
        *to++ = continued(6);
        *to++ = continued(0);
    }
    return to;
}

class Parser {
public:
    Parser(const char* text, JsonAllocator* allocator, int depth) noexcept
        : memory(allocator), start(text), at(text), limit(text), level(depth) {}

    bool ReadValue(JsonValue& value) { return Run(&value); }
    bool ReadArray(JsonArray& array) {
        SkipSpace();
        return *at == '[' && Run(Open(array));
    }
    bool ReadObject(JsonObject& object) {
        SkipSpace();
        return *at == '{' && Run(Open(object));
    }
    bool ReadMember(JsonMember& member) { return Run(ReadName(member)); }

    /// What was read so far; -1 when that is more than the answer's type holds.
    int Consumed() const noexcept {
        const std::ptrdiff_t length = at - start;
        return length <= kMaxLength ? static_cast<int>(length) : -1;
    }

private:
    /// The container whose content is being read: one of the two, or none.
    struct Container {
        JsonArray* array;
        JsonObject* object;
    };

    /// Reads `value` and all that follows up to the end of the outermost node.
    bool Run(JsonValue* value) {
        for (;;) {
            while (value != nullptr) {
                value = Begin(*value);
            }
            if (hasFailed) {
                return false;
            }
            if (inside.array == nullptr && inside.object == nullptr) {
                return true;
            }
            value = Continue();
        }
    }

    // The following answer the value to read next; null when one is complete, or after
    // a failure.

    JsonValue* Fail() noexcept {
        hasFailed = true;
        return nullptr;
    }

    JsonValue* Begin(JsonValue& value) {
        if (limit - at < kAhead) {
            MoveLimit();
        }
        SkipSpace();
        switch (*at) {
            case '"':
                return ReadString(StringOf(value)) ? nullptr : Fail();
            case '{':
                return Open(value.Kind() > 100 ? value.MakeEmptyObject()
                                               : JsonNodes::MakeObject(value, memory));
            case '[':
                return Open(value.Kind() > 100 ? value.MakeEmptyArray()
                                               : JsonNodes::MakeArray(value, memory));
            case 't':
                return Word("true", 4) ? (value.Set(true), nullptr) : Fail();
            case 'f':
                return Word("false", 5) ? (value.Set(false), nullptr) : Fail();
            case 'n':
                return Word("null", 4) ? (value.Set(nullptr), nullptr) : Fail();
            default:
                return Number(value) ? nullptr : Fail();
        }
    }

    JsonValue* Open(JsonArray& array) {
        ++at;
        SkipSpace();
        if (*at == ']') {
            ++at;
            return nullptr;
        }
        return Enter({&array, nullptr}) ? &JsonNodes::AddNull(array, memory) : nullptr;
    }

    JsonValue* Open(JsonObject& object) {
        ++at;
        SkipSpace();
        if (*at == '}') {
            ++at;
            return nullptr;
        }
        return Enter({nullptr, &object}) ? ReadName(JsonNodes::AddNull(object, memory)) : nullptr;
    }

    bool Enter(Container container) {
        if (level > kDeepestLevel) {
            hasFailed = true;
            return false;
        }
        around.Push(inside);
        inside = container;
        ++level;
        return true;
    }

    /// Goes on behind a complete value in a container.
    JsonValue* Continue() {
        SkipSpace();
        const char c = *at++;
        if (c == ',') {
            return inside.array != nullptr
                       ? static_cast<JsonValue*>(&JsonNodes::AddNull(*inside.array, memory))
                       : ReadName(JsonNodes::AddNull(*inside.object, memory));
        }
        if (c != (inside.array != nullptr ? ']' : '}')) {
            return Fail();
        }
        inside = around.Pop();
        --level;
        return nullptr;
    }

    JsonValue* ReadName(JsonMember& member) {
        SkipSpace();
        if (*at != '"' || !ReadString(JsonNodes::Name(member))) {
            return Fail();
        }
        SkipSpace();
        if (*at != ':') {
            return Fail();
        }
        ++at;
        return &member;
    }

    bool Word(const char* word, std::size_t length) noexcept {
        if (std::strncmp(at, word, length) != 0) {
            return false;
        }
        at += length;
        return true;
    }

    bool Number(JsonValue& value) noexcept {
        if (*at != '-' && (*at < '0' || *at > '9')) {
            return false;
        }
        const NumberReading number = ReadNumber(at, limit);
        if (number.kind == NumberKind::None) {
            return false;
        }
        at = number.end;
        value.Clear();
        JsonNodes::SetScalar(value, static_cast<std::int32_t>(number.kind), number.bits);
        return true;
    }

    JsonString& StringOf(JsonValue& value) {
        return value.Kind() > 100 ? value.MakeEmptyString() : JsonNodes::MakeString(value, memory);
    }

    /// Reads a string from its opening quote on.
    bool ReadString(JsonString& string) {
        const char* const first = at + 1;
        const char* const end = PlainEnd(first);
        if (*end != '"') {
            return *end == '\\' && ReadEscapedString(string, first, end);
        }
        const std::ptrdiff_t length = end - first;
        if (length >= kMaxLength) {
            return false;
        }
        at = end + 1;
        char* const to = JsonNodes::Reserve(string, static_cast<std::int32_t>(length + 1), memory);
        if (length < TextBlock::kSize && limit - first >= TextBlock::kSize) {
            // A string holds at least a block, whatever is behind its end.
            TextBlock(first).CopyTo(to);
        } else {
            std::memcpy(to, first, static_cast<std::size_t>(length));
        }
        to[length] = '\0';
        return true;
    }

    /// The same where the first backslash is at `escape`.
    bool ReadEscapedString(JsonString& string, const char* first, const char* escape) {
        std::ptrdiff_t size = escape - first;
        const char* end = escape;
        while (*end != '"') {
            if (*end != '\\') {
                return false;
            }
            const Escape found = EscapeAt(end);
            if (found.length == 0) {
                return false;
            }
            // Kept on purpose: room for the longest UTF-8 per \uXXXX, also where two of
            // them are one character; a string's capacity is what it gives back.
            size += found.length == 2 ? 1 : 4 * (found.length / 6);
            const char* const plain = end + found.length;
            end = PlainEnd(plain);
            size += end - plain;
        }
        if (size >= kMaxLength) {
            return false;
        }
        at = end + 1;
        char* to = JsonNodes::Reserve(string, static_cast<std::int32_t>(size + 1), memory);
        Unescape(first, end, to, to + size);
        return true;
    }

    /// Writes the text for valid source of `first` to `end`, and a zero byte; no more
    /// than up to `toEnd` and that byte.
    static void Unescape(const char* first, const char* end, char* to, const char* toEnd) noexcept {
        while (first != end) {
            if (std::min(end - first, toEnd - to) >= TextBlock::kSize) {
                const TextBlock block(first);
                block.CopyTo(to);
                const int plain = block.CountPlain();
                first += plain;
                to += plain;
                if (plain == TextBlock::kSize) {
                    continue;
                }
            }
            if (*first != '\\') {
                *to++ = *first++;
                continue;
            }
            const Escape escape = EscapeAt(first);
            to = WriteUtf8(escape.codePoint, to);
            first += escape.length;
        }
        *to = '\0';
    }

    /// The first byte from `from` on that does not stand for itself in a string.
    const char* PlainEnd(const char* from) noexcept {
        do {
            while (limit - from >= TextBlock::kSize) {
                const int plain = TextBlock(from).CountPlain();
                from += plain;
                if (plain != TextBlock::kSize) {
                    return from;
                }
            }
        } while (MoveLimit());
        while (static_cast<unsigned char>(*from) >= ' ' && *from != '"' && *from != '\\') {
            ++from;
        }
        return from;
    }

    void SkipSpace() noexcept {
        while (IsSpace(*at)) {
            ++at;
            if (limit - at >= TextBlock::kSize) {
                at += TextBlock(at).CountSpace();
            }
        }
    }

    /// Finds out about more text; false when the limit is its end.
    bool MoveLimit() noexcept {
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
    const char* const start;
    const char* at;
    const char* limit;
    std::size_t step = 256;
    int level;
    bool hasFailed = false;
    Container inside{nullptr, nullptr};
    DeepStack<Container, kDeepestLevel + 1> around;
};

/// Reads a node; clears it when that fails or throws.
template <class Node, class Clear>
int ParseNode(Node& node, const char* text, int depth, bool (Parser::*read)(Node&), Clear clear) {
    Parser parser(text != nullptr ? text : "", node.Allocator(), depth);
    int consumed = -1;
    try {
        if ((parser.*read)(node)) {
            consumed = parser.Consumed();
        }
    } catch (...) {
        clear();
        throw;
    }
    if (consumed < 0) {
        clear();
    }
    return consumed;
}

/// The text of a string node is written while it is read when it is the node's own.
bool IsOwnText(const JsonString& string, const char* text) noexcept {
    const std::less<> before;
    return !before(text, string.Text()) && before(text, string.Text() + string.Capacity());
}

/// Reads a file of at most 64 MiB; a zero byte stands behind its `size` bytes.
bool ReadWholeFile(const char* path, std::unique_ptr<char[]>& text, std::size_t& size) {
    constexpr std::uint64_t kMaxSize = 64 * 1024 * 1024;
    platform::ReadFile file;
    std::uint64_t sizeNow = 0;
    if (file.Open(path) != 0 || file.Size(sizeNow) != 0 || sizeNow > kMaxSize) {
        return false;
    }
    const auto wanted = static_cast<std::size_t>(sizeNow);
    text = std::make_unique_for_overwrite<char[]>(wanted + 1);
    std::size_t count = 1;
    for (size = 0; size < wanted && count != 0; size += count) {
        if (file.Read(size, text.get() + size, wanted - size, count) != 0) {
            return false;
        }
    }
    text[size] = '\0';
    return true;
}

}  // namespace

int JsonValue::Parse(const char* text, int depth) {
    if (IsString() && IsOwnText(JsonNodes::String(*this), text)) {
        return Parse(std::string(text).c_str(), depth);
    }
    return ParseNode(*this, text, depth, &Parser::ReadValue, [this] { Clear(); });
}

int JsonArray::Parse(const char* text, int depth) {
    Clear();
    return ParseNode(*this, text, depth, &Parser::ReadArray, [this] { Clear(); });
}

int JsonObject::Parse(const char* text, int depth) {
    Clear();
    return ParseNode(*this, text, depth, &Parser::ReadObject, [this] { Clear(); });
}

int JsonMember::Parse(const char* text, int depth) {
    if (IsOwnText(*name, text) || (IsString() && IsOwnText(JsonNodes::String(*this), text))) {
        return Parse(std::string(text).c_str(), depth);
    }
    return ParseNode(*this, text, depth, &Parser::ReadMember, [this] {
        Clear();
        name->Clear();
    });
}

int JsonDoc::Parse(const char* text) {
    return root.Parse(text, 0);
}

int JsonDoc::ParseFile(const char* path) {
    std::unique_ptr<char[]> text;
    std::size_t size = 0;
    if (path == nullptr || !ReadWholeFile(path, text, size)) {
        return -1;
    }
    const std::string_view bytes(text.get(), size);
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
        return -1;
    }
    constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
    const std::size_t mark = bytes.starts_with(kUtf8Mark) ? kUtf8Mark.size() : 0;
    const int consumed = Parse(text.get() + mark);
    return consumed < 0 ? -1 : consumed + static_cast<int>(mark);
}

}  // namespace core
