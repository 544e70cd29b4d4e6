#include <core/foundation/text_encoding.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/utf8.h"

namespace {

std::wstring WideOf(std::uint32_t codePoint) {
    if (sizeof(wchar_t) > 2 || codePoint < 0x10000) {
        return {static_cast<wchar_t>(codePoint)};
    }
    return {static_cast<wchar_t>(0xD800 + (codePoint - 0x10000) / 1024),
            static_cast<wchar_t>(0xDC00 + (codePoint - 0x10000) % 1024)};
}

bool IsSurrogate(std::uint32_t codePoint) {
    return codePoint >= 0xD800 && codePoint < 0xE000;
}

TEST(TextEncoding, EveryCodePointIsConvertedBothWays) {
    for (std::uint32_t codePoint = 1; codePoint < 0x110000; ++codePoint) {
        if (IsSurrogate(codePoint)) {
            continue;
        }
        const std::string utf8 = "a" + Utf8Of(codePoint) + "z";
        const std::wstring wide = L"a" + WideOf(codePoint) + L"z";
        std::wstring widened;
        std::string narrowed;
        ASSERT_TRUE(core::ZYLCore_UTF8_Unicode(utf8.c_str(), widened));
        ASSERT_TRUE(core::ZYLCore_Unicode_Uft8(wide.c_str(), narrowed));
        ASSERT_EQ(wide, widened) << codePoint;
        ASSERT_EQ(utf8, narrowed) << codePoint;
    }
}

// Bytes that are no UTF-8 become U+FFFD, and what stands around them stays.
TEST(TextEncoding, BrokenUtf8BecomesReplacements) {
    struct Row {
        const char* name;
        const char* utf8;
        const wchar_t* wide;
    };
    const Row rows[] = {
        {"stray continuation", "a\x80z", L"a\uFFFDz"},
        {"two of them", "a\x80\xBFz", L"a\uFFFD\uFFFDz"},
        {"never a byte of UTF-8", "a\xFF\xFEz", L"a\uFFFD\uFFFDz"},
        {"Latin-1", "caf\xE9", L"caf\uFFFD"},
        {"cut after one of two", "a\xC5", L"a\uFFFD"},
        {"cut, text goes on", "a\xC5z", L"a\uFFFDz"},
        {"overlong zero", "a\xC0\x80z", L"a\uFFFD\uFFFDz"},
        {"a character after a cut one", "\xC5\xC5\x84", L"\uFFFD\u0144"},
    };
    for (const Row& row : rows) {
        std::wstring wide = L"before";
        EXPECT_TRUE(core::ZYLCore_UTF8_Unicode(row.utf8, wide)) << row.name;
        EXPECT_EQ(row.wide, wide) << row.name;
    }
}

// How many replacements a longer sequence gives is the system's affair; that nothing
// else is lost is ours.
TEST(TextEncoding, LongerBrokenSequencesLoseNothingAroundThem) {
    for (const char* const broken :
         {"\xE2\x82", "\xF0\x9F\x90", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80",
          "\xE0\x80\x80", "\xF0\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xF0\x9F"}) {
        const std::string utf8 = std::string("\u0144 ") + broken + " \U0001F40C";
        std::wstring wide;
        ASSERT_TRUE(core::ZYLCore_UTF8_Unicode(utf8.c_str(), wide));
        const std::wstring before = L"\u0144 ";
        const std::wstring after = L" \U0001F40C";
        ASSERT_GT(wide.size(), before.size() + after.size());
        EXPECT_EQ(before, wide.substr(0, before.size()));
        EXPECT_EQ(after, wide.substr(wide.size() - after.size()));
        const std::size_t length = wide.size() - before.size() - after.size();
        EXPECT_EQ(std::wstring(length, L'\uFFFD'), wide.substr(before.size(), length));
    }
}

TEST(TextEncoding, SurrogatesOnTheirOwnBecomeReplacements) {
    for (const std::uint32_t codePoint : {0xD800U, 0xDBFFU, 0xDC00U, 0xDFFFU}) {
        const std::wstring wide = {L'a', static_cast<wchar_t>(codePoint), L'z'};
        std::string utf8;
        EXPECT_TRUE(core::ZYLCore_Unicode_Uft8(wide.c_str(), utf8));
        EXPECT_EQ("a\uFFFDz", utf8);
    }
}

TEST(TextEncoding, PlainTextIsTheSameInEveryEncoding) {
    const std::string plain = "A clip, 100% [1] ~";
    const std::wstring widePlain = L"A clip, 100% [1] ~";
    std::wstring wide;
    std::string narrow;
    EXPECT_TRUE(core::ZYLCore_Oem_Unicode(plain.c_str(), wide));
    EXPECT_EQ(widePlain, wide);
    EXPECT_TRUE(core::ZYLCore_Unicode_Oem(widePlain.c_str(), narrow));
    EXPECT_EQ(plain, narrow);
    EXPECT_TRUE(core::UTF8_STRING(plain.c_str(), narrow));
    EXPECT_EQ(plain, narrow);
    // What the ANSI encoding lacks may be replaced; what it has stays.
    EXPECT_TRUE(core::UTF8_STRING("a\U0001F40Cz", narrow));
    EXPECT_EQ('a', narrow.front());
    EXPECT_EQ('z', narrow.back());
    // Empty text is text.
    EXPECT_TRUE(core::ZYLCore_UTF8_Unicode("", wide));
    EXPECT_TRUE(wide.empty());
    EXPECT_TRUE(core::ZYLCore_Unicode_Uft8(L"", narrow));
    EXPECT_TRUE(narrow.empty());
}

TEST(TextEncoding, NullLeavesTheOutputAlone) {
    std::wstring wide = L"kept";
    std::string narrow = "kept";
    EXPECT_FALSE(core::ZYLCore_UTF8_Unicode(nullptr, wide));
    EXPECT_FALSE(core::ZYLCore_Oem_Unicode(nullptr, wide));
    EXPECT_FALSE(core::ZYLCore_Unicode_Uft8(nullptr, narrow));
    EXPECT_FALSE(core::ZYLCore_Unicode_Oem(nullptr, narrow));
    EXPECT_FALSE(core::UTF8_STRING(nullptr, narrow));
    EXPECT_EQ(L"kept", wide);
    EXPECT_EQ("kept", narrow);
}

}  // namespace
