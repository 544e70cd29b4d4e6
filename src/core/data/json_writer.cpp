// Nodes to JSON text.
//
// The text is put together in a block on the stack and appended to the caller's string
// block by block. There is no recursion: the containers of which a part is written stand on a
// stack of their own. Links to parents are no help, as an array's elements keep theirs when
// they are moved.
//
// There is room for a line, as `MakeRoom` has it, wherever a value may start.

#include "core/data/json_writer.h"

#include "core/data/deep_stack.h"
#include "core/data/escapes.h"
#include "core/data/json_nodes.h"
#include "core/data/json_parser.h"
#include "core/data/number_writer.h"
#include "core/data/text_scan.h"
#include "core/data/utf8.h"

#include <core/data/json_doc.h>

#include <algorithm>
#include <array>
#include <cmath>
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
using detail::JsonTraits;
using detail::TextBlock;

constexpr int kIndentStep = 2;
/// Content stands no farther to the right, however deep it is.
constexpr int kMaxIndent = 40;

int ChildIndent(int indent) noexcept {
    return indent < kMaxIndent - kIndentStep ? indent + kIndentStep : kMaxIndent;
}

/// `kIsExact`: numbers that come back as they are, and a note of what no parser takes.
template <bool kIsPretty, bool kIsExact = false>
class Writer {
public:
    explicit Writer(std::string& text) noexcept : out(text) {}

    /// What was met so far.
    JsonTraits Traits() const noexcept { return traits; }

    void WriteValue(const JsonValue& value, int indent) { WriteValue(value, indent, Start()); }
    void WriteArray(const JsonArray& array, int indent) {
        Flush(array.First() != nullptr ? Run(Enter(array, indent, Start()))
                                       : WriteEmpty('[', ']', indent, Start()));
    }
    void WriteObject(const JsonObject& object, int indent) {
        Flush(object.First() != nullptr ? Run(Enter(object, indent, Start()))
                                        : WriteEmpty('{', '}', indent, Start()));
    }
    void WriteMember(const JsonMember& member, int indent) {
        WriteValue(member, indent, WriteName(member, Start()));
    }

private:
    /// A container of which a part is written.
    struct Level {
        /// The next child, of one kind or the other; null when there is none.
        const JsonElem* element;
        const JsonMember* member;
        /// Where the line of its brackets stands.
        int indent;
        bool isArray;
    };

    // Those that write answer where they stopped: as a value of its own, which no byte that
    // is written can change, the place stays in a register.

    void WriteValue(const JsonValue& value, int indent, char* to) {
        Flush(HasContent(value) ? Run(Enter(value, indent, to)) : WriteLeaf(value, indent, to));
    }

    char* Run(char* to) {
        for (;;) {
            Level& level = open.Top();
            const JsonValue* inner = nullptr;
            to = level.isArray ? WriteElements(level, inner, to) : WriteMembers(level, inner, to);
            if (inner != nullptr) {
                to = Enter(*inner, ChildIndent(level.indent), to);
                continue;
            }
            open.Drop();
            if (open.IsEmpty()) {
                return to;
            }
            const Level& outer = open.Top();
            if (outer.element != nullptr || outer.member != nullptr) {
                to = Separate(outer.indent, to);
            }
        }
    }

    // The following two go on to the end of the innermost container, or to a child with
    // content of its own, which is `inner` then.

    char* WriteElements(Level& level, const JsonValue*& inner, char* to) {
        const int indent = level.indent;
        for (const JsonElem* element = level.element; element != nullptr;) {
            const JsonElem& child = *element;
            element = child.NextSibling();
            if (HasContent(child)) {
                level.element = element;
                inner = &child;
                return to;
            }
            to = WriteLeaf(child, ChildIndent(indent), to);
            if (element != nullptr) {
                to = Separate(indent, to);
            }
        }
        return Close(']', indent, EndLine(to));
    }

    char* WriteMembers(Level& level, const JsonValue*& inner, char* to) {
        const int indent = level.indent;
        for (const JsonMember* member = level.member; member != nullptr;) {
            const JsonMember& child = *member;
            member = child.NextSibling();
            to = WriteName(child, to);
            if (HasContent(child)) {
                level.member = member;
                inner = &child;
                return to;
            }
            to = WriteLeaf(child, ChildIndent(indent), to);
            if (member != nullptr) {
                to = Separate(indent, to);
            }
        }
        return Close('}', indent, EndLine(to));
    }

