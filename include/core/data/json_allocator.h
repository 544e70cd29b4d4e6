#pragma once

#include <core/export.h>
#include <core/foundation/mem_pool.h>

#include <cstddef>

namespace core {

namespace detail {
class NodeMemory;
}  // namespace detail

/// Where the nodes of a JSON tree come from. It outlives the values made from it.
class CORE_API JsonAllocator {
public:
    JsonAllocator() = default;
    JsonAllocator(const JsonAllocator&) = default;
    JsonAllocator& operator=(const JsonAllocator&) = default;
    virtual ~JsonAllocator();

    /// `size` bytes aligned to `align`, which is at most 8; never null. Throws
    /// `std::bad_alloc` when there is no memory.
    virtual void* Alloc(std::size_t size, std::size_t align) = 0;
    /// Takes back what `Alloc` gave; `size` is what was asked for then. It must not
    /// throw.
    virtual void Dealloc(void* pointer, std::size_t size) = 0;
};

/// The general heap. Safe from any thread.
class CORE_API JsonDefaultAllocator : public JsonAllocator {
public:
    ~JsonDefaultAllocator() override;

    /// The one that values, arrays and objects use unless they are given another.
    /// Made on first use, never destroyed. Thread-safe.
    static JsonDefaultAllocator* Instance() noexcept;

    void* Alloc(std::size_t size, std::size_t align) override;
    void Dealloc(void* pointer, std::size_t size) override;
};

/// A pool of its own, whose memory is returned all at once by the destructor: the
/// values made from it must be gone by then. One thread at a time.
class CORE_API JsonOptimizedAllocator : public JsonAllocator {
public:
    /// `blockSize`: bytes that the pool takes from the heap at a time, at least 4096.
    explicit JsonOptimizedAllocator(std::size_t blockSize);
    JsonOptimizedAllocator(const JsonOptimizedAllocator&) = delete;
    JsonOptimizedAllocator& operator=(const JsonOptimizedAllocator&) = delete;
    ~JsonOptimizedAllocator() override;

    void* Alloc(std::size_t size, std::size_t align) override;
    void Dealloc(void* pointer, std::size_t size) override;

private:
    friend class detail::NodeMemory;

    detail::MemPool pool;
};

}  // namespace core
