#include "core/logging/line_format.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

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
    struct Row {
        const char* pattern;
        const char* line;
    };
    const Row rows[] = {
        {"", ""},
        {"no field", "no field"},
        {"%m", "100%d %m %"},
        {"%t|%f|%F", "%m|%s%|%%"},
        {"%x%Y%%a", "a"},
        {"at the end%", "at the end"},
        {"%", ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.line, Expand(row.pattern, fields)) << row.pattern;
    }
}

TEST(LineFormat, OnRequestNothingInATextBeginsALineOrSteersATerminal) {
    LineFields fields = AllFields();
    fields.isOneLine = true;
    fields.body = "a\n[Error][42]\r\tb\x1b[31m\x7f\u009b\\ \u00a0\u0144\xc2";
    fields.tag = "t\x01\n";
    fields.function = "f\n";
    fields.file = "\x1f";
    EXPECT_EQ(R"([t\x01\n]a\n[Error][42]\r\tb\x1b[31m\x7f\x9b\ )"
              "\u00a0\u0144\xc2"
              R"([f\n][\x1f])",
              Expand("[%t]%m[%f][%F]", fields));
}

TEST(LineFormat, LevelsHaveNamesAndColours) {
    struct Row {
        int level;
        const char* plain;
        const char* coloured;
    };
    const Row rows[] = {
        {0, "Verbose", "\x1b[mVerbose\x1b[m"},
        {1, "Debug", "\x1b[38;5;247mDebug\x1b[m"},
        {2, "Performance", "\x1b[mPerformance\x1b[m"},
        {3, "Tracking", "\x1b[38;5;116mTracking\x1b[m"},
        {4, "Info", "\x1b[92mInfo\x1b[m"},
        {5, "Warn", "\x1b[33mWarn\x1b[m"},
        {6, "Error", "\x1b[31mError\x1b[m"},
        {7, "Fatal", "\x1b[31mFatal\x1b[m"},
        {8, "Off", "\x1b[mOff\x1b[m"},
        // User levels, and what lies beside them.
        {-100, "User0", "User0\x1b[m"},
        {-71, "User29", "User29\x1b[m"},
        {-101, "-101", "-101"},
        {-70, "-70", "-70"},
        {-1, "-1", "-1"},
        {9, "9", "9"},
        {-2147483647 - 1, "-2147483648", "-2147483648"},
    };
    for (const Row& row : rows) {
        LineFields fields;
        fields.level = row.level;
        EXPECT_EQ(row.plain, Expand("%s", fields));
        EXPECT_EQ(row.coloured, Expand("%s", fields, Colour::Yes));
    }
}

TEST(LineFormat, MessagesOfAnyLengthAreWhole) {
    for (const int length : {0, 1, 1021, 1022, 1023, 1024, 1025, 2047, 2048, 100'000}) {
        const std::string text(static_cast<std::size_t>(length), 'x');
        EXPECT_EQ(text, Format("%s", text.c_str()));
        // Every argument is read a second time when the first round was too short.
        EXPECT_EQ(text + " 12 0.5", Format("%s %d %.1f", text.c_str(), 12, 0.5));
        EXPECT_EQ("[" + text + "]", Expand("[%m]", [&] {
                      LineFields fields;
                      fields.body = text;
                      return fields;
                  }()));
    }
}

TEST(LineFormat, WhatIsTooLongIsCutAndSaysSo) {
    const std::string text =
        std::string(core::kLongestBody - 42, 'x') + "\u0144" + std::string(core::kLongestBody, 'y');
    const std::string body = Format("%s", text.c_str());
    EXPECT_EQ(text.substr(0, core::kLongestBody - 43) +
                  "... cut, bytes in all: " + std::to_string(text.size()),
              body);
    LineFields fields;
    fields.tag = text.c_str();
    fields.body = body;
    const std::string line = Expand("%t%m", fields);
    EXPECT_GE(core::kLongestLine, line.size());
    EXPECT_NE(std::string::npos, line.find("cut, bytes in all: 5"));
}

TEST(LineFormat, AFormatThatIsRefusedIsTheMessage) {
    // No locale of ours has a byte for this character; some systems leave it out.
    const wchar_t refused[] = {0xDC80, 0};
    const std::string body = Format("path %ls", refused);
    EXPECT_TRUE(body == "path %ls" || body == "path ") << body;
}

}  // namespace
