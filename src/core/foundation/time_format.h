#pragma once

// A wall-clock time as text.

#include "core/platform/platform.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace core {

/// An instant of the wall clock, broken down.
struct WallTime {
    std::int64_t second;  // since 1970-01-01 UTC
    int millisecond;      // 0 to 999
    platform::LocalTime local;
};

/// The instant at `ticks100ns` since 1970-01-01 UTC. One whose year has no
/// representation gives 1970-01-01 in UTC.
WallTime WallTimeOf(std::int64_t ticks100ns) noexcept;

/// Appends `pattern` to `text`, its conversions replaced: those of `strftime`,
/// modifiers E and O included, with the names and orders of the C locale.
/// "%s" gives the seconds since 1970-01-01 UTC. What is no conversion, a '%' at the
/// end too, is copied as it stands.
void AppendTime(const WallTime& time, std::string_view pattern, std::string& text);

/// What `TimeUtil::now` answers at `time`: the first "%s" gives the milliseconds.
std::string FormatWallTime(const WallTime& time, std::string_view format);

}  // namespace core
