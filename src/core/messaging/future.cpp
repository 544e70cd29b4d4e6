#include <core/messaging/future.h>

#include "core/foundation/mutex.h"
#include "core/foundation/never_destroyed.h"
#include "core/messaging/message_queue.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

// Those who wait for a call sleep at one of a few places, found by the record's address:
// a record is made for each call, and hardly any is waited for. Who finishes a call looks
// at its place only where the state says that somebody waits.

namespace core::detail {
namespace {

struct Place {
    void Abandon() noexcept {}

    Mutex mutex;
    Condition changed;
};

constexpr std::size_t kPlaces = 16;
CORE_INIT_FIRST NeverDestroyed<std::array<Place, kPlaces>> placesStorage;

Place& PlaceOf(const CallRecord* record) noexcept {
    return placesStorage.value[reinterpret_cast<std::uintptr_t>(record) / 64 % kPlaces];
}

bool IsOver(int state) noexcept {
    return state >= static_cast<int>(CallState::Done);
}

}  // namespace

bool CallRecord::Sleep(std::int64_t ms) {
    using Clock = std::chrono::steady_clock;
    // Some systems wait for days at most; a wait that is cut goes on.
    constexpr std::chrono::hours kLongest{1};
    const Clock::time_point deadline = ms < 0 ? Clock::time_point::max() : DeadlineIn(ms);
    Place& place = PlaceOf(this);
    Lock lock(place.mutex, place);
    while (!IsOver(state.fetch_or(kIsAwaited) & ~kIsAwaited)) {
        const Clock::time_point now = Clock::now();
        if (now >= deadline || platform::OtherThreadsAreGone()) {
            return false;
        }
        place.changed.WaitUntil(lock, std::min(deadline, now + kLongest));
    }
    return true;
}

bool CallRecord::LeaveAwaited(CallState next) noexcept {
    int before = kIsAwaited | static_cast<int>(CallState::Waiting);
    const bool isOver = IsOver(static_cast<int>(next));
    const int after = isOver ? static_cast<int>(next) : kIsAwaited | static_cast<int>(next);
    // The bit stays once it is set: only the state can have changed.
    if (!state.compare_exchange_strong(before, after)) {
        return false;
    }
    if (isOver) {
        Wake();
    }
    return true;
}

void CallRecord::Wake() noexcept {
    Place& place = PlaceOf(this);
    const Lock lock(place.mutex, place);
    place.changed.NotifyAll();
}

}  // namespace core::detail
