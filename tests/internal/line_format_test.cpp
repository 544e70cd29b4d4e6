#include "core/logging/line_format.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/long_run.h"

namespace {

using core::BodyBuffer;
using core::Colour;
using core::LineBuffer;
using core::LineFields;

std::string Expand(const std::string& pattern, const LineFields& fields,
                   Colour colour = Colour::No) {
    LineBuffer line;
    core::ExpandPattern(pattern, fields, colour, line);
    return std::string(line.View());
}

std::string PatternFor(const LineFields& fields) {
    return std::string(core::PatternOf(fields));
}

std::string Format(const char* format, ...) {
    BodyBuffer body;
    std::va_list arguments;
    va_start(arguments, format);
    core::FormatBody(format, arguments, body);
    va_end(arguments);
    return std::string(body.View());
}

LineFields AllFields() {
    LineFields fields;
    fields.level = 4;
    fields.tag = "tag";
    fields.file = "a.cpp";
    fields.function = "Run";
    fields.line = 0;
    fields.threadId = 42;
    fields.time = "now";
    fields.body = "text";
    return fields;
}

TEST(LineFormat, TheOptionalFieldsFollowInTheirOrder) {
    LineFields fields = AllFields();
    EXPECT_EQ("[%s][%i][%d][%t]%m[%f][%l][%F]", PatternFor(fields));
    EXPECT_EQ("[Info][42][now][tag]text[Run][0][a.cpp]", Expand(PatternFor(fields), fields));
    fields.function = nullptr;
    EXPECT_EQ("[%s][%i][%d][%t]%m[%l][%F]", PatternFor(fields));
    fields.file = nullptr;
    fields.line = -1;
    fields.tag = nullptr;
    EXPECT_EQ("[Info][42][now][]text", Expand(PatternFor(fields), fields));
    fields.line = -2;
    EXPECT_EQ("[Info][42][now][]text[-2]", Expand(PatternFor(fields), fields));
}

// The formats are made by dice.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
#pragma clang diagnostic ignored "-Wformat-security"
#endif

/// What the C library makes of it.
std::string Printed(const char* format, ...) {
    char text[4096];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return {text, static_cast<std::size_t>(length)};
}

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

/// A value that is telling in some way.
double SomeReal(Dice& dice) {
    switch (dice.Below(6)) {
        case 0:
            return std::bit_cast<double>(dice.Bits());
        case 1:  // ties, and what is beside them
            return std::nextafter(dice.Below(2000) / 16.0 - 50, dice.Pick<double>({-1e9, 0, 1e9}));
        case 2:
            return static_cast<double>(dice.Below(4000)) / 32 - 50;
        case 3:
            return std::ldexp(dice.Between(-1, 1), dice.Below(80) - 10);
        case 4:
            return dice.Pick<double>({0.0, -0.0, 0.5, 1.5, 2.5, 0.999999999, 9.5, 5e-324, 9.2e18,
                                      1e19, 0.1, 1e-7, INFINITY, NAN});
        default:
            return dice.Between(-1000, 1000);
    }
}

TEST(LineFormat, UsualConversionsAreThoseOfTheCLibrary) {
    Dice dice(19);
    const int rounds = support::Rounds(200'000, 10'000'000);
    for (int i = 0; i < rounds; ++i) {
        std::string format = dice.OneIn(4) ? "a%%b " : "";
        format += '%';
        for (const char flag : {'-', '0', '+', ' ', '#'}) {
            format += dice.OneIn(flag == '#' ? 20 : 4) ? std::string(1, flag) : "";
        }
        const bool isWidthGiven = dice.OneIn(5);
        const bool isPrecisionGiven = dice.OneIn(5);
        format += isWidthGiven ? "*" : dice.OneIn(2) ? std::to_string(dice.Below(40)) : "";
        format += isPrecisionGiven ? ".*"
                  : dice.OneIn(2)  ? "." + std::to_string(dice.Below(26))
                                   : "";
        const int width = dice.Below(60) - 30;
        const int precision = dice.Below(20) - 3;
        const std::uint64_t bits = dice.Bits() >> dice.Below(64);
        const auto compare = [&](const std::string& conversion, auto value) {
            const std::string whole = format + conversion + "|";
            const char* const text = whole.c_str();
            if (isWidthGiven && isPrecisionGiven) {
                ASSERT_EQ(Printed(text, width, precision, value),
                          Format(text, width, precision, value))
                    << text;
            } else if (isWidthGiven) {
                ASSERT_EQ(Printed(text, width, value), Format(text, width, value)) << text;
            } else if (isPrecisionGiven) {
                ASSERT_EQ(Printed(text, precision, value), Format(text, precision, value)) << text;
            } else {
                ASSERT_EQ(Printed(text, value), Format(text, value)) << text;
            }
        };
        const std::string integer(1, "dixXu"[dice.Below(5)]);
        switch (dice.Below(6)) {
            case 0:
                compare(dice.Pick<std::string>({"hh", "h", ""}) + integer,
                        static_cast<int>(static_cast<unsigned>(bits)));
                break;
            case 1:
                compare("l" + integer, static_cast<long>(bits));
                break;
            case 2:
                compare(dice.Pick<std::string>({"ll", "j"}) + integer,
                        static_cast<long long>(bits));
                break;
            case 3:
                compare("s", dice.Pick<const char*>({"", "text", "a longer text, \u0144"}));
                break;
            case 4:
                compare("c", static_cast<int>('a' + dice.Below(26)));
                break;
            default:
                compare(dice.Pick<std::string>({"f", "f", "lf", "e", "g"}), SomeReal(dice));
                break;
        }
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST(LineFormat, TheUsualLineIsTheOneOfThePattern) {
    LineFields fields = AllFields();
    for (int i = 0; i < 64; ++i) {
        fields.level = (i & 1) != 0 ? 4 : (i & 2) != 0 ? -95 : 77;
        fields.function = (i & 4) != 0 ? "Run" : nullptr;
        fields.line = (i & 8) != 0 ? 7 : -1;
        fields.file = (i & 16) != 0 ? "a\n.cpp" : nullptr;
        fields.tag = (i & 3) != 0 ? "t\n" : nullptr;
        fields.isOneLine = (i & 32) != 0;
        fields.threadName = (i & 4) != 0 ? "na]me" : nullptr;
        for (const Colour colour : {Colour::No, Colour::Yes}) {
            LineBuffer line;
            core::ExpandLine(fields, colour, line);
            EXPECT_EQ(Expand(PatternFor(fields), fields, colour), line.View());
        }
    }
}

TEST(LineFormat, AThreadsNameStaysInItsBrackets) {
    LineFields fields = AllFields();
    fields.threadName = "";
    EXPECT_EQ("[Info][42][now][tag]text[Run][0][a.cpp]", Expand(PatternFor(fields), fields));
    fields.threadName = "a]\n[\xc2\x9b \u0144";
    EXPECT_EQ("42 a____ \u0144", Expand("%i", fields));
}

TEST(LineFormat, APatternIsExpandedAndItsFieldsAreCopied) {
    LineFields fields = AllFields();
    fields.body = "100%d %m %";
    fields.tag = "%m";
    fields.function = "%s%";
    fields.file = "%%";
    EXPECT_EQ("no field|100%d %m %|%m|%s%|%%|a|", Expand("no field|%m|%t|%f|%F|%x%Y%%a|%", fields));
    EXPECT_EQ("", Expand("", fields));
}

TEST(LineFormat, OnRequestNothingInATextBeginsALineOrSteersATerminal) {
    LineFields fields = AllFields();
    fields.isOneLine = true;
    fields.body = "a\n[Error][42]\r\tb\x1b[31m\x7f\u0080\u009b\u009f\\ \u00a0\u0144\xc2";
    fields.tag = "t\x01\n";
    fields.function = "f\n";
    fields.file = "\x1f";
    EXPECT_EQ(R"([t\x01\n]a\n[Error][42]\r\tb\x1b[31m\x7f\x80\x9b\x9f\ )"
              "\u00a0\u0144\xc2"
              R"([f\n][\x1f])",
              Expand("[%t]%m[%f][%F]", fields));
}

TEST(LineFormat, LevelsHaveNamesAndColours) {
    for (const support::FileRow& row : support::RowsOf("levels.txt")) {
        LineFields fields;
        fields.level = std::stoi(row.name);
        EXPECT_EQ(row[""], Expand("%s", fields));
        EXPECT_EQ(row["coloured"], Expand("%s", fields, Colour::Yes));
    }
}

TEST(LineFormat, MessagesOfAnyLengthAreWhole) {
    for (const int length : {0, 1, 1019, 1020, 1021, 1022, 1023, 1024, 1025, 2047, 2048, 100'000}) {
        const std::string text(static_cast<std::size_t>(length), 'x');
        EXPECT_EQ(text, Format("%s", text.c_str()));
        // Every argument is read a second time when the first round was too short.
        EXPECT_EQ(text + " 12 0.5", Format("%s %d %.1f", text.c_str(), 12, 0.5));
        EXPECT_EQ(text + " 0.5", Format("%s %g", text.c_str(), 0.5));
        EXPECT_EQ("[" + text + "]", Expand("[%m]", [&] {
                      LineFields fields;
                      fields.body = text;
                      return fields;
                  }()));
    }
}

TEST(LineFormat, WhatIsTooLongIsCutAndSaysSo) {
    constexpr std::size_t kBody = 16'711'680;
    const std::string text = std::string(kBody - 45, 'x') + "\u2026" + std::string(kBody, 'y');
    const std::string body = Format("%s", text.c_str());
    EXPECT_EQ(text.substr(0, kBody - 45) + "... cut, bytes in all: " + std::to_string(text.size()),
              body);
    LineFields fields;
    fields.tag = text.c_str();
    fields.body = body;
    const std::string line = Expand("%t%m", fields);
    EXPECT_GE(kBody + (64 << 10), line.size());
    EXPECT_NE(std::string::npos, line.find("cut, bytes in all: 5"));
    fields.file = body.c_str();
    LineBuffer usual;
    core::ExpandLine(fields, Colour::No, usual);
    EXPECT_EQ(Expand(PatternFor(fields), fields), usual.View());
    // An object is whole: a longer message is shortened before.
    constexpr std::size_t kMost = kBody / 6;
    fields = LineFields();
    fields.isJson = true;
    for (const std::size_t size : {kMost, kMost + 1}) {
        LineBuffer object;
        fields.body = std::string_view(text).substr(0, size);
        core::ExpandLine(fields, Colour::No, object);
        EXPECT_EQ(R"({"time":"","level":"Verbose","thread":0,"message":")" + text.substr(0, kMost) +
                      '"' + (size > kMost ? ",\"message_bytes\":" + std::to_string(size) : "") +
                      "}",
                  object.View());
    }
}

TEST(LineFormat, TimesAreFoundInBothForms) {
    const std::string usual = "2024-01-31 23:59:59.123T+0100";
    const std::string iso = "2024-01-31T23:59:59.123+01:00";
    EXPECT_EQ(iso, core::IsoTime(usual));
    for (const std::string& other : {iso, usual + "0", std::string(29, ' '), std::string()}) {
        EXPECT_EQ(other, core::IsoTime(other));
    }
    EXPECT_EQ(iso, core::TimeIn("{\"time\":\"" + iso + "\",\"level\":\"Info\"}"));
    EXPECT_EQ(usual, core::TimeIn("[Info][1 a][" + usual + "][t][x]"));
    EXPECT_EQ("", std::string(core::TimeIn("[[")).append(core::TimeIn("")));
}

TEST(LineFormat, AFormatThatIsRefusedIsTheMessage) {
    // No locale of ours has a byte for this character; some systems leave it out.
    const wchar_t refused[] = {0xDC80, 0};
    const std::string body = Format("path %ls", refused);
    EXPECT_TRUE(body == "path %ls" || body == "path ") << body;
}

}  // namespace
