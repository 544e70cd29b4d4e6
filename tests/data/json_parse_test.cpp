#include <core/data/json_doc.h>
#include <core/data/json_parse.h>
#include <core/foundation/text_encoding.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "support/dice.h"
#include "support/file_rows.h"
#include "support/json_grammar.h"
#include "support/json_model.h"
#include "support/scratch_directory.h"
#include "support/utf8.h"

namespace {

using core::JsonDoc;
using core::JsonEncoding;
using core::JsonGrammar;
using core::JsonOverflow;
using core::JsonParseOptions;
using core::JsonParseResult;
using core::JsonValue;
using core::ParseJson;
using support::ModelOf;

constexpr JsonParseOptions kAsParse = {JsonGrammar::Wide, JsonOverflow::Saturate,
                                       JsonEncoding::AnyBytes};

TEST(ParseJson, ReadsWhatTheOtherReaderReadsToTheEnd) {
    Dice dice(20240521);
    int good = 0;
    const int rounds = 60000;
    for (int round = 0; round < rounds; ++round) {
        const std::string text = support::RandomJsonText(dice);
        SCOPED_TRACE(text);
        JsonDoc expected;
        errno = 0;
        const int used = expected.Parse(text.c_str());
        const bool isWhole =
            used >= 0 && text.find_first_not_of(" \t\n\v\f\r", static_cast<std::size_t>(used)) ==
                             std::string::npos;
        JsonValue value;
        value = "as it was";
        errno = ERANGE;  // which changes what the other reader makes of 9223372036854775807
        const JsonParseResult result = ParseJson(text, value, kAsParse);
        ASSERT_EQ(ERANGE, errno);
        ASSERT_EQ(isWhole, static_cast<bool>(result)) << result.Message();
        good += result ? 1 : 0;
        if (result) {
            // Where errno made an unsigned number of it, the text says what it is.
            if (text.find("9223372036854775807") == std::string::npos) {
                ASSERT_EQ(ModelOf(expected.Root()), ModelOf(value));
            }
            continue;
        }
        ASSERT_STREQ("as it was", value.AsString());
        ASSERT_LE(result.offset, text.size());
        // What lies before the fault is not to blame: something could follow it.
        if (const JsonParseResult before =
                ParseJson(text.substr(0, result.offset), value, kAsParse);
            !before) {
            ASSERT_TRUE(before.offset == result.offset ||
                        before.reason.find("without") != std::string::npos)
                << result.reason << "\n"
                << before.reason;
        }
        // The standard takes less, never more.
        ASSERT_FALSE(ParseJson(text, value));
    }
    EXPECT_GT(good, rounds / 20) << "hardly any text is JSON";
    EXPECT_LT(good, rounds - rounds / 20) << "hardly any text is not";
}

TEST(ParseJson, TellsPlaceAndReason) {
    const std::string deep = std::string(82, '[') + "1" + std::string(82, ']');
    for (const support::FileRow& row : support::RowsOf("broken_json.txt")) {
        JsonValue value;
        const JsonParseResult result = ParseJson(row[""], value);
        EXPECT_EQ(row["message"], result.Message()) << row.name;
        EXPECT_TRUE(value.IsEmpty());
        // The place in bytes is that of the line and the column.
        const std::string before = row[""].substr(0, result.offset);
        const std::string line = before.substr(before.rfind('\n') + 1);
        EXPECT_EQ(std::count(before.begin(), before.end(), '\n') + 1,
                  static_cast<std::ptrdiff_t>(result.line));
        EXPECT_EQ(std::count_if(line.begin(), line.end(),
                                [](unsigned char c) { return c < 0x80 || c >= 0xC0; }) +
                      1,
                  static_cast<std::ptrdiff_t>(result.column))
            << row.name;
    }
    JsonValue value;
    EXPECT_FALSE(ParseJson(std::string(100000, '['), value));
    EXPECT_TRUE(ParseJson(deep.substr(1, 163), value));
    EXPECT_EQ("line 1, column 2: expected a value, not 'x'", ParseJson("[x]", value).Message());
    // Its own text, and a view that no zero follows.
    value = " [1, 2] ";
    EXPECT_TRUE(ParseJson(value.AsString(), value));
    EXPECT_TRUE(ParseJson(std::string_view("[1]]", 3), value));
    EXPECT_EQ(1, value.AsArray().Count());
    EXPECT_FALSE(ParseJson(static_cast<const char*>(nullptr), value));
}

TEST(ParseJson, KeepsRefusesOrWidensNumbersThatDoNotFit) {
    const auto read = [](const std::string& text, JsonOverflow overflow) {
        JsonValue value;
        errno = ERANGE;
        const JsonParseResult result =
            ParseJson(text, value, {JsonGrammar::Standard, overflow, JsonEncoding::Utf8});
        std::string written = "refused";
        if (result) {
            value.Dump(written);
        }
        return std::to_string(value.Kind()) + " " + written;
    };
    for (const support::FileRow& row : support::RowsOf("large_numbers.txt")) {
        EXPECT_EQ(row[""], read(row.name, JsonOverflow::Refuse)) << row.name;
        EXPECT_EQ(row["to double"], read(row.name, JsonOverflow::ToDouble)) << row.name;
        EXPECT_EQ(row["saturated"], read(row.name, JsonOverflow::Saturate)) << row.name;
    }
}

// The conversion to wide text puts U+FFFD where bytes are no UTF-8.
bool IsUtf8(const std::string& text) {
    std::wstring wide;
    core::ZYLCore_UTF8_Unicode(text.c_str(), wide);
    return wide.find(static_cast<wchar_t>(0xFFFD)) == std::wstring::npos;
}

TEST(ParseJson, TakesUtf8Alone) {
    Dice dice(7);
    const std::vector<std::uint32_t> points = {0x24,   0x7F,   0x80,    0x7FF,   0x800,   0xFFF,
                                               0x1000, 0xD7FF, 0xE000,  0xFFFC,  0x10000, 0x3FFFF,
                                               0x65E5, 0x672C, 0x40000, 0xFFFFF, 0x10FFFF};
    int good = 0;
    for (int round = 0; round < 60000; ++round) {
        std::string content;
        for (int i = dice.Below(40); i > 0; --i) {
            content += dice.OneIn(3) ? "ascii" : Utf8Of(dice.Pick(points));
        }
        if (!content.empty() && !dice.OneIn(4)) {
            static const std::string kBytes =
                "\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xED\xEF\xF0\xF4\xF5\xFF";
            const auto at = static_cast<std::size_t>(dice.Below(static_cast<int>(content.size())));
            dice.OneIn(3)
                ? void(content.erase(at, 1))
                : void(content[at] = dice.Pick(std::vector<char>(kBytes.begin(), kBytes.end())));
        }
        const std::string escape = dice.OneIn(3) ? "\\n" : "";
        const std::string text = "[\"" + content + escape + "\"]";
        JsonValue value;
        const JsonParseResult result = ParseJson(text, value);
        ASSERT_EQ(IsUtf8(content), static_cast<bool>(result)) << testing::PrintToString(content);
        good += result ? 1 : 0;
        if (!result) {
            // Up to the fault it is, and no character begins there.
            for (std::size_t more = 0; more <= 4; ++more) {
                ASSERT_EQ(more == 0, IsUtf8(text.substr(2, result.offset - 2 + more)))
                    << testing::PrintToString(content);
            }
        }
        ASSERT_TRUE(ParseJson(text, value, kAsParse));
    }
    EXPECT_GT(good, 10000);
    EXPECT_LT(good, 50000);
}

TEST(ParseJsonFile, SkipsItsMarkAndTellsWhyItCannot) {
    const support::ScratchDirectory directory;
    const std::string path = directory.Path("document.json");
    const auto holds = [&](const char* bytes) { directory.Write("document.json", bytes); };
    JsonDoc document;
    const JsonParseResult missing = ParseJsonFile(path, document.Root());
    EXPECT_EQ(0U, missing.Message().find("can't be read: "));
    EXPECT_EQ(0U, missing.offset + missing.line + missing.column);
    holds("\xEF\xBB\xBF[1]\n");
    EXPECT_TRUE(ParseJsonFile(path, document.Root()));
    holds("\xEF\xBB\xBF[1}");
    const JsonParseResult result = ParseJsonFile(path, document.Root());
    EXPECT_EQ("line 1, column 3: expected ',' or ']', not '}'", result.Message());
    EXPECT_EQ(5U, result.offset);
    holds("\xFF\xFE[");
    EXPECT_EQ("line 1, column 1: text in UTF-16, where UTF-8 is wanted",
              ParseJsonFile(path, document.Root()).Message());
    EXPECT_EQ(0U, ParseJsonFile(path, document.Root()).offset);
    EXPECT_EQ(1, document.Root().AsArray().Count());
}

}  // namespace
