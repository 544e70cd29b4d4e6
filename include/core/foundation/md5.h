#pragma once

#include <core/export.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// MD5 (RFC 1321): a short, stable fingerprint of stored content. It protects from
/// accidents, not from people.
namespace core::md5 {

/// The 16 bytes in the order of RFC 1321: the four state words, little-endian, A first.
struct MD5Digest {
    std::uint8_t bytes[16];  ///< the digest
};

/// Digest of `length` bytes at `data`, which may be null when `length` is 0.
/// Thread-safe; allocates nothing.
CORE_API void MD5Sum(const void* data, std::size_t length, MD5Digest* out) noexcept;

/// The same digest as 32 lower-case hexadecimal digits, high nibble first.
CORE_API std::string MD5String(const void* data, std::size_t length);

}  // namespace core::md5
