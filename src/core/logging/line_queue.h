#pragma once

#include "core/foundation/mutex.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace core {

/// Lines that lie one behind the other, as a file takes them in one write.
struct LineSpan {
    const char* bytes = nullptr;
    /// Where each line ends, counted from the start of the block, its line end
    /// included; the first line starts at `firstByte`.
    const std::uint32_t* ends = nullptr;
    std::uint32_t firstByte = 0;
    std::uint32_t count = 0;

    std::string_view Text() const noexcept {
        return {bytes + firstByte, count == 0 ? 0 : ends[count - 1] - firstByte};
    }
};

/// The lines on their way from the callers to a file: a chain of blocks, written by
/// one thread at a time at its end and read by one thread at a time at its front.
/// The two sides share no lock but for `DropOldest`, which takes lines from the middle:
/// those behind what the front holds, which may be in a write that takes long.
///
///  1. A line is in the queue once its block's count includes it; the count is stored
///     last. So whoever dies in the middle of an append leaves whole lines only.
///  2. A block is linked before the first line goes into the one behind it. The front
///     leaves a block when it is used up and has a successor.
///  3. Reading needs no memory, so that it works in a process that is falling apart.
class LineQueue {
public:
    LineQueue();
    ~LineQueue();
    LineQueue(const LineQueue&) = delete;
    LineQueue& operator=(const LineQueue&) = delete;

    // The callers' end.

    /// Appends `line` and a line end.
    void Append(std::string_view line);
    /// Drops the oldest lines that nobody holds until no more than `bytes` wait, as far as
    /// there are any; answers how many.
    std::uint64_t DropOldest(std::uint64_t bytes);

    // The file's end.

    /// The oldest lines that lie in one piece; none when the queue is empty. They are held:
    /// they stay until `Remove`.
    LineSpan Hold();
    /// Removes `span`, what is held or the first lines of it.
    void Remove(const LineSpan& span);

    // Likewise in a crash, without memory given back, which may wait for a lock.

    /// Whether nobody drops lines until it is unlocked; it is not waited for.
    bool TryLockInACrash() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS { return frontMutex.TryLock(); }
    void UnlockInACrash() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS { frontMutex.unlock(); }
    LineSpan FrontInACrash() noexcept;
    void RemoveInACrash(const LineSpan& span) noexcept;

    /// Says that `span`, what the front answered or the first lines of it, is about to be written
    /// to a file of this size, until it is removed.
    void Announce(const LineSpan& span, std::uint64_t fileSize) noexcept;

    /// For a process whose other threads are gone, wherever they stood: the lines that
    /// were announced and never removed, with the file's size then. False if there
    /// were none.
    bool WasCutShort(LineSpan& announced, std::uint64_t& fileSize) const noexcept;
    /// Likewise: removes and answers the oldest lines behind the announced ones; none
    /// at the end. Frees nothing.
    LineSpan TakeAtTheEnd() noexcept;

    // From anywhere.

    /// Lines and bytes appended since the beginning.
    std::uint64_t AppendedLines() const noexcept {
        return appendedLines.load(std::memory_order_acquire);
    }
    std::uint64_t RemovedLines() const noexcept {
        return removedLines.load(std::memory_order_acquire);
    }
    std::uint64_t WaitingBytes() const noexcept {
        return appendedBytes.load(std::memory_order_relaxed) -
               removedBytes.load(std::memory_order_relaxed);
    }

private:
    struct Block;
    /// Where the next lines are read.
    struct Place {
        Block* block = nullptr;
        std::uint32_t line = 0;

        bool operator==(const Place&) const = default;
    };
    /// Where the front is, and what was dropped behind the held lines: from `begin`, in the
    /// front's block, to `end`. No block where nothing was.
    struct FrontView {
        Place front;
        Place begin;
        Place end;
    };
    struct Announcement {
        Place place;
        LineSpan span;
        std::uint64_t fileSize = 0;
        std::atomic<bool> isOn = false;
    };

    Block* MakeBlock(std::size_t lineSize);
    const FrontView& View() const noexcept {
        return views[currentView.load(std::memory_order_acquire)];
    }
    /// Changes the view in one step: whoever dies in the middle leaves a whole one.
    void SetView(const FrontView& view) noexcept;
    /// The place of the oldest line from `place` on, if there is one.
    Place Onward(Place place) const noexcept;
    LineSpan SpanAt(const Place& place) const noexcept;
    void Recycle(Block* block) noexcept;
    void CountRemoved(std::uint64_t lines, std::uint64_t bytes) noexcept;

    // Each end on a cache line of its own.
    alignas(64) Block* back;
    std::atomic<std::uint64_t> appendedLines = 0;
    std::atomic<std::uint64_t> appendedBytes = 0;
    /// A block to use again.
    std::atomic<Block*> spare = nullptr;

    alignas(64) Mutex frontMutex;
    std::array<FrontView, 2> views;
    std::atomic<std::size_t> currentView = 0;
    /// How many lines are held from the front on.
    std::uint32_t heldLines CORE_GUARDED_BY(frontMutex) = 0;
    /// Where what the front answered begins.
    Place answered;
    Announcement announcement;
    /// Where `TakeAtTheEnd` is; the blocks behind it stay as they are.
    Place placeAtTheEnd;
    std::atomic<std::uint64_t> removedLines = 0;
    std::atomic<std::uint64_t> removedBytes = 0;
};

}  // namespace core
