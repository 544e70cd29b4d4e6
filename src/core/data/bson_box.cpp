#include <core/data/bson_box.h>

#include "core/data/bson_room.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

namespace core {

BsonBox::BsonBox() noexcept = default;

BsonBox::BsonBox(const unsigned char* data, std::size_t size) {
    if (data != nullptr && size > 0) {
        detail::BsonRoom::Reserve(*this, size);
        std::memcpy(begin, data, size);
        end = begin + size;
    }
}

BsonBox::BsonBox(const BsonBox& other) : BsonBox(other.begin, other.Size()) {}

BsonBox::BsonBox(BsonBox&& other) noexcept
    : begin(std::exchange(other.begin, nullptr)),
      end(std::exchange(other.end, nullptr)),
      limit(std::exchange(other.limit, nullptr)) {}

BsonBox& BsonBox::operator=(const BsonBox& other) {
    if (this != &other) {
        *this = BsonBox(other);
    }
    return *this;
}

BsonBox& BsonBox::operator=(BsonBox&& other) noexcept {
    BsonBox moved(std::move(other));
    std::swap(begin, moved.begin);
    std::swap(end, moved.end);
    std::swap(limit, moved.limit);
    return *this;
}

BsonBox::~BsonBox() {
    std::free(begin);
}

namespace detail {
namespace {

/// The largest box: sizes are differences of pointers.
constexpr std::size_t kMaxSize = std::numeric_limits<std::ptrdiff_t>::max();

}  // namespace

void BsonRoom::Reserve(BsonBox& box, std::size_t capacity) {
    if (capacity > kMaxSize) {
        throw std::length_error("BsonBox: too large");
    }
    if (capacity <= Capacity(box)) {
        return;
    }
    const std::size_t size = box.Size();
    auto* const moved = static_cast<unsigned char*>(std::realloc(box.begin, capacity));
    if (moved == nullptr) {
        throw std::bad_alloc();
    }
    box.begin = moved;
    box.end = moved + size;
    box.limit = moved + capacity;
}

void BsonRoom::Grow(BsonBox& box, std::size_t size) {
    if (size > kMaxSize - box.Size()) {
        throw std::length_error("BsonBox: too large");
    }
    const std::size_t half = std::min(Capacity(box) / 2, kMaxSize - Capacity(box));
    Reserve(box, std::max(box.Size() + size, Capacity(box) + half));
}

}  // namespace detail

}  // namespace core
