#include <core/foundation/mem_pool.h>

#include <algorithm>

namespace core::detail {

namespace {

constexpr std::size_t kSmallestChunkBlock = 512;
constexpr std::size_t kSmallestPoolBlock = 4096;
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

void MemChunks::AddChunk() {
    chunk = new (::operator new(chunkSize)) Link{chunk};
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
    for (Link** list : {&chunk, &bigRequests}) {
        while (Link* const first = *list) {
            *list = first->next;
            ::operator delete(first);
        }
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
