#pragma once

// The bytes of packed data, as pure functions: numbers to bytes and back. No buffer,
// no allocation. Everything is big-endian.

#include <core/data/bson_item.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace core::wire {

// Encoding. Each function writes at `at`, where there is room for kMaxNumber bytes,
// and answers where the next byte goes.

/// The longest number or header.
inline constexpr std::size_t kMaxNumber = 9;
/// The longest text, whose length takes four bytes.
inline constexpr std::uint64_t kMaxText = 0xFFFF'FFFF;

inline unsigned char* Byte(unsigned char* at, unsigned value) noexcept {
    *at = static_cast<unsigned char>(value);
    return at + 1;
}

/// `head`, then the low `Count` bytes of `value`.
template <int Count>
inline unsigned char* Big(unsigned char* at, unsigned head, std::uint64_t value) noexcept {
    *at++ = static_cast<unsigned char>(head);
    for (int shift = 8 * (Count - 1); shift >= 0; shift -= 8) {
        *at++ = static_cast<unsigned char>(value >> shift);
    }
    return at;
}

inline unsigned char* Unsigned(unsigned char* at, std::uint64_t value) noexcept {
    if (value <= 0x7F) {
        return Byte(at, static_cast<unsigned>(value));
    }
    if (value <= 0xFF) {
        return Big<1>(at, 0xCC, value);
    }
    if (value <= 0xFFFF) {
        return Big<2>(at, 0xCD, value);
    }
    return value <= 0xFFFF'FFFF ? Big<4>(at, 0xCE, value) : Big<8>(at, 0xCF, value);
}

inline unsigned char* SignedByte(unsigned char* at, int value) noexcept {
    // Kept on purpose: stored data has 0 to 127 behind a type byte, not as one byte.
    const auto bits = static_cast<unsigned>(value);
    return value >= -32 && value < 0 ? Byte(at, bits) : Big<1>(at, 0xD0, bits);
}

inline unsigned char* Short(unsigned char* at, int value) noexcept {
    return value >= -128 && value <= 127 ? SignedByte(at, value)
                                         : Big<2>(at, 0xD1, static_cast<unsigned>(value));
}

inline unsigned char* Int(unsigned char* at, std::int32_t value) noexcept {
    // Kept on purpose: stored data has 32767 alone in the short form.
    return value == std::numeric_limits<std::int16_t>::max()
               ? Short(at, value)
               : Big<4>(at, 0xD2, static_cast<std::uint32_t>(value));
}

inline unsigned char* Int64(unsigned char* at, std::int64_t value) noexcept {
    const auto narrow = static_cast<std::int32_t>(value);
    return narrow == value ? Int(at, narrow) : Big<8>(at, 0xD3, static_cast<std::uint64_t>(value));
}

inline unsigned char* Nil(unsigned char* at) noexcept {
    return Byte(at, 0xC0);
}

inline unsigned char* Bool(unsigned char* at, bool value) noexcept {
    return Byte(at, value ? 0xC3 : 0xC2);
}

inline unsigned char* Float(unsigned char* at, float value) noexcept {
    return Big<4>(at, 0xCA, std::bit_cast<std::uint32_t>(value));
}

inline unsigned char* Double(unsigned char* at, double value) noexcept {
    return Big<8>(at, 0xCB, std::bit_cast<std::uint64_t>(value));
}

/// What stands before the bytes of a text of at most kMaxText bytes.
inline unsigned char* TextHeader(unsigned char* at, std::uint64_t size) noexcept {
    if (size <= 31) {
        return Byte(at, 0xA0 + static_cast<unsigned>(size));
    }
    if (size <= 0xFF) {
        return Big<1>(at, 0xD9, size);
    }
    return size <= 0xFFFF ? Big<2>(at, 0xDA, size) : Big<4>(at, 0xDB, size);
}

/// A count as one byte on `fixed`, or in two or four bytes behind `wide` or `wide` + 1.
inline unsigned char* Header(unsigned char* at, unsigned fixed, unsigned wide,
                             std::int32_t count) noexcept {
    const auto size = static_cast<std::uint32_t>(count);
    if (size <= 15) {
        return Byte(at, fixed + size);
    }
    return size <= 0xFFFF ? Big<2>(at, wide, size) : Big<4>(at, wide + 1, size);
}

inline unsigned char* TupleHeader(unsigned char* at, std::int32_t count) noexcept {
    return Header(at, 0x90, 0xDC, count);
}

inline unsigned char* MapHeader(unsigned char* at, std::int32_t count) noexcept {
    return Header(at, 0x80, 0xDE, count);
}

// Decoding

/// An item as it stands in the input.
struct Decoded {
    /// A kind of BsonItem.
    std::int32_t kind = BsonItem::kNone;
    /// The number, or the length of a text.
    std::uint64_t bits = 0;
    /// The bytes of a text.
    const unsigned char* text = nullptr;
};

/// Reads `Count` bytes.
template <int Count>
inline std::uint64_t ReadBig(const unsigned char* at) noexcept {
    std::uint64_t value = 0;
    for (int i = 0; i < Count; ++i) {
        value = value << 8 | at[i];
    }
    return value;
}

