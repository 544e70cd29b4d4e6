#include "core/logging/log_sinks.h"

#include "core/platform/platform.h"

#include <core/foundation/thread_name.h>

#include <algorithm>
#include <utility>

namespace core {
namespace {

/// The sink that this thread is in.
thread_local const LogSink* current = nullptr;

}  // namespace

LogSink::LogSink(CoreLogSinkFunction toCall, void* withContext, int fromLevel,
                 const char* withPattern)
    : level(fromLevel),
      function(toCall),
      context(withContext),
      hasPattern(withPattern != nullptr),
      pattern(hasPattern ? withPattern : ""),
      processId(platform::CurrentProcessId()) {}

bool LogSink::IsInside() noexcept {
    return current != nullptr;
}

void LogSink::Call(const char* module, const LineFields& fields, std::int64_t ticks) noexcept {
    ++inside;
    if (!isClosed) {
        const LogSink* const outer = std::exchange(current, this);
        try {
            CallWith(module, fields, ticks);
        } catch (...) {
            // Its author's affair: the line is in the other sinks.
        }
        current = outer;
    }
    --inside;
    if (isClosed) {
        const Lock lock(closing);
        left.NotifyAll();
    }
}

void LogSink::CallWith(const char* module, const LineFields& fields, std::int64_t ticks) {
    LineBuffer text;
    ExpandPattern(hasPattern ? std::string_view(pattern) : PatternOf(fields), fields, Colour::No,
                  text);
    text.Append('\0');
    char levelName[24] = {};
    const LevelText levelText = LevelTextOf(fields.level);
    levelText.Name().copy(levelName, sizeof levelName - 1);
    CoreLogLine line{};
    line.level = fields.level;
    line.levelName = levelName;
    line.module = module;
    line.tag = fields.tag;
    line.file = fields.file;
    line.function = fields.function;
    line.line = fields.line;
    line.time100ns = ticks;
    line.threadId = fields.threadId;
    line.threadName = ThreadName();
    line.message = fields.body.data();
    line.messageSize = fields.body.size();
    line.text = text.View().data();
    line.textSize = text.Size() - 1;
    function(context, &line);
}

void LogSink::Close() noexcept {
    isClosed = true;
    // Threads of a parent process, or that are gone, come to no end.
    if (platform::OtherThreadsAreGone() || processId != platform::CurrentProcessId()) {
        return;
    }
    const int own = current == this ? 1 : 0;
    Lock lock(closing);
    while (inside > own) {
        left.Wait(lock);
    }
}

}  // namespace core
