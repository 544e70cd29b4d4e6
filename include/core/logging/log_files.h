#pragma once

/// More about the files of the log. This header is C too. All functions are for the whole
/// process, safe from any thread, ignore what has no name here, and answer 0.
///
///     CoreLogSetFileAccess(CORE_LOG_PRIVATE);
///     CoreLogSetFileLimit(CORE_LOG_EXACT_LIMIT);
///     CoreLogSetFilePath("render", "/var/log/editor", 5242880, 3);

#include <core/export.h>

#include <stdint.h>

/// Who may read and write new files.
enum CoreLogFileAccess {
    /// What the system gives to new files: by the umask, or by the directory on Windows.
    CORE_LOG_USUAL = 0,
    /// Whoever runs the process reads and writes them, and nobody else.
    CORE_LOG_PRIVATE = 1
};

/// How exactly files keep their limits.
enum CoreLogFileLimit {
    /// A file's size is looked at behind a write, every 1.501 seconds at most: it may be
    /// larger by what is written meanwhile.
    CORE_LOG_TIMELY_LIMIT = 0,
    /// No file is larger than its module's limit, but for one that holds a single, longer
    /// line, and for what still waits when Windows has ended the threads of a process.
    /// Files that are begun within a second are told apart by a number:
    /// PREFIX_TIME_001.log. Where several processes write one file, each counts what it
    /// found in it and what it wrote itself.
    CORE_LOG_EXACT_LIMIT = 1
};

/// What to do with a line while a file is so far behind that its queue is full.
enum CoreLogFullQueue {
    /// The caller waits, a second at most; then the queue takes it all the same.
    CORE_LOG_WAIT = 0,
    /// The oldest lines go, but for those that are in a write: 64 KiB at most, or one line.
    CORE_LOG_DROP_OLDEST = 1,
    /// The new line goes.
    CORE_LOG_DROP_NEWEST = 2
};

#ifdef __cplusplus
extern "C" {
#endif

/// Chooses who may use the files that are made from now on, a CoreLogFileAccess. Those that
/// are there already stay as they are.
CORE_API int CoreLogSetFileAccess(int access);
/// Chooses how the limit of CoreLogSetFilePath is kept, a CoreLogFileLimit.
CORE_API int CoreLogSetFileLimit(int limit);

/// Chooses what a full queue does, a CoreLogFullQueue, and how many bytes of lines each
/// module's queue has room for: 32 MiB if 0 is given, at least 64 KiB. Lines that go are
/// counted, and a line in the file says how many: `12 lines lost: the queue was full`.
CORE_API int CoreLogSetFullQueue(int policy, uint64_t maxBytes);

#ifdef __cplusplus
}
#endif