    static bool HasContent(const JsonValue& value) noexcept {
        switch (value.Kind()) {
            case JsonValue::kArray:
                return JsonNodes::Array(value).First() != nullptr;
            case JsonValue::kObject:
                return JsonNodes::Object(value).First() != nullptr;
            default:
                return false;
        }
    }

    [[gnu::always_inline]] char* WriteLeaf(const JsonValue& value, int indent, char* to) {
        switch (value.Kind()) {
            case JsonValue::kBool:
                return JsonNodes::Bool(value) ? Append("true", to) : Append("false", to);
            case JsonValue::kSigned:
                return WriteNumber(JsonNodes::Signed(value), to);
            case JsonValue::kUnsigned:
                return WriteNumber(JsonNodes::Unsigned(value), to);
            case JsonValue::kDouble:
                return WriteDouble(JsonNodes::Double(value), to);
            case JsonValue::kString:
                return Append("\"", WriteText(JsonNodes::String(value), to));
            case JsonValue::kArray:
                return WriteEmpty('[', ']', indent, to);
            case JsonValue::kObject:
                return WriteEmpty('{', '}', indent, to);
            default:
                return Append("null", to);
        }
    }
    char* WriteDouble(double number, char* to) noexcept {
        if constexpr (!kIsExact) {
            return WriteNumber(number, to);
        } else {
            if (!std::isfinite(number)) [[unlikely]] {
                traits.hasNotFinite = true;
                return Append("null", to);
            }
            return WriteShortest(number, to);
        }
    }
    char* WriteEmpty(char opening, char closing, int indent, char* to) {
        *to++ = opening;
        return Close(closing, indent, EndLine(to));
    }

    char* Enter(const JsonValue& value, int indent, char* to) {
        return value.Kind() == JsonValue::kArray ? Enter(JsonNodes::Array(value), indent, to)
                                                 : Enter(JsonNodes::Object(value), indent, to);
    }
    char* Enter(const JsonArray& array, int indent, char* to) {
        if constexpr (kIsExact) {
            traits.isTooDeep = traits.isTooDeep || open.Size() > detail::kDeepestLevel;
        }
        Level& level = open.Push();
        level.element = array.First();
        level.member = nullptr;
        level.indent = indent;
        level.isArray = true;
        *to++ = '[';
        return StartLine(indent, EndLine(to));
    }
    char* Enter(const JsonObject& object, int indent, char* to) {
        if constexpr (kIsExact) {
            traits.isTooDeep = traits.isTooDeep || open.Size() > detail::kDeepestLevel;
        }
        Level& level = open.Push();
        level.element = nullptr;
        level.member = object.First();
        level.indent = indent;
        level.isArray = false;
        *to++ = '{';
        return StartLine(indent, EndLine(to));
    }
    char* Close(char bracket, int indent, char* to) {
        if (kIsPretty) {
            for (; indent > kMaxIndent; indent -= kMaxIndent) {
                to = MakeRoom(Spaces(kMaxIndent, to));
            }
            to = Spaces(indent, to);
        }
        *to++ = bracket;
        return MakeRoom(to);
    }

    char* Separate(int indent, char* to) {
        *to++ = ',';
        return StartLine(indent, EndLine(to));
    }
    static char* EndLine(char* to) noexcept { return kIsPretty ? Append("\n", to) : to; }
    /// For a child of a container whose brackets stand at `indent`.
    char* StartLine(int indent, char* to) {
        to = MakeRoom(to);
        return kIsPretty ? Spaces(ChildIndent(indent), to) : to;
    }
    /// At most `kMaxIndent` of them; none for a `count` below 0.
    static char* Spaces(int count, char* to) noexcept {
        std::memset(to, ' ', kMaxIndent);
        return to + std::max(count, 0);
    }

    char* WriteName(const JsonMember& member, char* to) {
        // Kept on purpose: one space in the compact form too; stored files have it.
        return Append("\": ", WriteText(JsonNodes::Name(member), to));
    }

