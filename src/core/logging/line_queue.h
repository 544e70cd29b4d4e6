#pragma once

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
/// The two sides share no lock.
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

    // The file's end.

    /// The oldest lines that lie in one piece; none when the queue is empty. They stay
    /// until the next `Remove` but one.
    LineSpan Front() const noexcept;
    /// Removes what `Front` answered.
    void Remove(const LineSpan& span) noexcept;
    /// The same without memory given back: in a crash, that may wait for a lock.
    void RemoveInACrash(const LineSpan& span) noexcept;
    /// Says that `span`, the answer of `Front`, is about to be written to a file of
    /// this size, until it is removed.
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
        Block* block;
        std::uint32_t line;
    };
    struct Announcement {
        Place place{};
        LineSpan span;
        std::uint64_t fileSize = 0;
        std::atomic<bool> isOn = false;
    };

    Block* MakeBlock(std::size_t lineSize);
    /// The place of the oldest line from `place` on, if there is one.
    static Place Onward(Place place) noexcept;
    static LineSpan SpanAt(const Place& place) noexcept;
    void Recycle(Block* block) noexcept;
    void CountRemoved(const LineSpan& span) noexcept;

    // Each end on a cache line of its own.
    alignas(64) Block* back;
    std::atomic<std::uint64_t> appendedLines = 0;
    std::atomic<std::uint64_t> appendedBytes = 0;

    // While lines are announced, the place is behind them and these may be in change.
    alignas(64) Block* front;
    std::uint32_t removedOfFront = 0;
    Announcement announcement;
    /// Where `TakeAtTheEnd` is; the blocks behind it stay as they are.
    Place placeAtTheEnd{};
    std::atomic<std::uint64_t> removedLines = 0;
    std::atomic<std::uint64_t> removedBytes = 0;

    /// A block to use again.
    alignas(64) std::atomic<Block*> spare = nullptr;
};

}  // namespace core
