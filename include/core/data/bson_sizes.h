#pragma once

#include <cstdint>

namespace core {

/// The header of a map in packed data: how many pairs follow, key and value by turns.
class BsonMapSize {
public:
    /// No pairs.
    BsonMapSize() noexcept = default;
    /// Not checked: what is negative is written as it is.
    explicit BsonMapSize(std::int32_t pairs) noexcept : count(pairs) {}
    /// The number of pairs.
    operator std::int32_t() const noexcept { return count; }

private:
    std::int32_t count = 0;
};

/// The header of an array in packed data: how many elements follow.
class BsonTupleSize {
public:
    /// No elements.
    BsonTupleSize() noexcept = default;
    /// Not checked: what is negative is written as it is.
    explicit BsonTupleSize(std::int32_t elements) noexcept : count(elements) {}
    /// The number of elements.
    operator std::int32_t() const noexcept { return count; }

private:
    std::int32_t count = 0;
};

}  // namespace core
