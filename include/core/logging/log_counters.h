#pragma once

/// What the log has done. This header is C too.
///
///     CoreLogCounters counters;
///     CoreLogGetCounters(NULL, &counters);

#include <core/export.h>

#include <stdbool.h>
#include <stdint.h>

/// Counts since the beginning of the process.
typedef struct CoreLogCounters {
    /// Lines that went to sinks of the module.
    uint64_t writtenLines;
    /// Lines that their level, the filter or the shutdown stopped; counted after
    /// CoreLogCountSuppressed.
    uint64_t suppressedLines;
    /// Lines that a full queue, a full disk or the removal of a file has cost.
    uint64_t lostLines;
    /// What was written to files.
    uint64_t fileBytes;
    /// Files that were begun; with each but the first, the log has rotated.
    uint64_t files;
    /// The longest that a caller has waited for room in a full queue.
    uint64_t longestWaitNs;
} CoreLogCounters;

#ifdef __cplusplus
extern "C" {
#endif

/// Fills in what a module has counted, or what all have where `module` is null. Answers 0;
/// or 1, with zeros, where there is no such module or `counters` is null. Safe from any
/// thread; the numbers are read one by one.
CORE_API int CoreLogGetCounters(const char* module, CoreLogCounters* counters);

/// Has suppressed lines counted too. They take as long as the whole gate then, a hundred
/// instructions and more, instead of a few. Answers 0. Safe from any thread.
CORE_API int CoreLogCountSuppressed(bool isOn);

#ifdef __cplusplus
}
#endif
