#pragma once

#include <core/data/bson_box.h>
#include <core/data/bson_sizes.h>
#include <core/data/value_types.h>
#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace core {

/// Writes packed data: a compact binary form of the trees that JSON holds, a subset
/// of MessagePack. It has nothing to do with the BSON document format.
///
///     BsonPacker packer;
///     packer << BsonMapSize(2) << "name" << "fade" << "keys" << BsonTupleSize(2) << 0.0 << 1.5;
///     BsonBox box = packer.Take();
///
/// A header promises what follows it; nobody counts. Each number is written in the
/// form that belongs to its type, some of them longer than they need be: readers and
/// stored data rely on exactly these bytes. A write that runs out of memory throws
/// `std::bad_alloc`, one beyond the largest size `std::length_error`, and the packer
/// stays as it was. One thread at a time; a write takes constant time but for the
/// bytes of a text and for the buffer, which grows by half of itself when it is full.
class CORE_API BsonPacker {
public:
    /// One byte.
    BsonPacker& operator<<(std::nullptr_t);
    BsonPacker& operator<<(bool value);
    /// One byte from -32 to -1, else two.
    BsonPacker& operator<<(signed char value);
    /// One byte up to 127, else two.
    BsonPacker& operator<<(unsigned char value);
    /// Like a `signed char` where it fits, else three bytes.
    BsonPacker& operator<<(short value);
    /// Like an `unsigned char` where it fits, else three bytes.
    BsonPacker& operator<<(unsigned short value);
    /// Five bytes, however small the number, but three for 32767.
    BsonPacker& operator<<(int value);
    /// Like an `unsigned short` where it fits, else five bytes.
    BsonPacker& operator<<(unsigned value);
    /// Like an `int` where it fits, else nine bytes.
    BsonPacker& operator<<(std::int64_t value);
    /// Like an `unsigned` where it fits, else nine bytes.
    BsonPacker& operator<<(std::uint64_t value);
    /// The other integer types, as the one of the same size and sign.
    template <class T, std::enable_if_t<detail::kIsLong<T>, int> = 0>
    BsonPacker& operator<<(T value) {
        return *this << static_cast<detail::SameInteger<T>>(value);
    }
    /// Five bytes for a float, nine for a double.
    BsonPacker& operator<<(float value);
    BsonPacker& operator<<(double value);
    /// A text up to its terminating zero; null counts as empty. A text of 4 GiB or more
    /// throws `std::length_error`.
    BsonPacker& operator<<(const char* text);
    /// A text with all its bytes, zeros too.
    BsonPacker& operator<<(const std::string& text);
    /// A negative count is written too; no reader takes it.
    BsonPacker& operator<<(BsonMapSize size);
    BsonPacker& operator<<(BsonTupleSize size);
    /// Any other pointer would be written as a boolean.
    BsonPacker& operator<<(const void*) = delete;

    /// Makes room for `size` bytes in all.
    void Reserve(std::size_t size);
    /// Forgets what was written and keeps the room.
    void Clear() noexcept;
    /// Hands over what was written, and leaves the packer empty.
    BsonBox Take() noexcept;

private:
    BsonPacker& WriteText(const char* text, std::size_t size);
    template <class Encode>
    BsonPacker& Write(Encode&& encode);

    BsonBox box;
};

}  // namespace core
