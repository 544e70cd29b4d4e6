#include <core/data/json_array.h>

#include "core/data/json_nodes.h"

namespace core {

using detail::JsonNodes;
using detail::NodeMemory;

JsonArray::JsonArray(const JsonArray& other) : JsonArray(other.allocator) {
    *this = other;
}

JsonArray::JsonArray(JsonArray&& other) noexcept : JsonArray(other.allocator) {
    JsonNodes::TakeOver(other, *this);
}

JsonArray& JsonArray::operator=(const JsonArray& other) {
    if (this != &other) {
        NodeMemory memory(allocator);
        JsonNodes::Copy(other, *this, memory);
    }
    return *this;
}

// Between allocators it copies.
// NOLINTNEXTLINE(performance-noexcept-move-constructor)
JsonArray& JsonArray::operator=(JsonArray&& other) {
    if (allocator != other.allocator) {
        return *this = static_cast<const JsonArray&>(other);
    }
    if (this != &other) {
        // Its elements first: it may be in one of ours.
        JsonArray taken(static_cast<JsonArray&&>(other));
        Clear();
        JsonNodes::TakeOver(taken, *this);
    }
    return *this;
}

JsonElem& JsonArray::Add(std::nullptr_t) {
    NodeMemory memory = NodeMemory::ForFew(allocator);
    return JsonNodes::AddNull(*this, memory);
}

JsonElem& JsonArray::Add(const JsonValue& value) {
    // Copied before it is in the list: the value may be the one that owns this array.
    return Append([&value](JsonElem& element) { element = value; });
}

JsonElem& JsonArray::Add(JsonValue&& value) {
    return Append([&value](JsonElem& element) { element = static_cast<JsonValue&&>(value); });
}

bool JsonArray::Move(int from, int to) noexcept {
    if (from < 0 || from >= count || to < 0 || to >= count) {
        return false;
    }
    const auto linkTo = [this](int i) {
        JsonElem** link = &first;
        for (; i > 0; --i) {
            link = &(*link)->next;
        }
        return link;
    };
    if (from != to) {
        JsonElem** const old = linkTo(from);
        JsonElem* const element = *old;
        *old = element->next;
        JsonElem** const link = linkTo(to);
        element->next = *link;
        *link = element;
        last = last == element || last->next != nullptr ? *linkTo(count - 1) : last;
    }
    return true;
}

bool JsonArray::Swap(int i, int j) noexcept {
    return i <= j ? Move(i, j) && (j - i < 2 || Move(j - 1, i)) : Swap(j, i);
}

void JsonArray::Relink(JsonElem* const* order) noexcept {
    JsonElem** link = &first;
    for (int i = 0; i < count; ++i) {
        *link = last = order[i];
        link = &last->next;
    }
    *link = nullptr;
}

JsonArray& JsonArray::AddArray() {
    return Append([](JsonElem& element) { element.MakeEmptyArray(); }).AsArray();
}

JsonObject& JsonArray::AddObject() {
    return Append([](JsonElem& element) { element.MakeEmptyObject(); }).AsObject();
}

template <class Fill>
JsonElem& JsonArray::Append(Fill fill) {
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonElem* const element = JsonNodes::NewElem(*this, memory);
    try {
        fill(*element);
    } catch (...) {
        JsonNodes::Delete(element, memory);
        throw;
    }
    return JsonNodes::Append(*this, element);
}

JsonElem& JsonArray::operator[](int i) {
    JsonElem* element = first;
    for (int at = 0; at < i && element != nullptr; ++at) {
        element = element->next;
    }
    return element != nullptr ? *element : JsonNodes::NoElement();
}

const JsonElem& JsonArray::operator[](int i) const {
    return const_cast<JsonArray&>(*this)[i];
}

bool JsonArray::Erase(int i) noexcept {
    if (i >= count) {
        return false;
    }
    JsonElem* before = nullptr;
    for (int at = 0; at < i; ++at) {
        before = before != nullptr ? before->next : first;
    }
    return EraseAfter(before);
}

bool JsonArray::Erase(JsonElem& element) noexcept {
    JsonElem* before = nullptr;
    for (JsonElem* at = first; at != nullptr; at = at->next) {
        if (at == &element) {
            return EraseAfter(before);
        }
        before = at;
    }
    return false;
}

bool JsonArray::EraseAfter(JsonElem* before) noexcept {
    JsonElem*& link = before != nullptr ? before->next : first;
    JsonElem* const element = link;
    if (element == nullptr) {
        return false;
    }
    link = element->next;
    if (last == element) {
        last = before;
    }
    --count;
    element->Clear();
    NodeMemory memory = NodeMemory::ForFew(allocator);
    JsonNodes::Delete(element, memory);
    return true;
}

void JsonArray::Resize(int n) {
    if (n <= 0) {
        Clear();
    } else if (n > count) {
        NodeMemory memory(allocator);
        JsonArray added(allocator);
        for (int i = count; i < n; ++i) {
            JsonNodes::AddNull(added, memory).parent = this;
        }
        (last != nullptr ? last->next : first) = added.first;
        last = added.last;
        count = n;
        added.first = nullptr;
    } else if (n < count) {
        last = &(*this)[n - 1];
        // Cleared with the list that it goes to.
        JsonArray rest(allocator);
        rest.first = last->next;
        last->next = nullptr;
        count = n;
    }
}

void JsonArray::Clear() noexcept {
    if (first != nullptr) {
        NodeMemory memory(allocator);
        JsonNodes::Clear(*this, memory);
    }
}

}  // namespace core
