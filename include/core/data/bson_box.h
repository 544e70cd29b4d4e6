#pragma once

#include <core/export.h>

#include <cstddef>

namespace core {

namespace detail {
struct BsonRoom;
}  // namespace detail

/// Bytes of packed data that this object owns; what `BsonPacker::Take` answers.
///
/// Copying copies the bytes, and a box that was moved from is empty. A plain value:
/// no locking, one thread at a time.
class CORE_API BsonBox {
public:
    BsonBox() noexcept;
    /// A copy of `size` bytes, which may come from anywhere.
    BsonBox(const unsigned char* data, std::size_t size);
    BsonBox(const BsonBox& other);
    BsonBox(BsonBox&& other) noexcept;
    BsonBox& operator=(const BsonBox& other);
    BsonBox& operator=(BsonBox&& other) noexcept;
    ~BsonBox();

    /// The first byte; null for a box that never held any. Valid until the box is
    /// assigned to, moved from or destroyed.
    const unsigned char* Data() const noexcept { return begin; }
    /// The number of bytes.
    std::size_t Size() const noexcept { return static_cast<std::size_t>(end - begin); }

private:
    friend struct detail::BsonRoom;

    unsigned char* begin = nullptr;
    unsigned char* end = nullptr;
    /// The end of the buffer.
    unsigned char* limit = nullptr;
};

}  // namespace core
