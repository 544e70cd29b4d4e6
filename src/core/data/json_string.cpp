#include <core/data/json_string.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "core/data/json_nodes.h"

namespace core {

using detail::JsonNodes;
using detail::NodeMemory;

namespace {

/// With its terminating zero a text must fit a 32-bit capacity.
int CheckedLength(std::size_t length) {
    if (length >= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::length_error("JSON text: 2147483647 bytes or more");
    }
    return static_cast<int>(length);
}

}  // namespace

JsonString::~JsonString() {
    if (!IsInPlace()) {
        allocator->Dealloc(storage.heap, static_cast<std::size_t>(capacity));
    }
}

char* JsonString::Reserve(int bytes) {
    NodeMemory memory = NodeMemory::ForFew(allocator);
    return JsonNodes::Reserve(*this, bytes, memory);
}

void JsonString::Assign(const char* text, int length) {
    if (text == nullptr) {
        Clear();
        return;
    }
    const int count =
        CheckedLength(length < 0 ? std::strlen(text) : static_cast<std::size_t>(length));
    const auto size = static_cast<std::size_t>(count);
    if (count < capacity) {
        char* const target = MutableText();
        std::memmove(target, text, size);
        target[size] = '\0';
        return;
    }
    // The text stays until there is room for the new one.
    auto* const target = static_cast<char*>(allocator->Alloc(size + 1, 8));
    std::memcpy(target, text, size);
    target[size] = '\0';
    if (!IsInPlace()) {
        allocator->Dealloc(storage.heap, static_cast<std::size_t>(capacity));
    }
    storage.heap = target;
    capacity = count + 1;
}

void JsonString::Assign(const std::string& text) {
    Assign(text.c_str(), CheckedLength(text.size()));
}

void JsonString::Assign(std::string_view text) {
    Assign(text.data(), CheckedLength(text.size()));
}

}  // namespace core
