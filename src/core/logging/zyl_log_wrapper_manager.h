#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/filter_tags.h"
#include "core/logging/line_format.h"
#include "core/logging/log_sinks.h"
#include "core/logging/name_table.h"
#include "core/logging/recent_lines.h"
#include "core/logging/time_stamp.h"
#include "core/logging/zyl_log_wrapper.h"

#include <core/logging/log.h>
#include <core/logging/log_counters.h>
#include <core/messaging/worker.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <limits>
#include <memory>

namespace core {

/// The log of the process: its modules, the defaults for new ones, the filter and
/// the worker that writes the files.
///
/// One static object, constant-initialised and never destroyed, so that everything
/// that runs before `main` and after it may log. Texts are never null here.
///
/// A line passes three stages: the gate, which looks at atomics alone; formatting,
/// on the caller's stack; and the sinks, under the log's mutex.
class ZylLogWrapperManager {
public:
    static ZylLogWrapperManager& Get() noexcept;

    // The gate, in two halves. Level "off", the shutdown and the filter stop a line
    // before it makes a module, and a module's level only afterwards. For a module that
    // is there the order can't be told, and the level is asked first: it is the cheapest.

    /// Whether a line is suppressed by its level; `module` is null while there is none.
    static bool IsBelow(int level, const ZylLogWrapper* module) noexcept {
        return (module != nullptr && level < module->gate.load(std::memory_order_relaxed)) ||
               level >= CORE_LOG_OFF;
    }
    /// Whether a line is suppressed by the shutdown or the filter.
    bool IsStopped(const char* tag) const noexcept {
        return isShutDown.load(std::memory_order_acquire) || !filter.Passes(tag);
    }
    /// The module, or null; without a lock.
    ZylLogWrapper* Find(const char* module) const noexcept { return modules.Find(module); }
    /// The module if it is found at once, or null.
    ZylLogWrapper* Guess(const char* module) const noexcept { return modules.Guess(module); }
    /// Module "ZYL", or null.
    ZylLogWrapper* FindOwn() const noexcept { return own.load(std::memory_order_acquire); }

    /// Writes a line that the gate let through; `module` is null if there was none.
    void Print(ZylLogWrapper* module, const char* name, LineFields fields, const char* format,
               std::va_list arguments);