    /// A quote and the escaped text.
    char* WriteText(const JsonString& string, char* to) {
        *to++ = '"';
        const char* const text = string.Text();
        const int plain = CopyPlain(text, to);
        to += plain;
        // A text that fills the block has more storage, which its zero is in.
        return text[plain] == '\0' ? to : WriteRest(text + plain, text + string.Capacity(), to);
    }

    /// The text up to its terminating zero, which stands before `end`, at least a block
    /// behind the first byte of the storage.
    char* WriteRest(const char* text, const char* end, char* to) {
        for (;;) {
            to = MakeRoom(to);
            int plain = 0;
            if (end - text >= TextBlock::kSize) {
                plain = CopyPlain(text, to);
            } else {
                // The last bytes, with what is in front of them and with zeros behind.
                std::array<char, 2 * TextBlock::kSize> last{};
                TextBlock(end - TextBlock::kSize).CopyTo(last.data());
                plain = CopyPlain(last.data() + (TextBlock::kSize - (end - text)), to);
            }
            text += plain;
            to += plain;
            if (plain != TextBlock::kSize) {
                if (*text == '\0') {
                    return MakeRoom(to);
                }
                to = WriteEscaped(*text++, to);
            }
        }
    }
    /// Copies a block and answers how many of its bytes need no escape.
    static int CopyPlain(const char* text, char* to) noexcept {
        const TextBlock bytes(text);
        bytes.CopyTo(to);
        return bytes.CountPlain();
    }

    static char* Append(std::string_view text, char* to) noexcept {
        std::memcpy(to, text.data(), text.size());
        return to + text.size();
    }

    char* Start() noexcept { return block.data(); }
    void Flush(const char* to) {
        const auto size = static_cast<std::size_t>(to - block.data());
        if (out.capacity() - out.size() < size && size > block.size() / 2) {
            // New pages cost more than what is written to them, so that a string should
            // not move often while it is short.
            constexpr std::size_t kLong = std::size_t{4} << 20;
            const std::size_t wanted = out.size() + size;
            out.reserve(wanted < kLong ? 4 * wanted : 2 * wanted);
        }
        out.append(block.data(), size);
        if constexpr (kIsExact) {
            CheckEncoding();
        }
    }
    /// Looks at what was appended. All but names and texts is ASCII, so that the whole is
    /// UTF-8 where they are; block by block that costs less than text by text.
    void CheckEncoding() noexcept {
        const char* const end = out.data() + out.size();
        const char* const from = out.data() + checked;
        // A character that is cut is looked at with what follows; the last byte is ASCII.
        const char* whole = end;
        for (int i = 1; i <= 3 && end - i >= from; ++i) {
            const auto byte = static_cast<unsigned char>(end[-i]);
            if (byte >= 0xC0) {
                whole = end - i;
            }
            if (byte < 0x80 || byte >= 0xC0) {
                break;
            }
        }
        traits.hasOtherThanUtf8 =
            traits.hasOtherThanUtf8 || detail::ValidUtf8End(from, whole, end) != whole;
        checked = static_cast<std::size_t>(whole - out.data());
    }
    /// For a line: its indent, a name of one block, a number, what is around them, and the
    /// indent of the bracket that may follow.
    char* MakeRoom(char* to) {
        constexpr std::size_t kIndents = std::size_t{2} * kMaxIndent;
        constexpr std::size_t kLine = kIndents + TextBlock::kSize + kNumberRoom + 16;
        if (to > block.data() + block.size() - kLine) {
            Flush(to);
            to = Start();
        }
        return to;
    }

    std::string& out;
    DeepStack<Level> open;
    JsonTraits traits;
    std::size_t checked = out.size();
    std::array<char, 8192> block;
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
    // Much of a text, or all of it, is written here only: a disk that is full now must not
    // look like a success.
    const int closed = std::fclose(file);
    return written < 0 || closed == 0 ? written : closed;
}

template <bool kIsPretty>
detail::JsonTraits WriteExactly(const JsonValue& value, std::string& out) {
    Writer<kIsPretty, true> writer(out);
    writer.WriteValue(value, 0);
    return writer.Traits();
}

}  // namespace

detail::JsonTraits detail::WriteExactly(const JsonValue& value, bool isPretty, std::string& out) {
    return isPretty ? core::WriteExactly<true>(value, out) : core::WriteExactly<false>(value, out);
}

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
