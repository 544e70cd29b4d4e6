#include <core/foundation/mem_pool.h>

#include <algorithm>
#include <utility>

namespace core::detail {

namespace {

constexpr std::size_t kSmallestChunkBlock = 512;
constexpr std::size_t kSmallestPoolBlock = 4096;
/// The bits that no chunk's address has.
constexpr std::size_t kNumberMask = alignof(void*) - 1;
/// In bytes: below the size from which heaps ask the system for each piece.
constexpr std::size_t kLargestBatch = std::size_t{120} * 1024;
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
// takes a good part of the time of a document of megabytes. The first batch is one
// chunk, each one behind it twice the last, up to kLargestBatch or to one chunk.
//
// Invariants:
// 1. the chunks of a batch are a stride apart, and the link of number i of a batch leads
//    i bytes into the chunk in use before it;
// 2. a batch is begun when the last one is used up, so the link of its first chunk
//    leads to the last chunk of the batch before, whose number says how large that was.

struct MemChunks::Batches {
    static std::size_t NumberOf(const Link* chunk) noexcept {
        return reinterpret_cast<std::uintptr_t>(chunk->next) & kNumberMask;
    }
    static Link* Before(const Link* chunk) noexcept {
        return Moved(chunk->next, -static_cast<std::ptrdiff_t>(NumberOf(chunk)));
    }
    /// Each chunk of a batch is aligned like the first one.
    static std::size_t Stride(std::size_t chunkSize) noexcept {
        constexpr std::size_t kAlign = alignof(std::max_align_t);
        return (chunkSize + kAlign - 1) / kAlign * kAlign;
    }
    static Link* First(Link* chunk, std::size_t stride) noexcept {
        return Moved(chunk, -static_cast<std::ptrdiff_t>(NumberOf(chunk) * stride));
    }
    /// The chunks of the batch behind this last one of a batch.
    static std::size_t SizeBehind(const Link* last, std::size_t stride) noexcept {
        if (last == nullptr) {
            return 1;
        }
        const std::size_t most = std::min(kNumberMask + 1, kLargestBatch / stride);
        return std::max<std::size_t>(1, std::min(2 * (NumberOf(last) + 1), most));
    }
    /// Some bytes on; the very first chunk, which has none before it, moves by none.
    static Link* Moved(Link* link, std::ptrdiff_t bytes) noexcept {
        void* const moved = static_cast<char*>(static_cast<void*>(link)) + bytes;
        return static_cast<Link*>(moved);
    }
};

void MemChunks::AddChunk() {
    const std::size_t stride = Batches::Stride(chunkSize);
    std::size_t number = 0;
    void* place = nullptr;
    if (chunk != nullptr &&
        Batches::NumberOf(chunk) + 1 <
            Batches::SizeBehind(Batches::Before(Batches::First(chunk, stride)), stride)) {
        number = Batches::NumberOf(chunk) + 1;
        place = Batches::Moved(chunk, static_cast<std::ptrdiff_t>(stride));
    } else {
        place = ::operator new((Batches::SizeBehind(chunk, stride) - 1) * stride + chunkSize);
    }
    chunk = new (place) Link{Batches::Moved(chunk, static_cast<std::ptrdiff_t>(number))};
    cursor = ChunkStart() + sizeof(Link);
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
    while (chunk != nullptr) {
        Link* const first = Batches::First(chunk, Batches::Stride(chunkSize));
        chunk = Batches::Before(first);
        ::operator delete(first);
    }
    while (bigRequests != nullptr) {
        ::operator delete(std::exchange(bigRequests, bigRequests->next));
    }
    cursor = nullptr;
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
