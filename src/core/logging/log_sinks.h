#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/line_format.h"

#include <core/logging/log_sink.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace core {

/// A caller's sink. Called without a lock; its removal waits for the calls.
class LogSink {
public:
    LogSink(CoreLogSinkFunction toCall, void* withContext, int fromLevel, const char* withPattern);

    /// Hands on a line. `body` ends with a zero byte.
    void Call(const char* module, const LineFields& fields, std::int64_t ticks) noexcept;
    /// Waits until no other thread is in it. It is called no more.
    void Close() noexcept;

    /// Whether the calling thread is in one.
    static bool IsInside() noexcept;

    const int level;
    int id = 0;

private:
    void CallWith(const char* module, const LineFields& fields, std::int64_t ticks);

    const CoreLogSinkFunction function;
    void* const context;
    const bool hasPattern;
    const std::string pattern;
    const std::uint64_t processId;
    std::atomic<bool> isClosed = false;
    std::atomic<int> inside = 0;
    // Not the wait of the number itself: where that is no call of the system, wake-ups are lost.
    Mutex closing;
    Condition left;
};

using LogSinks = std::vector<std::shared_ptr<LogSink>>;

}  // namespace core
