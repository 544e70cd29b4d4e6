#include "core/platform/platform.h"

#include <pthread.h>
#include <time.h>
#include <cerrno>

namespace core::platform {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kNanosPerTick = 100;

std::int64_t TicksOf(clockid_t clock) noexcept {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * kTicksPerSecond + now.tv_nsec / kNanosPerTick;
}

// The C library keeps its time zone under a lock that a fork does not look after: a child
// would wait for ever for one that another thread held. None of our threads holds it
// without this one, which is held across forks.
pthread_mutex_t zoneMutex = PTHREAD_MUTEX_INITIALIZER;

void LockZone() noexcept {
    pthread_mutex_lock(&zoneMutex);
}
void UnlockZone() noexcept {
    pthread_mutex_unlock(&zoneMutex);
}
[[maybe_unused]] const bool kIsForkSafe = pthread_atfork(LockZone, UnlockZone, UnlockZone) == 0;

}  // namespace

std::uint64_t MonotonicCounter() noexcept {
    return static_cast<std::uint64_t>(TicksOf(CLOCK_MONOTONIC));
}

std::uint64_t CounterFrequency() noexcept {
    return kTicksPerSecond;
}

std::int64_t WallClock100ns() noexcept {
    return TicksOf(CLOCK_REALTIME);
}

bool BreakDownLocalTime(std::int64_t second, LocalTime& local) noexcept {
    const time_t time = second;
    std::tm fields{};
    LockZone();
    const bool isKnown = localtime_r(&time, &fields) != nullptr;
    UnlockZone();
    if (!isKnown) {
        return false;
    }
    local.fields = fields;
    local.utcOffset = static_cast<std::int32_t>(fields.tm_gmtoff);
    return true;
}

std::string TimeZoneName(const LocalTime& local) {
    return local.fields.tm_zone != nullptr ? local.fields.tm_zone : "";
}

void SleepMilliseconds(std::uint32_t duration) noexcept {
    timespec left{};
    left.tv_sec = duration / 1000;
    left.tv_nsec = static_cast<long>(duration % 1000) * 1'000'000;
    // A signal must not shorten the sleep.
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace core::platform
