#include <core/foundation/md5.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/dice.h"
#include "support/file_rows.h"

namespace {

using core::md5::MD5Digest;
using core::md5::MD5String;
using core::md5::MD5Sum;

/// MD5 as RFC 1321 words it: padded as a whole, its table from the sine, one loop.
std::string PlainMd5(std::string message) {
    const std::uint64_t bits = std::uint64_t{message.size()} * 8;
    message += static_cast<char>(0x80);
    while (message.size() % 64 != 56) {
        message += '\0';
    }
    for (int i = 0; i < 8; ++i) {
        message += static_cast<char>(bits >> (8 * i));
    }
    std::uint32_t state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    static constexpr int kShifts[4][4] = {
        {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    static constexpr int kOrder[4][2] = {{1, 0}, {5, 1}, {3, 5}, {7, 0}};
    for (std::size_t block = 0; block < message.size(); block += 64) {
        auto [a, b, c, d] = std::to_array(state);
        for (int i = 0; i < 64; ++i) {
            const int round = i / 16;
            const std::uint32_t f = round == 0   ? (b & c) | (~b & d)
                                    : round == 1 ? (b & d) | (c & ~d)
                                    : round == 2 ? b ^ c ^ d
                                                 : c ^ (b | ~d);
            const int k = (kOrder[round][0] * i + kOrder[round][1]) % 16;
            std::uint32_t word = 0;
            for (int byte = 3; byte >= 0; --byte) {
                const std::size_t at = block + static_cast<std::size_t>(4 * k + byte);
                word = word << 8 | static_cast<unsigned char>(message[at]);
            }
            const auto sine = static_cast<std::uint32_t>(0x1p32 * std::fabs(std::sin(i + 1.0)));
            const std::uint32_t next = b + std::rotl(a + f + word + sine, kShifts[round][i % 4]);
            a = d;
            d = c;
            c = b;
            b = next;
        }
        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
    }
    std::string text;
    for (const std::uint32_t word : state) {
        for (int i = 0; i < 4; ++i) {
            const unsigned byte = word >> (8 * i) & 255;
            text += "0123456789abcdef"[byte / 16];
            text += "0123456789abcdef"[byte % 16];
        }
    }
    return text;
}

TEST(Md5, AnswersTheExamplesOfTheStandard) {
    for (const support::FileRow& row : support::RowsOf("md5_examples.txt")) {
        EXPECT_EQ(row["digest"], MD5String(row[""].data(), row[""].size())) << row.name;
        EXPECT_EQ(row["digest"], PlainMd5(row[""])) << row.name;
    }
    EXPECT_EQ(PlainMd5(""), MD5String(nullptr, 0));
    MD5Digest digest;
    static_assert(sizeof digest == 16);
    MD5Sum("abc", 3, &digest);
    EXPECT_EQ(0x90, digest.bytes[0]);
    EXPECT_EQ(0x72, digest.bytes[15]);
}

// Every way in which the padding can fall, and unaligned data.
TEST(Md5, AgreesWithThePlainFormForEveryLength) {
    Dice dice(1321);
    std::string data;
    for (int length = 0; length < 400; ++length) {
        const std::size_t skip = data.size() % 8;
        EXPECT_EQ(PlainMd5(data.substr(skip)), MD5String(data.data() + skip, data.size() - skip));
        data += static_cast<char>(dice.Below(256));
    }
    data.assign(1'000'003, 'x');
    EXPECT_EQ(PlainMd5(data), MD5String(data.data(), data.size()));
}

}  // namespace
