#include "faults/failing_memory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace {

constexpr int kNever = 0;

// Down to 1, where an allocation fails.
thread_local int untilFailure = kNever;
thread_local bool failsOnce = true;
thread_local bool hasFailed = false;
thread_local bool isSpared = false;
std::atomic<bool> othersFail = false;
std::atomic<long> living = 0;

bool Fails() noexcept {
    if (othersFail.load(std::memory_order_relaxed) && !isSpared) {
        return true;
    }
    if (untilFailure == kNever || --untilFailure != kNever) {
        return false;
    }
    hasFailed = true;
    untilFailure = failsOnce ? kNever : 1;
    return true;
}

void* Allocate(std::size_t size) noexcept {
    void* const block = Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
    living += block != nullptr ? 1 : 0;
    return block;
}

void* AllocateOrThrow(std::size_t size) {
    if (void* const block = Allocate(size)) {
        return block;
    }
    throw std::bad_alloc();
}

void Free(void* block) noexcept {
    living -= block != nullptr ? 1 : 0;
    std::free(block);
}

// Where the block starts stands in front of it.
void* AllocateAligned(std::size_t size, std::size_t alignment) {
    auto* const block = static_cast<char*>(AllocateOrThrow(size + alignment + sizeof(void*)));
    void* aligned = block + sizeof(void*);
    std::size_t room = size + alignment;
    std::align(alignment, size, aligned, room);
    static_cast<void**>(aligned)[-1] = block;
    return aligned;
}

void FreeAligned(void* aligned) noexcept {
    if (aligned != nullptr) {
        Free(static_cast<void**>(aligned)[-1]);
    }
}

}  // namespace

void* operator new(std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size);
}
void operator delete(void* block) noexcept {
    Free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    Free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    Free(block);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block, std::align_val_t) noexcept {
    FreeAligned(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    FreeAligned(block);
}

// The linker puts this in the place of the library's calls.
extern "C" void* __real_realloc(void* block, std::size_t size);
extern "C" void* __wrap_realloc(void* block, std::size_t size) {
    return Fails() ? nullptr : __real_realloc(block, size);
}

namespace faults {

FailingMemory::FailingMemory(int nth, Shortage shortage) {
    hasFailed = false;
    failsOnce = shortage == Shortage::Once;
    untilFailure = nth;
}

FailingMemory::~FailingMemory() {
    untilFailure = kNever;
}

// Not static: an answer about the one that lives.
bool FailingMemory::HasFailed() const {
    return hasFailed;
}

OthersWithoutMemory::OthersWithoutMemory() {
    isSpared = true;
    othersFail = true;
}

OthersWithoutMemory::~OthersWithoutMemory() {
    othersFail = false;
    isSpared = false;
}

long LivingBlocks() {
    return living.load();
}

}  // namespace faults
