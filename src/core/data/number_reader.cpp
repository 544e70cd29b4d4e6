// Text to numbers.
//
// A double is read as w 10^q with the first 19 digits as the integer w. Where w and
// 10^-q are doubles themselves, their quotient is the answer (W. D. Clinger, "How to read
// floating point numbers accurately", PLDI 1990); else one or two products with a power
// of five give it (D. Lemire, "Number parsing at a gigabyte per second", Software:
// Practice and Experience 51, 2021). Where there are more digits, w and w + 1 enclose
// the number; when both round to the same double, that is the answer, and otherwise the
// standard library weighs all digits.

#include "core/data/number_text.h"
#include "core/data/powers_of_five.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace core {
namespace {

static_assert(std::endian::native == std::endian::little, "digits are read as whole words");

constexpr PowersOfFive kPowersOfFive = MakePowersOfFive();

/// The powers of ten that are doubles.
constexpr std::array<double, 23> kTenTo = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                           1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                           1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

constexpr std::uint64_t kInfinity = 0x7FF0000000000000;
constexpr std::uint64_t kSmallestNormal = 0x0010000000000000;
constexpr std::uint64_t kMostSigned = 0x7FFFFFFFFFFFFFFF;
/// That many digits always fit 64 bits.
constexpr int kDigitsOfWord = 19;

std::uint64_t DigitValue(char c) noexcept {
    return static_cast<std::uint64_t>(static_cast<unsigned char>(c)) - '0';
}

bool IsDigit(char c) noexcept {
    return DigitValue(c) < 10;
}

/// The number of eight digits, given as bytes 0 to 9 with the first in the lowest byte:
/// pairs, fours and the whole are put together side by side in one word.
std::uint64_t ValueOf(std::uint64_t digits) noexcept {
    constexpr std::uint64_t kOfFours = 0x000000FF'000000FF;
    digits = digits * 10 + (digits >> 8);
    const std::uint64_t high = (digits & kOfFours) * (100 + (1'000'000ULL << 32));
    const std::uint64_t low = (digits >> 16 & kOfFours) * (1 + (10'000ULL << 32));
    return (high + low) >> 32;
}

constexpr std::array<std::uint32_t, 8> kPowersOfTen = {1,      10,      100,       1'000,
                                                       10'000, 100'000, 1'000'000, 10'000'000};

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
            continue;
        }
        // Above the digits stand leading zeros then.
        const int count = std::countr_zero(others) >> 3;
        const std::uint64_t value = ValueOf(digits << 8 << (56 - 8 * count));
        w = w * kPowersOfTen[static_cast<std::size_t>(count)] + value;
        return text + count;
    }
    for (; IsDigit(*text); ++text) {
        w = w * 10 + DigitValue(*text);
    }
    return text;
}

struct Rounded {
    std::uint64_t bits;
    bool isExactlyRounded;
};

/// Both w and 10^-q are doubles, so that their quotient is rounded once.
bool IsOneQuotient(std::uint64_t w, std::int64_t q) noexcept {
    constexpr std::uint64_t kAllDoublesUpTo = std::uint64_t{1} << 53;
    return w <= kAllDoublesUpTo && q <= 0 && q > -static_cast<std::int64_t>(kTenTo.size());
}

std::uint64_t Quotient(std::uint64_t w, std::int64_t q) noexcept {
    const double divisor = kTenTo[static_cast<std::size_t>(-q)];
    return std::bit_cast<std::uint64_t>(static_cast<double>(static_cast<std::int64_t>(w)) /
                                        divisor);
}

