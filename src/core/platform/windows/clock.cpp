#include "core/platform/platform.h"
#include "core/platform/windows/windows_headers.h"

#include <ctime>

namespace core::platform {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
// The system counts file times from 1601-01-01.
constexpr std::int64_t kTicksFrom1601To1970 = 116'444'736'000'000'000;

using ReadClock = void WINAPI(LPFILETIME);

// Windows 7 has only the clock that steps with the timer interrupt.
ReadClock* FindClock() noexcept {
    ReadClock* const precise =
        FindFunction<ReadClock>("kernel32.dll", "GetSystemTimePreciseAsFileTime");
    return precise != nullptr ? precise : &GetSystemTimeAsFileTime;
}

}  // namespace

std::uint64_t MonotonicCounter() noexcept {
    LARGE_INTEGER counter{};
    LARGE_INTEGER frequency{};
    QueryPerformanceCounter(&counter);
    QueryPerformanceFrequency(&frequency);
    const auto count = static_cast<std::uint64_t>(counter.QuadPart);
    const auto perSecond = static_cast<std::uint64_t>(frequency.QuadPart);
    if (perSecond == kTicksPerSecond) {
        return count;
    }
    // Older machines count at another rate.
    return count / perSecond * kTicksPerSecond + count % perSecond * kTicksPerSecond / perSecond;
}

std::uint64_t CounterFrequency() noexcept {
    return kTicksPerSecond;
}

std::int64_t WallClock100ns() noexcept {
    static ReadClock* const readClock = FindClock();
    FILETIME time{};
    readClock(&time);
    return (static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime) -
           kTicksFrom1601To1970;
}

bool BreakDownLocalTime(std::int64_t second, LocalTime& local) noexcept {
    std::tm here{};
    std::tm utc{};
    if (_localtime64_s(&here, &second) != 0 || _gmtime64_s(&utc, &second) != 0) {
        return false;
    }
    const int days =
        here.tm_year != utc.tm_year ? here.tm_year - utc.tm_year : here.tm_yday - utc.tm_yday;
    const int hours = days * 24 + here.tm_hour - utc.tm_hour;
    const int minutes = hours * 60 + here.tm_min - utc.tm_min;
    local.fields = here;
    local.utcOffset = minutes * 60 + here.tm_sec - utc.tm_sec;
    return true;
}

std::string TimeZoneName(const LocalTime& local) {
    TIME_ZONE_INFORMATION zone{};
    if (GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) {
        return {};
    }
    std::string name;
    ToNarrow(local.fields.tm_isdst > 0 ? zone.DaylightName : zone.StandardName,
             NarrowEncoding::Utf8, name);
    return name;
}

void SleepMilliseconds(std::uint32_t duration) noexcept {
    // The largest number would mean forever.
    Sleep(duration == INFINITE ? duration - 1 : duration);
}

}  // namespace core::platform
