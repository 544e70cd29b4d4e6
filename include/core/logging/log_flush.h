#pragma once

/// Waiting for the log. This header is C too.
///
///     CoreLogPrintLog("render", CORE_LOG_FATAL, "gpu", NULL, NULL, -1, "device lost");
///     CoreLogFlushAndWait(CORE_LOG_TO_SYSTEM, 2000);
///     abort();

#include <core/export.h>

#include <stdint.h>

/// How far lines have come when a flush is over.
enum CoreLogFlushDepth {
    /// They are the operating system's: the end of this process, whatever ends it, costs
    /// none of them.
    CORE_LOG_TO_SYSTEM = 0,
    /// They are on the disk. Takes as long as the disk does.
    CORE_LOG_TO_DISK = 1
};

/// How a flush ended.
enum CoreLogFlushResult {
    /// All that was asked for is where it was to be.
    CORE_LOG_FLUSHED = 0,
    /// The time is over; what was asked for goes on.
    CORE_LOG_TIMED_OUT = 1,
    /// Lines are missing: a disk is full, or a file was removed. The log goes on, see
    /// core/logging/log.h.
    CORE_LOG_NOT_WRITTEN = 2
};

#ifdef __cplusplus
extern "C" {
#endif

/// Waits until every line that was accepted before the call has come as far as `depth`
/// says; answers a CoreLogFlushResult. `timeoutMs` below 0 waits without an end.
///
/// Safe on any thread, also on one that the log itself runs on: there the lines are
/// written before the call returns, however long it takes. After `CoreLogShutdown` there
/// is nothing to wait for; while that runs on another thread, which waits itself, the
/// answer is CORE_LOG_TIMED_OUT. Files that were finished before the first call with
/// CORE_LOG_TO_DISK are the system's to write.
CORE_API int CoreLogFlushAndWait(int depth, int64_t timeoutMs);

#ifdef __cplusplus
}
#endif
