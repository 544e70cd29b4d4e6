#pragma once

// Text to numbers. The decimal point is always ".", whatever the locale. All functions
// are safe from any thread and allocate nothing.
//
// Most numbers are short. What they need stands here, for the compiler to put it in
// line; what is long or takes more thought is a call away.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace core {

enum class NumberKind : std::int32_t { None = 0, Signed = 3, Unsigned = 4, Double = 5 };

/// What `ReadNumber` found.
struct NumberReading {
    /// Where the number ends; where it would start, when there is none.
    const char* end;
    NumberKind kind;
    /// The value's own 64 bits.
    std::uint64_t bits;
};

namespace number {

static_assert(std::endian::native == std::endian::little, "digits are read as whole words");

/// That many digits always fit 64 bits.
inline constexpr int kDigitsOfWord = 19;

/// The powers of ten that are doubles.
inline constexpr std::array<double, 23> kTenTo = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                  1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
inline constexpr std::array<std::uint32_t, 8> kIntegerTenTo = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000};

inline std::uint64_t DigitValue(char c) noexcept {
    return static_cast<std::uint64_t>(static_cast<unsigned char>(c)) - '0';
}
inline bool IsDigit(char c) noexcept {
    return DigitValue(c) < 10;
}

/// The number of eight digits, given as bytes 0 to 9 with the first in the lowest byte:
/// pairs, fours and the whole are put together side by side in one word.
inline std::uint64_t ValueOf(std::uint64_t digits) noexcept {
    constexpr std::uint64_t kOfFours = 0x000000FF'000000FF;
    digits = digits * 10 + (digits >> 8);
    const std::uint64_t high = (digits & kOfFours) * (100 + (1'000'000ULL << 32));
    const std::uint64_t low = (digits >> 16 & kOfFours) * (1 + (10'000ULL << 32));
    return (high + low) >> 32;
}

/// Appends the digits from `text` on to `w`, modulo 2^64; answers where they end.
inline const char* ReadDigits(const char* text, const char* limit, std::uint64_t& w) noexcept {
    while (limit - text >= 8) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text, 8);
        const std::uint64_t digits = bytes - 0x3030303030303030;
        // Up to the first byte that is no digit, none carries into the next one. That
        // byte is too small, too large, or becomes so by adding 0x46.
        const std::uint64_t others = ((bytes + 0x4646464646464646) | digits) & 0x8080808080808080;
        if (others == 0) {
            w = w * 100'000'000 + ValueOf(digits);
            text += 8;
            if (!IsDigit(*text)) {
                return text;
            }
            continue;
        }
        // Above the digits stand leading zeros then.
        const int count = std::countr_zero(others) >> 3;
        const std::uint64_t value = ValueOf(digits << 8 << (56 - 8 * count));
        w = w * kIntegerTenTo[static_cast<std::size_t>(count)] + value;
        return text + count;
    }
    for (; IsDigit(*text); ++text) {
        w = w * 10 + DigitValue(*text);
    }
    return text;
}

/// The same for digits of which there are few in general.
inline const char* ReadFewDigits(const char* text, const char* limit, std::uint64_t& w) noexcept {
    constexpr int kFew = 4;
    if (limit - text >= 8) {
        std::uint32_t bytes = 0;
        static_assert(sizeof bytes == kFew);
        std::memcpy(&bytes, text, sizeof bytes);
        // As in ReadDigits.
        if ((((bytes + 0x46464646) | (bytes - 0x30303030)) & 0x80808080) == 0) {
            return ReadDigits(text, limit, w);
        }
    }
    for (int i = 0; i < kFew && IsDigit(*text); ++i, ++text) {
        w = w * 10 + DigitValue(*text);
    }
    if (!IsDigit(*text)) {
        return text;
    }
    return ReadDigits(text, limit, w);
}

struct Integer {
    NumberKind kind;
    std::uint64_t bits;
};
/// The integer of the digits from `digits` to `end`, which is `w` modulo 2^64.
Integer ReadLongInteger(bool isNegative, const char* digits, const char* end,
                        std::uint64_t w) noexcept;