/// The double nearest to w 10^q.
Rounded Nearest(std::uint64_t w, std::int64_t q) noexcept {
    if (w == 0 || q < kLeastPower) {
        return {0, true};
    }
    if (q > kGreatestPower) {
        return {kInfinity, true};
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
            return {0, false};
        }
    }
    const int upper = static_cast<int>(product.high >> 63);
    const int shift = upper + 9;
    std::uint64_t mantissa = product.high >> shift;
    // 217706 / 2^16 is log2(10), near enough for these q.
    int exponent = static_cast<int>((217'706 * q) >> 16) + 63 + upper - leadingZeros + 1023;
    if (exponent <= 0) {
        if (exponent <= -63) {
            return {0, true};
        }
        mantissa >>= 1 - exponent;
        // A number that rounds up to the smallest normal one gets its exponent.
        return {(mantissa + (mantissa & 1)) >> 1, true};
    }
    // Only with these powers may w 10^q lie in the middle of two doubles.
    if (product.low <= 1 && q >= -4 && q <= 23 && (mantissa & 3) == 1 &&
        mantissa << shift == product.high) {
        --mantissa;
    }
    mantissa = (mantissa + (mantissa & 1)) >> 1;
    // The carry of a mantissa that was rounded up goes into the exponent.
    const std::uint64_t bits = (static_cast<std::uint64_t>(exponent - 1) << 52) + mantissa;
    return {std::min(bits, kInfinity), true};
}

/// A number's text, cut in its parts.
struct Parts {
    /// From the first digit on; a point may stand in it.
    const char* digits;
    const char* digitsEnd;
    /// Behind the exponent.
    const char* end;
    /// Of the last digit.
    std::int64_t power;
};

bool IsZero(const Parts& parts) noexcept {
    return std::all_of(parts.digits, parts.digitsEnd, [](char c) { return c == '0' || c == '.'; });
}

/// The double nearest to a number of more than 19 digits.
std::uint64_t NearestOfMany(const Parts& parts) noexcept {
    const char* p = parts.digits;
    while (p != parts.digitsEnd && (*p == '0' || *p == '.')) {
        ++p;
    }
    std::uint64_t w = 0;
    int count = 0;
    for (; p != parts.digitsEnd && count < kDigitsOfWord; ++p) {
        if (*p != '.') {
            w = w * 10 + DigitValue(*p);
            ++count;
        }
    }
    std::int64_t power = parts.power;
    bool isMore = false;
    for (; p != parts.digitsEnd; ++p) {
        if (*p != '.') {
            ++power;
            isMore = isMore || *p != '0';
        }
    }
    const Rounded low = Nearest(w, power);
    if (low.isExactlyRounded) {
        const Rounded high = isMore ? Nearest(w + 1, power) : low;
        if (high.isExactlyRounded && high.bits == low.bits) {
            return low.bits;
        }
    }
    double value = 0;
    const std::from_chars_result result = std::from_chars(parts.digits, parts.end, value);
    if (result.ec == std::errc::result_out_of_range) {
        return power > 0 ? kInfinity : 0;
    }
    return std::bit_cast<std::uint64_t>(value);
}

/// The power of ten at `p`, where "e" or "E" stands, and `p` behind it; 0 where no
/// digit follows.
std::int64_t ReadExponent(const char*& p) noexcept {
    // Far above what the digits of any text make up for.
    constexpr std::int64_t kEnough = std::int64_t{1} << 52;
    const char* digit = p + 1;
    const bool isNegative = *digit == '-';
    if (isNegative || *digit == '+') {
        ++digit;
    }
    if (!IsDigit(*digit)) {
        return 0;
    }
    std::int64_t exponent = 0;
    for (; IsDigit(*digit); ++digit) {
        exponent = std::min(exponent * 10 + static_cast<std::int64_t>(DigitValue(*digit)), kEnough);
    }
    p = digit;
    return isNegative ? -exponent : exponent;
}

/// The number at `text`, whose digits before any point are `digits` to `p`: a double.
inline NumberReading ReadDouble(const char* text, const char* digits, const char* p,
                                const char* limit, std::uint64_t w) noexcept {
    Parts parts{digits, p, p, 0};
    std::ptrdiff_t count = p - digits;
    if (*p == '.') {
        const char* const fraction = p + 1;
        p = ReadDigits(fraction, limit, w);
        parts.digitsEnd = p;
        parts.power = fraction - p;
        count -= parts.power;
    }
    if ((*p | 0x20) == 'e') {
        parts.power += ReadExponent(p);
    }
    parts.end = p;

    Rounded rounded{0, false};
    if (count <= kDigitsOfWord) [[likely]] {
        rounded = IsOneQuotient(w, parts.power) ? Rounded{Quotient(w, parts.power), true}
                                                : Nearest(w, parts.power);
    }
    if (!rounded.isExactlyRounded) {
        rounded.bits = NearestOfMany(parts);
    }
    const bool isFiniteNormal = rounded.bits - kSmallestNormal < kInfinity - kSmallestNormal;
    if (!isFiniteNormal && !IsZero(parts)) {
        errno = ERANGE;
    }
    const std::uint64_t sign = *text == '-' ? std::uint64_t{1} << 63 : 0;
    return {p, NumberKind::Double, rounded.bits | sign};
}

/// What `strtoll` and `strtoull` make of the digits before any point.
struct Integer {
    NumberKind kind;
    std::uint64_t bits;
};

/// The integer of `digits` to `end`, which is `w` modulo 2^64.
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

}  // namespace

NumberReading ReadNumber(const char* text, const char* limit) noexcept {
    const bool isNegative = *text == '-';
    const char* const digits = text + (isNegative ? 1 : 0);
    std::uint64_t w = 0;
    const char* const end = ReadDigits(digits, limit, w);
    const std::ptrdiff_t count = end - digits;
    if (count == 0) {
        return {text, NumberKind::None, 0};
    }
    Integer integer{NumberKind::Signed, isNegative ? 0 - w : w};
    if (count >= kDigitsOfWord) [[unlikely]] {
        integer = ReadLongInteger(isNegative, digits, end, w);
    }
    if (*end == '.' || *end == 'e' || *end == 'E') {
        return ReadDouble(text, digits, end, limit, w);
    }
    return {end, integer.kind, integer.bits};
}

}  // namespace core
