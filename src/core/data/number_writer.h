#pragma once

// Numbers to text. The decimal point is always ".", whatever the locale. All functions
// are safe from any thread and allocate nothing.

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

/// Writes the shortest text that is read as the same double, the nearest one of those,
/// with a point or an exponent in it. `value` is finite.
char* WriteShortest(double value, char* to) noexcept;

}  // namespace core
