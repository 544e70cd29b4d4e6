#include <core/data/json_bson.h>

#include "core/data/bson_room.h"
#include "core/data/bson_wire.h"
#include "core/data/deep_stack.h"
#include "core/data/json_nodes.h"

#include <cstring>
#include <utility>

namespace core {
namespace {

using detail::BsonRoom;
using detail::DeepStack;
using detail::JsonNodes;
using detail::NodeMemory;

// Both directions go through a tree with the open containers on a stack of their own:
// depth costs memory, not the thread's stack. A container with nothing to come is not
// on it.

/// Packs trees.
class TreePacker {
public:
    TreePacker() {
        // Enough for most messages.
        constexpr std::size_t kFirst = 128;
        BsonRoom::Reserve(box, kFirst);
        Load();
    }

    void Pack(const JsonValue& value) {
        PackItem(value);
        PackRest();
    }
    void Pack(const JsonArray& array) {
        Open(array);
        PackRest();
    }
    void Pack(const JsonObject& object) {
        Open(object);
        PackRest();
    }
    BsonBox Take() noexcept {
        BsonRoom::SetEnd(box, at);
        return std::move(box);
    }

private:
    /// The next one of the container that is being packed: an element, a member, or
    /// neither at its end.
    struct Position {
        const JsonElem* element;
        const JsonMember* member;
    };

    void PackRest() {
        for (;;) {
            if (next.element != nullptr) {
                const JsonElem& element = *next.element;
                next.element = element.NextSibling();
                PackItem(element);
            } else if (next.member != nullptr) {
                const JsonMember& member = *next.member;
                next.member = member.NextSibling();
                PackText(JsonNodes::Name(member));
                PackItem(member);
            } else if (!open.IsEmpty()) {
                next = open.Pop();
            } else {
                return;
            }
        }
    }

    /// A scalar, or a container's header: its content is next then.
    void PackItem(const JsonValue& value) {
        switch (value.Kind()) {
            case JsonValue::kNull:
                at = wire::Nil(Room());
                break;
            case JsonValue::kBool:
                at = wire::Bool(Room(), JsonNodes::Bool(value));
                break;
            case JsonValue::kSigned:
                at = wire::Int64(Room(), JsonNodes::Signed(value));
                break;
            case JsonValue::kUnsigned:
                at = wire::Unsigned(Room(), JsonNodes::Unsigned(value));
                break;
            case JsonValue::kDouble:
                at = wire::Double(Room(), JsonNodes::Double(value));
                break;
            case JsonValue::kString:
                PackText(JsonNodes::String(value));
                break;
            case JsonValue::kArray:
                Open(JsonNodes::Array(value));
                break;
            case JsonValue::kObject:
                Open(JsonNodes::Object(value));
                break;
            default:
                // Kept on purpose: readers of packed data know no empty value, and the
                // header that counts it stands already.
                break;
        }
    }

    void Open(const JsonArray& array) {
        at = wire::TupleHeader(Room(), array.Count());
        Enter({array.First(), nullptr});
    }
    void Open(const JsonObject& object) {
        at = wire::MapHeader(Room(), object.Count());
        Enter({nullptr, object.First()});
    }
    void Enter(const Position& first) {
        if (next.element != nullptr || next.member != nullptr) {
            open.Push(next);
        }
        next = first;
    }

    void PackText(const JsonString& string) {
        const char* const text = string.Text();
        const std::size_t size = std::strlen(text);
        unsigned char* const bytes = wire::TextHeader(Room(wire::kMaxNumber + size), size);
        std::memcpy(bytes, text, size);
        at = bytes + size;
    }

    unsigned char* Room(std::size_t size = wire::kMaxNumber) {
        if (static_cast<std::size_t>(limit - at) < size) {
            BsonRoom::SetEnd(box, at);
            BsonRoom::Grow(box, size);
            Load();
        }
        return at;
    }
    void Load() noexcept {
        at = BsonRoom::End(box);
        limit = BsonRoom::Limit(box);
    }

    BsonBox box;
    unsigned char* at = nullptr;
    unsigned char* limit = nullptr;
    Position next = {nullptr, nullptr};
    DeepStack<Position> open;
};

template <class Tree>
void PackInto(const Tree& tree, BsonBox& out) {
    TreePacker packer;
    packer.Pack(tree);
    out = packer.Take();
}

/// Unpacks one tree. A fault ends the container that it is in: nothing is decoded any
/// more, so the container around that one meets the same fault with what it has to
/// read next, and so on to the outermost.
class TreeUnpacker {
public:
    TreeUnpacker(const BsonBox& box, JsonAllocator* allocator) noexcept
        : data(box.Data()), size(box.Size()), memory(allocator) {}

