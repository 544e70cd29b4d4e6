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
    const T& Front() const noexcept { return front->elements[first]; }

    template <class Element>
    void PushBack(Element&& element) {
        if (back == nullptr || end == kPerBlock) {
            AppendBlock();
        }
        back->elements[end] = std::forward<Element>(element);
        ++end;
        ++size;
    }

    template <class Element>
    void PushFront(Element&& element) {
        if (size == 0) {
            PushBack(std::forward<Element>(element));
            return;
        }
        if (first == 0) {
            Block* const block = TakeBlock();
            block->next = front;
            front = block;
            first = kPerBlock;
        }
        front->elements[first - 1] = std::forward<Element>(element);
        --first;
        ++size;
    }

    T PopFront() noexcept {
        T element = std::move(front->elements[first]);
        ++first;
        --size;
        if (size == 0) {
            first = 0;
            end = 0;
        } else if (first == kPerBlock) {
            KeepOrDelete(std::exchange(front, front->next));
            first = 0;
        }
        return element;
    }

    void Swap(BlockDeque& other) noexcept {
        std::swap(front, other.front);
        std::swap(back, other.back);
        std::swap(spares, other.spares);
        std::swap(spareCount, other.spareCount);
        std::swap(first, other.first);
        std::swap(end, other.end);
        std::swap(size, other.size);
    }

private:
    static constexpr std::size_t kPerBlock = 32;
    /// A burst may keep some tens of kilobytes.
    static constexpr std::size_t kKeptSpares = 16;

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
        (back == nullptr ? front : back->next) = block;
        back = block;
        end = 0;
    }

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

    // The elements stand from `first` of the front block to before `end` of the back
    // one. The slots around them are empty, so that nothing is released late. There is
    // one block at least once there was an element.
    Block* front = nullptr;
    Block* back = nullptr;
    Block* spares = nullptr;
    std::size_t spareCount = 0;
    std::size_t first = 0;
    std::size_t end = 0;
    std::size_t size = 0;
};

}  // namespace core
