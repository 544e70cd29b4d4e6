#pragma once

// The nodes of a JSON tree for the code that builds and walks whole trees: the
// parser, the conversions, copying and clearing.
//
//     detail::NodeMemory memory(value.Allocator());     // asked once
//     JsonArray& array = JsonNodes::MakeArray(value, memory);
//     JsonElem& element = JsonNodes::AddNull(array, memory);
//     JsonString& text = JsonNodes::MakeString(element, memory);
//     char* bytes = JsonNodes::Reserve(text, length + 1, memory);

#include <core/data/json_allocator.h>
#include <core/data/json_array.h>
#include <core/data/json_object.h>
#include <core/data/json_string.h>
#include <core/data/json_value.h>
#include <core/foundation/mem_pool.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace core::detail {

/// Memory from an allocator. From one of our own pools it borrows what is left of the
/// chunk, where nothing was freed that would have to be used first: nodes lie then where
/// they would lie anyway, for a fraction of the instructions.
///
/// While there is a loan, nobody else may ask the pool; see Return.
class NodeMemory {
public:
    /// Looks what the allocator is; worth it from a handful of nodes on.
    explicit NodeMemory(JsonAllocator* ofNodes) noexcept;
    NodeMemory(const NodeMemory&) = delete;
    NodeMemory& operator=(const NodeMemory&) = delete;
    ~NodeMemory() { Return(); }
    /// For a node or two.
    static NodeMemory ForFew(JsonAllocator* ofNodes) noexcept {
        return NodeMemory(ofNodes, nullptr);
    }

    JsonAllocator* Allocator() const noexcept { return allocator; }
    void* Alloc(std::size_t size) {
        // Less than two words would need no alignment to 16 bytes.
        if (size > 8 && size <= PoolSizes::kLargest) {
            const std::size_t block = MemPool::BucketSize(size);
            if (block <= static_cast<std::size_t>(loanEnd - loan)) {
                return std::exchange(loan, loan + block);
            }
        }
        return AllocElsewhere(size);
    }
    /// The same for a size that the compiler knows.
    template <std::size_t size>
    [[gnu::always_inline]] void* AllocNode() {
        static_assert(size > 8 && size <= PoolSizes::kLargest);
        constexpr std::size_t block = PoolSizes::kSizes[PoolSizes::kBucketOfUnits[(size + 7) / 8]];
        if (block <= static_cast<std::size_t>(loanEnd - loan)) {
            return std::exchange(loan, loan + block);
        }
        return AllocElsewhere(size);
    }
    void Dealloc(void* pointer, std::size_t size) noexcept {
        if (pool != nullptr) {
            Return();
            pool->Dealloc(pointer, size);
        } else {
            allocator->Dealloc(pointer, size);
        }
    }
    /// Gives the pool back what was borrowed, for others to ask it.
    void Return() noexcept {
        if (loan != nullptr) {
            pool->TakeBack(loan, loanEnd);
            loan = nullptr;
            loanEnd = nullptr;
        }
    }

private:
    NodeMemory(JsonAllocator* ofNodes, MemPool* ofAllocator) noexcept
        : allocator(ofNodes), pool(ofAllocator) {}
    [[gnu::noinline]] void* AllocElsewhere(std::size_t size);

    JsonAllocator* allocator;
    MemPool* pool;
    char* loan = nullptr;
    char* loanEnd = nullptr;
};

/// The private side of the node classes. `memory` is always that of the nodes'
/// allocator.
struct JsonNodes {
    static constexpr std::int32_t kMaxCount = std::numeric_limits<std::int32_t>::max();
    /// The least room that a text has.
    static constexpr std::int32_t kInPlaceText = JsonString::kInPlace;

    /// Appends a null element, or a null member with an empty name. Throws like the
    /// allocator, or `std::length_error` when the container is full; it is then as
    /// before.
    [[gnu::always_inline]] static JsonElem& AddNull(JsonArray& array, NodeMemory& memory) {
        return Append(array, NewElem(array, memory));
    }
    [[gnu::always_inline]] static JsonMember& AddNull(JsonObject& object, NodeMemory& memory) {
        return Append(object, NewMember(object, memory));
    }

    /// Gives an empty container or text to a value that owns no node.
    [[gnu::always_inline]] static JsonArray& MakeArray(JsonValue& value, NodeMemory& memory) {
        value.payload.array = New<JsonArray>(memory);
        value.kind = JsonValue::kArray;
        return *value.payload.array;
    }
    [[gnu::always_inline]] static JsonObject& MakeObject(JsonValue& value, NodeMemory& memory) {
        value.payload.object = New<JsonObject>(memory);
        value.kind = JsonValue::kObject;
        return *value.payload.object;
    }
    [[gnu::always_inline]] static JsonString& MakeString(JsonValue& value, NodeMemory& memory) {
        value.payload.string = New<JsonString>(memory);
        value.kind = JsonValue::kString;
        return *value.payload.string;
    }

    /// Gives a number, or another scalar, to a value that owns no node.
    static void SetScalar(JsonValue& value, std::int32_t kind, std::uint64_t bits) noexcept {
        value.kind = kind;
        value.payload.unsigned64 = bits;
    }

    static JsonString& Name(JsonMember& member) noexcept { return *member.name; }
    static const JsonString& Name(const JsonMember& member) noexcept { return *member.name; }

