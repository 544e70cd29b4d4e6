#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace core {

/// The time of a log line, "2024-01-31 23:59:59.123T+0100".
class TimeStamp {
public:
    /// The local time now. Breaks down the time once a second and thread.
    TimeStamp();
    std::string_view View() const noexcept { return {text, size}; }
    /// The same time in 100 ns since 1970-01-01 UTC.
    std::int64_t Ticks() const noexcept { return ticks; }

private:
    std::int64_t ticks;
    char text[64];
    std::size_t size;
};

/// The time now as `TimeStamp` writes it, in the zone of its last line: for a crash, where
/// the zone can't be looked up. Allocates nothing.
std::string_view TimeWithoutZone(char (&text)[64]) noexcept;

}  // namespace core
