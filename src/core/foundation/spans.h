#pragma once

// Where folders below logging tell how long their work took. Logging connects itself while
// a timeline is recorded, so that nothing below needs to know it.
//
//     const SpanSink sink = spanSink.load(std::memory_order_acquire);
//     const std::int64_t begin = sink != nullptr ? SpanClock() : 0;
//     ...
//     if (sink != nullptr) {
//         sink("run task", begin, SpanClock());
//     }

#include <atomic>
#include <chrono>
#include <cstdint>

namespace core {

/// The clock of spans: nanoseconds that never go backwards.
inline std::int64_t SpanClock() noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Takes a span of the calling thread. `name` stays for the life of the process. Safe from
/// any thread, also when recording has ended meanwhile; takes no lock.
using SpanSink = void (*)(const char* name, std::int64_t begin, std::int64_t end) noexcept;
/// Null while nothing is recorded.
extern std::atomic<SpanSink> spanSink;

/// Called on a thread that has been given a name, if not null.
extern std::atomic<void (*)() noexcept> threadNamed;

}  // namespace core
