#include <core/foundation/file_helpers.h>
#include <core/foundation/tick_time.h>
#include <core/foundation/time_span.h>
#include <core/foundation/time_util.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <limits>
#include <regex>
#include <string>
#include <thread>

namespace {

using core::TickTime;
using core::TimeSpan;
using core::TimeUtil;
using std::chrono::steady_clock;

// Ticks start again from 0 every 1,844,674 ms; a test must not run across that.
void StayClearOfTheWrap() {
    while (TickTime::CurrentTick() > 1'842'000) {
        core::safe_sleep_ms(100);
    }
}

double MillisecondsSince(steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(steady_clock::now() - start).count();
}

// Clocks of the standard library are taken inside and outside of ours; the counter's
// steps and the rounding to whole milliseconds may add one.
TEST(Time, DurationsAgreeWithTheSteadyClock) {
    StayClearOfTheWrap();
    const auto outer = steady_clock::now();
    TimeSpan span;
    span.start();
    const std::uint64_t tick = TickTime::CurrentTick();
    const std::uint64_t micros = TickTime::CurrentTickMicros();
    const std::uint64_t nanos = TickTime::CurrentTickNanos();
    const auto inner = steady_clock::now();
    core::safe_sleep_ms(30);
    const double atLeast = MillisecondsSince(inner);
    const auto elapsedNanos = static_cast<double>(TickTime::CurrentTickNanos() - nanos);
    const auto elapsedMicros = static_cast<double>(TickTime::CurrentTickMicros() - micros);
    const auto elapsed = static_cast<double>(TickTime::TimeSince(tick));
    ASSERT_NE(nullptr, span.end());
    const double atMost = MillisecondsSince(outer);

    EXPECT_GE(atLeast, 30.0);
    for (const double measured :
         {elapsedNanos / 1e6, elapsedMicros / 1e3, elapsed, static_cast<double>(span.timeSpan())}) {
        EXPECT_GE(measured, atLeast - 1.0);
        EXPECT_LE(measured, atMost + 1.0);
    }
}

TEST(Time, TicksCountInStepsOfTenMegahertz) {
    StayClearOfTheWrap();
    const std::uint64_t first = TickTime::CurrentTickNanos();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(0U, (TickTime::CurrentTickNanos() - first) % 100);
    }
}

TEST(Time, DifferencesHaveASignAndWrap) {
    StayClearOfTheWrap();
    // An hour ahead, of which a test that is held up takes little.
    constexpr std::int64_t kHour = 3'600'000;
    const std::int64_t left = TickTime::TimeUntil(TickTime::TimeAfter(kHour));
    EXPECT_LE(left, kHour);
    EXPECT_GT(left, kHour / 2);
    EXPECT_LT(TickTime::TimeUntil(TickTime::CurrentTick() - 5), 0);
    EXPECT_EQ(-7, TickTime::TimeDiff(3, 10));
    EXPECT_EQ(8, TickTime::TimeDiff(3, std::numeric_limits<std::uint64_t>::max() - 4));
}

TEST(Time, AStopwatchThatNeverRanReadsZero) {
    TimeSpan span;
    EXPECT_EQ(0, span.timeSpan());
    span.end();
    EXPECT_GE(span.timeSpan(), 0);
    span.start();
    EXPECT_LE(span.timeSpan(), 0);
}

TEST(Time, TheWallClockIsThatOfTheStandardLibrary) {
    const auto clock = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto before = clock();
    const auto now = static_cast<std::int64_t>(TimeUtil::nowSinceEpoch());
    const auto after = clock();
    // Two clocks of one system may differ by a step of the coarser one, 16 ms.
    EXPECT_GE(now, before - 16);
    EXPECT_LE(now, after + 16);
}

TEST(Time, TheTextIsTheCurrentLocalTime) {
    const auto expected = [] {
        // std::time may lag some milliseconds behind the clock.
        const std::time_t second =
            std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
        char text[64];
        std::strftime(text, sizeof text, "%Y_%m_%d_%H_%M_%S", std::localtime(&second));
        return std::string(text);
    };
    for (int attempt = 0; attempt < 10; ++attempt) {
        const std::string before = expected();
        const std::string text = TimeUtil::now("");
        if (before == expected()) {  // else the second changed meanwhile
            EXPECT_EQ(before, text);
            break;
        }
    }
    EXPECT_TRUE(std::regex_match(TimeUtil::now("%H:%M:%S.%s"),
                                 std::regex("[0-2]\\d:[0-5]\\d:[0-6]\\d\\.\\d{3}")));
}

// Read as unsigned, each of them but the first lasts for weeks.
TEST(Time, SleepingForNoTimeReturns) {
    for (const int ms : {0, -1, std::numeric_limits<int>::min()}) {
        core::safe_sleep_ms(ms);
    }
}

}  // namespace
