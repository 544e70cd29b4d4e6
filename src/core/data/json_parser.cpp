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

#include "core/data/deep_stack.h"
#include "core/data/escapes.h"
#include "core/data/json_nodes.h"
#include "core/data/number_reader.h"
#include "core/data/text_scan.h"
#include "core/platform/platform.h"

#include <core/data/json_doc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

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

class Parser {
public:
    Parser(const char* text, JsonAllocator* allocator, int depth) noexcept
        : memory(allocator), limit(text), level(depth) {}

    // Where the node ends that starts at `at`, or behind white space there; null when there
    // is none.

    const char* ReadValue(JsonValue& value, const char* at) {
        at = SkipSpace(at);
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
        return *at == '[' ? Run(Open(array, at)) : nullptr;
    }
    const char* ReadObject(JsonObject& object, const char* at) {
        at = SkipSpace(at);
        return *at == '{' ? Run(Open(object, at)) : nullptr;
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
    const char* Open(Node& node, const char* at) {
        constexpr bool kIsArray = std::is_same_v<Node, JsonArray>;
        at = SkipSpace(at + 1);
        if (*at == (kIsArray ? ']' : '}')) {
            return at + 1;
        }
        if (level > kDeepestLevel) {
            return nullptr;
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
    const char* GoOnBehind(const char* at, char closing) noexcept {
        if (*at == ',') {
            change = Change::None;
            return at + 1;
        }
        if (*at != closing) {
            return nullptr;
        }
        open.Drop();
        --level;
        change = Change::Closed;
        return at + 1;
    }

    // The following two go on to the end of a container, or to the first child of one
    // within.

    const char* ReadElements(JsonArray& array, const char* at) {
        do {
            at = ReadChild(JsonNodes::AddNull(array, memory), SkipSpace(at));
            if (at == nullptr || change != Change::None) {
                return at;
            }
            at = GoOnBehind(SkipSpace(at), ']');
        } while (at != nullptr && change == Change::None);
        return at;
    }

    const char* ReadMembers(JsonObject& object, const char* at) {
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
    const char* ReadChild(JsonValue& child, const char* at) {
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
    const char* ReadScalar(JsonValue& value, const char* at) noexcept {
        if (number::IsDigit(*at) || *at == '-') {
            if (limit - at < kAhead) {
                MoveLimit();
            }
            const NumberReading read = ReadNumber(at, limit);
            JsonNodes::SetScalar(value, static_cast<std::int32_t>(read.kind), read.bits);
            return read.kind != NumberKind::None ? read.end : nullptr;
        }
        switch (*at) {
            case 't':
                return SetWord(value, JsonValue::kBool, 1, at, "true");
            case 'f':
                return SetWord(value, JsonValue::kBool, 0, at, "false");
            case 'n':
                return SetWord(value, JsonValue::kNull, 0, at, "null");
            default:
                return nullptr;
        }
    }

    static const char* SetWord(JsonValue& value, std::int32_t kind, std::uint64_t bits,
                               const char* at, const char* word) noexcept {
        JsonNodes::SetScalar(value, kind, bits);
        for (; *word != '\0'; ++word, ++at) {
            if (*at != *word) {
                return nullptr;
            }
        }
        return at;
    }

    /// Up to behind the colon.
    const char* ReadName(JsonMember& member, const char* at) {
        if (*at != '"') {
            return nullptr;
        }
        at = ReadString(JsonNodes::Name(member), at);
        if (at == nullptr) {
            return nullptr;
        }
        at = SkipSpace(at);
        return *at == ':' ? at + 1 : nullptr;
    }

    /// Reads a string from its opening quote on.
    const char* ReadString(JsonString& string, const char* at) {
        const char* const first = at + 1;
        if (limit - first >= TextBlock::kSize) {
            const TextBlock block(first);
            const int plain = block.CountPlain();
            if (plain < TextBlock::kSize && first[plain] == '"') {
                // Whatever is behind the end, there is room for a block.
                char* const to = JsonNodes::Storage(string);
                block.CopyTo(to);
                to[plain] = '\0';
                return first + plain + 1;
            }
        }
        return ReadLongString(string, first);
    }

    const char* ReadLongString(JsonString& string, const char* first) {
        const char* const end = PlainEnd(first);
        if (*end != '"') {
            return *end == '\\' ? ReadEscapedString(string, first, end) : nullptr;
        }
        const std::ptrdiff_t length = end - first;
        if (length >= kMaxLength) {
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
                return nullptr;
            }
            const Escape found = EscapeAt(end);
            if (found.length == 0) {
                return nullptr;
            }
            // Kept on purpose: room for four bytes per \uXXXX, also where two of them are one
            // character; allocators of callers count on these sizes.
            size += found.length == 2 ? 1 : 4 * (found.length / 6);
            const char* const plain = end + found.length;
            end = PlainEnd(plain);
            size += end - plain;
        }
        if (size >= kMaxLength) {
            return nullptr;
        }
        char* const to = JsonNodes::Reserve(string, static_cast<std::int32_t>(size + 1), memory);
        Unescape(first, end, to, to + size);
        return end + 1;
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

    const char* SkipSpace(const char* at) noexcept {
        if (static_cast<unsigned char>(*at) > ' ') {
            return at;
        }
        const char next = *at == ' ' ? at[1] : '\0';
        return static_cast<unsigned char>(next) > ' ' ? at + 1 : SkipMuchSpace(at);
    }
    const char* SkipMuchSpace(const char* at) noexcept {
        while (IsSpace(*at)) {
            ++at;
            if (limit - at >= TextBlock::kSize) {
                at += TextBlock(at).CountSpace();
            } else {
                MoveLimit();
            }
        }
        return at;
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
    const char* limit;
    std::size_t step = 256;
    int level;
    Change change = Change::None;
    DeepStack<Container, kDeepestLevel + 1> open;
};

/// Reads a node and answers the bytes that it takes; clears it when that fails or throws.
template <class Node, class Clear>
int ParseNode(Node& node, const char* text, int depth,
              const char* (Parser::*read)(Node&, const char*), Clear clear) {
    text = text != nullptr ? text : "";
    Parser parser(text, node.Allocator(), depth);
    const char* end = nullptr;
    try {
        end = (parser.*read)(node, text);
    } catch (...) {
        clear();
        throw;
    }
    if (end == nullptr || end - text > kMaxLength) {
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

/// Reads a file of at most 64 MiB; a zero byte stands behind its `size` bytes.
bool ReadWholeFile(const char* path, std::unique_ptr<char[]>& text, std::size_t& size) {
    constexpr std::uint64_t kMaxSize = std::uint64_t{64} << 20;
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
