#include <core/data/bson_unpacker.h>

#include "core/data/bson_wire.h"

namespace core {

BsonUnpacker::BsonUnpacker() noexcept = default;

BsonUnpacker::BsonUnpacker(const BsonBox& box) noexcept {
    Open(box);
}

BsonUnpacker::BsonUnpacker(const unsigned char* bytes, std::size_t count) noexcept {
    Open(bytes, count);
}

void BsonUnpacker::Open(const BsonBox& box) noexcept {
    Open(box.Data(), box.Size());
}

void BsonUnpacker::Open(const unsigned char* bytes, std::size_t count) noexcept {
    data = bytes;
    size = bytes != nullptr ? count : 0;
    cursor = 0;
    hasFailed = false;
}

// A byte form fills the low byte of a wider kind: with the number cleared first, small
// unsigned numbers read back exactly, whatever the item held before.
void BsonUnpacker::Decode(BsonItem& item) {
    item.kind = BsonItem::kNone;
    item.bits = 0;
    item.text.clear();
    if (hasFailed) {
        return;
    }
    struct Sink {
        BsonItem& item;
        bool Number(std::int32_t kind, std::uint64_t bits) const noexcept {
            item.kind = kind;
            item.bits = bits;
            return true;
        }
        bool Text(const unsigned char* bytes, std::uint64_t length) const {
            item.text.assign(reinterpret_cast<const char*>(bytes), length);
            item.kind = BsonItem::kString;
            return true;
        }
        bool Nothing() const noexcept { return false; }
    };
    wire::Input input = {data, size, cursor};
    hasFailed = !wire::Decode(input, Sink{item});
    cursor = input.cursor;
}

BsonItem* BsonUnpacker::GetNextItem() {
    Decode(current);
    return hasFailed ? nullptr : &current;
}

BsonUnpacker& BsonUnpacker::operator>>(BsonItem& item) {
    Decode(item);
    return *this;
}

BsonUnpacker& BsonUnpacker::operator>>(std::nullptr_t) {
    Decode(current);
    hasFailed = !current.IsNull();
    return *this;
}

BsonUnpacker& BsonUnpacker::operator>>(BsonMapSize& pairs) {
    Decode(current);
    hasFailed = !current.IsMap();
    if (!hasFailed) {
        pairs = BsonMapSize(static_cast<std::int32_t>(current.bits));
    }
    return *this;
}

BsonUnpacker& BsonUnpacker::operator>>(BsonTupleSize& elements) {
    Decode(current);
    hasFailed = !current.IsTuple();
    if (!hasFailed) {
        elements = BsonTupleSize(static_cast<std::int32_t>(current.bits));
    }
    return *this;
}

}  // namespace core
