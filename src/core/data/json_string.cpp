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
    // A part of this text fits where it is, so that new room means foreign text.
    char* const target = Reserve(count + 1);
    std::memmove(target, text, static_cast<std::size_t>(count));
    target[count] = '\0';
}

void JsonString::Assign(const std::string& text) {
    Assign(text.c_str(), CheckedLength(text.size()));
}

}  // namespace core
