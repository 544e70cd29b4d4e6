#include <core/data/bson_box.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace core {

BsonBox::BsonBox() noexcept = default;

BsonBox::BsonBox(const unsigned char* data, std::size_t size) {
    if (data != nullptr && size > 0) {
        Reallocate(size);
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

void BsonBox::Reallocate(std::size_t capacity) {
    const std::size_t size = Size();
    auto* const moved = static_cast<unsigned char*>(std::realloc(begin, capacity));
    if (moved == nullptr) {
        throw std::bad_alloc();
    }
    begin = moved;
    end = begin + size;
    limit = begin + capacity;
}

}  // namespace core
