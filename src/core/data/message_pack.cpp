// Packed data as the MessagePack standard has it.
//
// One walk over the items serves the reader and the check; each gets them as calls:
//
//     bool Scalar(isKey, kind, bits), Text(isKey, bytes, length)
//     bool Binary(isKey, bytes, length), Extension(isKey, type, bytes, length)
//     bool Open(isKey, kind), void Close()
//
// False is a refusal, whose reason the target keeps. Depth costs memory, not the stack.

#include <core/data/message_pack.h>

#include "core/data/bson_wire.h"
#include "core/data/deep_stack.h"
#include "core/data/json_nodes.h"
#include "core/data/packed_values.h"
#include "core/data/utf8.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace core {
namespace {

using detail::DeepStack;
using detail::JsonNodes;
using detail::NodeMemory;

/// Where the walk stands, and why a target refuses the item there.
struct Position {
    std::size_t offset = 0;
    std::size_t item = 0;
    std::string reason;

    /// False, for targets to answer.
    bool Refuse(std::string why) {
        reason = std::move(why);
        return false;
    }
    MessagePackResult Fault(std::string why) const { return {offset, item, std::move(why)}; }
};

/// Why nothing could be decoded at an offset.
std::string WhyNothing(const wire::Input& input, std::size_t offset) {
    if (offset >= input.size) {
        return "the data ends where an item was expected";
    }
    if (wire::kFixedParts<wire::Form::Standard>.size[input.data[offset]] == 0) {
        return "byte 0xC1 begins no item";
    }
    return input.cursor > input.size ? "cut short: the data ends inside the item"
                                     : "a length above 2147483647";
}

template <class Target>
MessagePackResult Walk(wire::Input input, Target& target) {
    /// An open container: how many items are to come, a map's keys among them.
    struct Level {
        std::uint64_t left;
        bool isMap;
    };
    enum class Step : std::uint8_t { Over, Opened, Refused, Nothing };
    struct Sink {
        Target& target;
        bool isKey;
        Level& opened;

        static Step StepOf(bool isTaken) { return isTaken ? Step::Over : Step::Refused; }
        Step Number(std::int32_t kind, std::uint64_t bits) const {
            if (kind < BsonItem::kTuple) {
                return StepOf(target.Scalar(isKey, kind, bits));
            }
            opened.isMap = kind == BsonItem::kMap;
            opened.left = opened.isMap ? 2 * bits : bits;
            return target.Open(isKey, kind) ? Step::Opened : Step::Refused;
        }
        Step Text(const unsigned char* bytes, std::uint64_t length) const {
            return StepOf(target.Text(isKey, bytes, length));
        }
        Step Binary(const unsigned char* bytes, std::uint64_t length) const {
            return StepOf(target.Binary(isKey, bytes, length));
        }
        Step Extension(int type, const unsigned char* bytes, std::uint64_t length) const {
            return StepOf(target.Extension(isKey, type, bytes, length));
        }
        Step Nothing() const noexcept { return Step::Nothing; }
    };
    DeepStack<Level> open;
    Position& at = target.at;
    for (;;) {
        at.offset = input.cursor;
        const bool isKey = !open.IsEmpty() && open.Top().isMap && open.Top().left % 2 == 0;
        Level opened{};
        const Step step = wire::Decode<wire::Form::Standard>(input, Sink{target, isKey, opened});
        if (step == Step::Nothing) {
            return at.Fault(WhyNothing(input, at.offset));
        }
        if (step == Step::Refused) {
            return at.Fault(std::move(at.reason));
        }
        ++at.item;
        if (!open.IsEmpty()) {
            --open.Top().left;
        }
        if (step == Step::Opened) {
            open.Push(opened);
        }
        for (; !open.IsEmpty() && open.Top().left == 0; open.Drop()) {
            target.Close();
        }
        if (open.IsEmpty()) {
            break;
        }
    }
    at.offset = input.cursor;
    return input.cursor == input.size ? MessagePackResult()
                                      : at.Fault("more bytes behind the document");
}

using Bytes = const unsigned char*;

std::string Base64(Bytes bytes, std::size_t size) {
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (std::size_t i = 0; i < size; i += 3) {
        const std::size_t left = std::min<std::size_t>(size - i, 3);
        const unsigned three = bytes[i] * 0x10000U + (left > 1 ? bytes[i + 1] * 0x100U : 0U) +
                               (left > 2 ? bytes[i + 2] : 0U);
        for (std::size_t digit = 0; digit < 4; ++digit) {
            text += digit <= left ? kDigits[three >> (18 - 6 * digit) & 63] : '=';
        }
    }
    return text;
}

constexpr int kTimestamp = -1;

/// A point in time as extensions of type -1 store it.
struct Timestamp {
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;

