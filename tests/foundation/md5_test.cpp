#include <core/foundation/md5.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "support/file_rows.h"

namespace {

using core::md5::MD5Digest;
using core::md5::MD5String;
using core::md5::MD5Sum;

TEST(Md5, AnswersTheExamplesOfTheStandard) {
    for (const support::FileRow& row : support::RowsOf("md5_examples.txt")) {
        EXPECT_EQ(row["digest"], MD5String(row[""].data(), row[""].size())) << row.name;
    }
    EXPECT_EQ(MD5String("", 0), MD5String(nullptr, 0));
    MD5Digest digest;
    static_assert(sizeof digest == 16);
    MD5Sum("abc", 3, &digest);
    EXPECT_EQ(0x90, digest.bytes[0]);
    EXPECT_EQ(0x72, digest.bytes[15]);
}

// Every way in which the padding can fall, and unaligned data; what other programs (Python's
// hashlib) make of the same bytes.
TEST(Md5, AnswersAsOthersForEveryLength) {
    std::string data;
    std::string digests;
    for (unsigned i = 0; i < 400; ++i) {
        const std::size_t skip = i % 8;
        digests += MD5String(data.data() + skip, data.size() - skip);
        data += static_cast<char>((i * i * 7 + i * 31 + i / 8) % 256);
    }
    EXPECT_EQ("dd06f49d86386fdffc460e1bc71110e7", MD5String(digests.data(), digests.size()));
    data.assign(1'000'003, 'x');
    EXPECT_EQ("55a76be3046fa1e602ae663deccfcd78", MD5String(data.data(), data.size()));
}

}  // namespace
