#include "core/logging/time_stamp.h"

#include "core/foundation/time_format.h"
#include "core/platform/platform.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <string>

namespace core {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMillisecond = 10'000;

/// What stays the same for a second. Without a destructor, so that threads can log
/// to their very end.
struct KnownSecond {
    std::int64_t second = std::numeric_limits<std::int64_t>::min();
    char date[40] = {};
    std::size_t dateSize = 0;
    char zone[12] = {};
    std::size_t zoneSize = 0;
};

thread_local KnownSecond known;

/// In seconds, of the last line.
std::atomic<std::int32_t> lastUtcOffset = 0;

template <std::size_t Capacity>
std::size_t Keep(const std::string& text, char (&place)[Capacity]) noexcept {
    const std::size_t size = std::min(text.size(), Capacity);
    std::copy_n(text.data(), size, place);
    return size;
}

void Learn(std::int64_t second) {
    const WallTime time = WallTimeOf(second * kTicksPerSecond);
    known.dateSize = Keep(FormatWallTime(time, "%F %T."), known.date);
    known.zoneSize = Keep(FormatWallTime(time, "T%z"), known.zone);
    known.second = second;
    lastUtcOffset.store(time.local.utcOffset, std::memory_order_relaxed);
}

/// `value` in `digits` digits.
char* AppendDigits(int value, int digits, char* to) noexcept {
    for (int i = digits; i-- > 0; value /= 10) {
        to[i] = static_cast<char>('0' + value % 10);
    }
    return to + digits;
}

}  // namespace

TimeStamp::TimeStamp() : ticks(platform::WallClock100ns()) {
    const std::int64_t second = ticks / kTicksPerSecond - (ticks % kTicksPerSecond < 0 ? 1 : 0);
    if (second != known.second) {
        Learn(second);
    }
    const auto milliseconds =
        static_cast<int>((ticks - second * kTicksPerSecond) / kTicksPerMillisecond);
    char* end = std::copy_n(known.date, known.dateSize, text);
    end = AppendDigits(milliseconds, 3, end);
    end = std::copy_n(known.zone, known.zoneSize, end);
    size = static_cast<std::size_t>(end - text);
}

std::string_view TimeWithoutZone(char (&text)[64]) noexcept {
    namespace ch = std::chrono;
    const std::int32_t offset = lastUtcOffset.load(std::memory_order_relaxed);
    const ch::milliseconds local(platform::WallClock100ns() / kTicksPerMillisecond +
                                 std::int64_t{offset} * 1000);
    const ch::sys_time<ch::milliseconds> now(local);
    const auto day = ch::floor<ch::days>(now);
    const ch::year_month_day date(day);
    const ch::hh_mm_ss<ch::milliseconds> time(now - day);
    char* end = AppendDigits(static_cast<int>(date.year()), 4, text);
    *end++ = '-';
    end = AppendDigits(static_cast<int>(static_cast<unsigned>(date.month())), 2, end);
    *end++ = '-';
    end = AppendDigits(static_cast<int>(static_cast<unsigned>(date.day())), 2, end);
    *end++ = ' ';
    end = AppendDigits(static_cast<int>(time.hours().count()), 2, end);
    *end++ = ':';
    end = AppendDigits(static_cast<int>(time.minutes().count()), 2, end);
    *end++ = ':';
    end = AppendDigits(static_cast<int>(time.seconds().count()), 2, end);
    *end++ = '.';
    end = AppendDigits(static_cast<int>(time.subseconds().count()), 3, end);
    *end++ = 'T';
    *end++ = offset < 0 ? '-' : '+';
    const int minutes = std::abs(offset) / 60;
    end = AppendDigits(minutes / 60 * 100 + minutes % 60, 4, end);
    return {text, static_cast<std::size_t>(end - text)};
}

}  // namespace core
