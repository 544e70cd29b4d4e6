#include <core/foundation/mem_pool.h>

#include "core/foundation/regions.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace core::detail {

namespace {

constexpr std::size_t kSmallestChunkBlock = 512;
constexpr std::size_t kSmallestPoolBlock = 4096;
/// In bytes: below the size from which heaps ask the system for each piece.
constexpr std::size_t kLargestBatch = std::size_t{120} * 1024;
/// In bytes: what has grown to this will hardly leave most of a region unused.
constexpr std::size_t kWorthRegions = std::size_t{512} * 1024;
/// More than this no heap gives; it keeps sums of sizes from wrapping round.
constexpr std::size_t kMaxRequest = static_cast<std::size_t>(PTRDIFF_MAX) / 2;

void RequirePossible(std::size_t size) {
    if (size > kMaxRequest) {
        throw std::bad_alloc();
    }
}

std::size_t PoolBlock(std::size_t block) {
    return std::max(block, kSmallestPoolBlock);
}

}  // namespace

MemChunks::MemChunks() : MemChunks(kSmallestChunkBlock) {}

MemChunks::MemChunks(std::size_t block)
    : chunkSize(0), bigThreshold(0), chunk(nullptr), cursor(nullptr), bigRequests(nullptr) {
    Init(block, 0);
}

MemChunks::~MemChunks() {
    Clear();
}

void MemChunks::Init(std::size_t block, std::size_t threshold) {
    RequirePossible(block);
    Clear();
    const std::size_t raised = std::max(block, kSmallestChunkBlock);
    chunkSize = raised + sizeof(Link);
    bigThreshold = threshold != 0 && threshold <= raised / 2 ? threshold : raised / 2;
    AddChunk();
}

// Chunks come in batches, so that the heap is asked for fewer and larger pieces: that
// takes a good part of the time of a document of megabytes. A batch is of use to us
// alone; whoever follows the links from chunk to chunk sees nothing of it.
//
// Invariants:
// 1. the first chunk of all is alone, and so is each one that is too large for a batch;
// 2. the chunks of a batch are a stride apart. Behind the one that was taken last, where
//    the next one will begin or where the batch ends, stands how far it is used;
// 3. a batch is begun when the one before is used up, and is up to twice as large;
// 4. from some size on, batches are regions, which pools leave to each other: most of the
//    time of a document of megabytes would go into fresh pages otherwise. No other batch
//    has as many chunks.

struct MemChunks::Batch {
    std::uint32_t taken;
    std::uint32_t count;
    /// Chunks of all batches before this one.
    std::uint32_t before;

    /// Each chunk of a batch is aligned like the first one.
    static std::size_t Stride(std::size_t chunkSize) noexcept {
        constexpr std::size_t kAlign = alignof(std::max_align_t);
        return (chunkSize + kAlign - 1) / kAlign * kAlign;
    }
    static std::uint32_t MostOfHeap(std::size_t stride) noexcept {
        return static_cast<std::uint32_t>(kLargestBatch / stride);
    }
    static bool HasRoomForTwo(std::size_t stride) noexcept { return stride <= kLargestBatch / 2; }
    /// The batch of the chunk that was taken last.
    static Batch Of(const Link* chunk, std::size_t stride) noexcept {
        Batch batch{1, 1, 0};
        if (chunk->next != nullptr && HasRoomForTwo(stride)) {
            const char* const start = static_cast<const char*>(static_cast<const void*>(chunk));
            std::memcpy(&batch, start + stride, sizeof batch);
        }
        return batch;
    }
    /// Memory for the batch behind this one, which this one becomes. It is of a lone
    /// chunk where the heap has no more.
    char* Next(std::size_t stride) {
        taken = 1;
        before += count;
        if (before * stride >= kWorthRegions) {
            if (void* const region = TakeRegion()) {
                count = static_cast<std::uint32_t>((kRegionSize - sizeof(Batch)) / stride);
                return static_cast<char*>(region);
            }
        }
        count = std::min(2 * count, MostOfHeap(stride));
        void* place = ::operator new(count* stride + sizeof(Batch), std::nothrow);
        if (place == nullptr) {
            count = 1;
            place = ::operator new(stride + sizeof(Batch));
        }
        return static_cast<char*>(place);
    }
    /// The oldest first: a heap that gives its end back to the system does so once then.
    static void FreeAll(Link* newest, std::size_t stride) noexcept {
        Link* oldest = nullptr;
        while (newest != nullptr) {
            char* const start = static_cast<char*>(static_cast<void*>(newest));
            const Batch batch = Of(newest, stride);
            void* const place = start - (batch.taken - 1) * stride;
            Link* const first = static_cast<Link*>(place);
            if (HasRoomForTwo(stride) && batch.count > MostOfHeap(stride)) {
                newest = first->next;
                LeaveRegion(place);
                continue;
            }
            newest = std::exchange(first->next, oldest);
            oldest = first;
        }
        while (oldest != nullptr) {
            ::operator delete(std::exchange(oldest, oldest->next));
        }
    }
};

