#pragma once

#include "core/foundation/mutex.h"
#include "core/logging/filter_tags.h"
#include "core/logging/line_format.h"
#include "core/logging/name_table.h"
#include "core/logging/zyl_log_wrapper.h"

#include <core/logging/log.h>
#include <core/messaging/worker.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
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

    /// Whether a line goes no further. `module` is null while it does not exist. The
    /// level "off", the shutdown and the filter stop a line before it makes a module,
    /// the module's level only afterwards.
    bool IsSuppressed(int level, const char* tag, const ZylLogWrapper* module) const noexcept {
        if (level >= CORE_LOG_OFF || (isSpecial.load(std::memory_order_acquire) && !Passes(tag))) {
            return true;
        }
        return module != nullptr && level < module->minLevel.load(std::memory_order_relaxed);
    }
    /// The module, or null; without a lock.
    ZylLogWrapper* Find(const char* module) const noexcept { return modules.Find(module); }
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
    void Flush();
    void Shutdown();

private:
    bool Passes(const char* tag) const noexcept {
        return !isShutDown.load(std::memory_order_acquire) && filter.Passes(tag);
    }
    /// The module, made if it is new; null after the shutdown.
    ZylLogWrapper* FindOrCreate(const char* module) CORE_REQUIRES(logMutex);
    void StartWorker() CORE_REQUIRES(logMutex);
    /// Has the worker write what waits in a channel, or does it here when there is none.
    void Write(const std::shared_ptr<BsFileChannel>& file) CORE_REQUIRES(logMutex);
    void FlushFiles() CORE_REQUIRES(logMutex);
    /// Ends the worker; file output then runs on the threads that log.
    void StopWorker();
    /// Whether this process was forked from the one that started the worker: worker and
    /// waiting lines are the other's then.
    bool IsForkedChild() const CORE_REQUIRES(logMutex);
    void NoteSpecial() CORE_REQUIRES(logMutex) { isSpecial = isShutDown || !filter.IsEmpty(); }

    static void AtProcessEnd();

    // The gate. `isSpecial` says that the shutdown or the filter has a say.
    std::atomic<bool> isSpecial = false;
    std::atomic<bool> isShutDown = false;
    std::atomic<ZylLogWrapper*> own = nullptr;
    FilterTags filter;
    NameTable<ZylLogWrapper> modules;

    std::atomic<int> defaultLevel = CORE_LOG_ERROR;
    std::atomic<bool> isAutoFlush = false;
    unsigned defaultSinks CORE_GUARDED_BY(logMutex) = CORE_LOG_CONSOLE;
    /// Ours; a plain pointer, because nobody destroys this object.
    IWorker* worker CORE_GUARDED_BY(logMutex) = nullptr;
    bool hasHadWorker CORE_GUARDED_BY(logMutex) = false;
    std::uint64_t processId CORE_GUARDED_BY(logMutex) = 0;
    /// Has a second caller of the shutdown wait for the first.
    Mutex shutdownMutex;
};

}  // namespace core
