#pragma once

// Decoded items as JSON values, whichever form they were read from.

#include "core/data/bson_wire.h"
#include "core/data/json_nodes.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace core::detail {

/// A JSON text has less than 2 GiB with its terminating zero.
inline constexpr std::uint64_t kLongestPackedText = JsonNodes::kMaxCount - 1;

/// Gives nil, a boolean or a number to a value that owns no node.
[[gnu::always_inline]] inline void SetPackedScalar(JsonValue& value, std::int32_t kind,
                                                   std::uint64_t bits) noexcept {
    switch (kind) {
        case BsonItem::kNil:
            return JsonNodes::SetScalar(value, JsonValue::kNull, 0);
        case BsonItem::kBool:
            return JsonNodes::SetScalar(value, JsonValue::kBool, bits);
        case BsonItem::kFloat: {
            const auto single = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
            return JsonNodes::SetScalar(value, JsonValue::kDouble,
                                        std::bit_cast<std::uint64_t>(double{single}));
        }
        case BsonItem::kDouble:
            return JsonNodes::SetScalar(value, JsonValue::kDouble, bits);
        case BsonItem::kUint64:
            return JsonNodes::SetScalar(
                value, bits >> 63 != 0 ? JsonValue::kUnsigned : JsonValue::kSigned, bits);
        default:
            return JsonNodes::SetScalar(value, JsonValue::kSigned,
                                        static_cast<std::uint64_t>(wire::IntegerOf(kind, bits)));
    }
}

/// Fills an empty text; bytes can be read up to `limit`.
[[gnu::always_inline]] inline void SetPackedText(JsonString& text, const unsigned char* bytes,
                                                 std::uint64_t length, const unsigned char* limit,
                                                 NodeMemory& memory) {
    // A short text goes in one piece, with whatever follows it.
    constexpr std::size_t kPiece = 16;
    const auto size = static_cast<std::size_t>(length);
    char* const to = JsonNodes::Reserve(text, static_cast<std::int32_t>(size) + 1, memory);
    if (size < kPiece && static_cast<std::size_t>(limit - bytes) >= kPiece) {
        static_assert(JsonNodes::kInPlaceText >= kPiece);
        std::memcpy(to, bytes, kPiece);
    } else {
        std::memcpy(to, bytes, size);
    }
    to[size] = '\0';
}

}  // namespace core::detail