    /// False when the bytes are none.
    bool Read(Bytes bytes, std::uint64_t length) noexcept {
        if (length == 4) {
            seconds = static_cast<std::int64_t>(wire::ReadBig<4>(bytes));
        } else if (length == 8) {
            const std::uint64_t both = wire::ReadBig<8>(bytes);
            nanoseconds = static_cast<std::uint32_t>(both >> 34);
            seconds = static_cast<std::int64_t>(both & ((std::uint64_t{1} << 34) - 1));
        } else if (length == 12) {
            nanoseconds = static_cast<std::uint32_t>(wire::ReadBig<4>(bytes));
            seconds = static_cast<std::int64_t>(wire::ReadBig<8>(bytes + 4));
        } else {
            return false;
        }
        return nanoseconds < 1'000'000'000;
    }
    /// As RFC 3339 has it; empty outside the years 0 to 9999.
    std::string Text() const {
        using namespace std::chrono;
        constexpr std::int64_t kFirst = -62'167'219'200;  // 0000-01-01
        constexpr std::int64_t kEnd = 253'402'300'800;    // 10000-01-01
        if (seconds < kFirst || seconds >= kEnd) {
            return "";
        }
        const sys_seconds time{std::chrono::seconds(seconds)};
        const sys_days day = floor<days>(time);
        const year_month_day date(day);
        const hh_mm_ss clock(time - day);
        std::array<char, 40> text{};
        int size = std::snprintf(
            text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d",
            static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
            static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
        if (nanoseconds != 0) {
            size += std::snprintf(text.data() + size, text.size() - static_cast<std::size_t>(size),
                                  ".%09u", nanoseconds);
            while (text[static_cast<std::size_t>(size) - 1] == '0') {
                --size;
            }
        }
        return std::string(text.data(), static_cast<std::size_t>(size)) + "Z";
    }
};

bool IsUtf8(Bytes bytes, std::uint64_t length) noexcept {
    const char* const first = reinterpret_cast<const char*>(bytes);
    return detail::ValidUtf8End(first, first + length, first + length) == first + length;
}

bool HasZero(Bytes bytes, std::uint64_t length) noexcept {
    return length > 0 && std::memchr(bytes, 0, static_cast<std::size_t>(length)) != nullptr;
}

/// Makes a tree.
class Builder {
public:
    Builder(JsonValue& empty, Bytes endOfInput, const MessagePackOptions& asked)
        : root(empty), memory(empty.Allocator()), limit(endOfInput), options(asked) {}

