#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/channels.h"
#include "core/logging/file_channel.h"
#include "core/logging/line_format.h"
#include "core/logging/rotating_file.h"

#include <core/logging/log.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace core {

/// The logging core's one mutex, held for all that follows below. Inside it, the
/// mutexes of workers and of file channels may be taken, and no other.
extern Mutex& logMutex;

/// A module of the log: its level, its sinks, its file.
///
/// Modules are made by the manager and live to the end of the process.
class ZylLogWrapper {
public:
    /// With a console channel, which the default sinks may take away again.
    explicit ZylLogWrapper(const char* moduleName) CORE_REQUIRES(logMutex);
    ZylLogWrapper(const ZylLogWrapper&) = delete;
    ZylLogWrapper& operator=(const ZylLogWrapper&) = delete;

    void ApplySinks(unsigned sinks) CORE_REQUIRES(logMutex);
    unsigned Sinks() const CORE_REQUIRES(logMutex);
    /// A guess at `Sinks`, without the lock.
    unsigned SinksLately() const noexcept { return sinksLately.load(std::memory_order_relaxed); }

    void SetTaskId(const char* newTaskId) CORE_REQUIRES(logMutex);
    /// Makes the file channel for a directory, without one if that fails.
    void SetFilePath(const char* newDirectory, FileLimits newLimits) CORE_REQUIRES(logMutex);

    void WriteToConsole(std::string_view line, int level) CORE_REQUIRES(logMutex);
    /// `line` ends with a zero byte.
    void WriteToDebugger(std::string_view line, int level) CORE_REQUIRES(logMutex);
    /// The channel for a line of the file sink; null, without the file sink from then
    /// on, when it can't be made.
    std::shared_ptr<BsFileChannel> FileForLine() CORE_REQUIRES(logMutex);
    /// Why there is no file, with its directory; empty when asked again.
    std::string TakeFileError() CORE_REQUIRES(logMutex) { return std::exchange(fileError, {}); }

    /// In a process whose other threads are gone: writes a line without a lock, to the
    /// sinks that are there. `line` and `coloured` end with a zero byte.
    void WriteAtTheEnd(std::string_view line, std::string_view coloured, int level);
    /// In a forked child: goes on in the parent's file with a channel of its own.
    void BeginAsChild() CORE_REQUIRES(logMutex);

    /// The file channel, which may be null.
    const std::shared_ptr<BsFileChannel>& File() const CORE_REQUIRES(logMutex) { return file; }
    std::shared_ptr<BsFileChannel> TakeFile() CORE_REQUIRES(logMutex) { return std::move(file); }

    const std::string name;
    /// For the manager's table.
    ZylLogWrapper* next = nullptr;
    std::atomic<int> minLevel = CORE_LOG_ERROR;
    /// Lines below it are suppressed without another look: the least level of the module and
    /// of the sinks beside its own.
    std::atomic<int> gate = CORE_LOG_ERROR;
    std::atomic<std::uint64_t> writtenLines = 0;
    std::atomic<std::uint64_t> suppressedLines = 0;
    FileCounters counters;

private:
    std::string Prefix() const CORE_REQUIRES(logMutex);
    void NoteSinks() CORE_REQUIRES(logMutex) { sinksLately = Sinks(); }

    std::shared_ptr<BsFileChannel> file CORE_GUARDED_BY(logMutex);
    std::unique_ptr<BsConsoleChannel> console CORE_GUARDED_BY(logMutex);
    std::unique_ptr<BsMSVCChannel> debugger CORE_GUARDED_BY(logMutex);
    /// Empty until one is set.
    std::string directory CORE_GUARDED_BY(logMutex);
    std::string fileError CORE_GUARDED_BY(logMutex);
    std::string taskId CORE_GUARDED_BY(logMutex);
    bool isFileEnabled CORE_GUARDED_BY(logMutex) = false;
    FileLimits limits CORE_GUARDED_BY(logMutex);
    std::atomic<unsigned> sinksLately = 0;
};

}  // namespace core
