#include "core/logging/line_queue.h"

#include "core/platform/platform.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace core {
namespace {

/// Bytes of a block, and so of the largest write. Larger ones spare no more calls.
constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;
constexpr std::size_t kBlockLines = 1024;
/// Memory that is new comes in pieces of so much: page by page, one of thirty or forty lines
/// would wait for one, and a block at once takes longer than a write to the file.
constexpr std::size_t kPieceBytes = std::size_t{16} * 1024;

}  // namespace

struct LineQueue::Block {
    explicit Block(std::size_t size) : capacity(size), bytes(new char[size]) {}

    std::uint32_t EndOf(std::uint32_t count) const noexcept {
        return count == 0 ? 0 : ends[count - 1];
    }

    /// Has memory come for the bytes before `until`, and for some behind them.
    void Populate(std::size_t until) noexcept {
        const std::size_t end = std::min(capacity, std::max(until, populated + kPieceBytes));
        platform::PopulatePages(bytes.get() + populated, end - populated);
        populated = end;
    }

    std::atomic<Block*> next = nullptr;
    std::atomic<std::uint32_t> lines = 0;
    std::size_t capacity;
    std::size_t populated = 0;
    std::unique_ptr<char[]> bytes;
    std::array<std::uint32_t, kBlockLines> ends;
};

LineQueue::LineQueue() : back(new Block(kBlockBytes)) {
    views[0].front.block = back;
}

LineQueue::~LineQueue() {
    delete spare.load();
    for (Block* block = View().front.block; block != nullptr;) {
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
    if (end + line.size() >= back->populated) {
        back->Populate(end + line.size() + 1);
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

void LineQueue::SetView(const FrontView& view) noexcept {
    const std::size_t other = 1 - currentView.load(std::memory_order_relaxed);
    views[other] = view;
    currentView.store(other, std::memory_order_release);
}

LineQueue::Place LineQueue::Onward(Place place) const noexcept {
    const FrontView& view = View();
    for (;;) {
        if (place == view.begin) {
            place = view.end;
            continue;
        }
        // Looked for first: a block that has a successor grows no more.
        Block* const next = place.block->next.load(std::memory_order_acquire);
        if (next == nullptr || place.line < place.block->lines.load(std::memory_order_acquire)) {
            return place;
        }
        place = {next, 0};
    }
}

LineSpan LineQueue::SpanAt(const Place& place) const noexcept {
    const auto [block, line] = place;
    const Place& dropped = View().begin;
    const std::uint32_t lines = block == dropped.block && line < dropped.line
                                    ? dropped.line
                                    : block->lines.load(std::memory_order_acquire);
    return {block->bytes.get(), block->ends.data() + line, block->EndOf(line), lines - line};
}

LineSpan LineQueue::Hold() {
    const Lock lock(frontMutex);
    const FrontView view = View();
    answered = Onward(view.front);
    const LineSpan span = SpanAt(answered);
    heldLines = span.count;
    if (answered != view.front) {
        // Behind what was dropped, which is forgotten.
        SetView({answered, {}, {}});
        for (Block* block = view.front.block; block != answered.block;) {
            Recycle(std::exchange(block, block->next.load(std::memory_order_acquire)));
        }
    }
    return span;
}

void LineQueue::Announce(const LineSpan& span, std::uint64_t fileSize) noexcept {
    announcement.place = answered;
    announcement.span = span;
    announcement.fileSize = fileSize;
    announcement.isOn.store(true, std::memory_order_release);
}

std::uint64_t LineQueue::DropOldest(std::uint64_t bytes) {
    const Lock lock(frontMutex);
    const FrontView view = View();
    const Place begin = {view.front.block, view.front.line + heldLines};
    std::uint64_t droppedLines = 0;
    std::uint64_t droppedBytes = 0;
    Place end = Onward(begin);
    for (const std::uint64_t waiting = WaitingBytes(); waiting - droppedBytes > bytes;
         end = Onward(end)) {
        LineSpan line = SpanAt(end);
        if (line.count == 0) {
            break;
        }
        line.count = 1;
        droppedBytes += line.Text().size();
        ++droppedLines;
        ++end.line;
    }
    if (droppedLines == 0) {
        return 0;
    }
    SetView({view.front, begin, end});
    if (end.block != begin.block) {
        Block* block = begin.block->next.exchange(end.block, std::memory_order_acq_rel);
        while (block != end.block) {
            Recycle(std::exchange(block, block->next.load(std::memory_order_acquire)));
        }
    }
    CountRemoved(droppedLines, droppedBytes);
    return droppedLines;
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

void LineQueue::Remove(const LineSpan& span) {
    const Lock lock(frontMutex);
    FrontView view = View();
    view.front.line += span.count;
    SetView(view);
    heldLines -= span.count;
    announcement.isOn.store(false, std::memory_order_release);
    CountRemoved(span.count, span.Text().size());
}

LineSpan LineQueue::FrontInACrash() noexcept {
    answered = Onward(View().front);
    return SpanAt(answered);
}

void LineQueue::RemoveInACrash(const LineSpan& span) noexcept CORE_NO_THREAD_SAFETY_ANALYSIS {
    FrontView view = View();
    if (answered != view.front) {
        view = {answered, {}, {}};
    }
    view.front.line += span.count;
    SetView(view);
    heldLines -= std::min(heldLines, span.count);
    announcement.isOn.store(false, std::memory_order_release);
    CountRemoved(span.count, span.Text().size());
}

void LineQueue::CountRemoved(std::uint64_t lines, std::uint64_t bytes) noexcept {
    removedBytes.store(removedBytes.load(std::memory_order_relaxed) + bytes,
                       std::memory_order_relaxed);
    removedLines.store(removedLines.load(std::memory_order_relaxed) + lines,
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
        placeAtTheEnd = View().front;
    }
    placeAtTheEnd = Onward(placeAtTheEnd);
    const LineSpan span = SpanAt(placeAtTheEnd);
    placeAtTheEnd.line += span.count;
    return span;
}

}  // namespace core
