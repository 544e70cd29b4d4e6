#pragma once

#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <new>

CORE_HIDES_STD_BEGIN
namespace core::detail {

/// Bump allocator over chunks of one size; what is too big for a chunk gets memory
/// of its own. Everything is returned at once, by `Clear` or the destructor.
///
/// One thread at a time. Other modules rely on the fields' order.
class CORE_API MemChunks {
public:
    /// The smallest block size.
    MemChunks();
    /// Blocks of `block` bytes, at least 512; the first is allocated at once.
    /// Requests above half a block are big. Throws `std::bad_alloc`.
    explicit MemChunks(std::size_t block);
    ~MemChunks();
    MemChunks(const MemChunks&) = delete;
    MemChunks& operator=(const MemChunks&) = delete;

    /// Releases everything and starts anew, like the constructor. `bigThreshold`
    /// counts unless it is 0 or above half the block size. When the first block
    /// can't be had, it throws `std::bad_alloc`, and the next `Alloc` tries again.
    void Init(std::size_t block, std::size_t bigThreshold);

    /// `size` bytes at a multiple of `align`, a power of two (0 counts as 1), until
    /// `Clear`. Throws `std::bad_alloc`.
    void* Alloc(std::size_t size, std::size_t align) {
        const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(cursor);
        const std::uintptr_t skip = (0 - address) & (align - (align != 0));
        if (chunk != nullptr && size <= bigThreshold && skip <= Remaining() &&
            size <= Remaining() - skip) {
            char* const start = cursor + skip;
            cursor = start + size;
            return start;
        }
        return AllocElsewhere(size, align);
    }

    /// Takes the most recent `Alloc` back; for any other pointer nothing happens.
    void Dealloc(void* pointer, std::size_t size) noexcept;

    /// Returns all memory; the next `Alloc` makes a new chunk.
    void Clear() noexcept;

private:
    friend class MemPool;

    struct Link {
        Link* next;
    };
    /// Chunks that were asked for at once: all but the first.
    struct Batch;

    /// `Alloc` for a size that is below every threshold.
    template <std::size_t align>
    void* AllocSmall(std::size_t size) {
        const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(cursor);
        const std::uintptr_t skip = (0 - address) & (align - 1);
        if (chunk != nullptr && skip + size <= Remaining()) {
            char* const start = cursor + skip;
            cursor = start + size;
            return start;
        }
        return AllocElsewhere(size, align);
    }

    std::size_t Remaining() const noexcept {
        return chunkSize - static_cast<std::size_t>(cursor - ChunkStart());
    }
    char* ChunkStart() const noexcept { return static_cast<char*>(static_cast<void*>(chunk)); }
    void AddChunk();
    void* AllocElsewhere(std::size_t size, std::size_t align);
    void* AllocBig(std::size_t size, std::size_t align);

    // A link to the previous chunk, then the block itself.
    std::size_t chunkSize;
    std::size_t bigThreshold;
    Link* chunk;
    char* cursor;
    Link* bigRequests;
};

/// The sizes that a pool keeps lists for.
struct PoolSizes {
    static constexpr int kBuckets = 10;
    static constexpr std::size_t kLargest = 256;
    static constexpr std::uint16_t kSizes[kBuckets] = {8, 16, 32, 48, 64, 96, 128, 160, 192, 256};
    /// Bucket by size in units of 8 bytes, rounded up.
    static constexpr std::uint8_t kBucketOfUnits[kLargest / 8 + 1] = {
        0, 0, 1, 2, 2, 3, 3, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6,
        7, 7, 7, 7, 8, 8, 8, 8, 9, 9, 9, 9, 9, 9, 9, 9};
    /// Bucket of twice the size, or the bucket itself where no such bucket is.
    static constexpr std::uint8_t kTwiceAsLarge[kBuckets] = {1, 2, 4, 5, 6, 8, 9, 7, 8, 9};
};

/// Pool for many small nodes that die together.
///
/// Ten sizes from 8 to 256 bytes have a free list each; a request is rounded up to
/// the next of them. Freed blocks serve requests of their own size, or halved those
/// of half the size; halves are never merged, and nothing small goes back to the
/// system before `Clear`. Larger requests go to the heap one by one.
///
/// One thread at a time. Other modules rely on the fields' order.
///
///     MemPool pool(16384);
///     void* node = pool.Alloc(40, 8);
///     pool.Dealloc(node, 40);
class CORE_API MemPool {
public:
    /// The smallest block size.
    MemPool();
    /// Chunks of `block` bytes, at least 4096; the first is allocated at once.
    /// Throws `std::bad_alloc`.
    explicit MemPool(std::size_t block);
    ~MemPool();
    MemPool(const MemPool&) = delete;
    MemPool& operator=(const MemPool&) = delete;

