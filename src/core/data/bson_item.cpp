#include <core/data/bson_item.h>

#include "core/data/bson_wire.h"

#include <bit>
#include <limits>

namespace core {

void BsonItem::SetBits(std::int32_t newKind, std::uint64_t value, int bytes) noexcept {
    const std::uint64_t written = ~std::uint64_t{0} >> (64 - 8 * bytes);
    kind = newKind;
    bits = (bits & ~written) | (value & written);
}

void BsonItem::Set(std::nullptr_t) noexcept {
    kind = kNil;
}

void BsonItem::Set(bool value) noexcept {
    SetBits(kBool, value ? 1 : 0, 1);
}

// Kept on purpose: callers rely on the byte-sized setters' kinds crossing over.
void BsonItem::Set(signed char value) noexcept {
    SetBits(kUint8, static_cast<unsigned char>(value), 1);
}

void BsonItem::Set(unsigned char value) noexcept {
    SetBits(kInt16, value, 1);
}

void BsonItem::Set(short value) noexcept {
    SetBits(kInt16, static_cast<unsigned short>(value), 2);
}

void BsonItem::Set(unsigned short value) noexcept {
    SetBits(kUint16, value, 2);
}

void BsonItem::Set(int value) noexcept {
    SetBits(kInt32, static_cast<unsigned>(value), 4);
}

void BsonItem::Set(unsigned value) noexcept {
    SetBits(kUint32, value, 4);
}

void BsonItem::Set(std::int64_t value) noexcept {
    SetBits(kInt64, static_cast<std::uint64_t>(value), 8);
}

void BsonItem::Set(std::uint64_t value) noexcept {
    SetBits(kUint64, value, 8);
}

void BsonItem::Set(float value) noexcept {
    SetBits(kFloat, std::bit_cast<std::uint32_t>(value), 4);
}

void BsonItem::Set(double value) noexcept {
    SetBits(kDouble, std::bit_cast<std::uint64_t>(value), 8);
}

void BsonItem::Set(const char* value, int len) {
    if (value == nullptr) {
        text.clear();
    } else if (len < 0) {
        text.assign(value);
    } else {
        text.assign(value, static_cast<std::size_t>(len));
    }
    kind = kString;
}

void BsonItem::Set(const std::string& value) {
    text = value;
    kind = kString;
}

void BsonItem::SetTupleSize(std::int32_t elements) noexcept {
    SetBits(kTuple, static_cast<std::uint32_t>(elements), 4);
}

void BsonItem::SetMapSize(std::int32_t pairs) noexcept {
    SetBits(kMap, static_cast<std::uint32_t>(pairs), 4);
}

bool BsonItem::Get(bool& value) const noexcept {
    if (kind != kBool) {
        return false;
    }
    value = (bits & 0xFF) != 0;
    return true;
}

template <class T>
bool BsonItem::GetInteger(T& value) const noexcept {
    if (!IsInteger()) {
        return false;
    }
    const std::int64_t number = wire::IntegerOf(kind, bits);
    const auto narrow = static_cast<T>(number);
    // Signs count too: the casts alone would take -1 for 2^64 - 1, and the reverse.
    const bool isNegative = number < 0 && kind != kUint64;
    if (static_cast<std::uint64_t>(narrow) != static_cast<std::uint64_t>(number) ||
        (narrow < T{0}) != isNegative) {
        return false;
    }
    value = narrow;
    return true;
}

bool BsonItem::Get(signed char& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(unsigned char& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(short& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(unsigned short& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(int& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(unsigned& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(std::int64_t& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(std::uint64_t& value) const noexcept {
    return GetInteger(value);
}

bool BsonItem::Get(float& value) const noexcept {
    double wide = 0.0;
    if (kind == kFloat) {
        value = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
        return true;
    }
    if (!Get(wide)) {
        return false;
    }
    value = static_cast<float>(wide);
    return true;
}

bool BsonItem::Get(double& value) const noexcept {
    if (!IsFloat()) {
        return false;
    }
    value = kind == kDouble
                ? std::bit_cast<double>(bits)
                : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    return true;
}

bool BsonItem::Get(const char*& value) const noexcept {
    value = kind == kString ? text.c_str() : nullptr;
    return kind == kString;
}

bool BsonItem::Get(std::string& value) const {
    if (kind != kString) {
        return false;
    }
    value = text;
    return true;
}

bool BsonItem::GetTupleSize(std::int32_t& elements) const noexcept {
    if (kind != kTuple) {
        return false;
    }
    elements = static_cast<std::int32_t>(bits);
    return true;
}

bool BsonItem::GetMapSize(std::int32_t& pairs) const noexcept {
    if (kind != kMap) {
        return false;
    }
    pairs = static_cast<std::int32_t>(bits);
    return true;
}

}  // namespace core
