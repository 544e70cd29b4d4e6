#include <core/data/json_allocator.h>

#include <new>

#include "core/foundation/never_destroyed.h"

namespace core {

JsonAllocator::~JsonAllocator() = default;

JsonDefaultAllocator::~JsonDefaultAllocator() = default;

JsonDefaultAllocator* JsonDefaultAllocator::Instance() noexcept {
    // Values of static objects are destroyed after us.
    static NeverDestroyed<JsonDefaultAllocator> instance;
    return &instance.value;
}

void* JsonDefaultAllocator::Alloc(std::size_t size, std::size_t) {
    return ::operator new(size);
}

void JsonDefaultAllocator::Dealloc(void* pointer, std::size_t) {
    ::operator delete(pointer);
}

JsonOptimizedAllocator::JsonOptimizedAllocator(std::size_t blockSize) : pool(blockSize) {}

JsonOptimizedAllocator::~JsonOptimizedAllocator() = default;

void* JsonOptimizedAllocator::Alloc(std::size_t size, std::size_t align) {
    return pool.Alloc(size, align);
}

void JsonOptimizedAllocator::Dealloc(void* pointer, std::size_t size) {
    pool.Dealloc(pointer, size);
}

}  // namespace core
