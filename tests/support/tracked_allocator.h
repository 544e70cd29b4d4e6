#pragma once

#include <core/data/json_allocator.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <unordered_map>

namespace support {

/// The heap, with a record of every block: it must come back, once, with the size that
/// was asked for, before the allocator is destroyed.
///
///     TrackedAllocator allocator;
///     allocator.FailAt(3);           // the third allocation from now on throws
class TrackedAllocator final : public core::JsonAllocator {
public:
    TrackedAllocator() = default;
    TrackedAllocator(const TrackedAllocator&) = delete;
    TrackedAllocator& operator=(const TrackedAllocator&) = delete;
    ~TrackedAllocator() override {
        EXPECT_EQ(0U, blocks.size()) << "blocks were never returned";
        for (const auto& block : blocks) {
            ::operator delete(block.first);
        }
    }

    void* Alloc(std::size_t size, std::size_t align) override {
        EXPECT_LE(align, std::size_t{8});
        ++allocations;
        if (untilFailure > 0 && --untilFailure == 0) {
            ++failures;
            throw std::bad_alloc();
        }
        void* const block = ::operator new(size);
        blocks[block] = size;
        lastSize = size;
        return block;
    }
    void Dealloc(void* pointer, std::size_t size) override {
        const auto found = blocks.find(pointer);
        if (found == blocks.end()) {
            ADD_FAILURE() << "returned a block that is not lent";
            return;
        }
        EXPECT_EQ(found->second, size) << "returned with another size than asked for";
        blocks.erase(found);
        ::operator delete(pointer);
    }

    /// Lets the `n`th allocation from now on throw; none with 0.
    void FailAt(std::size_t n) { untilFailure = n; }
    /// Allocations that have thrown so far.
    std::size_t Failures() const { return failures; }
    std::size_t Allocations() const { return allocations; }
    std::size_t LastSize() const { return lastSize; }
    /// Blocks that are lent.
    std::size_t Lent() const { return blocks.size(); }

private:
    std::unordered_map<void*, std::size_t> blocks;
    std::size_t untilFailure = 0;
    std::size_t failures = 0;
    std::size_t allocations = 0;
    std::size_t lastSize = 0;
};

}  // namespace support