    bool Scalar(bool isKey, std::int32_t kind, std::uint64_t bits) {
        if (!isKey) {
            detail::SetPackedScalar(NewValue(), kind, bits);
            return true;
        }
        if (options.keys == MessagePackKeys::Texts || kind < BsonItem::kInt8 ||
            kind > BsonItem::kUint64) {
            return RefuseKey();
        }
        std::array<char, 24> digits{};
        const std::int64_t number = wire::IntegerOf(kind, bits);
        char* const end =
            kind == BsonItem::kUint64
                ? std::to_chars(digits.data(), digits.data() + digits.size(), bits).ptr
                : std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        SetText(NewName(),
                std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
        return true;
    }
    bool Text(bool isKey, Bytes bytes, std::uint64_t length) {
        const char* const what = isKey ? "a member's name" : "a text";
        if (length > detail::kLongestPackedText) {
            return at.Refuse("longer than 2147483646 bytes");
        }
        if (options.zeros == MessagePackZeros::Refuse && HasZero(bytes, length)) {
            return at.Refuse(std::string(what) + " with a zero byte, at which it would end");
        }
        if (options.encoding == JsonEncoding::Utf8 && !IsUtf8(bytes, length)) {
            return at.Refuse(std::string(what) + " that is no UTF-8");
        }
        detail::SetPackedText(isKey ? NewName() : NewText(), bytes, length, limit, memory);
        return true;
    }
    bool Binary(bool isKey, Bytes bytes, std::uint64_t length) {
        return isKey ? RefuseKey() : Foreign(options.binary, "binary data", "", bytes, length);
    }
    bool Extension(bool isKey, int type, Bytes bytes, std::uint64_t length) {
        if (isKey) {
            return RefuseKey();
        }
        if (type == kTimestamp && options.timestamps != MessagePackTime::Extension) {
            return Time(bytes, length);
        }
        return Foreign(options.extensions, "an extension of type " + std::to_string(type),
                       "ext:" + std::to_string(type) + ":", bytes, length);
    }
    bool Open(bool isKey, std::int32_t kind) {
        if (isKey) {
            return RefuseKey();
        }
        if (open.Size() >= options.maxDepth) {
            return at.Refuse("nested deeper than " + std::to_string(options.maxDepth) + " levels");
        }
        JsonValue& value = NewValue();
        open.Push(kind == BsonItem::kMap
                      ? Container{nullptr, &JsonNodes::MakeObject(value, memory)}
                      : Container{&JsonNodes::MakeArray(value, memory), nullptr});
        return true;
    }
    void Close() noexcept { open.Drop(); }

    Position at;

private:
    /// An open container: one of the two.
    struct Container {
        JsonArray* array;
        JsonObject* object;
    };

    /// The null that the next item is to become.
    JsonValue& NewValue() {
        if (open.IsEmpty()) {
            return root;
        }
        if (JsonArray* const array = open.Top().array) {
            return JsonNodes::AddNull(*array, memory);
        }
        return *member;
    }
    JsonString& NewText() { return JsonNodes::MakeString(NewValue(), memory); }
    JsonString& NewName() {
        member = &JsonNodes::AddNull(*open.Top().object, memory);
        return JsonNodes::Name(*member);
    }
    void SetText(JsonString& empty, std::string_view text) {
        const auto* const bytes = reinterpret_cast<Bytes>(text.data());
        detail::SetPackedText(empty, bytes, text.size(), bytes + text.size(), memory);
    }
    bool RefuseKey() {
        return at.Refuse(options.keys == MessagePackKeys::Texts
                             ? "a member's name that is no text"
                             : "a member's name that is neither text nor integer");
    }

    bool Foreign(MessagePackForeign asked, const std::string& what, const std::string& prefix,
                 Bytes bytes, std::uint64_t length) {
        switch (asked) {
            case MessagePackForeign::Refuse:
                return at.Refuse(what + ", which JSON does not have");
            case MessagePackForeign::Skip:
                detail::SetPackedScalar(NewValue(), BsonItem::kNil, 0);
                return true;
            case MessagePackForeign::Keep:
                break;
        }
        if (length > detail::kLongestPackedText / 4 * 3 - 32) {
            return at.Refuse(what + " that is too long for a text");
        }
        SetText(NewText(), prefix + "base64:" + Base64(bytes, static_cast<std::size_t>(length)));
        return true;
    }
    bool Time(Bytes bytes, std::uint64_t length) {
        Timestamp time;
        if (!time.Read(bytes, length)) {
            return at.Refuse("a timestamp of no known form");
        }
        if (options.timestamps == MessagePackTime::Text) {
            const std::string text = time.Text();
            if (text.empty()) {
                return at.Refuse("a timestamp outside the years 0 to 9999");
            }
            SetText(NewText(), text);
        } else if (time.nanoseconds == 0) {
            JsonNodes::SetScalar(NewValue(), JsonValue::kSigned,
                                 static_cast<std::uint64_t>(time.seconds));
        } else {
            const double seconds =
                static_cast<double>(time.seconds) + static_cast<double>(time.nanoseconds) * 1e-9;
            detail::SetPackedScalar(NewValue(), BsonItem::kDouble,
                                    std::bit_cast<std::uint64_t>(seconds));
        }
        return true;
    }

    JsonValue& root;
    NodeMemory memory;
    const Bytes limit;
    const MessagePackOptions& options;
    JsonMember* member = nullptr;
    DeepStack<Container> open;
};

/// Counts.
class Counter {
public:
    bool Scalar(bool isKey, std::int32_t kind, std::uint64_t bits) {
        report.smallNegatives +=
            kind == BsonItem::kInt8 && static_cast<std::int8_t>(bits) < 0 ? 1 : 0;
        return Key(isKey);
    }
    bool Text(bool, Bytes bytes, std::uint64_t length) noexcept {
        report.textsWithZero += HasZero(bytes, length) ? 1 : 0;
        report.textsNotUtf8 += IsUtf8(bytes, length) ? 0 : 1;
        return true;
    }
    bool Binary(bool isKey, Bytes, std::uint64_t) {
        ++report.binaries;
        NotOwn("binary data, which the library's own form does not have");
        return Key(isKey);
    }
    bool Extension(bool isKey, int type, Bytes bytes, std::uint64_t length) {
        const bool isTime = type == kTimestamp && Timestamp().Read(bytes, length);
        ++(isTime ? report.timestamps : report.extensions);
        NotOwn("an extension, which the library's own form does not have");
        return Key(isKey);
    }
    bool Open(bool isKey, std::int32_t) {
        report.depth = std::max(report.depth, ++depth);
        return Key(isKey);
    }
    void Close() noexcept { --depth; }

