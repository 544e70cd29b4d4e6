#pragma once

// Products of 64-bit numbers.

#include <cstdint>

namespace core {

/// high 2^64 + low.
struct Wide {
    std::uint64_t high;
    std::uint64_t low;
};

/// The product by its halves, for compilers without an integer of 128 bits.
inline Wide MultiplyByHalves(std::uint64_t a, std::uint64_t b) noexcept {
    const std::uint64_t a0 = a & 0xFFFFFFFF, a1 = a >> 32;
    const std::uint64_t b0 = b & 0xFFFFFFFF, b1 = b >> 32;
    const std::uint64_t low = a0 * b0;
    const std::uint64_t middle = a1 * b0 + (low >> 32);
    const std::uint64_t cross = a0 * b1 + (middle & 0xFFFFFFFF);
    return {a1 * b1 + (middle >> 32) + (cross >> 32), (cross << 32) | (low & 0xFFFFFFFF)};
}

inline Wide Multiply(std::uint64_t a, std::uint64_t b) noexcept {
#ifdef __SIZEOF_INT128__
    __extension__ using Product = unsigned __int128;
    const Product product = Product{a} * b;
    return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
#else
    return MultiplyByHalves(a, b);
#endif
}

}  // namespace core
