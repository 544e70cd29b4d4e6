#pragma once

// A second reader of packed data, written for plainness from the format's table:
// what the library reads is held against it. And random items to read.

#include "support/dice.h"

#include <core/data/bson_item.h>
#include <core/data/bson_packer.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace support {

using Bytes = std::vector<unsigned char>;

struct PlainItem {
    /// Code of the kind; 0 where there is no item.
    int kind = 0;
    /// An integer, a boolean or a count; wide enough for each of them.
    long double number = 0;
    /// The bits of a floating-point number.
    std::uint64_t bits = 0;
    std::string text;
};

/// Whether an item of the library answers what it should, in one of the wide types.
inline bool IsSame(const PlainItem& plain, const core::BsonItem& item) {
    std::int64_t number = 0;
    std::uint64_t large = 0;
    std::int32_t count = 0;
    double real = 0.0;
    float single = 0.0F;
    std::string text;
    bool flag = false;
    if (plain.kind != item.Kind()) {
        return false;
    }
    if (item.Get(number)) {
        return plain.number == static_cast<long double>(number);
    }
    if (item.Get(large)) {
        return plain.number == static_cast<long double>(large);
    }
    if (item.GetTupleSize(count) || item.GetMapSize(count)) {
        return plain.number == static_cast<long double>(count);
    }
    if (item.Get(flag)) {
        return plain.number == (flag ? 1.0L : 0.0L);
    }
    if (item.Get(text)) {
        return plain.text == text;
    }
    if (item.Get(real) && item.Get(single)) {
        const auto bits = static_cast<std::uint32_t>(plain.bits);
        return std::isnan(real) || (item.Kind() == core::BsonItem::kDouble
                                        ? std::memcmp(&plain.bits, &real, sizeof real) == 0
                                        : std::memcmp(&bits, &single, sizeof single) == 0);
    }
    return plain.kind <= core::BsonItem::kNil;
}

/// Reads items from the front of some bytes until one fails.
class PlainReader {
public:
    explicit PlainReader(Bytes toRead) : bytes(std::move(toRead)) {}

    PlainItem Next() {
        PlainItem item;
        if (hasFailed || at >= bytes.size()) {
            hasFailed = true;
            return item;
        }
        Read(item);
        hasFailed = item.kind == 0;
        return item;
    }
    /// From now on there are no items.
    void Fail() { hasFailed = true; }
    bool IsAtEnd() const { return at == bytes.size(); }

private:
    enum Payload { Constant, Signed, Unsigned, Bits, Text, Count };
    struct Form {
        int first;
        int last;
        int kind;
        Payload payload;
        /// Bytes behind the first one; 0 where its low bits are the payload.
        int width;
    };

    void Read(PlainItem& item) {
        static const Form kForms[] = {
            {0x00, 0x7F, 4, Unsigned, 0}, {0x80, 0x8F, 15, Count, 0},
            {0x90, 0x9F, 14, Count, 0},   {0xA0, 0xBF, 13, Text, 0},
            {0xC0, 0xC0, 1, Constant, 0}, {0xC2, 0xC3, 2, Constant, 0},
            {0xCA, 0xCA, 11, Bits, 4},    {0xCB, 0xCB, 12, Bits, 8},
            {0xCC, 0xCC, 4, Unsigned, 1}, {0xCD, 0xCD, 8, Unsigned, 2},
            {0xCE, 0xCE, 9, Unsigned, 4}, {0xCF, 0xCF, 10, Unsigned, 8},
            {0xD0, 0xD0, 7, Unsigned, 1}, {0xD1, 0xD1, 4, Signed, 2},
            {0xD2, 0xD2, 5, Signed, 4},   {0xD3, 0xD3, 6, Signed, 8},
            {0xD9, 0xD9, 13, Text, 1},    {0xDA, 0xDA, 13, Text, 2},
            {0xDB, 0xDB, 13, Text, 4},    {0xDC, 0xDC, 14, Count, 2},
            {0xDD, 0xDD, 14, Count, 4},   {0xDE, 0xDE, 15, Count, 2},
            {0xDF, 0xDF, 15, Count, 4},   {0xE0, 0xFF, 7, Unsigned, 0},
        };
        const int first = bytes[at];
        for (const Form& form : kForms) {
            if (first >= form.first && first <= form.last) {
                Read(form, item);
            }
        }
    }

    void Read(const Form& form, PlainItem& item) {
        const unsigned first = bytes[at];
        const std::size_t width = static_cast<std::size_t>(form.width);
        at += 1 + width;
        if (at > bytes.size()) {
            return;
        }
        std::uint64_t value = 0;
        for (std::size_t i = at - width; i < at; ++i) {
            value = value * 256 + bytes[i];
        }
        if (width == 0) {
            const unsigned shared = form.payload == Text ? 31 : 15;
            value = form.payload == Text || form.payload == Count ? first % (shared + 1) : first;
        }
        switch (form.payload) {
            case Constant:
                item.number = first == 0xC3 ? 1 : 0;
                break;
            case Signed: {
                const long double modulus = width == 2 ? 0x1p16L : width == 4 ? 0x1p32L : 0x1p64L;
                item.number = static_cast<long double>(value);
                item.number -= 2 * item.number >= modulus ? modulus : 0;
                break;
            }
            case Unsigned:
                item.number = static_cast<long double>(value);
                break;
            case Bits:
                item.bits = value;
                break;
            case Count:
                if (value > 0x7FFFFFFF) {
                    return;
                }
                item.number = static_cast<long double>(value);
                break;
            case Text: {
                if (value > 0x7FFFFFFF) {
                    return;
                }
                const std::size_t start = at;
                at += value;
                if (at > bytes.size()) {
                    return;
                }
                item.text.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                                 bytes.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            }
        }
        item.kind = form.kind;
    }

    Bytes bytes;
    std::size_t at = 0;
    bool hasFailed = false;
};

/// Numbers at the edges of all integer types, and some between.
inline std::vector<long double> EdgeNumbers() {
    std::vector<long double> numbers;
    for (int power = 0; power <= 64; ++power) {
        for (const long double offset : {-2.0L, -1.0L, 0.0L, 1.0L, 2.0L}) {
            for (const long double sign : {-1.0L, 1.0L}) {
                const long double number = sign * std::ldexp(1.0L, power) + offset;
                if (number >= -0x1p63L && number < 0x1p64L) {
                    numbers.push_back(number);
                }
            }
        }
    }
    return numbers;
}

/// A random item that holds no others; numbers at edges preferred.
inline void PackScalar(Dice& dice, core::BsonPacker& packer) {
    static const std::vector<long double> numbers = EdgeNumbers();
    const long double number = dice.Pick(numbers);
    const auto sign = static_cast<std::int64_t>(std::fmod(number, 0x1p63L));
    switch (dice.Below(10)) {
        case 0:
            packer << nullptr;
            break;
        case 1:
            packer << dice.OneIn(2);
            break;
        case 2:
            packer << static_cast<signed char>(sign);
            break;
        case 3:
            packer << static_cast<short>(sign);
            break;
        case 4:
            packer << static_cast<int>(sign);
            break;
        case 5:
            packer << sign;
            break;
        case 6:
            packer << static_cast<std::uint64_t>(std::fabs(number));
            break;
        case 7:
            packer << static_cast<float>(number);
            break;
        case 8:
            packer << static_cast<double>(number);
            break;
        default:
            packer << std::string(
                static_cast<std::size_t>(dice.Below(dice.OneIn(50) ? 70'000 : 40)),
                static_cast<char>(dice.Below(256)));
    }
}

}  // namespace support