void MemChunks::AddChunk() {
    const std::size_t stride = Batch::Stride(chunkSize);
    char* place = nullptr;
    if (chunk == nullptr || !Batch::HasRoomForTwo(stride)) {
        place = static_cast<char*>(::operator new(chunkSize));
    } else {
        Batch batch = Batch::Of(chunk, stride);
        if (batch.taken < batch.count) {
            place = ChunkStart() + stride;
            ++batch.taken;
        } else {
            place = batch.Next(stride);
        }
        std::memcpy(place + stride, &batch, sizeof batch);
    }
    chunk = new (place) Link{chunk};
    cursor = place + sizeof(Link);
}

void* MemChunks::AllocElsewhere(std::size_t size, std::size_t align) {
    RequirePossible(size);
    RequirePossible(align);
    // The second is for alignments that may need more than a chunk to be met.
    if (size > bigThreshold || size + align > chunkSize - sizeof(Link)) {
        return AllocBig(size, align);
    }
    AddChunk();
    return Alloc(size, align);
}

void* MemChunks::AllocBig(std::size_t size, std::size_t align) {
    char* const start = static_cast<char*>(::operator new(size + align + sizeof(Link)));
    bigRequests = new (start) Link{bigRequests};
    char* const after = start + sizeof(Link);
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(after);
    return after + ((0 - address) & (align - (align != 0)));
}

void MemChunks::Dealloc(void* pointer, std::size_t size) noexcept {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(pointer);
    if (chunk != nullptr && address > reinterpret_cast<std::uintptr_t>(chunk) &&
        address + size == reinterpret_cast<std::uintptr_t>(cursor)) {
        cursor = static_cast<char*>(pointer);
    }
}

void MemChunks::Clear() noexcept {
    // Most documents end with their first chunk.
    if (chunk != nullptr && chunk->next == nullptr) {
        ::operator delete(chunk);
    } else {
        Batch::FreeAll(chunk, Batch::Stride(chunkSize));
    }
    chunk = nullptr;
    cursor = nullptr;
    while (bigRequests != nullptr) {
        ::operator delete(std::exchange(bigRequests, bigRequests->next));
    }
}

MemPool::MemPool() : MemPool(kSmallestPoolBlock) {}

MemPool::MemPool(std::size_t block)
    : freeBlocks{}, largeBlocks(nullptr), chunks(PoolBlock(block)) {}

MemPool::~MemPool() {
    Clear();
}

void MemPool::Init(std::size_t block) {
    RequirePossible(block);
    Clear();
    chunks.Init(PoolBlock(block), 0);
}

void* MemPool::AllocLarge(std::size_t size) {
    RequirePossible(size);
    LargeBlock* const block =
        new (::operator new (sizeof(LargeBlock) + size, std::align_val_t{alignof(LargeBlock)}))
            LargeBlock{largeBlocks, nullptr};
    if (largeBlocks != nullptr) {
        largeBlocks->previous = block;
    }
    largeBlocks = block;
    return block + 1;
}

void MemPool::DeallocLarge(void* pointer) noexcept {
    LargeBlock* const block = static_cast<LargeBlock*>(pointer) - 1;
    (block->previous != nullptr ? block->previous->next : largeBlocks) = block->next;
    if (block->next != nullptr) {
        block->next->previous = block->previous;
    }
    ::operator delete (block, std::align_val_t{alignof(LargeBlock)});
}

void MemPool::Lend(char*& begin, char*& end) noexcept {
    constexpr std::size_t kAlign = 16;
    const std::size_t skip = (0 - reinterpret_cast<std::uintptr_t>(chunks.cursor)) & (kAlign - 1);
    if (chunks.chunk == nullptr || chunks.Remaining() <= skip ||
        std::any_of(std::begin(freeBlocks), std::end(freeBlocks),
                    [](const FreeBlock* first) { return first != nullptr; })) {
        return;
    }
    begin = chunks.cursor + skip;
    end = chunks.cursor + chunks.Remaining();
    // As if it were used up: whoever asks nevertheless gets memory of another chunk.
    chunks.cursor = end;
}

void MemPool::TakeBack(char* begin, const char* end) noexcept {
    if (chunks.cursor == end) {
        chunks.cursor = begin;
    }
}

void MemPool::Clear() noexcept {
    for (FreeBlock*& first : freeBlocks) {
        first = nullptr;
    }
    while (largeBlocks != nullptr) {
        DeallocLarge(largeBlocks + 1);
    }
    chunks.Clear();
}

}  // namespace core::detail
