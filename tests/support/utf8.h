#pragma once

#include <cstdint>
#include <string>

/// A code point in UTF-8, by arithmetic on the number.
inline std::string Utf8Of(std::uint32_t codePoint) {
    const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
    const char last = byte(128 + codePoint % 64);
    const char second = byte(128 + codePoint / 64 % 64);
    const char third = byte(128 + codePoint / 4096 % 64);
    if (codePoint < 128) {
        return {byte(codePoint)};
    }
    if (codePoint < 2048) {
        return {byte(192 + codePoint / 64), last};
    }
    if (codePoint < 65536) {
        return {byte(224 + codePoint / 4096), second, last};
    }
    return {byte(240 + codePoint / 262144), third, second, last};
}