/// The bits of the double nearest to `w` 10^`power`; `kUndecided` where that is hard to
/// tell, and where it is zero, infinite or not normal.
std::uint64_t NearestNormal(std::uint64_t w, std::int64_t power) noexcept;
inline constexpr std::uint64_t kUndecided = ~std::uint64_t{0};

/// A decimal fraction's text, cut in its parts.
struct Decimal {
    /// From the first digit to behind the last one; a point may stand among them.
    const char* digits;
    const char* digitsEnd;
    /// Of the last digit.
    std::int64_t power;
    /// Behind the exponent.
    const char* end;
};
/// The bits of the double nearest to it, weighed with all its digits.
std::uint64_t NearestDouble(const Decimal& decimal) noexcept;

/// Adds to `power` what follows `at`, where "e" or "E" stands; answers where that ends,
/// which is `at` itself where no digit follows.
inline const char* ReadExponent(const char* at, std::int64_t& power) noexcept {
    // Far above what the digits of any text make up for.
    constexpr std::int64_t kEnough = std::int64_t{1} << 52;
    const char* digit = at + 1;
    const bool isNegative = *digit == '-';
    if (isNegative || *digit == '+') {
        ++digit;
    }
    if (!IsDigit(*digit)) {
        return at;
    }
    std::int64_t exponent = 0;
    for (; IsDigit(*digit); ++digit) {
        exponent = exponent * 10 + static_cast<std::int64_t>(DigitValue(*digit));
        exponent = exponent < kEnough ? exponent : kEnough;
    }
    power += isNegative ? -exponent : exponent;
    return digit;
}

}  // namespace number

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
/// Doubles are correctly rounded, half to even, whatever the number of digits. A point
/// without a digit behind it ends a number, or is none where `kNeedsFraction`.
template <bool kNeedsFraction = false>
inline NumberReading ReadNumber(const char* text, const char* limit) noexcept {
    const bool isNegative = *text == '-';
    const char* const digits = text + (isNegative ? 1 : 0);
    std::uint64_t w = 0;
    const char* at = number::ReadFewDigits(digits, limit, w);
    std::ptrdiff_t count = at - digits;
    if (count == 0) {
        return {text, NumberKind::None, 0};
    }
    number::Integer integer{NumberKind::Signed, isNegative ? 0 - w : w};
    if (count >= number::kDigitsOfWord) [[unlikely]] {
        integer = number::ReadLongInteger(isNegative, digits, at, w);
    }
    std::int64_t power = 0;
    if (*at == '.') {
        const char* const fraction = at + 1;
        at = number::ReadDigits(fraction, limit, w);
        power = fraction - at;
        if (kNeedsFraction && power == 0) {
            return {fraction, NumberKind::None, 0};
        }
        count -= power;
    } else if (*at != 'e' && *at != 'E') {
        return {at, integer.kind, integer.bits};
    }
    const char* const digitsEnd = at;
    if ((*at | 0x20) == 'e') {
        at = number::ReadExponent(at, power);
    }

    constexpr std::uint64_t kAllDoublesUpTo = std::uint64_t{1} << 53;
    const auto places = static_cast<std::uint64_t>(-power);
    std::uint64_t bits = number::kUndecided;
    if (count <= number::kDigitsOfWord) {
        if (w <= kAllDoublesUpTo && places < number::kTenTo.size()) {
            // Where w and 10^-power are doubles, their quotient is rounded once (W. D. Clinger,
            // "How to read floating point numbers accurately", PLDI 1990).
            const auto integral = static_cast<double>(static_cast<std::int64_t>(w));
            bits = std::bit_cast<std::uint64_t>(integral / number::kTenTo[places]);
        } else {
            bits = number::NearestNormal(w, power);
        }
    }
    if (bits == number::kUndecided) [[unlikely]] {
        bits = number::NearestDouble({digits, digitsEnd, power, at});
    }
    return {at, NumberKind::Double, bits | (std::uint64_t{isNegative} << 63)};
}

}  // namespace core