    void SetLevel(int level);
    void SetLevel(const char* module, int level);
    int Level() const noexcept { return defaultLevel; }
    int Level(const char* module);
    void SetSinks(unsigned sinks);
    void SetSinks(const char* module, unsigned sinks);
    unsigned Sinks(const char* module);
    void SetFilePath(const char* module, const char* directory, FileLimits limits);
    void SetTaskId(const char* module, const char* taskId);
    void AddFilterTag(const char* tag);
    void ClearFilterTags();
    void SetAutoFlush(bool isOn) noexcept { isAutoFlush = isOn; }
    /// A CoreLogForm.
    void SetForm(int newForm) noexcept { form = newForm; }
    bool IsJson() const noexcept;
    /// Answers the number of the sink.
    int AddSink(CoreLogSinkFunction function, void* context, int level, const char* pattern);
    /// False where there is no such sink.
    bool RemoveSink(int id);
    void KeepRecent(std::size_t lines, int fromLevel);
    void DumpRecent(const char* module);
    void SetCounting(bool isOn);
    /// A line that the filter or the shutdown has stopped; `module` may be null.
    void CountStopped(ZylLogWrapper* module) const noexcept;
    /// Adds what a module has counted, or all of them where it is null; false without it.
    bool AddCounters(const char* module, CoreLogCounters& sum) const;
    void SetThreadNames(bool isOn) noexcept { hasThreadNames = isOn; }
    void SetFatalAtOnce(bool isOn) noexcept { isFatalAtOnce = isOn; }
    void Flush();
    /// A CoreLogFlushResult.
    int FlushAndWait(bool toDisk, std::int64_t timeoutMs);
    void Shutdown();

private:
    /// Completes the fields of a line of the calling thread.
    void Complete(LineFields& fields, const TimeStamp& time, std::string_view body) const noexcept;
    /// The module, made if it is new; null after the shutdown.
    ZylLogWrapper* FindOrCreate(const char* module) CORE_REQUIRES(logMutex);
    void StartWorker() CORE_REQUIRES(logMutex);
    void MakeWorker() CORE_REQUIRES(logMutex);
    /// Has the worker write what waits in a channel, or does it here when there is none.
    void Write(const std::shared_ptr<BsFileChannel>& file) CORE_REQUIRES(logMutex);
    void Post(std::unique_ptr<Task> task) CORE_REQUIRES(logMutex);
    void FlushFiles() CORE_REQUIRES(logMutex);
    /// For the end, without a worker: writes what waits, and tells what is lost.
    void FinishFiles();
    /// Ends the worker; file output then runs on the threads that log.
    void StopWorker();
    /// The log's mutex, held.
    class Held;
    /// What gets lines beside the modules' own sinks. Never changed: replaced.
    struct Extras {
        LogSinks sinks;
        std::shared_ptr<RecentLines> recent;
    };
    enum class Keep : bool { No, Yes };
    /// Has the sinks write a line, those of the module whatever its level is unless it is to be
    /// kept too.
    void Deliver(ZylLogWrapper& module, LineFields& fields, BodyBuffer& body, Keep keep);
    void Dump(ZylLogWrapper& module);
    bool IsWanted(const ZylLogWrapper& module, int level) const noexcept;
    void SetGate(ZylLogWrapper& module) const noexcept CORE_REQUIRES(logMutex);
    void SetExtras(Extras newExtras) CORE_REQUIRES(logMutex);
    Extras CopyOfExtras() const CORE_REQUIRES(logMutex);
    /// For a line in a process whose other threads are gone, with any lock.
    void PrintAtTheEnd(ZylLogWrapper* module, LineFields& fields, const char* format,
                       std::va_list arguments) const;
    /// In a forked child: gives up worker and waiting lines, which are the parent's.
    void BeginAsChild() CORE_REQUIRES(logMutex);

    static void AtProcessEnd();
    static void BeforeFork();
    static void AfterFork();
    static void AfterForkInChild();

    NameTable<ZylLogWrapper> modules;
    std::atomic<ZylLogWrapper*> own = nullptr;
    std::atomic<bool> isShutDown = false;
    std::atomic<bool> hasEnded = false;
    FilterTags filter;

    std::atomic<int> defaultLevel = CORE_LOG_ERROR;
    std::atomic<bool> isAutoFlush = false;
    std::atomic<int> form = 0;
    std::atomic<bool> isCounting = false;
    /// The least level of the sinks beside the modules' own.
    std::atomic<int> extrasLevel = std::numeric_limits<int>::max();
    std::atomic<int> dumpLevel = CORE_LOG_OFF;
    std::atomic<bool> hasThreadNames = false;
    std::atomic<bool> isFatalAtOnce = false;
    unsigned defaultSinks CORE_GUARDED_BY(logMutex) = CORE_LOG_CONSOLE;
    /// Ours; a plain pointer, because nobody destroys this object.
    IWorker* worker CORE_GUARDED_BY(logMutex) = nullptr;
    /// The time of the newest line.
    std::int64_t lastTicks CORE_GUARDED_BY(logMutex) = std::numeric_limits<std::int64_t>::min();
    /// Null while there are none; a plain pointer, because nobody destroys this object.
    const std::shared_ptr<const Extras>* extras CORE_GUARDED_BY(logMutex) = nullptr;
    int lastSinkId CORE_GUARDED_BY(logMutex) = 0;
    bool hasHadWorker CORE_GUARDED_BY(logMutex) = false;
    /// From a fork to the child's first use of its log.
    bool isForked CORE_GUARDED_BY(logMutex) = false;
    /// Of a forked child: kept, never used.
    IWorker* parentsWorker CORE_GUARDED_BY(logMutex) = nullptr;
};

/// The log of this process; visible here so that its gate is a few instructions.
extern ZylLogWrapperManager logManager;

inline ZylLogWrapperManager& ZylLogWrapperManager::Get() noexcept {
    return logManager;
}

}  // namespace core