    /// What a value of that very kind holds, unchecked.
    static bool Bool(const JsonValue& value) noexcept { return value.payload.boolean; }
    static std::int64_t Signed(const JsonValue& value) noexcept { return value.payload.signed64; }
    static std::uint64_t Unsigned(const JsonValue& value) noexcept {
        return value.payload.unsigned64;
    }
    static double Double(const JsonValue& value) noexcept { return value.payload.real; }
    static const JsonString& String(const JsonValue& value) noexcept {
        return *value.payload.string;
    }
    static const JsonArray& Array(const JsonValue& value) noexcept { return *value.payload.array; }
    static const JsonObject& Object(const JsonValue& value) noexcept {
        return *value.payload.object;
    }

    /// Where a string's text lies: at least 16 bytes.
    static char* Storage(JsonString& string) noexcept { return string.MutableText(); }
    /// As `JsonString::Reserve`.
    static char* Reserve(JsonString& string, std::int32_t bytes, NodeMemory& memory) {
        if (bytes > string.capacity) {
            FreeText(string, memory);
            string.storage.heap = static_cast<char*>(memory.Alloc(static_cast<std::size_t>(bytes)));
            string.capacity = bytes;
        }
        return string.MutableText();
    }

    /// As `JsonArray::Clear` and `JsonObject::Clear`. No recursion and no memory: on
    /// the way down, the links that led there are turned round.
    static void Clear(JsonArray& array, NodeMemory& memory) noexcept;
    static void Clear(JsonObject& object, NodeMemory& memory) noexcept;
    /// As `JsonValue::Clear`.
    static void Clear(JsonValue& value, NodeMemory& memory) noexcept;

    /// Replaces the target's content by a deep copy of another container, which may lie
    /// inside it. It is unchanged when the allocator throws.
    static void Copy(const JsonArray& from, JsonArray& target, NodeMemory& memory);
    static void Copy(const JsonObject& from, JsonObject& target, NodeMemory& memory);

    /// Moves all nodes to an empty container of the same allocator. Kept on purpose: the
    /// nodes' parent stays the container that they were added to.
    template <class Container>
    static void TakeOver(Container& from, Container& empty) noexcept {
        empty.count = from.count;
        empty.first = from.first;
        empty.last = from.last;
        from.count = 0;
        from.first = nullptr;
        from.last = nullptr;
    }

    /// Moves all members behind those of another object of the same allocator.
    static void Splice(JsonObject& object, JsonObject& from) noexcept {
        for (JsonMember* member = from.first; member != nullptr; member = member->next) {
            member->parent = &object;
        }
        if (from.first != nullptr) {
            (object.last != nullptr ? object.last->next : object.first) = from.first;
            object.last = from.last;
            object.count += from.count;
            from.count = 0;
            from.first = nullptr;
            from.last = nullptr;
        }
    }

    /// An element or member that is in no list yet.
    [[gnu::always_inline]] static JsonElem* NewElem(JsonArray& parent, NodeMemory& memory) {
        if (parent.count == kMaxCount) {
            ThrowFull();
        }
        return new (memory.AllocNode<sizeof(JsonElem)>()) JsonElem(memory.Allocator(), &parent);
    }
    [[gnu::always_inline]] static JsonMember* NewMember(JsonObject& parent, NodeMemory& memory) {
        if (parent.count == kMaxCount) {
            ThrowFull();
        }
        JsonString* const name = New<JsonString>(memory);
        try {
            return new (memory.AllocNode<sizeof(JsonMember)>())
                JsonMember(memory.Allocator(), name, &parent);
        } catch (...) {
            Free(name, memory);
            throw;
        }
    }
    static JsonElem& Append(JsonArray& array, JsonElem* element) noexcept {
        (array.last != nullptr ? array.last->next : array.first) = element;
        array.last = element;
        ++array.count;
        return *element;
    }
    static JsonMember& Append(JsonObject& object, JsonMember* member) noexcept {
        (object.last != nullptr ? object.last->next : object.first) = member;
        object.last = member;
        ++object.count;
        return *member;
    }
    /// Clears it and returns its memory; it is in no list any more.
    static void Delete(JsonElem* element, NodeMemory& memory) noexcept;
    static void Delete(JsonMember* member, NodeMemory& memory) noexcept;

    /// What an index past the end of an array yields.
    static JsonElem& NoElement() noexcept;
    /// What a name that an object does not have yields where nothing is added.
    static const JsonMember& NoMember() noexcept;
    /// Leaves the content to an allocator that is about to drop all its memory.
    static void Abandon(JsonValue& value) noexcept { value.kind = JsonValue::kEmpty; }

private:
    template <class Node>
    [[gnu::always_inline]] static Node* New(NodeMemory& memory) {
        return new (memory.template AllocNode<sizeof(Node)>()) Node(memory.Allocator());
    }
    static void FreeText(JsonString& string, NodeMemory& memory) noexcept {
        if (!string.IsInPlace()) {
            memory.Dealloc(string.storage.heap, static_cast<std::size_t>(string.capacity));
            string.capacity = JsonString::kInPlace;
        }
        string.storage.inPlace[0] = '\0';
    }
    static void Free(JsonString* string, NodeMemory& memory) noexcept;
    static void Empty(JsonValue& root, NodeMemory& memory) noexcept;

    struct CopyPosition;
    static void CopyText(const JsonString& from, JsonString& empty, NodeMemory& memory);
    static void CopyTree(CopyPosition at, NodeMemory& memory);
    template <class Container>
    static void Replace(const Container& from, Container& target, NodeMemory& memory);
    [[noreturn]] static void ThrowFull();
};

}  // namespace core::detail
