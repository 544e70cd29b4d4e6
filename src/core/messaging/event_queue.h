#pragma once

#include <core/messaging/event_bus.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace core {

/// What stands right before each event in memory.
struct EventNode {
    const detail::EventType* type;
    EventNode* next;

    void* Event() noexcept { return this + 1; }
    static EventNode* Of(void* event) noexcept { return static_cast<EventNode*>(event) - 1; }
};

/// Events in the order of their posts, and the memory for them. Ordinary ones live in
/// blocks that are used again; large ones get memory of their own.
///
/// An event is made in a node that is not in the queue yet, and destroyed in one that is
/// no longer: so neither happens under the bus's lock. Not thread-safe by itself.
class EventQueue {
    struct Slot;

public:
    using Block = std::array<Slot, 32>;
    using Blocks = std::vector<std::unique_ptr<Block>>;

    EventQueue() = default;
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;

    /// A node for an event that is still to be made; FreeNode takes it back.
    EventNode* NewNode(const detail::EventType& type);
    /// One that was set aside, or null. The one call that is safe beside all others: so
    /// a single poster takes the bus's lock once per event.
    EventNode* TakeSpareNode(const detail::EventType& type) noexcept;
    void FreeNode(EventNode* node) noexcept;
    /// Once all events of a burst are gone, the memory that they had; the caller's to
    /// release.
    Blocks TakeSurplus() noexcept;

    std::size_t Size() const noexcept { return static_cast<std::size_t>(pushed - popped); }
    /// Events that were ever pushed.
    std::uint64_t Pushed() const noexcept { return pushed; }
    void Push(EventNode* node) noexcept;
    /// Null when it is empty.
    EventNode* Pop() noexcept;

private:
    static constexpr std::size_t kSlotBytes = 128;
    static constexpr std::size_t kKeptBlocks = 8;  // a pause does not give back fewer

    struct alignas(std::max_align_t) Slot {
        std::array<unsigned char, kSlotBytes> bytes;
    };

    static bool IsLarge(const detail::EventType& type) noexcept;
    void AddBlock();
    EventNode* TakeFree() noexcept;
    void AddToFree(EventNode* node) noexcept;

    EventNode* first = nullptr;
    EventNode* last = nullptr;
    std::uint64_t pushed = 0;
    std::uint64_t popped = 0;

    std::atomic<EventNode*> spare = nullptr;
    EventNode* freeNodes = nullptr;
    std::size_t used = 0;
    Blocks blocks;
};

}  // namespace core
