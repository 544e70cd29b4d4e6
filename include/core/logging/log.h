#pragma once

/// The log: every module of the process writes through these functions, from any
/// thread, to the console, the debugger and rotating files. This header is C too.
///
/// A module is a name. It comes to life with its first mention, with the default
/// level and the default sinks, and writes a version line to standard output then.
///
///     CoreLogSetFilePath("render", "/var/log/editor", 5242880, 3);
///     CoreLogSetLogSinkByModule("render", CORE_LOG_FILE);
///     CoreLogSetLogLevelByModule("render", CORE_LOG_INFO);
///     CoreLogPrintLog("render", CORE_LOG_INFO, "frame", NULL, NULL, -1, "%d drawn", 12);
///     CoreLogShutdown();
///
/// A forked child logs like any process, from its first line on with a worker of its own;
/// it goes on in the files that its parent had open. Lines that waited at the fork are the
/// parent's, and are in its file once. Where modules are detached at the end of a process,
/// on Windows after its other threads were ended, lines of the modules that exist are
/// written at once, settings stay as they are, and nothing waits.
///
/// Text is UTF-8 and ends at its zero byte; null counts as empty. All functions are
/// safe from any thread and throw nothing; those that answer nothing else answer 0.
/// Every line that was accepted is in its file after `CoreLogShutdown`, and after
/// `main` returned or `exit` was called without it. Lines that no file takes (a full disk,
/// a removed directory) are counted; the file says how many are missing as soon as it can,
/// and standard error at the end of the process.

#include <core/export.h>

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/// How much a line matters. Others than these are allowed: -100 to -71 are called
/// "User0" to "User29", and what has no name is written as its number.
enum CoreLogLevel {
    CORE_LOG_USER0 = -100,
    CORE_LOG_VERBOSE = 0,
    CORE_LOG_DEBUG = 1,
    CORE_LOG_PERFORMANCE = 2,
    CORE_LOG_TRACKING = 3,
    CORE_LOG_INFO = 4,
    CORE_LOG_WARN = 5,
    CORE_LOG_ERROR = 6,
    CORE_LOG_FATAL = 7,
    /// As a minimum level, it silences. A line of this level or above is never written.
    CORE_LOG_OFF = 8
};

/// Where lines go; add them up. Unknown bits are ignored.
enum CoreLogSink { CORE_LOG_CONSOLE = 1, CORE_LOG_FILE = 2, CORE_LOG_DEBUGGER = 4 };

/// Lets the compiler hold the arguments against the format.
#if defined(__clang__)
#define CORE_LOG_FORMAT(text, first) __attribute__((format(printf, text, first)))
#elif defined(__GNUC__)
#define CORE_LOG_FORMAT(text, first) __attribute__((format(gnu_printf, text, first)))
#else
#define CORE_LOG_FORMAT(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// Writes a line of module "ZYL". `format` is printf's; a line of more than 16 MiB is
/// cut and says so.
CORE_API int CoreLogPrint(const char* tag, int level, const char* format, ...)
    CORE_LOG_FORMAT(3, 4);
/// Writes a line of module "ZYL" that names its source. Null leaves out the file or
/// the function, -1 the line.
CORE_API int CoreLogPrintWithSourceInfo(const char* tag, int level, const char* file,
                                        const char* function, int line, const char* format, ...)
    CORE_LOG_FORMAT(6, 7);
/// Writes a line of any module.
CORE_API int CoreLogPrintLog(const char* module, int level, const char* tag, const char* file,
                             const char* function, int line, const char* format, ...)
    CORE_LOG_FORMAT(7, 8);

/// Sets the minimum level, at first 6, of all modules that exist and of those to come.
CORE_API int CoreLogSetLogLevel(int level);
CORE_API int CoreLogSetLogLevelByModule(const char* module, int level);
/// The minimum level of modules to come.
CORE_API int CoreLogGetLogLevel(void);
/// The minimum level of a module; 8 after the shutdown.
CORE_API int CoreLogGetLogLevelByModule(const char* module);

/// Sets the sinks, at first the console, of all modules that exist and of those to
/// come.
CORE_API int CoreLogSetLogSink(unsigned sinks);
CORE_API int CoreLogSetLogSinkByModule(const char* module, unsigned sinks);
/// The sinks of a module; 0 after the shutdown. A module whose file can't be made
/// loses its file sink with its first line.
CORE_API unsigned CoreLogGetLogSinkByModule(const char* module);

/// Lets a module write its files to `directory` from now on: PREFIX_TIME.log, where
/// the prefix is its task id, or its name.
///
/// A relative directory starts at the current one; missing directories are made.
/// When a file has reached `maxFileBytes` (1 MiB if less is given) a new one is begun,
/// and the oldest are removed while there are more than `maxFiles` (1 if 0 is given);
/// both is looked after every 1.5 seconds at most. Without this call, the module
/// writes to "./", with 5 MiB and 3 files.
///
/// Old files are found by the prefix, as text and as a regular expression. A file that
/// any process has open for its log is not removed. In names, the characters
/// `/ \ : * ? " < > |` and control characters of the prefix become `_`.
CORE_API int CoreLogSetFilePath(const char* module, const char* directory, uint64_t maxFileBytes,
                                uint64_t maxFiles);
/// The prefix of the files that the module opens from now on.
CORE_API int CoreLogSetTaskId(const char* module, const char* taskId);

/// From the first tag on, only lines with one of the added tags are written.
CORE_API int CoreLogAddFilterTag(const char* tag);
/// Removes all tags: every line passes again.
CORE_API int CoreLogClearFilterTag(void);

/// Has every line written through to its file at once, not only errors. Costs speed
/// in a burst.
CORE_API int CoreLogAutoFlush(bool isOn);
/// Has everything accepted so far written; does not wait for it, as CoreLogFlushAndWait in
/// core/logging/log_flush.h does.
CORE_API int CoreLogFlush(void);

/// Writes what is queued, waits for it and closes the files. Nothing is printed
/// afterwards, and there is no way back.
CORE_API int CoreLogShutdown(void);

#ifdef __cplusplus
}

namespace core {

/// A base for a caller's own loggers; it does nothing itself.
class CORE_API Logger {
public:
    Logger();
    Logger(const Logger& other);
    Logger& operator=(const Logger& other);

protected:
    virtual ~Logger();
};

}  // namespace core
#endif
