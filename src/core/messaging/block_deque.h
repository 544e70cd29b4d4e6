#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace core {

/// A double-ended queue that counts: blocks in a list, of which some emptied ones are kept
/// for the next. So it allocates when it grows and never in the steady state, and moves no
/// element once it is in.
template <class T>
class BlockDeque {
public:
    BlockDeque() = default;
    BlockDeque(const BlockDeque&) = delete;
    BlockDeque& operator=(const BlockDeque&) = delete;
    ~BlockDeque() {
        while (!IsEmpty()) {
            PopFront();
        }
        Release(front);
        Release(spares);
    }

    bool IsEmpty() const noexcept { return pushed == popped; }
    std::size_t Size() const noexcept { return static_cast<std::size_t>(pushed - popped); }
    const T& Front() const noexcept { return *first; }
    T& Front() noexcept { return *first; }
    /// Elements that were ever pushed, and those that have left it since.
    std::uint64_t Pushed() const noexcept { return pushed; }
    std::uint64_t Popped() const noexcept { return popped; }

    /// Makes the next push into an empty one take no memory.
    void Reserve() {
        if (back == nullptr) {
            AppendBlock();
        }
    }

    template <class Element>
    void PushBack(Element&& element) {
        if (end == endOfBack) {
            AppendBlock();
        }
        ::new (end) T(std::forward<Element>(element));
        ++end;
        ++pushed;
    }

    template <class Element>
    void PushFront(Element&& element) {
        if (IsEmpty()) {
            PushBack(std::forward<Element>(element));
            return;
        }
        if (first == front->Begin()) {
            Block* const block = TakeBlock();
            block->next = front;
            front = block;
            first = endOfFront = block->End();
        }
        ::new (first - 1) T(std::forward<Element>(element));
        --first;
        ++pushed;
    }

    T PopFront() noexcept {
        T element = std::move(*first);
        first->~T();
        SkipFront();
        return element;
    }
    /// Of two elements or more, the second one: the first has its place then.
    T PopBehindFront() noexcept {
        T element = PopFront();
        std::swap(element, *first);
        return element;
    }
    /// Moves the first element over one that owns nothing. A type whose moved-from objects
    /// own nothing is left so, without a look.
    void MoveFrontOver(T& bare) noexcept {
        ::new (static_cast<void*>(std::addressof(bare))) T(std::move(*first));
        SkipFront();
    }

    /// Gives all elements to `none`, which has none; they have left this one.
    void MoveTo(BlockDeque& none) noexcept {
        std::swap(front, none.front);
        std::swap(back, none.back);
        std::swap(spares, none.spares);
        std::swap(spareCount, none.spareCount);
        std::swap(first, none.first);
        std::swap(endOfFront, none.endOfFront);
        std::swap(end, none.end);
        std::swap(endOfBack, none.endOfBack);
        none.pushed = none.popped + Size();
        popped = pushed;
    }

private:
    void SkipFront() noexcept {
        ++first;
        ++popped;
        if (IsEmpty()) {
            first = end = front->Begin();
        } else if (first == endOfFront) {
            KeepOrDelete(std::exchange(front, front->next));
            first = front->Begin();
            endOfFront = front->End();
        }
    }

    /// Some kilobytes a block, so that a queue that grows while its lock is held is seldom
    /// kept waiting for memory.
    static constexpr std::size_t kPerBlock = 64;
    /// A burst may keep some tens of kilobytes.
    static constexpr std::size_t kKeptSpares = 8;

    /// Memory for elements; those that there are live in `elements`.
    struct Block {
        Block() noexcept {}
        ~Block() {}
        Block(const Block&) = delete;
        Block& operator=(const Block&) = delete;

        T* Begin() noexcept { return elements; }
        T* End() noexcept { return elements + kPerBlock; }

        union {
            T elements[kPerBlock];
        };
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
            first = block->Begin();
            endOfFront = block->End();
        } else {
            back->next = block;
        }
        back = block;
        end = block->Begin();
        endOfBack = block->End();
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

    // The elements stand from `first`, in the front block, to before `end`, in the back
    // one; around them is raw memory. There is one block at least once there was an element.
    T* first = nullptr;
    T* endOfFront = nullptr;
    T* end = nullptr;
    T* endOfBack = nullptr;
    std::uint64_t pushed = 0;
    std::uint64_t popped = 0;
    Block* front = nullptr;
    Block* back = nullptr;
    Block* spares = nullptr;
    std::size_t spareCount = 0;
};

}  // namespace core
