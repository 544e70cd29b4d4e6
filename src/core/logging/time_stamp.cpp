#include "core/logging/time_stamp.h"

#include "core/foundation/time_format.h"
#include "core/platform/platform.h"

#include <algorithm>
#include <cstddef>
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
    *end++ = static_cast<char>('0' + milliseconds / 100);
    *end++ = static_cast<char>('0' + milliseconds / 10 % 10);
    *end++ = static_cast<char>('0' + milliseconds % 10);
    end = std::copy_n(known.zone, known.zoneSize, end);
    size = static_cast<std::size_t>(end - text);
}

}  // namespace core
