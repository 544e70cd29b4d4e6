// Our strftime beside the system's, and the time of day beside the calendar.

#include "core/foundation/time_format.h"
#include "core/logging/time_stamp.h"

#include <gtest/gtest.h>

#include <ctime>
#include <iomanip>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/file_rows.h"

namespace core {
namespace {

// Windows' strftime has the conversions of C90 only, and its own "%c".
bool SystemKnowsAll() {
    return platform::PathSeparator() == '/';
}

std::string SystemFormat(const std::string& format, const std::tm& time) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::put_time(&time, format.c_str());
    return text.str();
}

std::string Format(const WallTime& time, std::string_view pattern) {
    std::string text;
    AppendTime(time, pattern, text);
    return text;
}

// Days from 1970-01-01 to a date: whole years, then their leap days, then months.
std::int64_t DayNumber(std::int64_t year, int month, int day) {
    constexpr int kBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const auto leapDays = [](std::int64_t y) { return y / 4 - y / 100 + y / 400; };
    const bool isLeap = leapDays(year) != leapDays(year - 1);
    return 365 * (year - 1970) + leapDays(year - 1) - leapDays(1969) +
           kBefore[static_cast<std::size_t>(month)] + (isLeap && month > 1 ? 1 : 0) + day - 1;
}

// Windows breaks down no later year than 3000.
constexpr std::int64_t kLastSecond = 32'503'679'999;  // of the year 2999

std::vector<std::int64_t> Seconds() {
    std::vector<std::int64_t> seconds = {0, 1, 59, 951'782'400, 1'711'846'800, 2'147'483'648};
    std::mt19937_64 dice(3);
    for (int i = 0; i < 3000; ++i) {
        seconds.push_back(static_cast<std::int64_t>(dice() >> (dice() % 64)) & 0x7FFFFFFFF);
    }
    // The days around New Year, where weeks belong to another year; not every hundredth
    // year is a leap year.
    for (int year = 1970; year < 2420; ++year) {
        for (int day = -3; day <= 5; ++day) {
            seconds.push_back(DayNumber(year, 0, day) * 86'400);
        }
    }
    std::erase_if(seconds, [](std::int64_t s) { return s < 0 || s > kLastSecond; });
    return seconds;
}

TEST(TimeFormat, AgreesWithTheSystem) {
    const std::string letters =
        SystemKnowsAll() ? "aAbBcCdDeFgGhHIjmMnprRsStTuUVwWxXyYzZ%" : "aAbBdHIjmMpSUwWyY%";
    const std::string modified = SystemKnowsAll() ? "CcxXyYdeHImMSuUVwW" : "";
    for (const std::int64_t second : Seconds()) {
        const WallTime time = WallTimeOf(second * 10'000'000);
        for (const char letter : letters) {
            const std::string format = {'x', '%', letter};
            EXPECT_EQ(SystemFormat(format, time.local.fields), Format(time, format))
                << format << " at " << second;
        }
        for (const char letter : modified) {
            const std::string format = {'x', '%',
                                        std::string("CcxXyY").find(letter) < 6 ? 'E' : 'O', letter};
            EXPECT_EQ(SystemFormat(format, time.local.fields), Format(time, format))
                << format << " at " << second;
        }
    }
}

// What the calendar of the broken-down time says, less the offset, is the second.
TEST(LocalTime, ItsFieldsAndItsOffsetGiveTheSecondBack) {
    for (const std::int64_t second : Seconds()) {
        const WallTime time =
            WallTimeOf(second * 10'000'000 + (second % 2 ? 1'239'999 : 1'230'000));
        const std::tm& fields = time.local.fields;
        const std::int64_t day = DayNumber(fields.tm_year + 1900LL, fields.tm_mon, fields.tm_mday);
        EXPECT_EQ(second, day * 86'400 + fields.tm_hour * 3600 + fields.tm_min * 60 +
                              fields.tm_sec - time.local.utcOffset);
        EXPECT_EQ(fields.tm_yday, day - DayNumber(fields.tm_year + 1900LL, 0, 1)) << second;
        EXPECT_EQ((day + 4) % 7, fields.tm_wday) << second;
        EXPECT_EQ(second, time.second);
        EXPECT_EQ(123, time.millisecond);
    }
}

TEST(LocalTime, TicksWithoutADateStillGiveATime) {
    for (const std::int64_t ticks : {INT64_MIN, std::int64_t{-1}, INT64_MAX}) {
        const WallTime time = WallTimeOf(ticks);
        EXPECT_GE(time.millisecond, 0);
        EXPECT_LE(time.millisecond, 999);
        EXPECT_FALSE(FormatWallTime(time, "%c %Z %z %V %s.%s").empty());
        EXPECT_NE(0, time.local.fields.tm_year);
    }
}

TEST(LocalTime, IsWhatLinesSayAndWhatACrashSays) {
    const TimeStamp stamp;
    const WallTime time = WallTimeOf(stamp.Ticks());
    const std::string milliseconds = std::to_string(1000 + time.millisecond).substr(1);
    EXPECT_EQ(FormatWallTime(time, "%F %T.") + milliseconds + FormatWallTime(time, "T%z"),
              stamp.View());
    char text[64];
    const std::string_view atCrash = TimeWithoutZone(text);
    EXPECT_EQ(stamp.View().substr(23), atCrash.substr(23));
    EXPECT_LE(stamp.View().substr(0, 23), atCrash.substr(0, 23));
    EXPECT_LE(atCrash.substr(0, 23), TimeStamp().View().substr(0, 23));
}

// Sunday, 2024-03-31 03:00:07.008 in Central Europe, after the hour that is left out.
WallTime SummerMorning() {
    WallTime time{1'711'846'807, 8, {}};
    time.local.fields.tm_year = 124;
    time.local.fields.tm_mon = 2;
    time.local.fields.tm_mday = 31;
    time.local.fields.tm_hour = 3;
    time.local.fields.tm_sec = 7;
    time.local.fields.tm_yday = 90;
    time.local.fields.tm_isdst = 1;
    time.local.utcOffset = 7200;
    return time;
}

TEST(TimeFormat, ReplacesTheFirstMilliseconds) {
    for (const support::FileRow& row : support::RowsOf("time_formats.txt")) {
        EXPECT_EQ(row["text"], FormatWallTime(SummerMorning(), row[""])) << row.name;
    }
    EXPECT_EQ(std::string(100'000, 'x') + "03",
              FormatWallTime(SummerMorning(), std::string(100'000, 'x') + "%H"));
}

TEST(TimeFormat, OffsetsHaveASignHoursAndMinutes) {
    struct Row {
        std::int32_t seconds;
        const char* text;
    };
    const Row rows[] = {{0, "+0000"},       {20'700, "+0545"}, {-5400, "-0130"},
                        {-43'200, "-1200"}, {50'400, "+1400"}, {-60, "-0001"}};
    for (const Row& row : rows) {
        WallTime time = SummerMorning();
        time.local.utcOffset = row.seconds;
        EXPECT_EQ(row.text, Format(time, "%z"));
    }
}

}  // namespace
}  // namespace core
