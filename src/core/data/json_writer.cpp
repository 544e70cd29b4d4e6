// Nodes to JSON text.
//
// The text is put together in a block on the stack and appended to the caller's string
// block by block, so that nothing is written twice. There is no recursion: the element or
// member being written is `current`, and those around it stand on a stack of their own.
// Links to parents are no help, as an array's elements keep theirs when they are moved.

#include "core/data/deep_stack.h"
#include "core/data/json_nodes.h"
#include "core/data/number_text.h"
#include "core/data/text_scan.h"

#include <core/data/json_doc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace core {
namespace {

using detail::DeepStack;
using detail::JsonNodes;
using detail::TextBlock;

constexpr int kIndentStep = 2;
/// Content stands no farther to the right, however deep it is.
constexpr int kMaxIndent = 40;

int ChildIndent(int indent) noexcept {
    return indent < kMaxIndent - kIndentStep ? indent + kIndentStep : kMaxIndent;
}

template <bool kIsPretty>
class Writer {
public:
    explicit Writer(std::string& text) noexcept : out(text) {}

    void WriteValue(const JsonValue& value, int indent) { Run(Begin(value, indent)); }
    void WriteArray(const JsonArray& array, int indent) { Run(Open(array, indent)); }
    void WriteObject(const JsonObject& object, int indent) { Run(Open(object, indent)); }
    void WriteMember(const JsonMember& member, int indent) {
        Name(member);
        Run(Begin(member, indent));
    }

private:
    /// The child of a container that is being written, of either kind; none at the top.
    struct Child {
        const JsonElem* element;
        const JsonMember* member;
        /// Of the container.
        int indent;
    };

    // The following write up to where another value stands, and answer that; null at the
    // end of a value.

    const JsonValue* Begin(const JsonValue& value, int indent) {
        switch (value.Kind()) {
            case JsonValue::kArray:
                return Open(JsonNodes::Array(value), indent);
            case JsonValue::kObject:
                return Open(JsonNodes::Object(value), indent);
            default:
                Scalar(value);
                return nullptr;
        }
    }

    const JsonValue* Open(const JsonArray& array, int indent) {
        return OpenAt({array.First(), nullptr, indent}, '[', ']');
    }
    const JsonValue* Open(const JsonObject& object, int indent) {
        return OpenAt({nullptr, object.First(), indent}, '{', '}');
    }
    const JsonValue* OpenAt(const Child& first, char opening, char closing) {
        Put(opening);
        if (kIsPretty) {
            Put('\n');
        }
        if (first.element == nullptr && first.member == nullptr) {
            if (kIsPretty) {
                Spaces(first.indent);
            }
            Put(closing);
            return nullptr;
        }
        around.Push(current);
        current = first;
        return BeginLine();
    }

    /// What stands in front of the current child's value.
    const JsonValue* BeginLine() {
        if (kIsPretty) {
            Spaces(ChildIndent(current.indent));
        }
        if (current.element != nullptr) {
            return current.element;
        }
        Name(*current.member);
        return current.member;
    }

    /// Goes on behind the current child.
    const JsonValue* Continue() {
        const bool isArray = current.element != nullptr;
        const JsonElem* const element = isArray ? current.element->NextSibling() : nullptr;
        const JsonMember* const member = isArray ? nullptr : current.member->NextSibling();
        if (element != nullptr || member != nullptr) {
            Put(',');
            if (kIsPretty) {
                Put('\n');
            }
            current.element = element;
            current.member = member;
            return BeginLine();
        }
        if (kIsPretty) {
            Put('\n');
            Spaces(current.indent);
        }
        Put(isArray ? ']' : '}');
        current = around.Pop();
        return nullptr;
    }

    void Run(const JsonValue* value) {
        for (;;) {
            while (value != nullptr) {
                value = Begin(*value, ChildIndent(current.indent));
            }
            if (current.element == nullptr && current.member == nullptr) {
                out.append(block.data(), at);
                return;
            }
            value = Continue();
        }
    }

    void Scalar(const JsonValue& value) {
        MakeRoom(kNumberRoom);
        switch (value.Kind()) {
            case JsonValue::kBool:
                Append(JsonNodes::Bool(value) ? "true" : "false");
                break;
            case JsonValue::kSigned:
                at = WriteNumber(JsonNodes::Signed(value), at);
                break;
            case JsonValue::kUnsigned:
                at = WriteNumber(JsonNodes::Unsigned(value), at);
                break;
            case JsonValue::kDouble:
                at = WriteNumber(JsonNodes::Double(value), at);
                break;
            case JsonValue::kString:
                Text(JsonNodes::String(value));
                *at++ = '"';
                break;
            default:
                Append("null");
                break;
        }
    }

    void Name(const JsonMember& member) {
        Text(JsonNodes::Name(member));
        // Kept on purpose: one space in the compact form too; stored files have it.
        Append("\": ");
    }

    /// A quote and the escaped text. Room for a few bytes is left behind it.
    void Text(const JsonString& string) {
        MakeRoom(1);
        *at++ = '"';
        const char* text = string.Text();
        const char* const end = text + string.Capacity();
        for (;;) {
            MakeRoom(kBlockRoom);
            int plain = 0;
            if (end - text >= TextBlock::kSize) {
                const TextBlock bytes(text);
                bytes.CopyTo(at);
                plain = bytes.CountPlain();
            } else {
                // The last bytes, with what is in front of them and with zeros behind.
                std::array<char, 2 * TextBlock::kSize> last{};
                TextBlock(end - TextBlock::kSize).CopyTo(last.data());
                const TextBlock bytes(last.data() + (TextBlock::kSize - (end - text)));
                bytes.CopyTo(at);
                plain = bytes.CountPlain();
            }
            text += plain;
            at += plain;
            if (plain != TextBlock::kSize) {
                if (*text == '\0') {
                    return;
                }
                at = WriteEscaped(*text++, at);
            }
        }
    }

