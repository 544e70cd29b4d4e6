#include "support/allocations.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t allocations = 0;
thread_local std::size_t largest = SIZE_MAX;
}  // namespace

std::size_t AllocationsSoFar() {
    return allocations;
}

void RefuseAllocationsAbove(std::size_t bytes) {
    largest = bytes;
}

// All forms for ordinary alignment: one that is left out may come from elsewhere, and
// then meets our delete.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return size <= largest ? std::malloc(size == 0 ? 1 : size) : nullptr;
}
void* operator new(std::size_t size) {
    if (void* block = operator new(size, std::nothrow)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
