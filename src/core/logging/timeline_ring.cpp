#include "core/logging/timeline_ring.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace core {

TimelineRecord::TimelineRecord(int phase, const char* name, std::int64_t time,
                               std::uint64_t rest) noexcept {
    words[0] = kHeadWords | static_cast<std::uint64_t>(phase) << 16;
    words[1] = reinterpret_cast<std::uintptr_t>(name);
    words[2] = static_cast<std::uint64_t>(time);
    words[3] = rest;
}

const char* TimelineRecord::Name() const noexcept {
    return reinterpret_cast<const char*>(words[1]);  // NOLINT(performance-no-int-to-ptr)
}

void TimelineRecord::Add(const TraceProperty& property) noexcept {
    const std::size_t index = Properties();
    if (property.Name() == nullptr || index == kMostProperties) {
        return;
    }
    std::size_t size = Words();
    words[size++] = reinterpret_cast<std::uintptr_t>(property.Name());
    const std::int64_t type = property.Type();
    if (type == CORE_TRACE_DOUBLE) {
        words[size++] = std::bit_cast<std::uint64_t>(property.Real());
    } else if (type != CORE_TRACE_TEXT) {
        words[size++] = static_cast<std::uint64_t>(property.Integer());
    } else if (property.Text() == nullptr) {
        words[size++] = kNullText;
    } else {
        std::size_t length = strnlen(property.Text(), kLongestText + 1);
        if (length > kLongestText) {
            length = kLongestText;
            while (length > 0 &&
                   (static_cast<unsigned char>(property.Text()[length]) & 0xC0) == 0x80) {
                --length;
            }
        }
        words[size++] = length;
        std::memcpy(words.data() + size, property.Text(), length);
        size += (length + 7) / 8;
    }
    words[0] = (words[0] & ~std::uint64_t{0xFF00FFFF}) | size |
               static_cast<std::uint64_t>(index + 1) << 24 |
               static_cast<std::uint64_t>(type) << (32 + 2 * index);
}

TimelineRing::TimelineRing(std::uint64_t bytes, std::uint64_t ofThread)
    : capacity(std::bit_ceil(bytes / sizeof(std::uint64_t))),
      words(new std::uint64_t[capacity]),
      threadId(ofThread) {}

void TimelineRing::Push(const TimelineRecord& record) noexcept {
    const std::uint64_t at = pushed.load(std::memory_order_relaxed);
    const std::size_t size = record.Words();
    if (at + size - knownPopped > capacity) {
        knownPopped = popped.load(std::memory_order_acquire);
        if (at + size - knownPopped > capacity) {
            lost.store(lost.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            return;
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        words[(at + i) & (capacity - 1)] = record.words[i];
    }
    pushed.store(at + size, std::memory_order_release);
}

bool TimelineRing::Pop(TimelineRecord& record) noexcept {
    const std::uint64_t at = popped.load(std::memory_order_relaxed);
    if (at == pushed.load(std::memory_order_acquire)) {
        return false;
    }
    record.words[0] = words[at & (capacity - 1)];
    const std::size_t size = record.Words();
    for (std::size_t i = 1; i < size; ++i) {
        record.words[i] = words[(at + i) & (capacity - 1)];
    }
    popped.store(at + size, std::memory_order_release);
    return true;
}

std::uint64_t TimelineRing::TakeLost() noexcept {
    const std::uint64_t now = lost.load(std::memory_order_relaxed);
    const std::uint64_t count = now - toldLost;
    toldLost = now;
    return count;
}

}  // namespace core