    /// Releases everything and starts anew, like the constructor.
    void Init(std::size_t block);

    /// `size` bytes, aligned to 16 bytes, or to 8 where both `size` and `align` are
    /// at most 8. Throws `std::bad_alloc`. Constant time but for a new chunk or
    /// large block.
    void* Alloc(std::size_t size, std::size_t align) {
        const std::size_t larger = size > align ? size : align;
        return larger <= PoolSizes::kLargest ? AllocFrom(BucketOf(larger)) : AllocLarge(larger);
    }

    /// Takes back what `Alloc` gave; `size` is what was asked for then, and alone
    /// decides where the block goes. Null is ignored.
    void Dealloc(void* pointer, std::size_t size) noexcept {
        if (pointer == nullptr) {
            return;
        }
        if (size <= PoolSizes::kLargest) {
            Push(BucketOf(size), pointer);
        } else {
            DeallocLarge(pointer);
        }
    }

    /// The block size that serves `size` bytes; `size` itself above 256.
    static std::size_t BucketSize(std::size_t size) noexcept {
        return size <= PoolSizes::kLargest ? PoolSizes::kSizes[BucketOf(size)] : size;
    }

    /// Returns all memory; the pool can be used again.
    void Clear() noexcept;

private:
    friend class NodeMemory;

    struct FreeBlock {
        FreeBlock* next;
    };
    struct alignas(16) LargeBlock {
        LargeBlock* next;
        LargeBlock* previous;
    };

    static constexpr unsigned BucketOf(std::size_t size) noexcept {
        return PoolSizes::kBucketOfUnits[(size + 7) / 8];
    }
    void Push(unsigned bucket, void* block) noexcept {
        freeBlocks[bucket] = new (block) FreeBlock{freeBlocks[bucket]};
    }
    void* Pop(unsigned bucket) noexcept {
        FreeBlock* const block = freeBlocks[bucket];
        freeBlocks[bucket] = block->next;
        return block;
    }
    void* AllocFrom(unsigned bucket) {
        if (freeBlocks[bucket] != nullptr) {
            return Pop(bucket);
        }
        const unsigned twice = PoolSizes::kTwiceAsLarge[bucket];
        const std::size_t size = PoolSizes::kSizes[bucket];
        if (freeBlocks[twice] != nullptr) {
            char* const block = static_cast<char*>(Pop(twice));
            Push(bucket, block + size);
            return block;
        }
        return bucket == 0 ? chunks.AllocSmall<8>(size) : chunks.AllocSmall<16>(size);
    }
    /// Hands out what is left of the chunk, from a multiple of 16 on, for blocks of 16
    /// bytes and more in the order in which `Alloc` would give them; nothing where it would
    /// use freed blocks. Whoever has it asks for nothing else until `TakeBack`.
    void Lend(char*& begin, char*& end) noexcept;
    /// The part from `begin` on was not used.
    void TakeBack(char* begin, const char* end) noexcept;
    void* AllocLarge(std::size_t size);
    void DeallocLarge(void* pointer) noexcept;

    FreeBlock* freeBlocks[PoolSizes::kBuckets];
    LargeBlock* largeBlocks;
    MemChunks chunks;
};

}  // namespace core::detail
CORE_HIDES_STD_END
