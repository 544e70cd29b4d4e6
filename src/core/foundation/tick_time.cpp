#include <core/foundation/tick_time.h>

#include "core/foundation/clock.h"
#include "core/platform/platform.h"

namespace core {

std::uint64_t TickTime::CurrentTickNanos() noexcept {
    const std::uint64_t frequency = platform::CounterFrequency();
    return WrappingNanos(platform::MonotonicCounter(), frequency);
}

std::uint64_t TickTime::CurrentTickMicros() noexcept {
    return CurrentTickNanos() / 1'000;
}

std::uint64_t TickTime::CurrentTick() noexcept {
    return CurrentTickNanos() / 1'000'000;
}

std::uint64_t TickTime::TimeAfter(std::uint64_t ms) noexcept {
    return ms + CurrentTick();
}

std::int64_t TickTime::TimeSince(std::uint64_t tick) noexcept {
    return TimeDiff(CurrentTick(), tick);
}

std::int64_t TickTime::TimeUntil(std::uint64_t tick) noexcept {
    return TimeDiff(tick, CurrentTick());
}

std::int64_t TickTime::TimeDiff(std::uint64_t a, std::uint64_t b) noexcept {
    return static_cast<std::int64_t>(a - b);
}

}  // namespace core
