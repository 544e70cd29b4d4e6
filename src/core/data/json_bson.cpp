#include <core/data/json_bson.h>

#include "core/data/bson_room.h"
#include "core/data/bson_wire.h"
#include "core/data/deep_stack.h"
#include "core/data/json_nodes.h"
#include "core/data/packed_values.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace core {
namespace {

using detail::BsonRoom;
using detail::DeepStack;
using detail::JsonNodes;
using detail::NodeMemory;

// Both directions go through a tree with the open containers on a stack of their own:
// depth costs memory, not the thread's stack.

/// Packs trees.
class TreePacker {
public:
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
    BsonBox Take() {
        if (IsInFirst()) {
            constexpr std::size_t kLeast = 128;
            MoveToBox(std::max(Written(), kLeast));
        }
        BsonRoom::SetEnd(box, at);
        return std::move(box);
    }

private:
    /// The next one of a container that is being packed: an element or a member; neither
    /// at its end.
    struct Frame {
        const JsonElem* element;
        const JsonMember* member;
    };

    void PackRest() {
        while (!open.IsEmpty()) {
            Frame& top = open.Top();
            if (const JsonElem* const element = top.element) {
                PackFrom(element, &Frame::element);
            } else if (const JsonMember* const member = top.member) {
                PackFrom(member, &Frame::member);
            } else {
                open.Drop();
            }
        }
    }

    /// Packs `node` and those behind it, up to the end or to a container, which is the
    /// newest frame then.
    template <class Node>
    void PackFrom(const Node* node, const Node* Frame::*next) {
        do {
            PackName(*node);
            const JsonValue& value = *node;
            node = node->NextSibling();
            if (value.Kind() >= JsonValue::kArray) {
                open.Top().*next = node;
                PackItem(value);
                return;
            }
            PackItem(value);
        } while (node != nullptr);
        open.Drop();
    }
    void PackName(const JsonElem&) const noexcept {}
    void PackName(const JsonMember& member) { PackText(JsonNodes::Name(member)); }

    /// A scalar, or a container's header: its content comes next then.
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
        Push(array.First(), nullptr);
    }
    void Open(const JsonObject& object) {
        at = wire::MapHeader(Room(), object.Count());
        Push(nullptr, object.First());
    }
    void Push(const JsonElem* element, const JsonMember* member) {
        Frame& frame = open.Push();
        frame.element = element;
        frame.member = member;
    }

    void PackText(const JsonString& string) {
        const char* const text = string.Text();
        const std::size_t size = std::strlen(text);
        constexpr std::size_t kPiece = JsonNodes::kInPlaceText;
        unsigned char* const bytes = wire::TextHeader(Room(wire::kMaxNumber + kPiece + size), size);
        if (string.Capacity() <= JsonNodes::kInPlaceText) {
            // All that is there, in one piece: what follows writes over the rest.
            std::memcpy(bytes, text, kPiece);
        } else {
            std::copy_n(reinterpret_cast<const unsigned char*>(text), size, bytes);
        }
        at = bytes + size;
    }

    unsigned char* Room(std::size_t size = wire::kMaxNumber) {
        if (static_cast<std::size_t>(limit - at) < size) {
            Grow(size);
        }
        return at;
    }
    void Grow(std::size_t size) {
        if (IsInFirst()) {
            MoveToBox(std::max(Written() + size, 2 * kFirst));
        } else {
            BsonRoom::SetEnd(box, at);
            BsonRoom::Grow(box, size);
            at = BsonRoom::End(box);
            limit = BsonRoom::Limit(box);
        }
    }

    bool IsInFirst() const noexcept { return limit == first + kFirst; }
    std::size_t Written() const noexcept { return static_cast<std::size_t>(at - first); }
    void MoveToBox(std::size_t capacity) {
        const std::size_t written = Written();
        BsonRoom::Reserve(box, capacity);
        std::memcpy(BsonRoom::Begin(box), first, written);
        at = BsonRoom::Begin(box) + written;
        limit = BsonRoom::Limit(box);
    }

    /// Most messages fit in here, and need memory but once then.
    static constexpr std::size_t kFirst = 1024;
    unsigned char first[kFirst];
    unsigned char* at = first;
    unsigned char* limit = first + kFirst;
    BsonBox box;
    DeepStack<Frame> open;
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
        : input{box.Data(), box.Size(), 0}, memory(allocator) {}

