#include "core/logging/line_queue.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace core {
namespace {

/// Bytes of a block, and so of the largest write. Larger ones spare no more calls.
constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;
constexpr std::size_t kBlockLines = 1024;

}  // namespace

struct LineQueue::Block {
    explicit Block(std::size_t size) : capacity(size), bytes(new char[size]) {}

    std::uint32_t EndOf(std::uint32_t count) const noexcept {
        return count == 0 ? 0 : ends[count - 1];
    }

    std::atomic<Block*> next = nullptr;
    std::atomic<std::uint32_t> lines = 0;
    std::size_t capacity;
    std::unique_ptr<char[]> bytes;
    std::array<std::uint32_t, kBlockLines> ends;
};

LineQueue::LineQueue() : back(new Block(kBlockBytes)), front(back) {}

LineQueue::~LineQueue() {
    delete spare.load();
    for (Block* block = front; block != nullptr;) {
        Block* const next = block->next.load();
        delete block;
        block = next;
    }
}

LineQueue::Block* LineQueue::MakeBlock(std::size_t lineSize) {
    if (lineSize <= kBlockBytes) {
        if (Block* const used = spare.exchange(nullptr, std::memory_order_acquire)) {
            return used;
        }
    }
    return new Block(std::max(kBlockBytes, lineSize));
}

void LineQueue::Append(std::string_view line) {
    // What a block can't count; no message of this size fits in memory beside itself.
    constexpr std::size_t kLongestLine = std::numeric_limits<std::uint32_t>::max() - 1;
    line = line.substr(0, kLongestLine);

    std::uint32_t count = back->lines.load(std::memory_order_relaxed);
    std::uint32_t end = back->EndOf(count);
    if (count == kBlockLines || back->capacity - end < line.size() + 1) {
        Block* const added = MakeBlock(line.size() + 1);
        back->next.store(added, std::memory_order_release);
        back = added;
        count = 0;
        end = 0;
    }
    char* const at = back->bytes.get() + end;
    line.copy(at, line.size());
    at[line.size()] = '\n';
    back->ends[count] = end + static_cast<std::uint32_t>(line.size()) + 1;
    back->lines.store(count + 1, std::memory_order_release);
    appendedBytes.store(appendedBytes.load(std::memory_order_relaxed) + line.size() + 1,
                        std::memory_order_relaxed);
    appendedLines.store(appendedLines.load(std::memory_order_relaxed) + 1,
                        std::memory_order_release);
}

LineQueue::Place LineQueue::Onward(Place place) noexcept {
    for (;;) {
        // Looked for first: a block that has a successor grows no more.
        Block* const next = place.block->next.load(std::memory_order_acquire);
        if (next == nullptr || place.line < place.block->lines.load(std::memory_order_acquire)) {
            return place;
        }
        place = {next, 0};
    }
}

LineSpan LineQueue::SpanAt(const Place& place) noexcept {
    const auto [block, line] = place;
    const std::uint32_t lines = block->lines.load(std::memory_order_acquire);
    return {block->bytes.get(), block->ends.data() + line, block->EndOf(line), lines - line};
}

LineSpan LineQueue::Front() const noexcept {
    return SpanAt(Onward({front, removedOfFront}));
}

void LineQueue::Announce(const LineSpan& span, std::uint64_t fileSize) noexcept {
    announcement.place = Onward({front, removedOfFront});
    announcement.span = span;
    announcement.fileSize = fileSize;
    announcement.isOn.store(true, std::memory_order_release);
}

void LineQueue::Recycle(Block* block) noexcept {
    if (block->capacity != kBlockBytes) {
        delete block;
        return;
    }
    block->next.store(nullptr, std::memory_order_relaxed);
    block->lines.store(0, std::memory_order_relaxed);
    delete spare.exchange(block, std::memory_order_acq_rel);
}

void LineQueue::Remove(const LineSpan& span) noexcept {
    const Place place = Onward({front, removedOfFront});
    while (front != place.block) {
        Recycle(std::exchange(front, front->next.load(std::memory_order_acquire)));
    }
    removedOfFront = place.line + span.count;
    CountRemoved(span);
}

void LineQueue::RemoveInACrash(const LineSpan& span) noexcept {
    const Place place = Onward({front, removedOfFront});
    front = place.block;
    removedOfFront = place.line + span.count;
    CountRemoved(span);
}

void LineQueue::CountRemoved(const LineSpan& span) noexcept {
    announcement.isOn.store(false, std::memory_order_release);
    removedBytes.store(removedBytes.load(std::memory_order_relaxed) + span.Text().size(),
                       std::memory_order_relaxed);
    removedLines.store(removedLines.load(std::memory_order_relaxed) + span.count,
                       std::memory_order_release);
}

bool LineQueue::WasCutShort(LineSpan& announced, std::uint64_t& fileSize) const noexcept {
    announced = announcement.span;
    fileSize = announcement.fileSize;
    return announcement.isOn.load(std::memory_order_acquire);
}

LineSpan LineQueue::TakeAtTheEnd() noexcept {
    if (announcement.isOn.exchange(false)) {
        placeAtTheEnd = announcement.place;
        placeAtTheEnd.line += announcement.span.count;
    } else if (placeAtTheEnd.block == nullptr) {
        placeAtTheEnd = {front, removedOfFront};
    }
    placeAtTheEnd = Onward(placeAtTheEnd);
    const LineSpan span = SpanAt(placeAtTheEnd);
    placeAtTheEnd.line += span.count;
    return span;
}

}  // namespace core
