// The numbers that are long or hard to tell.
//
// A double is read as w 10^q with the first 19 digits as the integer w, and one or two
// products with a power of five give it (D. Lemire, "Number parsing at a gigabyte per
// second", Software: Practice and Experience 51, 2021). Where there are more digits, w and
// w + 1 enclose the number; when both round to the same double, that is the answer, and
// otherwise the standard library weighs all digits.

#include "core/data/number_reader.h"
#include "core/data/powers_of_five.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace core::number {
namespace {

constexpr PowersOfFive kPowersOfFive = MakePowersOfFive();

constexpr std::uint64_t kInfinity = 0x7FF0000000000000;
constexpr std::uint64_t kSmallestNormal = 0x0010000000000000;
constexpr std::uint64_t kMostSigned = 0x7FFFFFFFFFFFFFFF;

/// The double nearest to w 10^q.
inline std::uint64_t Nearest(std::uint64_t w, std::int64_t q) noexcept {
    if (w == 0 || q < kLeastPower) {
        return 0;
    }
    if (q > kGreatestPower) {
        return kInfinity;
    }
    const int leadingZeros = std::countl_zero(w);
    w <<= leadingZeros;
    const Wide& power = kPowersOfFive[static_cast<std::size_t>(q - kLeastPower)];
    Wide product = Multiply(w, power.high);
    // 55 bits count: the mantissa, one to round by and one that may be zero in front.
    if ((product.high & 0x1FF) == 0x1FF) {
        const Wide second = Multiply(w, power.low);
        product.low += second.high;
        product.high += product.low < second.high ? 1 : 0;
        if (product.low == ~std::uint64_t{0} && (q < -27 || q > 55)) {
            return kUndecided;
        }
    }
    const int upper = static_cast<int>(product.high >> 63);
    const int shift = upper + 9;
    std::uint64_t mantissa = product.high >> shift;
    // 217706 / 2^16 is log2(10), near enough for these q.
    const int exponent = static_cast<int>((217'706 * q) >> 16) + 63 + upper - leadingZeros + 1023;
    if (exponent <= 0) {
        if (exponent <= -63) {
            return 0;
        }
        mantissa >>= 1 - exponent;
        // A number that rounds up to the smallest normal one gets its exponent.
        return (mantissa + (mantissa & 1)) >> 1;
    }
    // Only with these powers may w 10^q lie in the middle of two doubles.
    if (product.low <= 1 && q >= -4 && q <= 23 && (mantissa & 3) == 1 &&
        mantissa << shift == product.high) {
        --mantissa;
    }
    mantissa = (mantissa + (mantissa & 1)) >> 1;
    // The carry of a mantissa that was rounded up goes into the exponent.
    const std::uint64_t bits = (static_cast<std::uint64_t>(exponent - 1) << 52) + mantissa;
    return std::min(bits, kInfinity);
}

bool IsZero(const Decimal& decimal) noexcept {
    return std::all_of(decimal.digits, decimal.digitsEnd,
                       [](char c) { return c == '0' || c == '.'; });
}

std::uint64_t NearestOfAll(const Decimal& decimal) noexcept {
    const char* at = decimal.digits;
    while (at != decimal.digitsEnd && (*at == '0' || *at == '.')) {
        ++at;
    }
    std::uint64_t w = 0;
    int count = 0;
    for (; at != decimal.digitsEnd && count < kDigitsOfWord; ++at) {
        if (*at != '.') {
            w = w * 10 + DigitValue(*at);
            ++count;
        }
    }
    std::int64_t power = decimal.power;
    bool isMore = false;
    for (; at != decimal.digitsEnd; ++at) {
        if (*at != '.') {
            ++power;
            isMore = isMore || *at != '0';
        }
    }
    const std::uint64_t low = Nearest(w, power);
    if (low != kUndecided && (!isMore || Nearest(w + 1, power) == low)) {
        return low;
    }
    double value = 0;
    const std::from_chars_result result = std::from_chars(decimal.digits, decimal.end, value);
    if (result.ec == std::errc::result_out_of_range) {
        return power > 0 ? kInfinity : 0;
    }
    return std::bit_cast<std::uint64_t>(value);
}

}  // namespace

std::uint64_t NearestNormal(std::uint64_t w, std::int64_t power) noexcept {
    const std::uint64_t bits = Nearest(w, power);
    return bits - kSmallestNormal < kInfinity - kSmallestNormal ? bits : kUndecided;
}

std::uint64_t NearestDouble(const Decimal& decimal) noexcept {
    const std::uint64_t bits = NearestOfAll(decimal);
    if ((bits == kInfinity || bits < kSmallestNormal) && !IsZero(decimal)) {
        errno = ERANGE;
    }
    return bits;
}

Integer ReadLongInteger(bool isNegative, const char* digits, const char* end,
                        std::uint64_t w) noexcept {
    digits = std::find_if(digits, end, [](char c) { return c != '0'; });
    // 20 digits fit when the number modulo 2^64 still has 20 digits.
    const std::ptrdiff_t count = end - digits;
    const bool fits = count <= kDigitsOfWord || (count == kDigitsOfWord + 1 && *digits == '1' &&
                                                 w >= 10'000'000'000'000'000'000U);
    const std::uint64_t most = kMostSigned + (isNegative ? 1 : 0);
    if (!fits || w > most) {
        errno = ERANGE;
        if (isNegative) {
            return {NumberKind::Signed, most};
        }
        return {NumberKind::Unsigned, fits ? w : ~std::uint64_t{0}};
    }
    // Kept on purpose: errno counts as callers left it, so that a conversion that
    // failed long ago makes the largest signed number an unsigned one.
    const bool isUnsigned = w == kMostSigned && !isNegative && errno == ERANGE;
    return {isUnsigned ? NumberKind::Unsigned : NumberKind::Signed, isNegative ? 0 - w : w};
}

}  // namespace core::number
