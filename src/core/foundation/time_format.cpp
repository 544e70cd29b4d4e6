// The conversions of strftime, written out: Windows' own knows half of them, stops
// the process at an unknown one, and gives "%z" as a name.

#include "core/foundation/time_format.h"

#include <algorithm>
#include <charconv>

namespace core {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;

constexpr std::string_view kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
constexpr std::string_view kMonthNames[] = {"January",   "February", "March",    "April",
                                            "May",       "June",     "July",     "August",
                                            "September", "October",  "November", "December"};

std::string_view DayName(const std::tm& time) noexcept {
    return kDayNames[time.tm_wday];
}
std::string_view MonthName(const std::tm& time) noexcept {
    return kMonthNames[time.tm_mon];
}

void AppendNumber(std::int64_t number, int width, char fill, std::string& text) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const auto length = static_cast<int>(end - digits);
    if (width > length) {
        text.append(static_cast<std::size_t>(width - length), fill);
    }
    text.append(digits, end);
}

// Years, weeks and days of ISO 8601: a week belongs to the year that holds its
// Thursday, and starts on Monday.
struct IsoWeek {
    std::int64_t year;
    int week;
};

bool IsLeapYear(std::int64_t year) noexcept {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

IsoWeek IsoWeekOf(const std::tm& time) noexcept {
    const int fromMonday = (time.tm_wday + 6) % 7;
    std::int64_t year = time.tm_year + std::int64_t{1900};
    int thursday = time.tm_yday - fromMonday + 3;  // day of the year, from 0
    const int daysInYear = IsLeapYear(year) ? 366 : 365;
    if (thursday < 0) {
        --year;
        thursday += IsLeapYear(year) ? 366 : 365;
    } else if (thursday >= daysInYear) {
        ++year;
        thursday -= daysInYear;
    }
    return {year, thursday / 7 + 1};
}

int HourOnDial(const std::tm& time) noexcept {
    return time.tm_hour % 12 == 0 ? 12 : time.tm_hour % 12;
}

void AppendUtcOffset(std::int32_t seconds, std::string& text) {
    const std::int32_t minutes = (seconds < 0 ? -seconds : seconds) / 60;
    text += seconds < 0 ? '-' : '+';
    AppendNumber(minutes / 60 * 100 + minutes % 60, 4, '0', text);
}

// The conversions that stand for others; empty for every other letter.
std::string_view Expansion(char letter) noexcept {
    switch (letter) {
        case 'c':
            return "%a %b %e %H:%M:%S %Y";
        case 'D':
        case 'x':
            return "%m/%d/%y";
        case 'F':
            return "%Y-%m-%d";
        case 'r':
            return "%I:%M:%S %p";
        case 'R':
            return "%H:%M";
        case 'T':
        case 'X':
            return "%H:%M:%S";
        default:
            return {};
    }
}

// Appends what the conversion `letter` gives; false when there is none.
bool AppendConversion(const WallTime& wall, char letter, std::string& text) {
    const std::tm& time = wall.local.fields;
    const std::int64_t year = time.tm_year + std::int64_t{1900};
    const auto number = [&](std::int64_t value, int width = 2, char fill = '0') {
        AppendNumber(value, width, fill, text);
    };
    switch (letter) {
        case 'a':
            text += DayName(time).substr(0, 3);
            return true;
        case 'A':
            text += DayName(time);
            return true;
        case 'b':
        case 'h':
            text += MonthName(time).substr(0, 3);
            return true;
        case 'B':
            text += MonthName(time);
            return true;
        case 'C':
            number(year / 100);
            return true;
        case 'd':
            number(time.tm_mday);
            return true;
        case 'e':
            number(time.tm_mday, 2, ' ');
            return true;
        case 'g':
            number(IsoWeekOf(time).year % 100);
            return true;
        case 'G':
            number(IsoWeekOf(time).year, 1);
            return true;
        case 'H':
            number(time.tm_hour);
            return true;
        case 'I':
            number(HourOnDial(time));
            return true;
        case 'j':
            number(time.tm_yday + 1, 3);
            return true;
        case 'm':
            number(time.tm_mon + 1);
            return true;
        case 'M':
            number(time.tm_min);
            return true;
        case 'n':
            text += '\n';
            return true;
        case 'p':
            text += time.tm_hour < 12 ? "AM" : "PM";
            return true;
        case 's':
            number(wall.second, 1);
            return true;
        case 'S':
            number(time.tm_sec);
            return true;
        case 't':
            text += '\t';
            return true;
        case 'u':
            number(time.tm_wday == 0 ? 7 : time.tm_wday, 1);
            return true;
        case 'U':
            number((time.tm_yday + 7 - time.tm_wday) / 7);
            return true;
        case 'V':
            number(IsoWeekOf(time).week);
            return true;
        case 'w':
            number(time.tm_wday, 1);
            return true;
        case 'W':
            number((time.tm_yday + 7 - (time.tm_wday + 6) % 7) / 7);
            return true;
        case 'y':
            number(year % 100);
            return true;
        case 'Y':
            number(year, 1);
            return true;
        case 'z':
            AppendUtcOffset(wall.local.utcOffset, text);
            return true;
        case 'Z':
            text += platform::TimeZoneName(wall.local);
            return true;
        case '%':
            text += '%';
            return true;
        default:
            return false;
    }
}

}  // namespace

WallTime WallTimeOf(std::int64_t ticks100ns) noexcept {
    // Rounded down, also before 1970.
    std::int64_t second = ticks100ns / kTicksPerSecond;
    std::int64_t rest = ticks100ns % kTicksPerSecond;
    if (rest < 0) {
        rest += kTicksPerSecond;
        --second;
    }
    WallTime time{second, static_cast<int>(rest / kTicksPerMillisecond), {}};
    if (!platform::BreakDownLocalTime(second, time.local)) {
        time.local.fields.tm_mday = 1;
        time.local.fields.tm_year = 70;
        time.local.fields.tm_wday = 4;
    }
    return time;
}

void AppendTime(const WallTime& time, std::string_view pattern, std::string& text) {
    while (!pattern.empty()) {
        const std::size_t plain = std::min(pattern.find('%'), pattern.size());
        text += pattern.substr(0, plain);
        pattern.remove_prefix(plain);
        if (pattern.empty()) {
            return;
        }
        // The modifiers ask for another calendar, which the C locale does not have.
        const bool isModified = pattern.size() > 2 && (pattern[1] == 'E' || pattern[1] == 'O');
        const std::size_t length = std::min<std::size_t>(isModified ? 3 : 2, pattern.size());
        const std::string_view conversion = pattern.substr(0, length);
        const char letter = length > 1 ? conversion.back() : '\0';
        if (const std::string_view expansion = Expansion(letter); !expansion.empty()) {
            AppendTime(time, expansion, text);  // once deep: expansions hold no others
        } else if (!AppendConversion(time, letter, text)) {
            text += conversion;
        }
        pattern.remove_prefix(length);
    }
}

std::string FormatWallTime(const WallTime& time, std::string_view format) {
    constexpr std::string_view kDefault = "%Y_%m_%d_%H_%M_%S";
    constexpr std::string_view kMilliseconds = "%s";
    std::string pattern(format.empty() ? kDefault : format);
    if (const std::size_t at = pattern.find(kMilliseconds); at != std::string::npos) {
        std::string digits;
        AppendNumber(time.millisecond, 3, '0', digits);
        pattern.replace(at, kMilliseconds.size(), digits);
    }
    std::string text;
    AppendTime(time, pattern, text);
    return text;
}

}  // namespace core
