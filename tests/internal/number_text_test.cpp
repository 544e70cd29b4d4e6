// Numbers in text, beside what the C library's formatter and conversions give. A long
// run tries ten million of them.

#include "core/data/number_reader.h"
#include "core/data/number_writer.h"
#include "core/data/wide.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/json_grammar.h"
#include "support/long_run.h"

namespace core {
namespace {

template <class Write>
std::string WrittenBy(const Write& write) {
    // Behind its room, nothing may be written.
    std::array<char, kNumberRoom + 8> room;
    room.fill('#');
    char* const end = write(room.data());
    EXPECT_EQ("########", std::string(room.data() + kNumberRoom, 8));
    return std::string(room.data(), end);
}
template <class T>
std::string Written(T number) {
    return WrittenBy([number](char* to) { return WriteNumber(number, to); });
}
std::string WrittenShortest(double number) {
    return WrittenBy([number](char* to) { return WriteShortest(number, to); });
}

TEST(NumberText, WritesDoublesAsTheFormatterDoes) {
    Dice dice(1);
    for (int i = support::Rounds(200'000, 10'000'000); i > 0; --i) {
        const double number = support::RandomDouble(dice);
        // Whether "nan" has a sign depends on the C library.
        if (!std::isnan(number)) {
            ASSERT_EQ(support::WrittenPlainly(number), Written(number)) << std::hexfloat << number;
        }
    }
}

TEST(NumberText, WritesTheShortestThatIsReadBack) {
    // The standard library's digits: those that count, without point and exponent.
    const auto digitsOf = [](const std::string& text) {
        std::string digits;
        for (const char c : text.substr(0, text.find('e'))) {
            digits +=
                c != '.' && c != '-' && (c != '0' || !digits.empty()) ? std::string(1, c) : "";
        }
        return digits.substr(0, digits.find_last_not_of('0') + 1);
    };
    const auto check = [&](double number) {
        if (!std::isfinite(number)) {
            return;
        }
        const std::string written = WrittenShortest(number);
        std::array<char, 32> theirs;
        char* const end =
            std::to_chars(theirs.data(), theirs.data() + 32, number, std::chars_format::scientific)
                .ptr;
        ASSERT_EQ(digitsOf(std::string(theirs.data(), end)), digitsOf(written));
        const NumberReading read = ReadNumber(written.c_str(), written.c_str());
        ASSERT_EQ(written.c_str() + written.size(), read.end);
        ASSERT_EQ(NumberKind::Double, read.kind) << written;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(number), read.bits) << written;
    };
    Dice dice(3);
    for (int i = support::Rounds(200'000, 10'000'000); i > 0; --i) {
        check(support::RandomDouble(dice));
        check(std::bit_cast<double>(dice.Bits()));
    }
    const auto checkNear = [&](double power) {
        for (const double near : {power, std::nextafter(power, 0), -std::nextafter(power, 1e308)}) {
            check(near);
            ASSERT_EQ(support::WrittenPlainly(near), Written(near)) << std::hexfloat << near;
        }
    };
    for (int e = -1074; e < 1024; ++e) {
        checkNear(std::ldexp(1, e));
    }
    for (int e = -30; e <= 308; ++e) {
        checkNear(std::pow(10, e));
    }
}

TEST(NumberText, ProductsByHalvesAreTheSame) {
    Dice dice(4);
    for (int i = 0; i < 20'000; ++i) {
        const std::uint64_t a = dice.OneIn(4) ? 0 - (dice.Bits() & 3) : dice.Bits();
        const std::uint64_t b = dice.OneIn(4) ? 0 - (dice.Bits() & 3) : dice.Bits();
        const Wide product = Multiply(a, b), byHalves = MultiplyByHalves(a, b);
        ASSERT_EQ(product.high, byHalves.high) << a << " " << b;
        ASSERT_EQ(product.low, byHalves.low) << a << " " << b;
        ASSERT_EQ(a * b, product.low);
    }
}

TEST(NumberText, WritesThese) {
    for (const support::FileRow& row : support::RowsOf("number_texts.txt")) {
        const double number = std::strtod(row.name.c_str(), nullptr);
        EXPECT_EQ(row[""], Written(number));
        EXPECT_EQ(row["shortest"], std::isfinite(number) ? WrittenShortest(number) : "");
    }
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ("nan", Written(std::copysign(notANumber, 1.0)));
    EXPECT_EQ("-nan", Written(std::copysign(notANumber, -1.0)));
    EXPECT_EQ("-9223372036854775808", Written(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ("18446744073709551615", Written(std::numeric_limits<std::uint64_t>::max()));
}

TEST(NumberText, WritesIntegersOfEveryLength) {
    Dice dice(2);
    for (int i = support::Rounds(20'000, 1'000'000); i > 0; --i) {
        const std::uint64_t number = dice.Bits() >> dice.Below(64);
        ASSERT_EQ(std::to_string(number), Written(number));
        const auto negative = static_cast<std::int64_t>(0 - (number >> 1));
        ASSERT_EQ(std::to_string(negative), Written(negative));
    }
    for (std::uint64_t power = 1; power < 10'000'000'000'000'000'000U; power *= 10) {
        ASSERT_EQ(std::to_string(power), Written(power));
        ASSERT_EQ(std::to_string(power - 1), Written(power - 1));
    }
}

/// A C library may count as underflow what merely comes near it.
bool IsAtUnderflow(const support::JsonModel& model) {
    return model.kind == 5 &&
           std::fabs(std::bit_cast<double>(model.bits)) <= std::numeric_limits<double>::min();
}

/// Whether errno was ERANGE before counts.
void ExpectReadLikeTheLibrary(const std::string& text, int errorBefore) {
    errno = errorBefore;
    const support::JsonReading expected = ReadPlainly(text, support::JsonNode::Value, 0);
    const int expectedError = errno;
    // As text of which nothing is known, and as text that may be read in words.
    for (const std::size_t known : {std::size_t{0}, text.size()}) {
        errno = errorBefore;
        const NumberReading read = ReadNumber(text.c_str(), text.c_str() + known);
        const int error = errno;
        ASSERT_EQ(expected.consumed,
                  read.kind == NumberKind::None ? -1 : static_cast<int>(read.end - text.c_str()))
            << text;
        if (expected.consumed < 0) {
            continue;
        }
        ASSERT_EQ(expected.model.kind, static_cast<int>(read.kind)) << text;
        ASSERT_EQ(expected.model.bits, read.bits) << text;
        if (!IsAtUnderflow(expected.model)) {
            ASSERT_EQ(expectedError, error) << text;
        }
    }
}

TEST(NumberText, ReadsAsTheConversionsDo) {
    Dice dice(3);
    for (int i = support::Rounds(200'000, 10'000'000); i > 0; --i) {
        ExpectReadLikeTheLibrary(support::RandomNumberText(dice), dice.OneIn(2) ? ERANGE : 0);
    }
    for (int power = -350; power <= 330; ++power) {
        for (const char* const digits : {"1", "2", "7", "18446744073709551615"}) {
            ExpectReadLikeTheLibrary(digits + ("e" + std::to_string(power)), 0);
        }
    }
    // Beside what is halfway to the least and from the largest number, told by the 21st digit.
    for (const char* const text : {"2.47032822920623272088e-324", "2.47032822920623272089e-324",
                                   "1.79769313486231580793e308", "1.79769313486231580794e308"}) {
        ExpectReadLikeTheLibrary(text, 0);
    }
    for (std::string text = "1"; text.size() < 25; text += '0') {
        for (const char* const more : {"", "1", ".5", "e-23"}) {
            ExpectReadLikeTheLibrary(text + more, 0);
        }
    }
}

TEST(NumberText, SetsErrnoWhereTheTypeIsLeft) {
    const auto errorOf = [](const char* text) {
        errno = 0;
        ReadNumber(text, text);
        return errno;
    };
    for (const char* const text : {"9223372036854775807", "-9223372036854775808", "1e308",
                                   "2.2250738585072014e-308", "0e-400", "-0.0"}) {
        EXPECT_EQ(0, errorOf(text)) << text;
    }
    for (const char* const text :
         {"9223372036854775808", "-9223372036854775809", "9223372036854775808.5", "1e309",
          "2.2250738585072009e-308", "1e-400"}) {
        EXPECT_EQ(ERANGE, errorOf(text)) << text;
    }
}

TEST(NumberText, HasAPointInEveryLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const char* set = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de_DE", "German_Germany.1252", "fr_FR.UTF-8"}) {
        set = set != nullptr ? set : std::setlocale(LC_ALL, name);
    }
    const char* const text = "1.5";
    const NumberReading read = ReadNumber(text, text);
    const std::string written = Written(1.25);
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(1.5, std::bit_cast<double>(read.bits));
    EXPECT_EQ(text + 3, read.end);
    EXPECT_EQ("1.25000000", written);
    if (set == nullptr) {
        GTEST_SKIP() << "this system has no locale with a decimal comma";
    }
}

}  // namespace
}  // namespace core
