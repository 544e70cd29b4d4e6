#include <core/data/bson_packer.h>

#include "core/data/bson_room.h"
#include "core/data/bson_wire.h"

#include <cstring>
#include <stdexcept>
#include <utility>

namespace core {

using detail::BsonRoom;

template <class Encode>
inline BsonPacker& BsonPacker::Write(Encode&& encode) {
    BsonRoom::SetEnd(box, encode(BsonRoom::For(box, wire::kMaxNumber)));
    return *this;
}

BsonPacker& BsonPacker::WriteText(const char* text, std::size_t size) {
    if (size > wire::kMaxText) {
        throw std::length_error("BsonPacker: text too long");
    }
    unsigned char* const room = BsonRoom::For(box, wire::kMaxNumber + size);
    unsigned char* const at = wire::TextHeader(room, size);
    if (size > 0) {
        std::memcpy(at, text, size);
    }
    BsonRoom::SetEnd(box, at + size);
    return *this;
}

BsonPacker& BsonPacker::operator<<(std::nullptr_t) {
    return Write(wire::Nil);
}

BsonPacker& BsonPacker::operator<<(bool value) {
    return Write([=](unsigned char* at) { return wire::Bool(at, value); });
}

BsonPacker& BsonPacker::operator<<(signed char value) {
    return Write([=](unsigned char* at) { return wire::SignedByte(at, value); });
}

BsonPacker& BsonPacker::operator<<(unsigned char value) {
    return *this << std::uint64_t{value};
}

BsonPacker& BsonPacker::operator<<(short value) {
    return Write([=](unsigned char* at) { return wire::Short(at, value); });
}

BsonPacker& BsonPacker::operator<<(unsigned short value) {
    return *this << std::uint64_t{value};
}

BsonPacker& BsonPacker::operator<<(int value) {
    return Write([=](unsigned char* at) { return wire::Int(at, value); });
}

BsonPacker& BsonPacker::operator<<(unsigned value) {
    return *this << std::uint64_t{value};
}

BsonPacker& BsonPacker::operator<<(std::int64_t value) {
    return Write([=](unsigned char* at) { return wire::Int64(at, value); });
}

BsonPacker& BsonPacker::operator<<(std::uint64_t value) {
    return Write([=](unsigned char* at) { return wire::Unsigned(at, value); });
}

BsonPacker& BsonPacker::operator<<(float value) {
    return Write([=](unsigned char* at) { return wire::Float(at, value); });
}

BsonPacker& BsonPacker::operator<<(double value) {
    return Write([=](unsigned char* at) { return wire::Double(at, value); });
}

BsonPacker& BsonPacker::operator<<(const char* text) {
    return WriteText(text, text != nullptr ? std::strlen(text) : 0);
}

BsonPacker& BsonPacker::operator<<(const std::string& text) {
    return WriteText(text.data(), text.size());
}

BsonPacker& BsonPacker::operator<<(BsonMapSize size) {
    return Write([=](unsigned char* at) { return wire::MapHeader(at, size); });
}

BsonPacker& BsonPacker::operator<<(BsonTupleSize size) {
    return Write([=](unsigned char* at) { return wire::TupleHeader(at, size); });
}

void BsonPacker::Reserve(std::size_t size) {
    BsonRoom::Reserve(box, size);
}

void BsonPacker::Clear() noexcept {
    BsonRoom::SetEnd(box, BsonRoom::Begin(box));
}

BsonBox BsonPacker::Take() noexcept {
    return std::move(box);
}

}  // namespace core
