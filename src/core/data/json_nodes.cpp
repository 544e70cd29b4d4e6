#include "core/data/json_nodes.h"

#include <core/data/json_doc.h>

#include <cstring>
#include <stdexcept>
#include <typeinfo>

#include "core/data/deep_stack.h"
#include "core/foundation/never_destroyed.h"

namespace core::detail {

namespace {

/// The pool of `allocator`, if that does nothing but forward to one. A class that
/// somebody derived may do more in its `Alloc`, and is called through it.
bool IsPlainPool(const JsonAllocator& allocator) noexcept {
    const std::type_info& type = typeid(allocator);
    return type == typeid(JsonDoc) || type == typeid(JsonOptimizedAllocator);
}

bool OwnsContainer(const JsonValue& value) noexcept {
    return value.IsArray() || value.IsObject();
}

}  // namespace

NodeMemory::NodeMemory(JsonAllocator* ofNodes) noexcept
    : NodeMemory(ofNodes, IsPlainPool(*ofNodes)
                              ? &static_cast<JsonOptimizedAllocator*>(ofNodes)->pool
                              : nullptr) {}

void* NodeMemory::AllocElsewhere(std::size_t size) {
    Return();
    if (pool == nullptr) {
        return allocator->Alloc(size, 8);
    }
    void* const block = pool->Alloc(size, 8);
    pool->Lend(loan, loanEnd);
    return block;
}

void JsonNodes::Free(JsonString* string, NodeMemory& memory) noexcept {
    FreeText(*string, memory);
    memory.Dealloc(string, sizeof *string);
}

void JsonNodes::Delete(JsonElem* element, NodeMemory& memory) noexcept {
    Clear(*element, memory);
    memory.Dealloc(element, sizeof *element);
}

void JsonNodes::Delete(JsonMember* member, NodeMemory& memory) noexcept {
    Free(member->name, memory);
    Clear(*member, memory);
    memory.Dealloc(member, sizeof *member);
}

void JsonNodes::Clear(JsonValue& value, NodeMemory& memory) noexcept {
    if (value.kind == JsonValue::kString) {
        Free(value.payload.string, memory);
    } else if (value.kind == JsonValue::kArray) {
        JsonArray* const array = value.payload.array;
        Empty(value, memory);
        memory.Dealloc(array, sizeof *array);
    } else if (value.kind == JsonValue::kObject) {
        JsonObject* const object = value.payload.object;
        Empty(value, memory);
        memory.Dealloc(object, sizeof *object);
    }
    value.kind = JsonValue::kEmpty;
}

void JsonNodes::Clear(JsonArray& array, NodeMemory& memory) noexcept {
    if (array.first == nullptr) {
        return;
    }
    JsonValue owner(array.allocator);
    owner.kind = JsonValue::kArray;
    owner.payload.array = &array;
    Empty(owner, memory);
    owner.kind = JsonValue::kEmpty;
}

void JsonNodes::Clear(JsonObject& object, NodeMemory& memory) noexcept {
    if (object.first == nullptr) {
        return;
    }
    JsonValue owner(object.allocator);
    owner.kind = JsonValue::kObject;
    owner.payload.object = &object;
    Empty(owner, memory);
    owner.kind = JsonValue::kEmpty;
}

// Removes all nodes below a container, the deepest first, members and elements in
// order. The first node of each container on the way down is the one that owns the
// container below, and holds the way back:
//
// 1. its payload, which led down, names the owner of the container that it is in;
// 2. its parent, which may be stale after a move, names that container.
void JsonNodes::Empty(JsonValue& root, NodeMemory& memory) noexcept {
    JsonValue* owner = &root;
    JsonArray* array = nullptr;
    JsonObject* object = nullptr;
    const auto stepInto = [&array, &object](const JsonValue& value) {
        if (value.kind == JsonValue::kArray) {
            array = value.payload.array;
        } else {
            object = value.payload.object;
        }
    };
    stepInto(root);
    for (;;) {
        JsonValue* below = nullptr;
        if (owner->kind == JsonValue::kArray) {
            while (JsonElem* const element = array->first) {
                if (OwnsContainer(*element)) {
                    element->parent = array;
                    below = element;
                    break;
                }
                array->first = element->next;
                Delete(element, memory);
            }
        } else {
            while (JsonMember* const member = object->first) {
                if (member->name != nullptr) {
                    Free(member->name, memory);
                    member->name = nullptr;
                }
                if (OwnsContainer(*member)) {
                    member->parent = object;
                    below = member;
                    break;
                }
                object->first = member->next;
                Clear(*member, memory);
                memory.Dealloc(member, sizeof *member);
            }
        }
        if (below != nullptr) {
            stepInto(*below);
            below->payload.owner = owner;
            owner = below;
            continue;
        }
        if (owner == &root) {
            break;
        }
        JsonValue* const done = owner;
        owner = done->payload.owner;
        if (done->kind == JsonValue::kArray) {
            memory.Dealloc(array, sizeof *array);
        } else {
            memory.Dealloc(object, sizeof *object);
        }
        done->kind = JsonValue::kEmpty;
        if (owner->kind == JsonValue::kArray) {
            array = static_cast<JsonElem*>(done)->parent;
        } else {
            object = static_cast<JsonMember*>(done)->parent;
        }
    }
    if (root.kind == JsonValue::kArray) {
        array->last = nullptr;
        array->count = 0;
    } else {
        object->last = nullptr;
        object->count = 0;
    }
}

void JsonNodes::CopyText(const JsonString& from, JsonString& empty, NodeMemory& memory) {
    if (from.IsInPlace()) {
        empty.storage = from.storage;
        return;
    }
    const std::size_t bytes = std::strlen(from.storage.heap) + 1;
    std::memcpy(Reserve(empty, static_cast<std::int32_t>(bytes), memory), from.storage.heap, bytes);
}

// Where a copy stands: what comes next, and where it goes to. One pair is null.
struct JsonNodes::CopyPosition {
    const JsonElem* element;
    JsonArray* array;
    const JsonMember* member;
    JsonObject* object;
};

void JsonNodes::CopyTree(CopyPosition at, NodeMemory& memory) {
    DeepStack<CopyPosition> above;
    for (;;) {
        const JsonValue* from;
        JsonValue* copy;
        if (at.element != nullptr) {
            from = at.element;
            copy = &AddNull(*at.array, memory);
            at.element = at.element->next;
        } else if (at.member != nullptr) {
            from = at.member;
            JsonMember& member = AddNull(*at.object, memory);
            CopyText(*at.member->name, *member.name, memory);
            copy = &member;
            at.member = at.member->next;
        } else if (!above.IsEmpty()) {
            at = above.Pop();
            continue;
        } else {
            return;
        }
        switch (from->kind) {
            case JsonValue::kString:
                CopyText(*from->payload.string, MakeString(*copy, memory), memory);
                break;
            case JsonValue::kArray:
                above.Push(at);
                at = {from->payload.array->first, &MakeArray(*copy, memory), nullptr, nullptr};
                break;
            case JsonValue::kObject:
                above.Push(at);
                at = {nullptr, nullptr, from->payload.object->first, &MakeObject(*copy, memory)};
                break;
            default:
                copy->payload = from->payload;
                copy->kind = from->kind;
        }
    }
}

// Copies aside first: what is replaced may hold what is copied, or the reverse.
template <class Container>
void JsonNodes::Replace(const Container& from, Container& target, NodeMemory& memory) {
    Container fresh(target.allocator);
    if constexpr (std::is_same_v<Container, JsonArray>) {
        CopyTree({from.first, &fresh, nullptr, nullptr}, memory);
    } else {
        CopyTree({nullptr, nullptr, from.first, &fresh}, memory);
    }
    Clear(target, memory);
    TakeOver(fresh, target);
    for (auto& node : target) {
        node.parent = &target;
    }
}

void JsonNodes::Copy(const JsonArray& from, JsonArray& target, NodeMemory& memory) {
    Replace(from, target, memory);
}

void JsonNodes::Copy(const JsonObject& from, JsonObject& target, NodeMemory& memory) {
    Replace(from, target, memory);
}

JsonElem& JsonNodes::NoElement() noexcept {
    // Of this thread, so that nobody else can write to it; its owner may.
    thread_local JsonElem none(JsonDefaultAllocator::Instance(), nullptr);
    none.Set(nullptr);
    return none;
}

const JsonMember& JsonNodes::NoMember() noexcept {
    struct None {
        JsonString name{JsonDefaultAllocator::Instance()};
        JsonMember member{JsonDefaultAllocator::Instance(), &name, nullptr};
    };
    // Other static objects may look for members when they are destroyed.
    static const NeverDestroyed<None> none;
    return none.value.member;
}

void JsonNodes::ThrowFull() {
    throw std::length_error("JSON container: 2147483647 entries");
}

}  // namespace core::detail
