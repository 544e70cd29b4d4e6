// Numbers to text.
//
// A double is m 2^e with an integer m below 2^53. What is printed is the integer
// n nearest to m 2^e 10^d for d decimals, ties to even, with a point in front of its
// last d digits. Where a fraction is to be printed, m 10^d stays below 2^128 and the
// nearest integer below 2^64, so one product and one shift give n exactly.
//
// The shortest text that reads back as the same double follows R. Giulietti, "The
// Schubfach way to render doubles" (2021). All numbers that are read as m 2^e lie between
// (m - 1/2) 2^e and (m + 1/2) 2^e, and 10^k is the greatest power of ten that is not
// wider than this; so one or two multiples of 10^k are in there, and at most one of
// 10^(k + 1), which is the shortest then.

#include "core/data/number_writer.h"
#include "core/data/powers_of_five.h"
#include "core/data/wide.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace core {
namespace {

static_assert(std::endian::native == std::endian::little, "digits are written as whole words");

constexpr std::uint64_t kTenTo8 = 100'000'000;
constexpr std::uint64_t kTenTo15 = 1'000'000'000'000'000;

/// The eight digits of `n` < 10^8 as bytes 0 to 9, the first digit in the lowest
/// byte. Halves, quarters and eighths are divided side by side in one word.
inline std::uint64_t DigitsOf(std::uint64_t n) noexcept {
    const std::uint64_t fours = (n / 10'000) | ((n % 10'000) << 32);
    // a * 10486 >> 20 is a / 100 below 10^4; a * 103 >> 10 is a / 10 below 100.
    const std::uint64_t hundreds = ((fours * 10'486) >> 20) & 0x0000007F'0000007F;
    const std::uint64_t pairs = hundreds | ((fours - 100 * hundreds) << 16);
    const std::uint64_t tens = ((pairs * 103) >> 10) & 0x000F000F'000F000F;
    return tens | ((pairs - 10 * tens) << 8);
}

constexpr std::uint64_t kZeros = 0x3030303030303030;

inline char* Write8(std::uint64_t n, char* to) noexcept {
    const std::uint64_t digits = DigitsOf(n) | kZeros;
    std::memcpy(to, &digits, 8);
    return to + 8;
}

/// `n` < 10^8 without leading zeros. Writes to eight bytes.
inline char* WriteUpTo8(std::uint64_t n, char* to) noexcept {
    const std::uint64_t digits = DigitsOf(n);
    // The last digit stands, also when it is zero.
    const int leadingZeros = std::countr_zero(digits | (std::uint64_t{1} << 56)) & 56;
    const std::uint64_t shifted = (digits | kZeros) >> leadingZeros;
    std::memcpy(to, &shifted, 8);
    return to + 8 - leadingZeros / 8;
}

inline char* WriteUnsigned(std::uint64_t n, char* to) noexcept {
    if (n < 10) {
        *to = static_cast<char>('0' + n);
        return to + 1;
    }
    if (n < kTenTo8) {
        return WriteUpTo8(n, to);
    }
    const std::uint64_t high = n / kTenTo8;
    if (high < 10) {
        *to = static_cast<char>('0' + high);
        return Write8(n % kTenTo8, to + 1);
    }
    if (high < kTenTo8) {
        return Write8(n % kTenTo8, WriteUpTo8(high, to));
    }
    to = WriteUpTo8(high / kTenTo8, to);
    return Write8(n % kTenTo8, Write8(high % kTenTo8, to));
}

/// n / 2^shift, rounded half to even, which is below 2^64; 0 < shift < 126, and from 64
/// on n < 2^126.
std::uint64_t ShiftToNearest(Wide n, int shift) noexcept {
    if (shift >= 64) {
        // Whether any bit is set behind the first two of the lower word is all that
        // matters of them.
        const std::uint64_t rest = (n.low << 2) != 0 ? 1 : 0;
        n = {0, (n.high << 2) | (n.low >> 62) | rest};
        shift -= 62;
    }
    const std::uint64_t quotient = (n.high << (64 - shift)) | (n.low >> shift);
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    const std::uint64_t rest = n.low & (2 * half - 1);
    return quotient + (rest + (quotient & 1) > half ? 1 : 0);
}

char* WriteWord(std::string_view word, char* to) noexcept {
    return to + word.copy(to, word.size());
}

/// m 2^e, an integer of at least 2^64, with one decimal, cut `room` characters behind
/// `to`.
char* WriteHuge(std::uint64_t m, int e, char* to, std::size_t room) noexcept {
    constexpr std::uint64_t kBase = 1'000'000'000;
    // The integer below 10^309 in base 10^9, the last digits first.
    std::array<std::uint32_t, 35> limbs;
    std::size_t count = 0;
    const int first = std::min(e, 11);
    for (std::uint64_t n = m << first; n != 0; n /= kBase) {
        limbs[count++] = static_cast<std::uint32_t>(n % kBase);
    }
    for (int left = e - first; left > 0; left -= 32) {
        const int shift = std::min(left, 32);
        std::uint64_t carry = 0;
        for (std::size_t i = 0; i < count; ++i) {
            carry += std::uint64_t{limbs[i]} << shift;
            limbs[i] = static_cast<std::uint32_t>(carry % kBase);
            carry /= kBase;
        }
        for (; carry != 0; carry /= kBase) {
            limbs[count++] = static_cast<std::uint32_t>(carry % kBase);
        }
    }

    std::array<char, 35 * 9 + 8> text;
    char* end = WriteUnsigned(limbs[--count], text.data());
    while (count-- > 0) {
        *end = static_cast<char>('0' + limbs[count] / kTenTo8);
        end = Write8(limbs[count] % kTenTo8, end + 1);
    }
    end = WriteWord(".0", end);
    const std::size_t length = std::min(static_cast<std::size_t>(end - text.data()), room);
    std::memcpy(to, text.data(), length);
    return to + length;
}

constexpr PowersOfFive kPowersOfFive = MakePowersOfFive();

/// `digits` 10^`power`.
struct ShortDecimal {
    std::uint64_t digits;
    int power;
};

/// The product of `n` and a power of ten that is scaled into [2^127, 2^128), from bit 128
/// on; the last bit is set, too, where anything stands behind it.
inline std::uint64_t RoundToOdd(const Wide& power, std::uint64_t n) noexcept {
    const std::uint64_t carried = Multiply(power.low, n).high;
    const Wide product = Multiply(power.high, n);
    const std::uint64_t rest = product.low + carried;
    return (product.high + (rest < carried ? 1 : 0)) | (rest > 1 ? 1 : 0);
}

/// The least power of two whose numbers need no power of ten beyond the table.
constexpr int kLeastExponent = -1022;

/// The shortest decimal that is read as m 2^e, the nearest one of these; it may end in
/// zeros. `e` >= `kLeastExponent`.
ShortDecimal ShortestOf(std::uint64_t m, int e) noexcept {
    // Below a power of two, doubles are twice as close.
    const bool isPowerOfTwo = m == std::uint64_t{1} << 52;
    // floor(log10(2^e)), of 3/4 2^e where numbers are closer below; log10(2) and log10(3/4)
    // times 2^22.
    const int k = (e * 1'262'611 - (isPowerOfTwo ? 524'031 : 0)) >> 22;
    // 10^-k, rounded up; log2(10) times 2^19.
    Wide power = kPowersOfFive[static_cast<std::size_t>(-k - kLeastPower)];
    constexpr int kGreatestExact = 55;
    if (-k > kGreatestExact) {
        power = {power.high + (power.low + 1 == 0 ? 1 : 0), power.low + 1};
    }
    const int shift = e + ((-k * 1'741'647) >> 19) + 1;

    // Four times the number and the ends of what is read as it, in units of 10^k.
    const std::uint64_t value = RoundToOdd(power, 4 * m << shift);
    // The ends themselves are read as the even neighbour.
    const std::uint64_t odd = m & 1;
    const std::uint64_t least = RoundToOdd(power, (4 * m - (isPowerOfTwo ? 1 : 2)) << shift) + odd;
    const std::uint64_t most = RoundToOdd(power, (4 * m + 2) << shift) - odd;

    const std::uint64_t n = value / 4;
    const std::uint64_t tens = n / 10;
    const bool isBelowIn = least <= 40 * tens;
    const bool isAboveIn = 40 * tens + 40 <= most;
    if (n >= 10 && isBelowIn != isAboveIn) {
        return {tens + (isAboveIn ? 1 : 0), k + 1};
    }
    const bool isIn = least <= 4 * n;
    const bool isNextIn = 4 * n + 4 <= most;
    if (isIn != isNextIn) {
        return {n + (isNextIn ? 1 : 0), k};
    }
    const std::uint64_t middle = 4 * n + 2;
    return {n + (value > middle || (value == middle && n % 2 != 0) ? 1 : 0), k};
}

/// Plain where the point stands within or near the digits, else with an exponent.
/// `decimal` is not zero and has at most 17 digits.
char* WriteDecimal(ShortDecimal decimal, char* to) noexcept {
    constexpr int kMostDigits = 17;
    constexpr int kMostZeros = 5;
    // All 17 digits; which of them count is seen in the words that they are made of.
    std::array<char, 3 * std::size_t{kMostDigits}> text;
    const std::uint64_t first9 = decimal.digits / kTenTo8;
    const std::uint64_t first = first9 / kTenTo8;
    const std::uint64_t middle = DigitsOf(first9 % kTenTo8);
    const std::uint64_t last = DigitsOf(decimal.digits % kTenTo8);
    text[0] = static_cast<char>('0' + first);
    const std::uint64_t middleText = middle | kZeros, lastText = last | kZeros;
    std::memcpy(text.data() + 1, &middleText, 8);
    std::memcpy(text.data() + 9, &lastText, 8);
    const int begin = first != 0    ? 0
                      : middle != 0 ? 1 + std::countr_zero(middle) / 8
                                    : 9 + std::countr_zero(last) / 8;
    const int end = last != 0     ? kMostDigits - std::countl_zero(last) / 8
                    : middle != 0 ? 9 - std::countl_zero(middle) / 8
                                  : 1;
    const char* const digits = text.data() + begin;
    const int count = end - begin;
    const int point = kMostDigits - begin + decimal.power;
    if (point > 0 && point <= kMostDigits) {
        if (count > point) {
            std::memcpy(to, digits, kMostDigits);
            to[point] = '.';
            std::memcpy(to + point + 1, digits + point, kMostDigits);
            return to + count + 1;
        }
        std::memset(to, '0', kMostDigits + 2);
        std::memcpy(to, digits, static_cast<std::size_t>(count));
        to[point] = '.';
        return to + point + 2;
    }
    if (point <= 0 && point > -kMostZeros) {
        WriteWord("0.000000", to);
        std::memcpy(to + 2 - point, digits, kMostDigits);
        return to + 2 - point + count;
    }
    *to++ = digits[0];
    if (count > 1) {
        *to++ = '.';
        std::memcpy(to, digits + 1, kMostDigits);
        to += count - 1;
    }
    *to++ = 'e';
    *to = '-';
    to += point < 1 ? 1 : 0;
    return WriteUnsigned(static_cast<std::uint64_t>(std::abs(point - 1)), to);
}

}  // namespace

char* WriteNumber(std::uint64_t value, char* to) noexcept {
    return WriteUnsigned(value, to);
}

char* WriteNumber(std::int64_t value, char* to) noexcept {
    const auto bits = static_cast<std::uint64_t>(value);
    *to = '-';
    return value < 0 ? WriteUnsigned(0 - bits, to + 1) : WriteUnsigned(bits, to);
}

char* WriteNumber(double value, char* to) noexcept {
    char* const start = to;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    *to = '-';
    to += bits >> 63;
    const double x = std::fabs(value);
    if (!std::isfinite(x)) {
        return WriteWord(std::isnan(x) ? "nan" : "inf", to);
    }

    // Kept on purpose: stored files hold numbers in these formats. A double just below
    // a multiple of 0.1 is not seen as one.
    constexpr double kNoFraction = 1e-8;
    // From here on a double has no fraction, and ten times it no 64-bit integer soon.
    constexpr double kAllIntegers = 0x1p53;
    const double tenfold = x * 10;
    if (tenfold < kAllIntegers) {
        const auto tenths = static_cast<std::int64_t>(tenfold);
        if (tenfold - static_cast<double>(tenths) < kNoFraction) {
            // x 10 lies within 1/2 of an integer, and its rounding to a double, half to
            // even, has found it.
            const auto n = static_cast<std::uint64_t>(tenths);
            to = WriteUnsigned(n / 10, to);
            to[0] = '.';
            to[1] = static_cast<char>('0' + n % 10);
            return to + 2;
        }
    }

    // Normal from here on: a subnormal has no fraction above.
    const std::uint64_t m = (bits & 0x000FFFFFFFFFFFFF) | 0x0010000000000000;
    const int e = static_cast<int>((bits >> 52) & 0x7FF) - 1075;
    if (tenfold >= kAllIntegers) {
        if (e > 11) {
            const auto room = kLongestNumber - static_cast<std::size_t>(to - start);
            return WriteHuge(m, e, to, room);
        }
        // At most 3 bits behind the point.
        const std::uint64_t n = e < 0 ? ShiftToNearest({0, m * 10}, -e) : 0;
        to = WriteUnsigned(e < 0 ? n / 10 : m << e, to);
        to[0] = '.';
        to[1] = static_cast<char>('0' + n % 10);
        return to + 2;
    }
    if (x < 1e8) {
        const std::uint64_t n = ShiftToNearest(Multiply(m, kTenTo8), -e);
        to = WriteUnsigned(n / kTenTo8, to);
        *to = '.';
        return Write8(n % kTenTo8, to + 1);
    }
    // 1e8 <= x < 2^53 / 10: at most 26 bits behind the point, and 10^-15 is too fine
    // for them to be rounded up to an integer.
    const std::uint64_t fraction = m & ((std::uint64_t{1} << -e) - 1);
    const std::uint64_t n = ShiftToNearest(Multiply(fraction, kTenTo15), -e);
    to = WriteUnsigned(m >> -e, to);
    *to = '.';
    to = Write8(n / 10'000'000, to + 1);
    // The eighth of these digits is written over.
    Write8(n % 10'000'000 * 10, to);
    return to + 7;
}

char* WriteShortest(double value, char* to) noexcept {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    *to = '-';
    to += bits >> 63;
    const double x = std::fabs(value);
    constexpr double kAllIntegers = 0x1p53;
    const double tenfold = x * 10;
    if (tenfold < kAllIntegers) {
        const auto tenths = static_cast<std::int64_t>(tenfold);
        // The quotient of two integers that are doubles is what their text is read as.
        if (static_cast<double>(tenths) == tenfold && tenfold / 10 == x) {
            const auto n = static_cast<std::uint64_t>(tenths);
            to = WriteUnsigned(n / 10, to);
            to[0] = '.';
            to[1] = static_cast<char>('0' + n % 10);
            return to + 2;
        }
    }
    // Most numbers were written by people or with 8 decimals. Of decimals of up to 15 digits
    // no two are the same double.
    constexpr double kFifteenDigits = 1e7;
    if (x < kFifteenDigits) {
        // NOLINTNEXTLINE(bugprone-incorrect-roundings): the next line sees to it
        const auto n = static_cast<std::int64_t>(x * 1e8 + 0.5);
        if (static_cast<double>(n) / 1e8 == x) {
            return WriteDecimal({static_cast<std::uint64_t>(n), -8}, to);
        }
    }
    const std::uint64_t fraction = bits & 0x000FFFFFFFFFFFFF;
    const int e = static_cast<int>((bits >> 52) & 0x7FF) - 1075;
    if (e < kLeastExponent) [[unlikely]] {
        return std::to_chars(to, to + kLongestNumber, x, std::chars_format::scientific).ptr;
    }
    return WriteDecimal(ShortestOf(fraction | 0x0010000000000000, e), to);
}

}  // namespace core
