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

// The halves of a number, down to its bytes: compilers see that as one move.

/// The low `Count` bytes of `value`.
template <int Count>
inline void WriteBig(unsigned char* at, std::uint64_t value) noexcept {
    if constexpr (Count == 1) {
        *at = static_cast<unsigned char>(value);
    } else {
        WriteBig<Count / 2>(at, value >> (4 * Count));
        WriteBig<Count / 2>(at + Count / 2, value);
    }
}

template <int Count>
inline std::uint64_t ReadBig(const unsigned char* at) noexcept {
    if constexpr (Count == 1) {
        return *at;
    } else {
        return ReadBig<Count / 2>(at) << (4 * Count) | ReadBig<Count / 2>(at + Count / 2);
    }
}

/// `head`, then the low `Count` bytes of `value`.
template <int Count>
inline unsigned char* Big(unsigned char* at, unsigned head, std::uint64_t value) noexcept {
    *at = static_cast<unsigned char>(head);
    WriteBig<Count>(at + 1, value);
    return at + 1 + Count;
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

/// What the bytes mean.
enum class Form : std::uint8_t {
    Own,       // what BsonPacker writes, without binary data and extensions
    Standard,  // MessagePack, as other programs write it
};

/// Whether an item is binary data (C4 to C6) or an extension (C7 to C9, D4 to D8).
constexpr bool IsForeign(unsigned first) {
    return (first >= 0xC4 && first <= 0xC9) || (first >= 0xD4 && first <= 0xD8);
}

/// The bytes of an item that its first byte settles: all but the ones that a length there
/// counts. 0 for a byte that begins no item.
constexpr std::uint8_t FixedPart(unsigned first, Form form) {
    if (IsForeign(first)) {
        const bool isBinary = first <= 0xC6;
        const unsigned lengthBytes = first >= 0xD4 ? 0 : 1U << (first - (isBinary ? 0xC4 : 0xC7));
        return form == Form::Own ? 0
                                 : static_cast<std::uint8_t>(1 + lengthBytes + (isBinary ? 0 : 1));
    }
    switch (first) {
        case 0xC1:
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

template <Form kForm>
struct FixedParts {
    constexpr FixedParts() {
        for (unsigned first = 0; first < 256; ++first) {
            size[first] = FixedPart(first, kForm);
        }
    }
    std::uint8_t size[256] = {};
};
template <Form kForm>
inline constexpr FixedParts<kForm> kFixedParts;

/// Packed bytes and where to go on reading them.
struct Input {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    /// Beyond `size` after an item that was cut short.
    std::size_t cursor = 0;

    const unsigned char* End() const noexcept { return data + size; }
};

/// The length of a text, or a count, as it stands: signed, of which no negative one is
/// taken.
inline constexpr std::uint64_t kMaxLength = 0x7FFF'FFFF;

/// As Decode, for binary data and extensions. `at` is behind the first byte; the cursor is
/// behind the fixed part, before `left` bytes.
template <class Visitor>
inline auto DecodeForeign(Input& input, unsigned first, const unsigned char* at, std::size_t left,
                          Visitor& visitor) {
    const bool isBinary = first <= 0xC6;
    std::uint64_t length = 0;
    switch (first) {
        case 0xC4:
        case 0xC7:
            length = *at++;
            break;
        case 0xC5:
        case 0xC8:
            length = ReadBig<2>(at);
            at += 2;
            break;
        case 0xC6:
        case 0xC9:
            length = ReadBig<4>(at);
            at += 4;
            break;
        default:
            length = std::uint64_t{1} << (first - 0xD4);
    }
    const unsigned char* const bytes = input.data + input.cursor;
    input.cursor += length;
    if (length > left) {
        return visitor.Nothing();
    }
    return isBinary ? visitor.Binary(bytes, length)
                    : visitor.Extension(static_cast<std::int8_t>(*at), bytes, length);
}

/// Reads the item at the cursor, which moves behind it, and answers what `visitor` makes
/// of it, by one of
///
///     Number(kind, bits)      Nil, a boolean, a number, or the count of a header, in
///                             the low bytes of `bits`
///     Text(bytes, length)
///     Binary(bytes, length), Extension(type, bytes, length)     in the standard form alone
///     Nothing()               There is no next item. The cursor stays where it is then
///                             before a byte that begins no item, and stands behind the
///                             end after an item that is cut short.
///
/// The answer goes straight to where it is wanted: an item that was put together here
/// and taken apart there would cost more than the reading.
template <Form kForm = Form::Own, class Visitor>
[[gnu::always_inline]] inline auto Decode(Input& input, Visitor&& visitor) {
    if (input.cursor >= input.size) {
        return visitor.Nothing();
    }
    const unsigned char* at = input.data + input.cursor;
    const unsigned first = *at++;
    const std::size_t fixed = kFixedParts<kForm>.size[first];
    const std::size_t left = input.size - input.cursor;
    input.cursor += fixed;
    if (fixed == 0 || fixed > left) {
        return visitor.Nothing();
    }
    const auto count = [&](std::int32_t kind, std::uint64_t value) {
        return value > kMaxLength ? visitor.Nothing() : visitor.Number(kind, value);
    };
    // Kept on purpose: stored data pairs the byte forms with kinds of the other sign, so
    // that 0xE0 to 0xFF come back as 224 to 255.
    constexpr std::int32_t kByte = kForm == Form::Own ? BsonItem::kUint8 : BsonItem::kInt8;
    if (first <= 0x7F) {
        return visitor.Number(BsonItem::kInt16, first);
    }
    if (first >= 0xE0) {
        return visitor.Number(kByte, first);
    }
    if (first <= 0x8F) {
        return visitor.Number(BsonItem::kMap, first & 15);
    }
    if (first <= 0x9F) {
        return visitor.Number(BsonItem::kTuple, first & 15);
    }
    if constexpr (kForm == Form::Standard) {
        if (IsForeign(first)) {
            return DecodeForeign(input, first, at, left - fixed, visitor);
        }
    }
    std::uint64_t length = first & 31;
    switch (first) {
        case 0xC0:
            return visitor.Number(BsonItem::kNil, 0);
        case 0xC2:
        case 0xC3:
            return visitor.Number(BsonItem::kBool, first & 1);
        case 0xCA:
            return visitor.Number(BsonItem::kFloat, ReadBig<4>(at));
        case 0xCB:
            return visitor.Number(BsonItem::kDouble, ReadBig<8>(at));
        case 0xCC:
            return visitor.Number(BsonItem::kInt16, *at);
        case 0xCD:
            return visitor.Number(BsonItem::kUint16, ReadBig<2>(at));
        case 0xCE:
            return visitor.Number(BsonItem::kUint32, ReadBig<4>(at));
        case 0xCF:
            return visitor.Number(BsonItem::kUint64, ReadBig<8>(at));
        case 0xD0:
            return visitor.Number(kByte, *at);
        case 0xD1:
            return visitor.Number(BsonItem::kInt16, ReadBig<2>(at));
        case 0xD2:
            return visitor.Number(BsonItem::kInt32, ReadBig<4>(at));
        case 0xD3:
            return visitor.Number(BsonItem::kInt64, ReadBig<8>(at));
        case 0xDC:
            return visitor.Number(BsonItem::kTuple, ReadBig<2>(at));
        case 0xDD:
            return count(BsonItem::kTuple, ReadBig<4>(at));
        case 0xDE:
            return visitor.Number(BsonItem::kMap, ReadBig<2>(at));
        case 0xDF:
            return count(BsonItem::kMap, ReadBig<4>(at));
        case 0xD9:
            length = *at;
            break;
        case 0xDA:
            length = ReadBig<2>(at);
            break;
        case 0xDB:
            length = ReadBig<4>(at);
            break;
        default:  // 0xA0 to 0xBF
            break;
    }
    if (length > kMaxLength) {
        return visitor.Nothing();
    }
    const unsigned char* const bytes = input.data + input.cursor;
    input.cursor += length;
    return length > left - fixed ? visitor.Nothing() : visitor.Text(bytes, length);
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
