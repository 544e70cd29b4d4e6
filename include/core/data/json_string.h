#pragma once

#include <core/data/json_allocator.h>
#include <core/export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace core {

namespace detail {
struct JsonNodes;
}  // namespace detail

/// A zero-terminated text from an allocator; UTF-8 by convention, never checked.
///
/// Up to 15 bytes are held in place. A text ends at its first zero byte for every
/// reader. One thread at a time. Other modules rely on the fields' order.
class CORE_API JsonString {
public:
    /// Empty. The allocator outlives this object; null means the default one.
    explicit JsonString(JsonAllocator* ofText = nullptr) noexcept
        : allocator(ofText != nullptr ? ofText : JsonDefaultAllocator::Instance()),
          capacity(kInPlace) {
        storage.inPlace[0] = '\0';
    }
    JsonString(const JsonString&) = delete;
    JsonString& operator=(const JsonString&) = delete;
    ~JsonString();

    /// Zero-terminated; valid until the text is changed.
    const char* Text() const noexcept { return IsInPlace() ? storage.inPlace : storage.heap; }
    /// Bytes that are held, the terminating zero included; 16 at first.
    int Capacity() const noexcept { return capacity; }
    /// Where longer texts come from; never null.
    JsonAllocator* Allocator() const noexcept { return allocator; }

    /// Makes room for `bytes` bytes, the terminating zero included, and answers
    /// where they lie. Where there is room already, the text stays; else it is
    /// lost, and exactly `bytes` bytes are allocated. When the allocator throws,
    /// the text is empty.
    char* Reserve(int bytes);

    /// Replaces the text by `length` bytes, or by all up to the terminating zero
    /// when `length` is below 0. `text` may be part of this very string; null
    /// counts as empty. Throws `std::length_error` from 2147483647 bytes on; then, and
    /// when the allocator throws, the text is unchanged.
    void Assign(const char* text, int length = -1);
    void Assign(const std::string& text);
    void Assign(std::string_view text);

    /// Empties the text; the room stays.
    void Clear() noexcept { *MutableText() = '\0'; }

private:
    friend struct detail::JsonNodes;

    static constexpr std::int32_t kInPlace = 16;

    bool IsInPlace() const noexcept { return capacity <= kInPlace; }
    char* MutableText() noexcept { return IsInPlace() ? storage.inPlace : storage.heap; }

    JsonAllocator* allocator;
    std::int32_t capacity;
    union {
        char inPlace[kInPlace];
        char* heap;
    } storage;
};

}  // namespace core
