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
#include <limits>
#include <string>

#include "support/dice.h"
#include "support/json_grammar.h"
#include "support/long_run.h"

namespace core {
namespace {

template <class T>
std::string Written(T number) {
    // Behind its room, nothing may be written.
    std::array<char, kNumberRoom + 8> room;
    room.fill('#');
    char* const end = WriteNumber(number, room.data());
    EXPECT_EQ("########", std::string(room.data() + kNumberRoom, 8));
    return std::string(room.data(), end);
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

TEST(NumberText, WritesEveryPowerAndItsNeighbours) {
    const auto check = [](double number) {
        for (const double near :
             {number, std::nextafter(number, 0), std::nextafter(number, 1e308), -number}) {
            ASSERT_EQ(support::WrittenPlainly(near), Written(near)) << std::hexfloat << near;
        }
    };
    for (int e = -1074; e < 1024; ++e) {
        check(std::ldexp(1, e));
    }
    for (int e = -30; e <= 308; ++e) {
        check(std::pow(10, e));
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
        std::array<char, kNumberRoom + 8> room;
        room.fill('#');
        const std::string written(room.data(), WriteShortest(number, room.data()));
        ASSERT_EQ("########", std::string(room.data() + kNumberRoom, 8));
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
    for (int e = -1074; e < 1024; ++e) {
        const double power = std::ldexp(1, e);
        check(power);
        check(std::nextafter(power, 0));
        check(-std::nextafter(power, 1e308));
    }
}

TEST(NumberText, WritesTheShortestPlainlyOrWithAnExponent) {
    std::string written;
    for (const double number : {0.0,
                                -0.0,
                                100.0,
                                0.1,
                                1.5e-3,
                                1e-4,
                                1.25e-5,
                                1e-5,
                                1e-6,
                                2e-7,
                                -1.5e-7,
                                1e15,
                                1.5e15,
                                1e16,
                                1.2e16,
                                1e17,
                                1.5e17,
                                1e18,
                                123456789012345678.0,
                                1e22,
                                1.5e300,
                                5e-324,
                                2.5e-310}) {
        std::array<char, kNumberRoom> room;
        written += std::string(room.data(), WriteShortest(number, room.data())) + " ";
    }
    EXPECT_EQ(
        "0.0 -0.0 100.0 0.1 0.0015 0.0001 0.0000125 0.00001 1e-6 2e-7 -1.5e-7 1000000000000000.0 "
        "1500000000000000.0 10000000000000000.0 12000000000000000.0 1e17 1.5e17 1e18 "
        "1.2345678901234568e17 1e22 1.5e300 5e-324 2.5e-310 ",
        written);
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
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::string expected, written;
    } rows[] = {
        {"0.3", Written(0.3)},
        {"1.25000000", Written(1.25)},
        // Just below a multiple of 0.1 counts as no multiple: kept on purpose.
        {"0.20000000", Written(0.19999999999999998)},
        {"2.0", Written(2.0)},
        {"-0.0", Written(-0.0)},
        {"123456789.250000000000000", Written(123456789.25)},
        // The longest text is cut, the sign included.
        {"100000000000000005250476025520442024870446858110815915491585411", Written(1e300)},
        {"-10000000000000000525047602552044202487044685811081591549158541", Written(-1e300)},
        {"inf", Written(kInfinity)},
        {"-inf", Written(-kInfinity)},
        {"nan", Written(std::copysign(notANumber, 1.0))},
        {"-nan", Written(std::copysign(notANumber, -1.0))},
        {"-9223372036854775808", Written(std::numeric_limits<std::int64_t>::min())},
        {"18446744073709551615", Written(std::numeric_limits<std::uint64_t>::max())},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, row.written);
    }
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
        for (const char* const digits : {"1", "7", "18446744073709551615"}) {
            ExpectReadLikeTheLibrary(digits + ("e" + std::to_string(power)), 0);
        }
    }
    for (std::string text = "1"; text.size() < 25; text += '0') {
        for (const char* const more : {"", "1", ".5", "e-23"}) {
            ExpectReadLikeTheLibrary(text + more, 0);
        }
    }
}

TEST(NumberText, SetsErrnoWhereTheTypeIsLeft) {
    const struct {
        const char* text;
        int error;
    } rows[] = {
        {"9223372036854775807", 0},
        {"9223372036854775808", ERANGE},
        {"-9223372036854775808", 0},
        {"-9223372036854775809", ERANGE},
        {"9223372036854775808.5", ERANGE},
        {"1e308", 0},
        {"1e309", ERANGE},
        {"2.2250738585072014e-308", 0},
        {"2.2250738585072009e-308", ERANGE},
        {"1e-400", ERANGE},
        {"0e-400", 0},
        {"-0.0", 0},
    };
    for (const auto& row : rows) {
        errno = 0;
        ReadNumber(row.text, row.text);
        EXPECT_EQ(row.error, errno) << row.text;
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
