#pragma once

#include "core/messaging/timer_owner.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace core {

/// What is to happen at times to come: the soonest first, and of one time what was armed
/// first. O(log n) a step; it knows no clock and takes no lock.
///
///  1. A timer lives in a slot, which keeps its place, and has an entry in the heap. Cancelling
///     frees the slot alone: the entry, whose number is no longer the slot's, is stale. It goes
///     when it comes first, or with the others once they are half of the heap.
///  2. A timer that repeats is due at its first time plus whole periods. Those that are over
///     when it is looked at are left out.
template <class Payload>
class TimerHeap {
public:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    struct Slot {
        Payload payload{};
        std::int64_t period = 0;  // 0: once
        std::uint64_t id = 0;     // 0: free
        std::uint64_t mark = 0;   // for the one who serves it
        std::uint32_t nextFree = 0;
    };

    /// Without memory std::bad_alloc, and nothing has changed.
    TimerKey Arm(std::int64_t due, std::int64_t period, Payload&& payload) {
        if (firstFree == kNoSlot) {
            AddBlock();
        }
        const TimerKey key{lastId + 1, firstFree};
        entries.push_back({due, key.id, key.slot});
        std::push_heap(entries.begin(), entries.end());
        Slot& slot = At(key.slot);
        firstFree = slot.nextFree;
        slot.payload = std::move(payload);
        slot.period = period;
        slot.id = key.id;
        slot.mark = 0;
        ++lastId;
        ++live;
        return key;
    }

    /// Null when it is cancelled or over.
    Slot* Find(const TimerKey& key) noexcept {
        if (key.id == 0 || key.slot / kPerBlock >= blocks.size()) {
            return nullptr;
        }
        Slot& slot = At(key.slot);
        return slot.id == key.id ? &slot : nullptr;
    }
    /// What it held; nothing when it is cancelled or over.
    Payload Cancel(const TimerKey& key) noexcept {
        Slot* const slot = Find(key);
        if (slot == nullptr) {
            return {};
        }
        Payload held = Free(*slot, key.slot);
        constexpr std::size_t kFew = 64;
        if (entries.size() > kFew && entries.size() > 2 * live) {
            entries.erase(std::remove_if(entries.begin(), entries.end(),
                                         [this](const Entry& entry) { return IsStale(entry); }),
                          entries.end());
            std::make_heap(entries.begin(), entries.end());
        }
        return held;
    }

    std::size_t Size() const noexcept { return live; }
    std::int64_t NextDue() noexcept {
        DropStale();
        return entries.empty() ? kNever : entries.front().due;
    }

    /// The first one whose time has come; null when there is none. It is to be taken or
    /// postponed next.
    Slot* FirstDue(std::int64_t now) noexcept {
        return NextDue() <= now && !entries.empty() ? &At(entries.front().slot) : nullptr;
    }
    /// Removes the first one and answers what it held.
    Payload TakeFirst() noexcept {
        const std::uint32_t index = entries.front().slot;
        Payload held = Free(At(index), index);
        DropStale();
        return held;
    }
    /// The first one, which repeats, is due next after `now`.
    void PostponeFirst(std::int64_t now) noexcept {
        std::pop_heap(entries.begin(), entries.end());
        Entry& entry = entries.back();
        const std::int64_t period = At(entry.slot).period;
        const std::int64_t over = (now - entry.due) / period;
        entry.due =
            over + 1 > (kNever - entry.due) / period ? kNever : entry.due + (over + 1) * period;
        std::push_heap(entries.begin(), entries.end());
    }

private:
    static constexpr std::uint32_t kNoSlot = std::numeric_limits<std::uint32_t>::max();

    struct Entry {
        std::int64_t due;
        std::uint64_t id;
        std::uint32_t slot;

        /// The standard heaps have their greatest in front.
        bool operator<(const Entry& other) const noexcept {
            return due != other.due ? due > other.due : id > other.id;
        }
    };

    /// Slots do not move, and are found by a shift.
    static constexpr std::uint32_t kPerBlock = 64;
    using Block = std::array<Slot, kPerBlock>;

    Slot& At(std::uint32_t index) const noexcept {
        return (*blocks[index / kPerBlock])[index % kPerBlock];
    }
    void AddBlock() {
        blocks.push_back(std::make_unique<Block>());
        const auto end = static_cast<std::uint32_t>(blocks.size() * kPerBlock);
        for (std::uint32_t index = end; index-- > end - kPerBlock;) {
            At(index).nextFree = firstFree;
            firstFree = index;
        }
    }
    bool IsStale(const Entry& entry) const noexcept { return At(entry.slot).id != entry.id; }
    void DropStale() noexcept {
        while (!entries.empty() && IsStale(entries.front())) {
            std::pop_heap(entries.begin(), entries.end());
            entries.pop_back();
        }
    }
    Payload Free(Slot& slot, std::uint32_t index) noexcept {
        slot.id = 0;
        slot.nextFree = firstFree;
        firstFree = index;
        --live;
        return std::move(slot.payload);
    }

    std::vector<Entry> entries;
    std::vector<std::unique_ptr<Block>> blocks;
    std::uint32_t firstFree = kNoSlot;
    std::uint64_t lastId = 0;
    std::size_t live = 0;
};

}  // namespace core
