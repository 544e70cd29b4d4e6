#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>

namespace core {

/// At most `kMost` plain values in a row, held in place: whoever has the object has them,
/// without a pointer to follow.
template <class T, std::size_t kMost>
class Row {
public:
    static_assert(std::is_trivially_copyable_v<T>);

    Row() noexcept {}  // NOLINT(modernize-use-equals-default): leaves the values open
    Row(const Row& other) noexcept : count(other.count) {
        std::copy(other.begin(), other.end(), begin());
    }
    Row& operator=(const Row&) = delete;

    std::size_t size() const noexcept { return count; }
    bool empty() const noexcept { return count == 0; }
    T* data() noexcept { return items.data(); }
    const T* data() const noexcept { return items.data(); }
    T* begin() noexcept { return data(); }
    T* end() noexcept { return data() + count; }
    const T* begin() const noexcept { return data(); }
    const T* end() const noexcept { return data() + count; }
    T& operator[](std::size_t i) noexcept { return items[i]; }
    const T& operator[](std::size_t i) const noexcept { return items[i]; }
    const T& front() const noexcept { return items[0]; }
    const T& back() const noexcept { return items[count - 1]; }

    /// Of a row that is not full.
    void push_back(T value) noexcept { items[count++] = value; }
    void insert(std::size_t at, T value) noexcept {
        std::copy_backward(begin() + at, end(), end() + 1);
        items[at] = value;
        ++count;
    }
    void erase(std::size_t first, std::size_t last) noexcept {
        std::copy(begin() + last, end(), begin() + first);
        count -= last - first;
    }
    /// Moves the values from `first` on behind those of `to`.
    void MoveTail(std::size_t first, Row& to) noexcept {
        std::copy(begin() + first, end(), to.end());
        to.count += count - first;
        count = first;
    }

private:
    std::size_t count = 0;
    std::array<T, kMost> items;
};

}  // namespace core
