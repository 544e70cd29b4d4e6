#pragma once

// Characters that do not stand for themselves in JSON strings.

namespace core {

/// An escaped character: the bytes that it takes, 2, or 6 for each four hexadecimal
/// digits, and what they stand for. A length of 0 means that it is none.
struct Escape {
    int length;
    int codePoint;
};
/// The one at `backslash`, in zero-terminated text. Two surrogates are one character, and
/// one alone is none.
Escape EscapeAt(const char* backslash) noexcept;

/// Writes to `to` what the bytes from `first` to `end` stand for, in UTF-8, and a zero
/// byte. Every backslash must begin an escaped character. Nothing is written behind the
/// byte at `toEnd`.
void Unescape(const char* first, const char* end, char* to, const char* toEnd) noexcept;

/// Writes the escaped form, of up to 6 bytes, of a byte that is a quote, a backslash or
/// below a space; answers where it ends.
char* WriteEscaped(char c, char* to) noexcept;

}  // namespace core
