// Regions that wait for the next pool: a few places that threads exchange pointers with, so
// that nobody waits for anybody, not even at the end of a process that has lost its other
// threads.

#include "core/foundation/regions.h"

#include "core/platform/platform.h"

#include <core/foundation/unused_memory.h>

#include <array>
#include <atomic>
#include <new>

namespace core {
namespace {

constexpr std::size_t kPlaces = 8;
constinit std::array<std::atomic<void*>, kPlaces> places{};
/// Once the process ends, or the library is unloaded: nobody comes for what is left.
constinit std::atomic<bool> isClosed{false};

std::align_val_t Alignment() noexcept {
    return std::align_val_t{platform::LargePageSize()};
}

void Free(void* region) noexcept {
    ::operator delete(region, Alignment());
}

struct AtTheEnd {
    ~AtTheEnd() {
        isClosed = true;
        ReleaseUnusedMemory();
    }
} atTheEnd;

}  // namespace

void* TakeRegion() noexcept {
    for (std::atomic<void*>& place : places) {
        if (place.load(std::memory_order_relaxed) != nullptr) {
            if (void* const region = place.exchange(nullptr)) {
                return region;
            }
        }
    }
    void* const region = ::operator new(kRegionSize, Alignment(), std::nothrow);
    if (region != nullptr) {
        platform::PreferLargePages(region, kRegionSize);
    }
    return region;
}

void LeaveRegion(void* region) noexcept {
    for (std::atomic<void*>& place : places) {
        void* nothing = nullptr;
        if (!isClosed && place.compare_exchange_strong(nothing, region)) {
            // Static documents may end while the places are being cleared.
            if (!isClosed || (region = place.exchange(nullptr)) == nullptr) {
                return;
            }
            break;
        }
    }
    Free(region);
}

std::size_t ReleaseUnusedMemory() noexcept {
    std::size_t released = 0;
    for (std::atomic<void*>& place : places) {
        if (void* const region = place.exchange(nullptr)) {
            Free(region);
            released += kRegionSize;
        }
    }
    return released;
}

}  // namespace core
