#include "core/foundation/clock.h"

#include <gtest/gtest.h>

#include <random>

namespace core {
namespace {

// Long division by hand, digit by digit in base 2: needs no number above 64 bits.
std::uint64_t ProductQuotient(std::uint64_t a, std::uint64_t b, std::uint64_t divisor) {
    std::uint64_t quotient = 0;
    std::uint64_t rest = 0;  // below the divisor, which is below 2^63
    for (int bit = 63; bit >= 0; --bit) {
        quotient *= 2;
        rest *= 2;
        if (rest >= divisor) {
            rest -= divisor;
            ++quotient;
        }
        if ((a >> bit & 1) != 0) {
            quotient += b / divisor;
            rest += b % divisor;
            if (rest >= divisor) {
                rest -= divisor;
                ++quotient;
            }
        }
    }
    return quotient;
}

TEST(Clock, NanosecondsAreExactAtEveryFrequency) {
    std::mt19937_64 dice(1);
    for (const std::uint64_t frequency : {10'000'000ULL, 3'579'545ULL, 1ULL, 2'400'000'001ULL}) {
        for (int i = 0; i < 2000; ++i) {
            // Up to 200 years.
            const std::uint64_t counter = dice() % (6'000'000'000ULL * frequency);
            EXPECT_EQ(ProductQuotient(counter, 1'000'000'000, frequency),
                      static_cast<std::uint64_t>(NanosOf(counter, frequency)))
                << counter << " at " << frequency;
        }
    }
}

// Half an hour after the start of the system, the wrapping form is back at 0.
TEST(Clock, TicksWrapWithTheProduct) {
    constexpr std::uint64_t kFrequency = 10'000'000;
    constexpr std::uint64_t kLastBeforeWrap = 18'446'744'073;
    EXPECT_EQ(1'844'674'407'300U, WrappingNanos(kLastBeforeWrap, kFrequency));
    EXPECT_EQ(29U, WrappingNanos(kLastBeforeWrap + 1, kFrequency));
}

TEST(Clock, MillisecondsAreTruncatedTowardZero) {
    EXPECT_EQ(1, WholeMilliseconds(0, 1'999'999));
    EXPECT_EQ(-1, WholeMilliseconds(1'999'999, 0));
    EXPECT_EQ(0, WholeMilliseconds(5, 1'000'004));
    EXPECT_EQ(1, WholeMilliseconds(5, 1'000'005));
}

}  // namespace
}  // namespace core
