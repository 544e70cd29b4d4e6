#include "inspect/json_fault.h"

#include "support/dice.h"
#include "support/json_grammar.h"

#include <core/data/json_doc.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// Whether the library reads the whole of a text.
bool IsReadWhole(const std::string& text) {
    core::JsonDoc document;
    const int used = document.Parse(text.c_str());
    return used >= 0 && text.find_first_not_of(" \t\n\v\f\r", static_cast<std::size_t>(used)) ==
                            std::string::npos;
}

// One byte taken out, put in or changed.
std::string Damaged(std::string text, Dice& dice) {
    const std::string bytes = "[]{},:\"\\ u0dD9eE.-+/x\n\x01tfn\xC3";
    const auto at = static_cast<std::size_t>(dice.Below(static_cast<int>(text.size()) + 1));
    const char byte = bytes[static_cast<std::size_t>(dice.Below(static_cast<int>(bytes.size())))];
    switch (dice.Below(4)) {
        case 0:
            return text.substr(0, at);
        case 1:
            return text.erase(std::min(at, text.size()), 1);
        case 2:
            return text.insert(at, 1, byte);
        default:
            text.resize(std::max(text.size(), at + 1));
            text[at] = byte;
            return text;
    }
}

TEST(JsonFault, IsFoundExactlyWhereTheReaderGivesUp) {
    Dice dice(20240521);
    int good = 0;
    const int rounds = 60000;
    for (int round = 0; round < rounds; ++round) {
        std::string text = support::RandomJsonText(dice);
        if (dice.OneIn(2)) {
            text = Damaged(text, dice);
        }
        const auto fault = inspect::FindJsonFault(text);
        ASSERT_EQ(!fault.has_value(), IsReadWhole(text))
            << "round " << round << ": " << text << (fault ? "\n" + fault->what : "");
        good += fault ? 0 : 1;
        if (fault) {
            ASSERT_LE(fault->offset, text.size());
            ASSERT_FALSE(fault->what.empty());
            // What lies before the fault is not to blame: something could follow it.
            const auto before = inspect::FindJsonFault(text.substr(0, fault->offset));
            if (before) {
                ASSERT_LE(fault->offset, text.size());
                ASSERT_TRUE(before->offset == fault->offset ||
                            before->what.find("without") != std::string::npos)
                    << text << "\n"
                    << fault->what << "\n"
                    << before->what;
            }
        }
    }
    EXPECT_GT(good, rounds / 20) << "hardly any text is JSON";
    EXPECT_LT(good, rounds - rounds / 20) << "hardly any text is not";
}

TEST(JsonFault, IsToldByLineAndColumnAndWhatIsWrong) {
    const std::string deep = std::string(82, '[') + "1" + std::string(82, ']');
    const struct {
        const char* name;
        std::string text;
        std::size_t line, column;
        const char* what;
    } cases[] = {
        {"nothing", "", 1, 1, "the text ends where a value was expected"},
        {"cut short", "{\"a\": [1,\n 2", 2, 3, "the text ends where ',' or ']' was expected"},
        {"trailing comma", "[1,\n]", 2, 1, "expected a value, not ']'"},
        {"two values", "{} {}", 1, 4, "nothing may follow the document, but there is '{'"},
        {"letters count, not bytes", "[\"\xC3\xA9\xE2\x82\xAC\" x]", 1, 7,
         "expected ',' or ']', not 'x'"},
        {"lines of Windows", "{\r\n\"a\" 1}", 2, 5, "expected ':', not '1'"},
        {"name without quotes", "{a: 1}", 1, 2, "expected a member's name in quotes, not 'a'"},
        {"open text", "[\"abc", 1, 2, "a text without a closing quote"},
        {"line end in a text", "[\"ab\ncd\"]", 1, 5,
         "a text holds byte 0x0a, which must be escaped"},
        {"odd escape", "\"\\q\"", 1, 2, "an escape that does not exist"},
        {"short \\u", "\"\\u12g4\"", 1, 2, "\\u needs four hexadecimal digits"},
        {"half a pair", "\"x\\ud83d\"", 1, 3, "half of a surrogate pair stands alone"},
        {"minus", "[-]", 1, 2, "a number without a digit"},
        {"zero byte", std::string("[1\0]", 4), 1, 3, "expected ',' or ']', not byte 0x00"},
        {"too deep", deep, 1, 82, "nested deeper than 81 levels"},
        {"no UTF-8", "[\xFF]", 1, 2, "expected a value, not byte 0xff"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto fault = inspect::FindJsonFault(c.text);
        ASSERT_TRUE(fault.has_value());
        EXPECT_EQ(fault->what, c.what);
        const inspect::TextPlace place = inspect::PlaceOf(c.text, fault->offset);
        EXPECT_EQ(place.line, c.line);
        EXPECT_EQ(place.column, c.column);
    }
    EXPECT_FALSE(inspect::FindJsonFault(std::string(100000, '[')) == std::nullopt);
    EXPECT_EQ(inspect::FindJsonFault(deep.substr(1, 163)), std::nullopt);
}

}  // namespace
