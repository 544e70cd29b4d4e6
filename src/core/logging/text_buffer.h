#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace core {

/// A text that grows at its end; up to `InlineSize` bytes it allocates nothing.
template <std::size_t InlineSize>
class TextBuffer {
public:
    // The storage is left as it is: clearing it would cost more than a short line.
    TextBuffer() noexcept : data(storage) {}
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    void Append(std::string_view text) {
        Reserve(size + text.size());
        text.copy(data + size, text.size());
        size += text.size();
    }
    void Append(char c) {
        Reserve(size + 1);
        data[size++] = c;
    }
    void Reserve(std::size_t wanted) {
        if (wanted > capacity) {
            Grow(wanted);
        }
    }
    /// Where `Capacity` bytes may be written; `SetSize` says how many were.
    char* Data() noexcept { return data; }
    std::size_t Capacity() const noexcept { return capacity; }
    void SetSize(std::size_t newSize) noexcept { size = newSize; }

    std::size_t Size() const noexcept { return size; }
    std::string_view View() const noexcept { return {data, size}; }

private:
    void Grow(std::size_t wanted) {
        const std::size_t newCapacity = std::max(wanted, 2 * capacity);
        std::unique_ptr<char[]> newHeap(new char[newCapacity]);
        std::memcpy(newHeap.get(), data, size);
        heap = std::move(newHeap);
        data = heap.get();
        capacity = newCapacity;
    }

    char* data;
    std::size_t size = 0;
    std::size_t capacity = InlineSize;
    std::unique_ptr<char[]> heap;
    char storage[InlineSize];
};

}  // namespace core
