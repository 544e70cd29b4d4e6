#pragma once

#include <core/data/bson_box.h>

#include <cstddef>

namespace core::detail {

/// The buffer of a box, for those who write into it. What throws leaves it as it was.
struct BsonRoom {
    static std::size_t Capacity(const BsonBox& box) noexcept {
        return static_cast<std::size_t>(box.limit - box.begin);
    }
    static unsigned char* Begin(BsonBox& box) noexcept { return box.begin; }
    static unsigned char* End(BsonBox& box) noexcept { return box.end; }
    static unsigned char* Limit(BsonBox& box) noexcept { return box.limit; }
    /// The bytes end here from now on.
    static void SetEnd(BsonBox& box, unsigned char* end) noexcept { box.end = end; }

    /// Where to write `size` bytes behind those that are there.
    static unsigned char* For(BsonBox& box, std::size_t size) {
        if (static_cast<std::size_t>(box.limit - box.end) < size) {
            Grow(box, size);
        }
        return box.end;
    }
    /// Makes the buffer larger by half, or so that `size` more bytes find room.
    static void Grow(BsonBox& box, std::size_t size);
    /// Makes the buffer at least this large. Throws `std::length_error` where no buffer
    /// can be, or `std::bad_alloc`.
    static void Reserve(BsonBox& box, std::size_t capacity);
};

}  // namespace core::detail
