#pragma once

#include <array>
#include <cstddef>
#include <utility>

namespace core {

/// A double-ended queue for elements that are cheap to make: blocks in a list, of which
/// some emptied ones are kept for the next. So it allocates when it grows and never in
/// the steady state, and moves no element once it is in.
template <class T>
class BlockDeque {
public:
    BlockDeque() = default;
    BlockDeque(const BlockDeque&) = delete;
    BlockDeque& operator=(const BlockDeque&) = delete;
    ~BlockDeque() {
        Release(front);
        Release(spares);
    }

    bool IsEmpty() const noexcept { return size == 0; }
    std::size_t Size() const noexcept { return size; }
    const T& Front() const noexcept { return *first; }

    template <class Element>
    void PushBack(Element&& element) {
        if (end == endOfBack) {
            AppendBlock();
        }
        *end = std::forward<Element>(element);
        ++end;
        ++size;
    }

    template <class Element>
    void PushFront(Element&& element) {
        if (size == 0) {
            PushBack(std::forward<Element>(element));
            return;
        }
        if (first == front->elements.data()) {
            Block* const block = TakeBlock();
            block->next = front;
            front = block;
            first = endOfFront = EndOf(block);
        }
        *(first - 1) = std::forward<Element>(element);
        --first;
        ++size;
    }

    T PopFront() noexcept {
        T element = std::move(*first);
        ++first;
        --size;
        if (size == 0) {
            first = end = front->elements.data();
        } else if (first == endOfFront) {
            KeepOrDelete(std::exchange(front, front->next));
            first = front->elements.data();
            endOfFront = EndOf(front);
        }
        return element;
    }

    void Swap(BlockDeque& other) noexcept {
        std::swap(front, other.front);
        std::swap(back, other.back);
        std::swap(spares, other.spares);
        std::swap(spareCount, other.spareCount);
        std::swap(first, other.first);
        std::swap(endOfFront, other.endOfFront);
        std::swap(end, other.end);
        std::swap(endOfBack, other.endOfBack);
        std::swap(size, other.size);
    }

private:
    /// Some kilobytes a block, so that a queue that grows while its lock is held is seldom
    /// kept waiting for memory.
    static constexpr std::size_t kPerBlock = 64;
    /// A burst may keep some tens of kilobytes.
    static constexpr std::size_t kKeptSpares = 8;

    struct Block {
        std::array<T, kPerBlock> elements{};
        Block* next = nullptr;
    };

    Block* TakeBlock() {
        if (spares == nullptr) {
            return new Block;
        }
        --spareCount;
        return std::exchange(spares, spares->next);
    }

    void AppendBlock() {
        Block* const block = TakeBlock();
        block->next = nullptr;
        if (back == nullptr) {
            front = block;
            first = block->elements.data();
            endOfFront = EndOf(block);
        } else {
            back->next = block;
        }
        back = block;
        end = block->elements.data();
        endOfBack = EndOf(block);
    }

    static T* EndOf(Block* block) noexcept { return block->elements.data() + kPerBlock; }

    void KeepOrDelete(Block* block) noexcept {
        if (spareCount == kKeptSpares) {
            delete block;
            return;
        }
        block->next = spares;
        spares = block;
        ++spareCount;
    }

    /// Block after block: a chain of destructors would run off the stack.
    static void Release(Block* block) noexcept {
        while (block != nullptr) {
            delete std::exchange(block, block->next);
        }
    }

    // The elements stand from `first`, in the front block, to before `end`, in the back
    // one. The slots around them are empty, so that nothing is released late. There is
    // one block at least once there was an element.
    T* first = nullptr;
    T* endOfFront = nullptr;
    T* end = nullptr;
    T* endOfBack = nullptr;
    std::size_t size = 0;
    Block* front = nullptr;
    Block* back = nullptr;
    Block* spares = nullptr;
    std::size_t spareCount = 0;
};

}  // namespace core