    /// False when not even the first item is there.
    bool Unpack(JsonValue& empty) {
        if (UnpackInto(input, empty, 0) == Result::Nothing) {
            return false;
        }
        while (!open.IsEmpty()) {
            Frame& top = open.Top();
            if (top.left == 0) {
                open.Drop();
            } else if (top.array != nullptr) {
                Fill(*top.array, top.left);
            } else {
                Fill(*top.object, top.left);
            }
        }
        return true;
    }

private:
    /// A container that is being filled, one of the two, and how many are to come.
    struct Frame {
        JsonArray* array;
        JsonObject* object;
        std::uint64_t left;
    };
    enum class Result : std::uint8_t { Scalar, Container, Nothing };

    /// Fills the container of the newest frame up to its end, to a fault, or to a
    /// container inside it, which is the newest frame then. `left` is not 0.
    template <class Container>
    void Fill(Container& container, std::uint64_t left) {
        // In registers while this loop runs.
        wire::Input ahead = input;
        Result result = Result::Scalar;
        do {
            JsonValue* const value = AddNext(ahead, container);
            result = value != nullptr ? UnpackInto(ahead, *value, --left) : Result::Nothing;
        } while (left > 0 && result == Result::Scalar);
        input.cursor = ahead.cursor;
        if (result != Result::Container) {
            hasFailed = result == Result::Nothing;
            open.Drop();
        }
    }

    JsonValue* AddNext(wire::Input&, JsonArray& array) {
        return &JsonNodes::AddNull(array, memory);
    }
    /// A new member under the next key; null when that is no text.
    [[gnu::always_inline]] JsonValue* AddNext(wire::Input& from, JsonObject& object) {
        struct Sink {
            TreeUnpacker& self;
            JsonObject& object;

            JsonMember* Number(std::int32_t, std::uint64_t) const { return nullptr; }
            JsonMember* Text(const unsigned char* bytes, std::uint64_t length) const {
                if (length > detail::kLongestPackedText) {
                    return nullptr;
                }
                JsonMember& member = JsonNodes::AddNull(object, self.memory);
                detail::SetPackedText(JsonNodes::Name(member), bytes, length, self.input.End(),
                                      self.memory);
                return &member;
            }
            JsonMember* Nothing() const noexcept { return nullptr; }
        };
        return hasFailed ? nullptr : wire::Decode(from, Sink{*this, object});
    }

    /// Gives the next item to a value that owns no node. A container becomes the newest
    /// frame, with `left` kept in the one before.
    [[gnu::always_inline]] Result UnpackInto(wire::Input& from, JsonValue& value,
                                             std::uint64_t left) {
        struct Sink {
            TreeUnpacker& self;
            JsonValue& value;
            std::uint64_t left;

            Result Number(std::int32_t kind, std::uint64_t bits) const {
                return self.Store(kind, bits, value, left);
            }
            Result Text(const unsigned char* bytes, std::uint64_t length) const {
                if (length > detail::kLongestPackedText) {
                    return Result::Nothing;
                }
                detail::SetPackedText(JsonNodes::MakeString(value, self.memory), bytes, length,
                                      self.input.End(), self.memory);
                return Result::Scalar;
            }
            Result Nothing() const noexcept { return Result::Nothing; }
        };
        return hasFailed ? Result::Nothing : wire::Decode(from, Sink{*this, value, left});
    }

    Result Store(std::int32_t kind, std::uint64_t bits, JsonValue& value, std::uint64_t left) {
        if (kind == BsonItem::kTuple) {
            return Push(&JsonNodes::MakeArray(value, memory), nullptr, bits, left);
        }
        if (kind == BsonItem::kMap) {
            return Push(nullptr, &JsonNodes::MakeObject(value, memory), bits, left);
        }
        detail::SetPackedScalar(value, kind, bits);
        return Result::Scalar;
    }

    Result Push(JsonArray* array, JsonObject* object, std::uint64_t count, std::uint64_t left) {
        if (!open.IsEmpty()) {
            open.Top().left = left;
        }
        Frame& frame = open.Push();
        frame.array = array;
        frame.object = object;
        frame.left = count;
        return Result::Container;
    }

    wire::Input input;
    bool hasFailed = false;
    NodeMemory memory;
    DeepStack<Frame> open;
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