    /// `c` is a quote, a backslash or below a space.
    static char* WriteEscaped(char c, char* to) noexcept {
        constexpr std::string_view kSpecial = "\"\\\n\t\r\b\f";
        constexpr std::string_view kLetters = "\"\\ntrbf";
        *to++ = '\\';
        const std::size_t special = kSpecial.find(c);
        if (special != std::string_view::npos) {
            *to++ = kLetters[special];
            return to;
        }
        std::memcpy(to, "u00", 3);
        to[3] = "0123456789abcdef"[c >> 4];
        to[4] = "0123456789abcdef"[c & 15];
        return to + 5;
    }

    void Spaces(int count) {
        while (count > 0) {
            MakeRoom(kMaxIndent);
            const int now = std::min(count, kMaxIndent);
            std::memset(at, ' ', static_cast<std::size_t>(now));
            at += now;
            count -= now;
        }
    }
    void Put(char c) {
        MakeRoom(1);
        *at++ = c;
    }
    /// Where there is room.
    void Append(std::string_view text) noexcept {
        text.copy(at, text.size());
        at += text.size();
    }
    void MakeRoom(std::size_t bytes) {
        if (static_cast<std::size_t>(block.data() + block.size() - at) < bytes) {
            out.append(block.data(), at);
            at = block.data();
        }
    }

    /// A block of text, an escaped character behind it, and the end of a name.
    static constexpr std::size_t kBlockRoom = TextBlock::kSize + 6 + 3;

    std::string& out;
    Child current{nullptr, nullptr, 0};
    DeepStack<Child> around;
    std::array<char, 4096> block;
    char* at = block.data();
};

using CompactWriter = Writer<false>;
using PrettyWriter = Writer<true>;

int LengthOf(const std::string& text) noexcept {
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<int>::max());
    return static_cast<int>(std::min(text.size(), kMost));
}

int WriteFile(const char* path, const std::string& text) {
    std::FILE* const file = path != nullptr ? std::fopen(path, "w") : nullptr;
    if (file == nullptr) {
        // Kept on purpose: callers take a file that can't be opened for a success.
        return 0;
    }
    const int written = std::fputs(text.c_str(), file);
    // What the C library held back is written here.
    const int closed = std::fclose(file);
    return written < 0 || closed == 0 ? written : closed;
}

}  // namespace

void JsonValue::Dump(std::string& out) const {
    out.clear();
    DumpToTail(out);
}

void JsonValue::DumpToTail(std::string& out) const {
    CompactWriter(out).WriteValue(*this, 0);
}

void JsonValue::PrettyDump(std::string& out, int indent) const {
    out.clear();
    PrettyDumpToTail(out, indent);
}

void JsonValue::PrettyDumpToTail(std::string& out, int indent) const {
    PrettyWriter(out).WriteValue(*this, indent);
}

void JsonArray::Dump(std::string& out) const {
    out.clear();
    DumpToTail(out);
}

void JsonArray::DumpToTail(std::string& out) const {
    CompactWriter(out).WriteArray(*this, 0);
}

void JsonArray::PrettyDump(std::string& out, int indent) const {
    out.clear();
    PrettyDumpToTail(out, indent);
}

void JsonArray::PrettyDumpToTail(std::string& out, int indent) const {
    PrettyWriter(out).WriteArray(*this, indent);
}

void JsonObject::Dump(std::string& out) const {
    out.clear();
    DumpToTail(out);
}

void JsonObject::DumpToTail(std::string& out) const {
    CompactWriter(out).WriteObject(*this, 0);
}

void JsonObject::PrettyDump(std::string& out, int indent) const {
    out.clear();
    PrettyDumpToTail(out, indent);
}

void JsonObject::PrettyDumpToTail(std::string& out, int indent) const {
    PrettyWriter(out).WriteObject(*this, indent);
}

void JsonMember::Dump(std::string& out) const {
    out.clear();
    DumpToTail(out);
}

void JsonMember::DumpToTail(std::string& out) const {
    CompactWriter(out).WriteMember(*this, 0);
}

void JsonMember::PrettyDump(std::string& out, int indent) const {
    out.clear();
    PrettyDumpToTail(out, indent);
}

void JsonMember::PrettyDumpToTail(std::string& out, int indent) const {
    PrettyWriter(out).WriteMember(*this, indent);
}

int JsonDoc::Dump(std::string& out) const {
    if (root.IsEmpty()) {
        return -1;
    }
    root.Dump(out);
    return LengthOf(out);
}

int JsonDoc::PrettyDump(std::string& out) const {
    if (root.IsEmpty()) {
        return -1;
    }
    root.PrettyDump(out, 0);
    return LengthOf(out);
}

int JsonDoc::DumpFile(const char* path) const {
    std::string text;
    return Dump(text) < 0 ? -1 : WriteFile(path, text);
}

int JsonDoc::PrettyDumpFile(const char* path) const {
    std::string text;
    return PrettyDump(text) < 0 ? -1 : WriteFile(path, text);
}

}  // namespace core
