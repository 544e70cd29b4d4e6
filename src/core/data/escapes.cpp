#include "core/data/escapes.h"

#include "core/data/text_scan.h"

#include <algorithm>
#include <string_view>

namespace core {
namespace {

using detail::TextBlock;

/// The value of a hexadecimal digit; -1 for any other byte.
int HexValue(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// The number of four hexadecimal digits; -1 where they are not there.
int Hex4Value(const char* text) noexcept {
    int value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = HexValue(text[i]);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

Escape UnicodeEscapeAt(const char* backslash) noexcept {
    constexpr Escape kNone{0, 0};
    const int unit = Hex4Value(backslash + 2);
    if (unit < 0 || (unit >= 0xDC00 && unit < 0xE000)) {
        return kNone;
    }
    if (unit < 0xD800 || unit >= 0xE000) {
        return {6, unit};
    }
    if (backslash[6] != '\\' || backslash[7] != 'u') {
        return kNone;
    }
    const int low = Hex4Value(backslash + 8);
    if (low < 0xDC00 || low >= 0xE000) {
        return kNone;
    }
    return {12, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00)};
}

char* WriteUtf8(int codePoint, char* to) noexcept {
    const auto continued = [codePoint](int shift) {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80) {
        *to++ = static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        *to++ = static_cast<char>(0xC0 | (codePoint >> 6));
        *to++ = continued(0);
    } else if (codePoint < 0x10000) {
        *to++ = static_cast<char>(0xE0 | (codePoint >> 12));
        *to++ = continued(6);
        *to++ = continued(0);
    } else {
        *to++ = static_cast<char>(0xF0 | (codePoint >> 18));
        *to++ = continued(12);
        *to++ = continued(6);
        *to++ = continued(0);
    }
    return to;
}

}  // namespace

Escape EscapeAt(const char* backslash) noexcept {
    const char c = backslash[1];
    switch (c) {
        case 'n':
            return {2, '\n'};
        case 'r':
            return {2, '\r'};
        case 't':
            return {2, '\t'};
        case 'b':
            return {2, '\b'};
        case 'f':
            return {2, '\f'};
        case '"':
        case '\\':
        case '/':
            return {2, c};
        case 'u':
            return UnicodeEscapeAt(backslash);
        default:
            return {0, 0};
    }
}

void Unescape(const char* first, const char* end, char* to, const char* toEnd) noexcept {
    while (first != end) {
        if (std::min(end - first, toEnd - to) >= TextBlock::kSize) {
            const TextBlock block(first);
            block.CopyTo(to);
            const int plain = block.CountPlain();
            first += plain;
            to += plain;
            if (plain == TextBlock::kSize) {
                continue;
            }
        }
        if (*first != '\\') {
            *to++ = *first++;
            continue;
        }
        const Escape escape = EscapeAt(first);
        to = WriteUtf8(escape.codePoint, to);
        first += escape.length;
    }
    *to = '\0';
}

char* WriteEscaped(char c, char* to) noexcept {
    constexpr std::string_view kSpecial = "\"\\\n\t\r\b\f";
    constexpr std::string_view kLetters = "\"\\ntrbf";
    *to++ = '\\';
    const std::size_t special = kSpecial.find(c);
    if (special != std::string_view::npos) {
        *to++ = kLetters[special];
        return to;
    }
    to[0] = 'u';
    to[1] = '0';
    to[2] = '0';
    to[3] = "0123456789abcdef"[c >> 4];
    to[4] = "0123456789abcdef"[c & 15];
    return to + 5;
}

}  // namespace core
