#pragma once

#include <core/export.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/msg_bus.h>
#include <core/messaging/worker.h>

#include <chrono>
#include <cstdint>

namespace core {

/// What went through a queue, bus, loop or worker since it was made. The numbers are of
/// one moment, as far as they belong to one object.
struct Counters {
    /// Messages, events or tasks that were taken in, those of timers included.
    std::uint64_t posted = 0;
    /// Those that were read from a queue; whose listeners, handler or `Run` have ended.
    std::uint64_t done = 0;
    /// Those that were refused at a limit.
    std::uint64_t refused = 0;
    /// Those that were dropped, at a limit or by `Close`.
    std::uint64_t dropped = 0;
    /// Those that wait now.
    std::uint64_t waiting = 0;
    /// The most that have ever waited at a time; of an event bus and a worker, when their
    /// thread came to take some, or somebody asked.
    std::uint64_t highest = 0;
    /// Timers that are pending now.
    std::uint64_t timers = 0;
    /// The longest run of one event's listeners, of a handler or of a task, as far as they
    /// were measured: see MeasureRuns.
    std::chrono::nanoseconds longestRun{0};
};

/// The counters of an object. Safe from any thread; counting costs a few instructions.
///
/// An EventBus delivers within the post: nothing waits, and what was posted counts as
/// done. A loop's `done` and `longestRun` are its handlers' own, over all its copies; the
/// others are those of the bus that it was launched with. A worker that is not from
/// CreateWorker knows what waits alone.
CORE_API Counters CountersOf(const SimpleMsgBus& bus);
CORE_API Counters CountersOf(const VersatileMsgBus& bus);
CORE_API Counters CountersOf(const EventBus& bus);
CORE_API Counters CountersOf(const AsyncEventBus& bus);
CORE_API Counters CountersOf(const MessageLoop& loop);
CORE_API Counters CountersOf(IWorker& worker);

/// Measures runs from now on, or no longer, which reads the clock twice a run. Starting
/// forgets the longest run so far. Safe from any thread.
CORE_API void MeasureRuns(EventBus& bus, bool isOn = true);
CORE_API void MeasureRuns(AsyncEventBus& bus, bool isOn = true);
CORE_API void MeasureRuns(MessageLoop& loop, bool isOn = true);
CORE_API void MeasureRuns(IWorker& worker, bool isOn = true);

}  // namespace core
