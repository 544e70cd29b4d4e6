#pragma once

// Numbers as they stand in JSON text. The decimal point is always ".", whatever the
// locale. All functions are safe from any thread and allocate nothing.

#include <cstddef>
#include <cstdint>

namespace core {

/// The longest text of a number: a longer one is cut.
inline constexpr std::size_t kLongestNumber = 63;
/// The bytes that `WriteNumber` may write to, behind the number too.
inline constexpr std::size_t kNumberRoom = 80;

/// Writes a number to `to` and answers where it ends; no zero byte follows.
char* WriteNumber(std::uint64_t value, char* to) noexcept;
char* WriteNumber(std::int64_t value, char* to) noexcept;
/// With one decimal where the fraction of ten times the magnitude is below 1e-8,
/// else with 8 decimals below 1e8 and 15 from there on. The digits are those of the
/// exact value, rounded half to even, and at most `kLongestNumber` characters
/// remain. What is not finite is "inf", "-inf", "nan" or "-nan".
char* WriteNumber(double value, char* to) noexcept;

enum class NumberKind : std::int32_t { None = 0, Signed = 3, Unsigned = 4, Double = 5 };

/// What `ReadNumber` found.
struct NumberReading {
    /// Where the number ends; where it would start, when there is none.
    const char* end;
    NumberKind kind;
    /// The value's own 64 bits.
    std::uint64_t bits;
};

/// Reads the number at `text`, whose first byte is "-" or a digit: kind, value and
/// end as `strtoll` gives them in base 10, where that stops at ".", "e" or "E" as
/// `strtod` does in the "C" locale, and where it answers the largest number to a text
/// without "-" while errno is ERANGE as `strtoull` does.
///
/// `text` ends with a zero byte; the bytes before `limit` are known not to be zero,
/// so that several are read at once there. `limit` may be `text`.
///
/// errno becomes ERANGE where an integer exceeds its type, also one that a "."
/// follows, where a double becomes infinite, and where a number other than zero
/// comes out below the smallest normal double. Otherwise it is left alone.
///
/// Doubles are correctly rounded, half to even, whatever the number of digits.
NumberReading ReadNumber(const char* text, const char* limit) noexcept;

}  // namespace core
