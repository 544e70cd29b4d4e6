#include <core/foundation/time_util.h>
#include <core/foundation/uuid.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/barrier.h"

namespace {

using core::Uuid;
using core::UuidString;

const std::string kText = "00112233-4455-6677-8899-aabbccddeeff";

Uuid Parse(const std::string& text) {
    Uuid uuid;
    EXPECT_TRUE(uuid.FromString(text)) << text;
    return uuid;
}

Uuid RandomUuid(std::mt19937_64& dice) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = kText;
    for (char& c : text) {
        c = c == '-' ? c : kDigits[dice() % 16];
    }
    return Parse(text);
}

TEST(Uuid, TextListsTheBytesInStorageOrder) {
    const Uuid uuid = Parse(kText);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(0x11 * i, uuid.Data()[i]);
    }
    EXPECT_EQ(kText, uuid.GetUidString());
    EXPECT_EQ("00000000-0000-0000-0000-000000000000", Uuid().GetUidString());
}

TEST(Uuid, EveryFormOfTextComesBack) {
    std::mt19937_64 dice(1);
    for (int i = 0; i < 1000; ++i) {
        const Uuid uuid = RandomUuid(dice);
        std::string text;
        UuidString inPlace;
        ASSERT_TRUE(uuid.ToString(&text));
        ASSERT_TRUE(uuid.ToString(&inPlace));
        EXPECT_EQ(text, inPlace.Text());

        std::string upper = text;
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        EXPECT_EQ(uuid, Parse(text));
        EXPECT_EQ(uuid, Parse(upper + "and more"));
        Uuid back;
        EXPECT_TRUE(back.FromString(inPlace));
        EXPECT_EQ(uuid, back);
        back.SetNil();
        EXPECT_TRUE(back.IsNil());
        EXPECT_TRUE(inPlace.ToUuid(&back));
        EXPECT_EQ(uuid, back);
    }
}

// All bytes at all places.
TEST(Uuid, TakesDigitsAndDashesAtTheirPlacesOnly) {
    for (std::size_t at = 0; at < kText.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string text = kText;
            text[at] = static_cast<char>(byte);
            const bool isDash = kText[at] == '-';
            const bool isValid = isDash ? byte == '-' : std::isxdigit(byte) != 0;
            Uuid uuid;
            EXPECT_EQ(isValid, uuid.FromString(text)) << text;
            // Digits are judged once the shape is right, and then all bytes are written.
            EXPECT_EQ(isDash ? !isValid : byte == 0, uuid.IsNil()) << text;
        }
    }
}

TEST(Uuid, RefusesShortTextsAndNull) {
    for (std::size_t length = 0; length < kText.size(); ++length) {
        Uuid uuid;
        EXPECT_FALSE(uuid.FromString(kText.substr(0, length)));
        EXPECT_TRUE(uuid.IsNil());
    }
    Uuid uuid = Parse(kText);
    EXPECT_FALSE(uuid.FromString(nullptr));
    EXPECT_FALSE(uuid.FromString(UuidString()));
    EXPECT_FALSE(uuid.ToString(static_cast<std::string*>(nullptr)));
    EXPECT_FALSE(uuid.ToString(static_cast<UuidString*>(nullptr)));
    EXPECT_FALSE(uuid.ToString(nullptr, 100));
    EXPECT_FALSE(UuidString().ToUuid(nullptr));
    EXPECT_EQ(kText, uuid.GetUidString());
}

TEST(Uuid, WritesIntoABufferOfAnySize) {
    for (std::size_t size = 0; size <= 40; ++size) {
        std::string buffer(48, '#');
        EXPECT_EQ(size >= 36, Parse(kText).ToString(buffer.data(), size));
        std::string expected(48, '#');
        if (size >= 36) {
            expected.replace(0, 36, kText);
        }
        if (size > 36) {
            expected[36] = '\0';
        }
        EXPECT_EQ(expected, buffer) << size;
    }
}

// On the numbers that the halves are, where the code goes by bytes.
TEST(Uuid, HashIsFnvOfTheHalves) {
    const auto half = [](const Uuid& uuid, int from) {
        std::uint64_t number = 0;
        for (int i = 7; i >= 0; --i) {
            number = number << 8 | uuid.Data()[from + i];
        }
        return number;
    };
    std::mt19937_64 dice(2);
    for (int i = 0; i < 1000; ++i) {
        const Uuid uuid = RandomUuid(dice);
        std::uint64_t rest = half(uuid, 0) ^ half(uuid, 8);
        std::uint64_t hash = 14'695'981'039'346'656'037ULL;
        for (int byte = 0; byte < 8; ++byte, rest /= 256) {
            hash ^= rest % 256;
            hash *= 1'099'511'628'211ULL;
        }
        EXPECT_EQ(hash, uuid.Hash());
        EXPECT_EQ(hash, std::hash<Uuid>()(uuid));
    }
    // The published value for eight zero bytes.
    EXPECT_EQ(0xa8c7f832281a39c5U, Uuid().Hash());
}

std::uint64_t LittleEndian(const std::uint8_t* bytes, int count) {
    std::uint64_t number = 0;
    for (int i = count - 1; i >= 0; --i) {
        number = number << 8 | bytes[i];
    }
    return number;
}

// Milliseconds since 1970 of a version-1 identifier, its fields little-endian.
std::int64_t MillisecondsOf(const Uuid& uuid) {
    const std::uint64_t ticks = LittleEndian(uuid.Data(), 4) |
                                LittleEndian(uuid.Data() + 4, 2) << 32 |
                                (LittleEndian(uuid.Data() + 6, 2) & 0x0FFF) << 48;
    constexpr std::int64_t kFrom1582To1970 = 12'219'292'800'000;
    return static_cast<std::int64_t>(ticks / 10'000) - kFrom1582To1970;
}

TEST(Uuid, GeneratedOnesAreTimeBased) {
    for (int i = 0; i < 1000; ++i) {
        const auto before = static_cast<std::int64_t>(core::TimeUtil::nowSinceEpoch());
        Uuid uuid;
        ASSERT_TRUE(uuid.Generate());
        EXPECT_EQ(1, uuid.Data()[7] >> 4) << uuid.GetUidString();
        // A system may hand out stamps from a stretch of time that it reserved.
        EXPECT_NEAR(static_cast<double>(before), static_cast<double>(MillisecondsOf(uuid)), 5000);
    }
    UuidString text;
    EXPECT_TRUE(text.Generate());
    EXPECT_FALSE(Parse(text.Text()).IsNil());
    EXPECT_FALSE(core::MakeUuid().IsNil());
}

// Also where four threads draw more than one in 100 ns, so that the stamps alone differ.
TEST(Uuid, GeneratedOnesHaveDistinctHashes) {
    constexpr int kThreads = 4;
    constexpr int kEach = 25'000;
    std::vector<std::vector<std::uint64_t>> made(kThreads);
    Barrier start(kThreads);
    std::vector<std::thread> threads;
    for (std::vector<std::uint64_t>& mine : made) {
        threads.emplace_back([&] {
            mine.reserve(kEach);
            start.ArriveAndWait();
            for (int i = 0; i < kEach; ++i) {
                mine.push_back(core::MakeUuid().Hash());
            }
        });
    }
    std::set<std::uint64_t> all;
    for (int i = 0; i < kThreads; ++i) {
        threads[static_cast<std::size_t>(i)].join();
        const auto& mine = made[static_cast<std::size_t>(i)];
        all.insert(mine.begin(), mine.end());
    }
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kEach), all.size());
}

}  // namespace