/// The bytes of an item that its first byte settles: all but a text's own. 0 for a
/// byte that begins no item.
constexpr std::uint8_t FixedPart(unsigned first) {
    switch (first) {
        case 0xC1:
        case 0xC4:  // binary data and extensions
        case 0xC5:
        case 0xC6:
        case 0xC7:
        case 0xC8:
        case 0xC9:
        case 0xD4:
        case 0xD5:
        case 0xD6:
        case 0xD7:
        case 0xD8:
            return 0;
        case 0xCC:
        case 0xD0:
        case 0xD9:
            return 2;
        case 0xCD:
        case 0xD1:
        case 0xDA:
        case 0xDC:
        case 0xDE:
            return 3;
        case 0xCA:
        case 0xCE:
        case 0xD2:
        case 0xDB:
        case 0xDD:
        case 0xDF:
            return 5;
        case 0xCB:
        case 0xCF:
        case 0xD3:
            return 9;
        default:
            return 1;
    }
}

struct FixedParts {
    constexpr FixedParts() {
        for (unsigned first = 0; first < 256; ++first) {
            size[first] = FixedPart(first);
        }
    }
    std::uint8_t size[256] = {};
};
inline constexpr FixedParts kFixedParts;

/// A number of 32 bits, signed in the packed form: none where it is negative.
inline Decoded Count(std::int32_t kind, std::uint64_t count) noexcept {
    return count > 0x7FFF'FFFF ? Decoded{} : Decoded{kind, count, nullptr};
}

/// The item at `cursor`, which moves behind it.
///
/// An item of kind none where there is no next one. The cursor stays where it is then
/// before a byte that begins no item, and stands behind the end after one that is cut
/// short.
inline Decoded Decode(const unsigned char* data, std::size_t size, std::size_t& cursor) noexcept {
    if (cursor >= size) {
        return {};
    }
    const unsigned char* at = data + cursor;
    const unsigned first = *at++;
    const std::size_t fixed = kFixedParts.size[first];
    const std::size_t left = size - cursor;
    cursor += fixed;
    if (fixed == 0 || fixed > left) {
        return {};
    }
    const auto text = [&](std::uint64_t length) noexcept -> Decoded {
        const Decoded header = Count(BsonItem::kString, length);
        if (header.kind == BsonItem::kNone) {
            return header;
        }
        cursor += length;
        return length > left - fixed ? Decoded{}
                                     : Decoded{header.kind, length, data + cursor - length};
    };
    // Kept on purpose: stored data pairs the byte forms with kinds of the other sign, so
    // that 0xE0 to 0xFF come back as 224 to 255.
    if (first <= 0x7F) {
        return {BsonItem::kInt16, first, nullptr};
    }
    if (first >= 0xE0) {
        return {BsonItem::kUint8, first, nullptr};
    }
    if (first <= 0x8F) {
        return {BsonItem::kMap, first & 15, nullptr};
    }
    if (first <= 0x9F) {
        return {BsonItem::kTuple, first & 15, nullptr};
    }
    if (first <= 0xBF) {
        return text(first & 31);
    }
    switch (first) {
        case 0xC0:
            return {BsonItem::kNil, 0, nullptr};
        case 0xC2:
        case 0xC3:
            return {BsonItem::kBool, first & 1, nullptr};
        case 0xCA:
            return {BsonItem::kFloat, ReadBig<4>(at), nullptr};
        case 0xCB:
            return {BsonItem::kDouble, ReadBig<8>(at), nullptr};
        case 0xCC:
            return {BsonItem::kInt16, *at, nullptr};
        case 0xCD:
            return {BsonItem::kUint16, ReadBig<2>(at), nullptr};
        case 0xCE:
            return {BsonItem::kUint32, ReadBig<4>(at), nullptr};
        case 0xCF:
            return {BsonItem::kUint64, ReadBig<8>(at), nullptr};
        case 0xD0:
            return {BsonItem::kUint8, *at, nullptr};
        case 0xD1:
            return {BsonItem::kInt16, ReadBig<2>(at), nullptr};
        case 0xD2:
            return {BsonItem::kInt32, ReadBig<4>(at), nullptr};
        case 0xD3:
            return {BsonItem::kInt64, ReadBig<8>(at), nullptr};
        case 0xD9:
            return text(*at);
        case 0xDA:
            return text(ReadBig<2>(at));
        case 0xDB:
            return text(ReadBig<4>(at));
        case 0xDC:
            return {BsonItem::kTuple, ReadBig<2>(at), nullptr};
        case 0xDD:
            return Count(BsonItem::kTuple, ReadBig<4>(at));
        case 0xDE:
            return {BsonItem::kMap, ReadBig<2>(at), nullptr};
        default:
            return Count(BsonItem::kMap, ReadBig<4>(at));
    }
}

/// The number of an integer kind as a signed one, of which only the kind kUint64 can
/// be too large: it comes back as its 64 bits then.
inline std::int64_t IntegerOf(std::int32_t kind, std::uint64_t bits) noexcept {
    switch (kind) {
        case BsonItem::kInt8:
            return static_cast<std::int8_t>(bits);
        case BsonItem::kInt16:
            return static_cast<std::int16_t>(bits);
        case BsonItem::kInt32:
            return static_cast<std::int32_t>(bits);
        case BsonItem::kUint8:
            return static_cast<std::uint8_t>(bits);
        case BsonItem::kUint16:
            return static_cast<std::uint16_t>(bits);
        case BsonItem::kUint32:
            return static_cast<std::uint32_t>(bits);
        default:
            return static_cast<std::int64_t>(bits);
    }
}

}  // namespace core::wire
