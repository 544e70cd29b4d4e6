#include "core/logging/usual_format.h"

#include "core/platform/platform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

// The C library's printf looks up, parses and locks more than a log line needs. What most
// lines are made of is written here instead; everything else is left to it.

namespace core {
namespace {

#ifdef __SIZEOF_INT128__
__extension__ using Wide = unsigned __int128;
#endif

/// One conversion of a format.
struct Conversion {
    bool isLeft = false;
    bool isZeroFilled = false;
    /// What stands before a number that is not negative: '+', ' ', or nothing.
    char sign = '\0';
    int width = 0;
    int precision = -1;
    enum class Length : std::uint8_t { Char, Short, Int, Long, LongLong, Size, Max, Difference };
    Length length = Length::Int;
};
using Length = Conversion::Length;
/// Beyond it, nobody counts microseconds.
constexpr int kWidest = 1000;

/// A decimal number, or -1 where it is out of bounds.
int ReadNumber(const char*& at) noexcept {
    int number = 0;
    for (; *at >= '0' && *at <= '9'; ++at) {
        number = number * 10 + (*at - '0');
        if (number > kWidest) {
            return -1;
        }
    }
    return number;
}

Length ReadLength(const char*& at) noexcept {
    switch (*at) {
        case 'h':
            ++at;
            return *at == 'h' ? (++at, Length::Char) : Length::Short;
        case 'l':
            ++at;
            return *at == 'l' ? (++at, Length::LongLong) : Length::Long;
        case 'z':
            ++at;
            return Length::Size;
        case 'j':
            ++at;
            return Length::Max;
        case 't':
            ++at;
            return Length::Difference;
        default:
            return Length::Int;
    }
}

class Formatter {
public:
    Formatter(std::va_list arguments, TextBuffer<1024>& to) : body(to) {
        va_copy(values, arguments);
    }
    ~Formatter() { va_end(values); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    /// The conversion behind the '%' at `at`, which is then behind it; false for others.
    bool Convert(const char*& at) {
        Conversion conversion;
        if (!ReadConversion(at, conversion)) {
            return false;
        }
        switch (*at++) {
            case 'd':
            case 'i':
                return AppendSigned(conversion);
            case 'u':
                return AppendUnsigned(conversion, 10, "0123456789");
            case 'x':
                return AppendUnsigned(conversion, 16, "0123456789abcdef");
            case 'X':
                return AppendUnsigned(conversion, 16, "0123456789ABCDEF");
            case 'c':
                return AppendCharacter(conversion);
            case 's':
                return AppendText(conversion);
            case 'f':
                return (conversion.length == Length::Int || conversion.length == Length::Long) &&
                       AppendReal(conversion);
            default:
                return false;
        }
    }

private:
    bool ReadConversion(const char*& at, Conversion& conversion) {
        for (;; ++at) {
            if (*at == '-') {
                conversion.isLeft = true;
            } else if (*at == '0') {
                conversion.isZeroFilled = true;
            } else if (*at == '+') {
                conversion.sign = '+';
            } else if (*at == ' ') {
                conversion.sign = conversion.sign == '+' ? '+' : ' ';
            } else {
                break;
            }
        }
        if (*at == '*') {
            ++at;
            conversion.width = va_arg(values, int);
            if (conversion.width < -kWidest || conversion.width > kWidest) {
                return false;
            }
            if (conversion.width < 0) {
                conversion.isLeft = true;
                conversion.width = -conversion.width;
            }
        } else if ((conversion.width = ReadNumber(at)) < 0) {
            return false;
        }
        if (*at == '.') {
            ++at;
            if (*at == '*') {
                ++at;
                conversion.precision = std::max(va_arg(values, int), -1);
            } else if ((conversion.precision = ReadNumber(at)) < 0) {
                return false;
            }
            // Of texts, for which any will do, and numbers, for which not.
            if (conversion.precision > kWidest && *at != 's') {
                return false;
            }
        }
        conversion.length = ReadLength(at);
        return true;
    }

    /// Appends `sign` and `digits` in a field, with `zeros` between them at least.
    bool AppendField(const Conversion& conversion, std::string_view sign, std::size_t zeros,
                     std::string_view digits, bool mayZeroFill) {
        const auto width = static_cast<std::size_t>(conversion.width);
        const std::size_t size = sign.size() + zeros + digits.size();
        std::size_t fill = width > size ? width - size : 0;
        if (mayZeroFill && conversion.isZeroFilled && !conversion.isLeft) {
            zeros += fill;
            fill = 0;
        }
        body.Reserve(body.Size() + size + fill + zeros);
        if (!conversion.isLeft) {
            AppendFill(' ', fill);
        }
        body.Append(sign);
        AppendFill('0', zeros);
        body.Append(digits);
        if (conversion.isLeft) {
            AppendFill(' ', fill);
        }
        return true;
    }

    void AppendFill(char c, std::size_t count) {
        for (; count > 0; --count) {
            body.Append(c);
        }
    }

    bool AppendInteger(const Conversion& conversion, std::string_view sign, std::uint64_t value,
                       unsigned base, const char* digitsOf) {
        char room[24];
        char* const end = room + sizeof room;
        char* at = end;
        if (base == 10) {
            for (; value != 0; value /= 10) {
                *--at = static_cast<char>('0' + value % 10);
            }
        } else {
            for (; value != 0; value >>= 4) {
                *--at = digitsOf[value & 15];
            }
        }
        const auto size = static_cast<std::size_t>(end - at);
        const auto least =
            static_cast<std::size_t>(conversion.precision < 0 ? 1 : conversion.precision);
        return AppendField(conversion, sign, least > size ? least - size : 0, {at, size},
                           conversion.precision < 0);
    }

    bool AppendSigned(const Conversion& conversion) {
        std::int64_t value = 0;
        switch (conversion.length) {
            case Length::Char:
                // The sign is meant. NOLINTNEXTLINE(bugprone-signed-char-misuse)
                value = static_cast<signed char>(va_arg(values, int));
                break;
            case Length::Short:
                value = static_cast<short>(va_arg(values, int));
                break;
            case Length::Int:
                value = va_arg(values, int);
                break;
            case Length::Long:
                value = va_arg(values, long);
                break;
            default:
                value = va_arg(values, long long);
                break;
        }
        const std::string_view sign =
            value < 0 ? std::string_view("-")
                      : std::string_view(&conversion.sign, conversion.sign != '\0' ? 1 : 0);
        const auto bits = static_cast<std::uint64_t>(value);
        return AppendInteger(conversion, sign, value < 0 ? 0 - bits : bits, 10, nullptr);
    }

    bool AppendUnsigned(const Conversion& conversion, unsigned base, const char* digitsOf) {
        if (conversion.sign != '\0') {
            return false;  // C libraries differ in what a sign of these is
        }
        std::uint64_t value = 0;
        switch (conversion.length) {
            case Length::Char:
                value = static_cast<unsigned char>(va_arg(values, int));
                break;
            case Length::Short:
                value = static_cast<unsigned short>(va_arg(values, int));
                break;
            case Length::Int:
                value = va_arg(values, unsigned);
                break;
            case Length::Long:
                value = va_arg(values, unsigned long);
                break;
            default:
                value = va_arg(values, unsigned long long);
                break;
        }
        return AppendInteger(conversion, {}, value, base, digitsOf);
    }

    /// Flags that count for numbers mean what the C library wants them to elsewhere.
    static bool IsPlain(const Conversion& conversion) noexcept {
        return conversion.length == Length::Int && !conversion.isZeroFilled &&
               conversion.sign == '\0';
    }

    bool AppendCharacter(const Conversion& conversion) {
        if (!IsPlain(conversion)) {
            return false;
        }
        const char c = static_cast<char>(va_arg(values, int));
        return AppendField(conversion, {}, 0, {&c, 1}, false);
    }

    bool AppendText(const Conversion& conversion) {
        const char* const text = va_arg(values, const char*);
        if (text == nullptr || !IsPlain(conversion)) {
            return false;
        }
        const std::size_t size =
            conversion.precision < 0
                ? std::strlen(text)
                : strnlen(text, static_cast<std::size_t>(conversion.precision));
        return AppendField(conversion, {}, 0, {text, size}, false);
    }

    // A fraction of m 2^-e in p decimals is m 10^p 2^-e, rounded to the nearest integer, of two
    // to the even one: m has 53 bits and 10^p at most 73, so that the product is exact.
#ifdef __SIZEOF_INT128__
    bool AppendReal(const Conversion& conversion) {
        constexpr int kMostDecimals = 22;
        constexpr double kLimit = 9.2e18;
        const double value = va_arg(values, double);
        const int decimals = conversion.precision < 0 ? 6 : conversion.precision;
        const double magnitude = std::fabs(value);
        if (!(magnitude < kLimit) || decimals > kMostDecimals || !platform::HasDecimalPoint()) {
            return false;
        }
        auto whole = static_cast<std::uint64_t>(magnitude);
        const double fraction = magnitude - static_cast<double>(whole);
        Wide scale = 1;
        for (int i = 0; i < decimals; ++i) {
            scale *= 10;
        }
        Wide scaled = 0;
        if (fraction > 0) {
            const auto bits = std::bit_cast<std::uint64_t>(fraction);
            constexpr int kMantissaBits = 52;
            const int exponent = static_cast<int>(bits >> kMantissaBits);
            constexpr std::uint64_t kHidden = std::uint64_t{1} << kMantissaBits;
            const std::uint64_t mantissa =
                exponent == 0 ? bits & (kHidden - 1) : (bits & (kHidden - 1)) | kHidden;
            const int shift = 1075 - std::max(exponent, 1);
            const Wide product = Wide{mantissa} * scale;
            // What is shifted further is less than a half.
            if (shift < 127) {
                const Wide half = Wide{1} << (shift - 1);
                const Wide rest = product & ((half << 1) - 1);
                scaled = product >> shift;
                const bool isOdd = decimals == 0 ? (whole & 1) != 0 : (scaled & 1) != 0;
                scaled += rest > half || (rest == half && isOdd) ? 1 : 0;
            }
            if (scaled == scale) {
                scaled = 0;
                ++whole;
            }
        }
        char room[64];
        char* const end = room + sizeof room;
        char* at = end;
        if (decimals > 0) {
            int left = decimals;
            // 64 bits at a time: dividing wide numbers is slow.
            constexpr std::uint64_t kPart = 10'000'000'000'000'000;
            auto low = static_cast<std::uint64_t>(scaled);
            if (left > 16) {
                low = static_cast<std::uint64_t>(scaled % kPart);
                for (int i = 0; i < 16; ++i, low /= 10) {
                    *--at = static_cast<char>('0' + low % 10);
                }
                left -= 16;
                low = static_cast<std::uint64_t>(scaled / kPart);
            }
            for (; left > 0; --left, low /= 10) {
                *--at = static_cast<char>('0' + low % 10);
            }
            *--at = '.';
        }
        do {
            *--at = static_cast<char>('0' + whole % 10);
            whole /= 10;
        } while (whole != 0);
        const std::string_view sign =
            std::signbit(value)
                ? std::string_view("-")
                : std::string_view(&conversion.sign, conversion.sign != '\0' ? 1 : 0);
        return AppendField(conversion, sign, 0, {at, static_cast<std::size_t>(end - at)}, true);
    }
#else
    bool AppendReal(const Conversion&) {
        return false;
    }
#endif

    TextBuffer<1024>& body;
    std::va_list values;
};

}  // namespace

bool FormatUsual(const char* format, std::va_list arguments, std::size_t longest,
                 TextBuffer<1024>& body) {
    Formatter formatter(arguments, body);
    for (const char* at = format; body.Size() <= longest;) {
        const char* const percent = std::strchr(at, '%');
        if (percent == nullptr) {
            body.Append(std::string_view(at));
            return body.Size() <= longest;
        }
        body.Append(std::string_view(at, static_cast<std::size_t>(percent - at)));
        at = percent + 1;
        if (*at == '%') {
            body.Append('%');
            ++at;
        } else if (!formatter.Convert(at)) {
            return false;
        }
    }
    return false;
}

}  // namespace core
