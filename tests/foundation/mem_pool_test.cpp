#include <core/foundation/mem_pool.h>
#include <core/foundation/unused_memory.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "support/allocations.h"
#include "support/dice.h"

namespace {

using core::detail::MemChunks;
using core::detail::MemPool;

// Other modules rely on the order of the fields.
static_assert(sizeof(MemChunks) == 5 * 8 && sizeof(MemPool) == (10 + 1) * 8 + sizeof(MemChunks));

template <class T>
std::uint64_t Field(const T& object, std::size_t index) {
    std::uint64_t field;
    std::memcpy(&field, reinterpret_cast<const unsigned char*>(&object) + 8 * index, sizeof field);
    return field;
}

/// Blocks that are lent: no two share a byte, and what is written into one stays.
class Lent {
public:
    void Add(void* pointer, std::size_t size) {
        unsigned char* const start = static_cast<unsigned char*>(pointer);
        const auto next = blocks.lower_bound(start);
        if (next != blocks.end()) {
            ASSERT_LE(start + size, next->first);
        }
        if (next != blocks.begin()) {
            const auto previous = std::prev(next);
            ASSERT_LE(previous->first + previous->second.size, start);
        }
        blocks[start] = {size, ++fill};
        std::memset(start, fill, size);
    }
    /// The block with this number, in the order of addresses; it is lent no more.
    std::pair<void*, std::size_t> Take(int number) {
        const auto block = std::next(blocks.begin(), number);
        const auto [start, content] = *block;
        for (std::size_t i = 0; i < content.size; ++i) {
            EXPECT_EQ(content.fill, start[i]);
        }
        blocks.erase(block);
        return {start, content.size};
    }
    int Count() const { return static_cast<int>(blocks.size()); }
    void Forget() { blocks.clear(); }

private:
    struct Content {
        std::size_t size;
        unsigned char fill;
    };
    std::map<unsigned char*, Content> blocks;
    unsigned char fill = 0;
};

std::uintptr_t Address(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

TEST(MemPool, RoundsUpToTenSizes) {
    std::size_t size = 0;
    for (const std::size_t bucket : {8U, 16U, 32U, 48U, 64U, 96U, 128U, 160U, 192U, 256U}) {
        for (; size <= bucket; ++size) {
            EXPECT_EQ(bucket, MemPool::BucketSize(size)) << size;
        }
    }
    EXPECT_EQ(257U, MemPool::BucketSize(257));
    EXPECT_EQ(SIZE_MAX, MemPool::BucketSize(SIZE_MAX));
}

TEST(MemPool, BlocksOfTheLeastSizeAndMore) {
    struct Row {
        std::size_t block;
        std::uint64_t chunkSize;
    };
    for (const Row& row : {Row{0, 4104}, Row{100, 4104}, Row{4096, 4104}, Row{16384, 16392}}) {
        MemPool pool(row.block);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(0U, Field(pool, 10)) << "no large block";
            EXPECT_EQ(row.chunkSize, Field(pool, 11));
            EXPECT_EQ((row.chunkSize - 8) / 2, Field(pool, 12));
            EXPECT_EQ(Field(pool, 13) + 8, Field(pool, 14)) << "the cursor is behind the header";
            EXPECT_EQ(0U, Field(pool, 15)) << "no big request";
            pool.Alloc(1000, 8);
            pool.Init(row.block);
        }
    }
    EXPECT_EQ(4104U, Field(MemPool(), 11));
    EXPECT_EQ(520U, Field(MemChunks(), 0));
    MemChunks chunks(10);
    EXPECT_EQ(520U, Field(chunks, 0));
    for (const std::size_t threshold : {1U, 500U, 501U, 0U}) {
        chunks.Init(1000, threshold);
        EXPECT_EQ(threshold == 1 ? 1U : 500U, Field(chunks, 1));
    }
}

// The free lists as vectors, the newest block at the back.
TEST(MemPool, AnswersLikeItsModel) {
    std::map<std::size_t, std::vector<char*>> free;
    Lent lent;
    Dice dice(65);
    MemPool pool(4096);
    for (int i = 0; i < 40'000; ++i) {
        if (dice.OneIn(10'000)) {
            dice.OneIn(2) ? pool.Clear() : pool.Init(5000);
            free.clear();
            lent.Forget();
            EXPECT_EQ(0U, Field(pool, 10));
        } else if (lent.Count() > 0 && dice.Below(2000) < lent.Count()) {
            const auto [block, size] = lent.Take(dice.Below(lent.Count()));
            pool.Dealloc(block, size);
            if (size <= 256) {
                free[MemPool::BucketSize(size)].push_back(static_cast<char*>(block));
            }
        } else {
            const auto size = static_cast<std::size_t>(dice.Below(dice.OneIn(50) ? 5000 : 258));
            // With an alignment above its size, a block goes back as a smaller one.
            const std::size_t align = std::size_t{1} << dice.Below(dice.OneIn(50) ? 10 : 4);
            const std::size_t larger = std::max(size, align);
            const std::size_t bucket = MemPool::BucketSize(larger);
            void* const block = pool.Alloc(size, align);
            ASSERT_EQ(0U, Address(block) % (bucket == 8 ? 8 : 16));
            if (larger <= 256) {
                auto& blocks = free[bucket];
                auto& twice = free[2 * bucket];
                if (!blocks.empty()) {
                    ASSERT_EQ(blocks.back(), block);
                    blocks.pop_back();
                } else if (MemPool::BucketSize(2 * bucket) == 2 * bucket && !twice.empty()) {
                    ASSERT_EQ(twice.back(), block);
                    twice.pop_back();
                    blocks.push_back(static_cast<char*>(block) + bucket);
                }
            }
            // What was not taken from a list must be new memory, with room for all.
            lent.Add(block, size <= 256 ? std::max(size, std::size_t{1}) : size);
            for (const auto& [freeSize, blocks] : free) {
                for (const char* other : blocks) {
                    ASSERT_FALSE(other < static_cast<char*>(block) + larger &&
                                 static_cast<char*>(block) < other + freeSize)
                        << freeSize;
                }
            }
        }
    }
}

TEST(MemPool, RefusesWhatNoHeapGives) {
    MemPool pool;
    for (const std::size_t size : {SIZE_MAX, SIZE_MAX - 15, SIZE_MAX / 2}) {
        EXPECT_THROW(pool.Alloc(size, 8), std::bad_alloc);
        EXPECT_THROW(pool.Init(size), std::bad_alloc);
        EXPECT_THROW(MemPool{size}, std::bad_alloc);
        MemChunks chunks;
        EXPECT_THROW(chunks.Alloc(size, 8), std::bad_alloc);
    }
    pool.Dealloc(nullptr, 40);
    pool.Dealloc(nullptr, 400);
    std::memset(pool.Alloc(40, 8), 1, 40);
}

TEST(MemChunks, LendsDisjointAlignedBlocks) {
    Dice dice(651);
    for (const std::size_t block : {512U, 3000U}) {
        MemChunks chunks(block);
        Lent lent;
        for (int i = 0; i < 3000; ++i) {
            if (dice.OneIn(500)) {
                chunks.Clear();
                lent.Forget();
                EXPECT_EQ(0U, Field(chunks, 2));
            }
            const auto size = 1 + static_cast<std::size_t>(dice.Below(dice.OneIn(9) ? 4000 : 90));
            const std::size_t align = dice.OneIn(20) ? 0 : std::size_t{1} << dice.Below(13);
            void* const start = chunks.Alloc(size, align);
            if (align > 0) {
                ASSERT_EQ(0U, Address(start) % align);
            }
            lent.Add(start, size);
        }
    }
}

// Whoever looks at a chunk finds the one before it, however they were asked for.
TEST(MemChunks, LinkEachChunkToTheOneBeforeAndAskTheHeapForSeveralAtOnce) {
    for (const std::size_t block : {512U, 3001U, 4096U, 16384U, 1U << 20}) {
        constexpr std::size_t kChunks = 100;
        std::vector<std::uint64_t> seen;
        seen.reserve(2 * kChunks);
        const std::size_t before = AllocationsSoFar();
        MemChunks chunks(block);
        const std::size_t first = AllocationsSoFar() - before;
        for (std::size_t i = 0; i < 2 * kChunks; ++i) {
            std::memset(chunks.Alloc(block / 2, 1), 0xFF, block / 2);
            if (seen.empty() || seen.back() != Field(chunks, 2)) {
                seen.push_back(Field(chunks, 2));
            }
            EXPECT_TRUE(seen.size() > 1 || AllocationsSoFar() - before == first);
        }
        const std::size_t asked = AllocationsSoFar() - before;
        // None are counted where the library has an operator new of its own. A megabyte is
        // much at once.
        EXPECT_LE(asked, block < 1 << 20 ? kChunks / 5 : first * kChunks) << block;
        ASSERT_EQ(kChunks, seen.size());
        for (std::uint64_t chunk = 0; const std::uint64_t next : seen) {
            EXPECT_EQ(0U, next % alignof(std::max_align_t));
            EXPECT_EQ(chunk, Field(*reinterpret_cast<const std::uint64_t*>(next), 0));
            chunk = next;
        }
    }
}

TEST(MemChunks, MakeDoWithOneChunkAtATimeWhereTheHeapIsShort) {
    Dice dice(652);
    MemChunks chunks(4096);
    Lent lent;
    for (int i = 0; i < 1000; ++i) {
        // Memory for no chunk, for one, and for many.
        const std::size_t most = dice.OneIn(2) ? SIZE_MAX : dice.OneIn(2) ? 5000 : 3000;
        RefuseAllocationsAbove(most);
        try {
            lent.Add(chunks.Alloc(900, 8), 900);
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(3000U, most);
        }
        RefuseAllocationsAbove(SIZE_MAX);
    }
    EXPECT_LT(700, lent.Count());
    while (lent.Count() > 0) {
        lent.Take(0);
    }
}

TEST(MemChunks, MeetAnAlignmentThatNoChunkHasRoomFor) {
    MemChunks chunks(512);
    constexpr std::size_t kAlign = std::size_t{1} << 26;
    void* const start = chunks.Alloc(8, kAlign);
    EXPECT_EQ(0U, Address(start) % kAlign);
    std::memset(start, 1, 8);
}

TEST(MemChunks, TakeBackTheNewestBlockAlone) {
    MemChunks chunks(512);
    void* const first = chunks.Alloc(40, 8);
    void* const second = chunks.Alloc(40, 8);
    chunks.Dealloc(first, 40);
    chunks.Dealloc(second, 39);
    // As if it began before the chunk.
    chunks.Dealloc(reinterpret_cast<void*>(Address(second) - 4096), 4096 + 40);
    void* const big = chunks.Alloc(300, 8);
    chunks.Dealloc(big, 300);
    EXPECT_EQ(static_cast<char*>(second) + 40, chunks.Alloc(8, 8));
    chunks.Dealloc(static_cast<char*>(second) + 40, 8);
    chunks.Dealloc(second, 40);
    EXPECT_EQ(second, chunks.Alloc(40, 8));
    chunks.Clear();
    chunks.Dealloc(second, 40);
    EXPECT_NE(nullptr, chunks.Alloc(40, 8));
}

// Large pools leave their regions to the next ones.

constexpr std::size_t kRegion = std::size_t{2} << 20;

/// A pool that has handed out so many bytes, in blocks that keep what is written to them.
void Use(std::size_t bytes, unsigned char fill) {
    constexpr std::size_t kBlock = 64;
    MemPool pool(16384);
    std::vector<unsigned char*> blocks;
    for (std::size_t used = 0; used < bytes; used += kBlock) {
        blocks.push_back(static_cast<unsigned char*>(pool.Alloc(kBlock, 8)));
        std::memset(blocks.back(), fill, kBlock);
    }
    for (const unsigned char* block : blocks) {
        ASSERT_EQ(kBlock, static_cast<std::size_t>(std::count(block, block + kBlock, fill)));
    }
}

TEST(MemPool, LeavesABoundedAmountToTheNextAndGivesItBackOnRequest) {
    core::ReleaseUnusedMemory();
    Use(400'000, 1);
    EXPECT_EQ(0U, core::ReleaseUnusedMemory()) << "small pools leave nothing";
    Use(3 * kRegion, 2);
    EXPECT_EQ(3 * kRegion, core::ReleaseUnusedMemory());
    EXPECT_EQ(0U, core::ReleaseUnusedMemory());
    Use(12 * kRegion, 3);
    Use(3 * kRegion, 4);  // from what is there
    EXPECT_EQ(8 * kRegion, core::ReleaseUnusedMemory());
}

TEST(MemPool, ThreadsTakeAndLeaveRegionsAtOnce) {
    std::vector<std::thread> threads;
    for (unsigned char thread = 1; thread <= 4; ++thread) {
        threads.emplace_back([thread] {
            for (int round = 0; round < 20; ++round) {
                Use(2 * kRegion, thread);
                if (thread == 1) {
                    core::ReleaseUnusedMemory();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
