#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace core::detail {

/// What is stored as a boolean or a number. Only the very type counts: 0 is a number,
/// though a null pointer could be made of it.
template <class T>
inline constexpr bool kIsJsonScalar = (std::is_arithmetic<T>::value &&
                                       !std::is_same<T, long double>::value) ||
                                      (std::is_enum<T>::value &&
                                       std::is_convertible<T, int>::value);

/// What is stored as a text: `const char*`, `std::string`, `std::string_view`.
template <class T>
inline constexpr bool kIsJsonText = !std::is_same<std::decay_t<T>, std::nullptr_t>::value &&
                                    std::is_convertible<const T&, std::string_view>::value;

/// What look-ups with a default answer: the number's type, or a text.
template <class T>
using JsonAnswer = std::conditional_t<kIsJsonText<T>, std::string, T>;

/// The integer types of which one or the other is none of the four of 32 and 64 bits.
template <class T>
inline constexpr bool kIsLong =
    std::is_same<T, long>::value || std::is_same<T, unsigned long>::value ||
    std::is_same<T, long long>::value || std::is_same<T, unsigned long long>::value;

/// The one of those four that holds the same numbers.
template <class T>
using SameInteger =
    std::conditional_t<sizeof(T) == sizeof(int),
                       std::conditional_t<std::is_signed<T>::value, int, unsigned>,
                       std::conditional_t<std::is_signed<T>::value, std::int64_t, std::uint64_t>>;

}  // namespace core::detail
