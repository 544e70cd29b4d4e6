// Numbers to text.
//
// A double is m 2^e with an integer m below 2^53. What is printed is the integer
// n nearest to m 2^e 10^d for d decimals, ties to even, with a point in front of its
// last d digits. Where a fraction is to be printed, m 10^d stays below 2^128 and the
// nearest integer below 2^64, so one product and one shift give n exactly.

#include "core/data/number_writer.h"
#include "core/data/wide.h"

#include <algorithm>
#include <array>
#include <bit>
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

}  // namespace core
