// The generator of identifiers where the system has none.

#include "core/platform/platform.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace core::platform {
namespace {

using Identifier = std::array<std::uint8_t, 16>;

Identifier Make() {
    Identifier made{};
    EXPECT_EQ(IdentifierStatus::Unique, GenerateSequentialIdentifier(made));
    return made;
}

std::uint64_t TicksOf(const Identifier& identifier) {
    std::uint64_t ticks = identifier[7] & 0x0F;
    for (std::size_t at = 7; at-- > 0;) {
        ticks = ticks << 8 | identifier[at];
    }
    return ticks;
}

TEST(PosixIdentifiers, FollowTheClockInOneThread) {
    Identifier last = Make();
    for (int i = 0; i < 100'000; ++i) {
        const Identifier next = Make();
        ASSERT_EQ(1, next[7] >> 4);
        ASSERT_EQ(2, next[8] >> 6) << "the variant of RFC 9562";
        ASSERT_EQ(1, next[10] & 1) << "a node that is no network card";
        ASSERT_TRUE(std::equal(next.begin() + 8, next.end(), last.begin() + 8));
        ASSERT_GT(TicksOf(next), TicksOf(last));
        last = next;
    }
    constexpr std::int64_t kFrom1582To1970 = 122'192'928'000'000'000;
    const auto ahead =
        static_cast<std::int64_t>(TicksOf(last)) - kFrom1582To1970 - WallClock100ns();
    // Behind by the time since it was made, ahead by no more than a burst takes.
    EXPECT_LT(ahead, 10'000'000);
    EXPECT_GT(ahead, -600'000'000);
}

// A forked process starts with its parent's memory, and must not go on from there.
TEST(PosixIdentifiers, ForkedProcessesDrawEveryBitAnew) {
    const Identifier before = Make();
    const std::uint64_t thread = CurrentThreadId();
    Identifier ones{};
    Identifier zeros{};
    for (int i = 0; i < 40; ++i) {
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        const pid_t child = fork();
        ASSERT_NE(-1, child);
        if (child == 0) {
            const Identifier made = Make();
            const bool isOther = CurrentThreadId() != thread;
            const bool isSent = write(ends[1], made.data(), made.size()) == 16;
            _exit(isOther && isSent ? 0 : 1);
        }
        Identifier theirs{};
        EXPECT_EQ(16, read(ends[0], theirs.data(), theirs.size()));
        int status = -1;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
        close(ends[0]);
        close(ends[1]);
        EXPECT_GE(TicksOf(theirs), TicksOf(before));
        EXPECT_EQ(1, theirs[7] >> 4);
        for (std::size_t at = 8; at < 16; ++at) {
            ones[at] |= theirs[at];
            zeros[at] |= static_cast<std::uint8_t>(~theirs[at]);
        }
    }
    for (std::size_t at = 8; at < 16; ++at) {
        // Variant and multicast bit are what they are.
        EXPECT_EQ(at == 8 ? 0xBF : 0xFF, ones[at]) << at;
        EXPECT_EQ(at == 8 ? 0x7F : at == 10 ? 0xFE : 0xFF, zeros[at]) << at;
    }
}

}  // namespace
}  // namespace core::platform
