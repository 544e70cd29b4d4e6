#pragma once

/// Sinks of your own, and the last lines of all levels. This header is C too.
///
///     static void Show(void* window, const CoreLogLine* line) {
///         AddToList(window, line->levelName, line->message);
///     }
///     int sink = CoreLogAddSink(Show, window, CORE_LOG_INFO, "%t: %m");
///     ...
///     CoreLogRemoveSink(sink);
///
/// All functions are safe from any thread.

#include <core/export.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A line, as a sink gets it. It lives as long as the call; null pointers and -1 stand for
/// what the line does not have.
typedef struct CoreLogLine {
    /// A CoreLogLevel, or another number.
    int level;
    /// As it is written, "Info"; a number where the level has no name.
    const char* levelName;
    /// Whose line it is.
    const char* module;
    /// As it was given.
    const char* tag;
    /// Where in the source it was logged.
    const char* file;
    /// Likewise.
    const char* function;
    /// Likewise.
    int line;
    /// 100 ns since 1970-01-01 UTC.
    int64_t time100ns;
    /// The number that the system has for the thread.
    uint64_t threadId;
    /// "" where the thread has none.
    const char* threadName;
    /// The message alone, with a zero byte behind its `messageSize` bytes.
    const char* message;
    /// In bytes.
    size_t messageSize;
    /// The line by the sink's pattern, likewise.
    const char* text;
    /// In bytes.
    size_t textSize;
} CoreLogLine;

/// Takes a line. It runs on the thread that logs, on several at once, while no lock of the
/// log is held: it may wait, and its thread alone waits. It may log: those lines come to no
/// sink of this kind. What it throws ends there.
typedef void (*CoreLogSinkFunction)(void* context, const CoreLogLine* line);

/// Has `sink` called with each line of `level` or above of every module, beside the module's
/// own sinks and whatever its own level is; the filter and the shutdown count.
///
/// `pattern` is for `text`: `%s` level, `%i` thread, `%d` time, `%t` tag, `%m` message, `%f`
/// function, `%l` line, `%F` file; null is that of the files. Answers a number for
/// CoreLogRemoveSink, or 0 where `sink` is null or there is no memory.
CORE_API int CoreLogAddSink(CoreLogSinkFunction sink, void* context, int level,
                            const char* pattern);

/// Ends a sink, and waits until no other thread is in it: `context` may go then. Answers 0,
/// or 1 where there is no such sink.
CORE_API int CoreLogRemoveSink(int sink);

/// Keeps the last `lines` lines of all levels and modules, those too that are written
/// nowhere, up to 4 KiB of each message; 0 keeps none. A line of `dumpLevel` or above is
/// followed by those that came before it, as by CoreLogDumpRecent. 8 and above dumps none.
/// Answers 0, or 1 without memory.
CORE_API int CoreLogKeepRecent(size_t lines, int dumpLevel);

/// Writes the lines that are kept to the sinks of `module`, the oldest first, and forgets
/// them. They are lines of their own, with the time of this call and, in their messages, their
/// own time and module: `[Debug][3601][NOW][tag]recent [THEN][render]12 drawn`.
CORE_API int CoreLogDumpRecent(const char* module);

#ifdef __cplusplus
}
#endif
