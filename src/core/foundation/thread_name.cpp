#include <core/foundation/thread_name.h>

#include "core/foundation/spans.h"
#include "core/platform/platform.h"

#include <cstring>

namespace core {
namespace {

// Without a destructor, so that threads are called by their names to their very end.
thread_local char known[kLongestThreadName + 1] = {};

}  // namespace

constinit std::atomic<SpanSink> spanSink = nullptr;
constinit std::atomic<void (*)() noexcept> threadNamed = nullptr;

void SetThreadName(const char* name) noexcept {
    std::size_t size = name != nullptr ? strnlen(name, kLongestThreadName + 1) : 0;
    if (size > kLongestThreadName) {
        size = kLongestThreadName;
        // Not within a character.
        while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80) {
            --size;
        }
    }
    if (size > 0) {
        std::memmove(known, name, size);
    }
    known[size] = '\0';
    if (size > 0) {
        platform::SetThreadName(known);
    }
    if (auto* const told = threadNamed.load(std::memory_order_acquire)) {
        told();
    }
}

const char* ThreadName() noexcept {
    return known;
}

}  // namespace core
