#pragma once

#include <core/logging/timeline.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace core {

/// A record of a timeline, as it stands in a ring: in words of 64 bits.
///
///     0      words in all | phase << 16 | properties << 24 | types << 32, two bits each
///     1      the name, a pointer
///     2      when it was, or began
///     3      when it ended, its id, or the bits of a counter's value
///     4...   for each property the name, a pointer, and the value: the bits of a number, or
///            the length of a text with its bytes in the words that follow
struct TimelineRecord {
    static constexpr std::size_t kHeadWords = 4;
    static constexpr std::size_t kMostProperties = 8;
    static constexpr std::size_t kLongestText = 255;
    static constexpr std::size_t kMostWords =
        kHeadWords + kMostProperties * (2 + (kLongestText + 7) / 8);
    /// The length of a text that is null.
    static constexpr std::uint64_t kNullText = ~std::uint64_t{0};

    // Phases that callers have no name for; the numbers are those of the file.
    static constexpr int kSpan = 'X';
    static constexpr int kCounter = 'C';
    static constexpr int kThreadName = 'M';

    /// A record without properties.
    TimelineRecord(int phase, const char* name, std::int64_t time, std::uint64_t rest) noexcept;
    TimelineRecord() noexcept = default;

    /// Adds a property, or nothing where there is no room or its name is null.
    void Add(const TraceProperty& property) noexcept;

    std::size_t Words() const noexcept { return words[0] & 0xFFFF; }
    int Phase() const noexcept { return static_cast<int>(words[0] >> 16 & 0xFF); }
    std::size_t Properties() const noexcept { return words[0] >> 24 & 0xFF; }
    std::int64_t TypeOf(std::size_t property) const noexcept {
        return static_cast<std::int64_t>(words[0] >> (32 + 2 * property) & 3);
    }
    const char* Name() const noexcept;

    /// Only the first `Words()` have values.
    std::array<std::uint64_t, kMostWords> words;
};

/// The records of one thread on their way to the file: written by that thread, read by the
/// one that writes the file. They share no lock. What finds no room is counted.
class TimelineRing {
public:
    /// `bytes` is at least that of the longest record. Throws `std::bad_alloc`.
    TimelineRing(std::uint64_t bytes, std::uint64_t ofThread);

    // The thread that records.

    void Push(const TimelineRecord& record) noexcept;
    /// The last call: no record comes any more.
    void Finish() noexcept { isFinished.store(true, std::memory_order_release); }

    // The thread that writes.

    /// How many words wait.
    std::uint64_t Waiting() const noexcept {
        return pushed.load(std::memory_order_acquire) - popped.load(std::memory_order_relaxed);
    }
    /// Takes the oldest record; false when there is none.
    bool Pop(TimelineRecord& record) noexcept;
    bool IsFinished() const noexcept { return isFinished.load(std::memory_order_acquire); }
    /// Records lost since the last call.
    std::uint64_t TakeLost() noexcept;
    std::uint64_t ThreadId() const noexcept { return threadId; }

private:
    // The pushing thread's cache line: words pushed since the beginning, ...
    alignas(64) std::atomic<std::uint64_t> pushed = 0;
    /// ... what it knows of `popped`, and what found no room.
    std::uint64_t knownPopped = 0;
    std::atomic<std::uint64_t> lost = 0;
    const std::uint64_t capacity;  // a power of two, in words
    const std::unique_ptr<std::uint64_t[]> words;
    const std::uint64_t threadId;
    std::atomic<bool> isFinished = false;

    // The other one's.
    alignas(64) std::atomic<std::uint64_t> popped = 0;
    std::uint64_t toldLost = 0;
};

}  // namespace core