    Position at;
    MessagePackReport report;

private:
    /// An item that is no text; true.
    bool Key(bool isKey) {
        if (isKey) {
            ++report.otherKeys;
            NotOwn("a member's name that is no text");
        }
        return true;
    }
    void NotOwn(const char* why) {
        if (report.own) {
            report.own = at.Fault(why);
        }
    }

    std::size_t depth = 0;
};

}  // namespace

std::string MessagePackResult::Message() const {
    return "item " + std::to_string(item) + ", at byte " + std::to_string(offset) + ": " + reason;
}

MessagePackResult MessagePackToJson(const unsigned char* data, std::size_t size, JsonValue& out,
                                    const MessagePackOptions& options) {
    JsonValue fresh(out.Allocator());
    Builder builder(fresh, data + size, options);
    MessagePackResult result = Walk({data, size, 0}, builder);
    if (result) {
        out = std::move(fresh);
    }
    return result;
}

MessagePackResult MessagePackToJson(const BsonBox& box, JsonValue& out,
                                    const MessagePackOptions& options) {
    return MessagePackToJson(box.Data(), box.Size(), out, options);
}

MessagePackReport CheckMessagePack(const unsigned char* data, std::size_t size) {
    Counter counter;
    counter.report.standard = Walk({data, size, 0}, counter);
    counter.report.items = counter.at.item;
    if (!counter.report.standard && counter.report.own) {
        counter.report.own = counter.report.standard;
    }
    return std::move(counter.report);
}

MessagePackReport CheckMessagePack(const BsonBox& box) {
    return CheckMessagePack(box.Data(), box.Size());
}

}  // namespace core