    /// False when not even the first item is there.
    bool Unpack(JsonValue& empty) {
        const wire::Decoded first = Decode();
        if (first.kind == BsonItem::kNone) {
            return false;
        }
        Store(first, empty);
        for (;;) {
            if (now.left == 0) {
                if (open.IsEmpty()) {
                    return true;
                }
                now = open.Pop();
            }
            --now.left;
            if (!UnpackNext()) {
                now.left = 0;
            }
        }
    }

private:
    /// A container that is being filled, one of the two, and how many are to come.
    struct Position {
        JsonArray* array;
        JsonObject* object;
        std::uint32_t left;
    };

    /// The next element or member; false at a fault.
    bool UnpackNext() {
        if (now.array != nullptr) {
            JsonElem& element = JsonNodes::AddNull(*now.array, memory);
            return Store(Decode(), element);
        }
        const wire::Decoded key = Decode();
        if (key.kind != BsonItem::kString) {
            hasFailed = true;
            return false;
        }
        JsonMember& member = JsonNodes::AddNull(*now.object, memory);
        StoreText(key, JsonNodes::Name(member));
        return Store(Decode(), member);
    }

    wire::Decoded Decode() noexcept {
        wire::Decoded item;
        if (!hasFailed) {
            item = wire::Decode(data, size, cursor);
            // A JSON text has less than 2 GiB with its terminating zero.
            constexpr std::uint64_t kLongest = JsonNodes::kMaxCount - 1;
            hasFailed = item.kind == BsonItem::kNone ||
                        (item.kind == BsonItem::kString && item.bits > kLongest);
        }
        return hasFailed ? wire::Decoded{} : item;
    }

    /// Gives a null or empty value what was decoded, and makes a container the one to
    /// fill; false for kind none.
    bool Store(const wire::Decoded& item, JsonValue& value) {
        switch (item.kind) {
            case BsonItem::kNone:
                return false;
            case BsonItem::kNil:
                value.Set(nullptr);
                return true;
            case BsonItem::kBool:
                value.Set(item.bits != 0);
                return true;
            case BsonItem::kFloat:
                value.Set(double{std::bit_cast<float>(static_cast<std::uint32_t>(item.bits))});
                return true;
            case BsonItem::kDouble:
                value.Set(std::bit_cast<double>(item.bits));
                return true;
            case BsonItem::kString:
                StoreText(item, JsonNodes::MakeString(value, memory));
                return true;
            case BsonItem::kTuple:
                Enter({&JsonNodes::MakeArray(value, memory), nullptr, Count(item)});
                return true;
            case BsonItem::kMap:
                Enter({nullptr, &JsonNodes::MakeObject(value, memory), Count(item)});
                return true;
            case BsonItem::kUint64:
                if (item.bits >> 63 != 0) {
                    value.Set(item.bits);
                    return true;
                }
                break;
            default:
                break;
        }
        value.Set(wire::IntegerOf(item.kind, item.bits));
        return true;
    }
    static std::uint32_t Count(const wire::Decoded& header) noexcept {
        return static_cast<std::uint32_t>(header.bits);
    }
    void Enter(const Position& container) {
        if (now.left > 0) {
            open.Push(now);
        }
        now = container;
    }

    void StoreText(const wire::Decoded& item, JsonString& text) {
        char* const bytes =
            JsonNodes::Reserve(text, static_cast<std::int32_t>(item.bits) + 1, memory);
        std::memcpy(bytes, item.text, item.bits);
        bytes[item.bits] = '\0';
    }

    const unsigned char* data;
    std::size_t size;
    std::size_t cursor = 0;
    bool hasFailed = false;
    NodeMemory memory;
    Position now = {nullptr, nullptr, 0};
    DeepStack<Position> open;
};

}  // namespace

void JsonToBson(const JsonValue& value, BsonBox& out) {
    PackInto(value, out);
}

void JsonToBson(const JsonObject& object, BsonBox& out) {
    PackInto(object, out);
}

void JsonToBson(const JsonArray& array, BsonBox& out) {
    PackInto(array, out);
}

bool BsonToJson(const BsonBox& box, JsonValue& out) {
    out.Clear();
    return TreeUnpacker(box, out.Allocator()).Unpack(out);
}

}  // namespace core
