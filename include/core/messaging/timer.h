#pragma once

#include <core/export.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/worker.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

CORE_HIDES_STD_BEGIN
namespace core {

namespace detail {
class TimerOwner;
class TimerAccess;
}  // namespace detail

/// Something that will be posted, once or again and again, and can be taken back.
///
///     core::Timer tick = core::PostEvery(bus, std::chrono::milliseconds(40), {kTick});
///     core::Timer save = core::PostAfter(*worker, std::chrono::seconds(5), [] { Save(); });
///     ...
///     tick.Cancel();
///
/// The thread that reads the bus, the event bus's own or the worker's posts it behind what
/// waits there when its time has come: there is no thread of timers. It is posted late when
/// that thread is busy, and never early. What repeats is due at whole periods after the
/// first time, however late single ones are: it does not drift. Times that are over, and those at
/// which the one before still waits, or a MessageLoop handles it, are left out: nothing piles up.
///
/// Times are of the monotonic clock, whatever happens to the wall clock. Arming takes
/// O(log n) among n timers of one bus or worker, cancelling O(1) over many. Closing the
/// bus, destroying the bus or the worker, and `StopAndDrain` end its timers.
///
/// A handle that goes cancels nothing; copies are of one timer. A handle is used by one
/// thread at a time, its copies by any, after the end of the bus or worker too.
class Timer {
public:
    /// Of nothing.
    Timer() noexcept = default;

    /// Ends it; true when this kept something from being posted or run.
    ///
    /// A worker's function that was posted and has not begun does not run either; one that
    /// runs on another thread goes on, and `WaitForPosted` waits for it. Messages and events
    /// that were posted before stay.
    CORE_API bool Cancel();

    /// Whether it is still to come, or to come again.
    CORE_API bool IsPending() const;

private:
    friend class detail::TimerAccess;

    std::weak_ptr<detail::TimerOwner> owner;
    std::uint64_t id = 0;
    std::uint32_t slot = 0;
};

/// Adds `message` to the bus once, when `delay` is over; at once, for the next reader, when
/// that is not positive. On a closed bus a timer of nothing. Without memory std::bad_alloc,
/// and nothing is armed. Waiting and trying reads post what is due, whichever comes first;
/// `Count` counts it from then on. Safe from any thread, like all of these.
CORE_API Timer PostAfter(SimpleMsgBus& bus, std::chrono::nanoseconds delay,
                         const SimpleMessage& message);
CORE_API Timer PostAfter(VersatileMsgBus& bus, std::chrono::nanoseconds delay,
                         VersatileMsgBus::Handle message);

/// The same after each period, for the first time when one is over. A period is at least a
/// microsecond.
CORE_API Timer PostEvery(SimpleMsgBus& bus, std::chrono::nanoseconds period,
                         const SimpleMessage& message);
CORE_API Timer PostEvery(VersatileMsgBus& bus, std::chrono::nanoseconds period,
                         VersatileMsgBus::Handle message);

/// Has the worker call `function`. What it throws is reported to the log. Function and
/// timer go when the last call has returned, or soon after the cancelling. On a stopped
/// worker, and on one that is not from CreateWorker, a timer of nothing.
CORE_API Timer PostAfter(IWorker& worker, std::chrono::nanoseconds delay,
                         std::function<void()> function);
CORE_API Timer PostEvery(IWorker& worker, std::chrono::nanoseconds period,
                         std::function<void()> function);

namespace detail {

CORE_API Timer PostOnBus(AsyncEventBus& bus, std::chrono::nanoseconds delay,
                         std::chrono::nanoseconds period, std::function<void()> post);

}  // namespace detail

/// Posts an event once, moved, on the bus's own thread. One that can't be posted then,
/// without memory, is reported to the log.
template <class E>
Timer PostAfter(AsyncEventBus& bus, std::chrono::nanoseconds delay, E event) {
    return detail::PostOnBus(
        bus, delay, std::chrono::nanoseconds(0),
        [&bus, held = std::make_shared<E>(std::move(event))] { bus.post(E(std::move(*held))); });
}

/// Posts a copy of the event after each period.
template <class E>
Timer PostEvery(AsyncEventBus& bus, std::chrono::nanoseconds period, E event) {
    return detail::PostOnBus(bus, period, period,
                             [&bus, held = std::move(event)] { bus.post(E(held)); });
}

}  // namespace core
CORE_HIDES_STD_END
