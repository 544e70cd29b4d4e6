#include <core/logging/log.h>
#include <core/logging/log_console.h>
#include <core/logging/log_counters.h>
#include <core/logging/log_fields.h>
#include <core/logging/log_files.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>
#include <core/logging/log_sink.h>

#include "core/foundation/report.h"
#include "core/logging/zyl_log_wrapper_manager.h"

#include <cstdarg>
#include <utility>

// The exported functions: they make texts of null pointers, let nothing be thrown
// into a caller, and keep what is suppressed short.

namespace {

using core::kOwnModule;
using core::LineFields;
using core::ZylLogWrapper;
using core::ZylLogWrapperManager;

const char* TextOf(const char* text) noexcept {
    return text != nullptr ? text : "";
}

/// Runs `action`; what it throws ends here. A log must not fail its caller.
template <class Action>
int Guarded(Action&& action) noexcept {
    try {
        action(ZylLogWrapperManager::Get());
    } catch (...) {
        // No memory for a line or for a module: nothing is left to tell it with.
    }
    return 0;
}

/// Likewise for a setting. At the end of a process whose other threads are gone, possibly
/// with the log's lock, it stays as it is.
template <class Action>
int Set(Action&& action) noexcept {
    return core::platform::OtherThreadsAreGone() ? 0 : Guarded(std::forward<Action>(action));
}

// The rest of a print. Out of line: a call that its level suppresses needs nothing of it.
[[gnu::noinline]] int PrintRest(const char* name, int level, const char* tag, const char* file,
                                const char* function, int line, const char* format,
                                std::va_list arguments,
                                const core::TraceProperty* properties = nullptr,
                                std::size_t propertyCount = 0) noexcept {
    ZylLogWrapper* const module = ZylLogWrapperManager::Get().Find(name);
    if (ZylLogWrapperManager::IsBelow(level, module)) {
        return 0;
    }
    if (ZylLogWrapperManager::Get().IsStopped(TextOf(tag))) {
        ZylLogWrapperManager::Get().CountStopped(module);
        return 0;
    }
    LineFields fields;
    fields.properties = properties;
    fields.propertyCount = propertyCount;
    fields.level = level;
    fields.tag = tag;
    fields.file = file;
    fields.function = function;
    fields.line = line;
    return Guarded([&](ZylLogWrapperManager& manager) {
        manager.Print(module, name, fields, TextOf(format), arguments);
    });
}

// Reports from the folders below come out as lines of the library.
void LogReport(const core::ReportRecord& record) {
    CoreLogPrintLog(kOwnModule, static_cast<int>(record.level), record.tag, nullptr,
                    record.function, -1, "%s", TextOf(record.text));
}

// Only a pointer is stored when the library is loaded; nothing starts.
[[maybe_unused]] const core::ReportSink kSinkBefore = core::SetReportSink(&LogReport);

}  // namespace

int CoreLogPrint(const char* tag, int level, const char* format, ...) {
    if (ZylLogWrapperManager::IsBelow(level, ZylLogWrapperManager::Get().FindOwn())) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    PrintRest(kOwnModule, level, tag, nullptr, nullptr, -1, format, arguments);
    va_end(arguments);
    return 0;
}

int CoreLogPrintWithSourceInfo(const char* tag, int level, const char* file, const char* function,
                               int line, const char* format, ...) {
    if (ZylLogWrapperManager::IsBelow(level, ZylLogWrapperManager::Get().FindOwn())) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    PrintRest(kOwnModule, level, tag, file, function, line, format, arguments);
    va_end(arguments);
    return 0;
}

int CoreLogPrintLog(const char* module, int level, const char* tag, const char* file,
                    const char* function, int line, const char* format, ...) {
    const char* const name = TextOf(module);
    if (ZylLogWrapperManager::IsBelow(level, ZylLogWrapperManager::Get().Guess(name))) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    PrintRest(name, level, tag, file, function, line, format, arguments);
    va_end(arguments);
    return 0;
}

int CoreLogSetLogLevel(int level) {
    return Set([&](auto& manager) { manager.SetLevel(level); });
}

int CoreLogSetLogLevelByModule(const char* module, int level) {
    return Set([&](auto& manager) { manager.SetLevel(TextOf(module), level); });
}

int CoreLogGetLogLevel(void) {
    return ZylLogWrapperManager::Get().Level();
}

int CoreLogGetLogLevelByModule(const char* module) {
    int level = CORE_LOG_OFF;
    Guarded([&](auto& manager) { level = manager.Level(TextOf(module)); });
    return level;
}

int CoreLogSetLogSink(unsigned sinks) {
    return Set([&](auto& manager) { manager.SetSinks(sinks); });
}

int CoreLogSetLogSinkByModule(const char* module, unsigned sinks) {
    return Set([&](auto& manager) { manager.SetSinks(TextOf(module), sinks); });
}

unsigned CoreLogGetLogSinkByModule(const char* module) {
    unsigned sinks = 0;
    Guarded([&](auto& manager) { sinks = manager.Sinks(TextOf(module)); });
    return sinks;
}

int CoreLogSetFilePath(const char* module, const char* directory, uint64_t maxFileBytes,
                       uint64_t maxFiles) {
    return Set([&](auto& manager) {
        manager.SetFilePath(TextOf(module), TextOf(directory), {maxFileBytes, maxFiles});
    });
}

int CoreLogSetTaskId(const char* module, const char* taskId) {
    return Set([&](auto& manager) { manager.SetTaskId(TextOf(module), TextOf(taskId)); });
}

int CoreLogAddFilterTag(const char* tag) {
    return Set([&](auto& manager) { manager.AddFilterTag(TextOf(tag)); });
}

int CoreLogClearFilterTag(void) {
    return Set([](auto& manager) { manager.ClearFilterTags(); });
}

int CoreLogAutoFlush(bool isOn) {
    return Guarded([&](auto& manager) { manager.SetAutoFlush(isOn); });
}

int CoreLogSetForm(int form) {
    if (form == CORE_LOG_AS_IT_IS || form == CORE_LOG_ONE_LINE || form == CORE_LOG_JSON) {
        ZylLogWrapperManager::Get().SetForm(form);
        core::RotatingFile::SetJson(form == CORE_LOG_JSON);
    }
    return 0;
}

int CoreLogSetConsole(int console, int colours) {
    if (console >= CORE_LOG_STANDARD_OUTPUT && console <= CORE_LOG_NO_CONSOLE &&
        colours >= CORE_LOG_ALL_COLOURED && colours <= CORE_LOG_TERMINALS_COLOURED) {
        core::ChooseConsole(static_cast<CoreLogConsole>(console),
                            static_cast<CoreLogColours>(colours));
    }
    return 0;
}

int CoreLogSetThreadNames(bool isOn) {
    ZylLogWrapperManager::Get().SetThreadNames(isOn);
    return 0;
}

int CoreLogSetFileAccess(int access) {
    if (access == CORE_LOG_USUAL || access == CORE_LOG_PRIVATE) {
        core::RotatingFile::SetPrivate(access == CORE_LOG_PRIVATE);
    }
    return 0;
}

int CoreLogSetFileLimit(int limit) {
    if (limit == CORE_LOG_TIMELY_LIMIT || limit == CORE_LOG_EXACT_LIMIT) {
        core::RotatingFile::SetExact(limit == CORE_LOG_EXACT_LIMIT);
    }
    return 0;
}

int CoreLogSetFullQueue(int policy, uint64_t maxBytes) {
    if (policy >= CORE_LOG_WAIT && policy <= CORE_LOG_DROP_NEWEST) {
        core::BsFileChannel::SetFullQueue(policy, maxBytes);
    }
    return 0;
}

int CoreLogCountSuppressed(bool isOn) {
    return Set([&](auto& manager) { manager.SetCounting(isOn); });
}

int CoreLogGetCounters(const char* module, CoreLogCounters* counters) {
    bool isFound = false;
    if (counters != nullptr) {
        *counters = {};
        Guarded([&](auto& manager) { isFound = manager.AddCounters(module, *counters); });
    }
    return isFound ? 0 : 1;
}

int CoreLogAddSink(CoreLogSinkFunction sink, void* context, int level, const char* pattern) {
    int id = 0;
    if (sink != nullptr) {
        Set([&](auto& manager) { id = manager.AddSink(sink, context, level, pattern); });
    }
    return id;
}

int CoreLogRemoveSink(int sink) {
    bool isRemoved = false;
    Set([&](auto& manager) { isRemoved = manager.RemoveSink(sink); });
    return isRemoved ? 0 : 1;
}

int CoreLogKeepRecent(size_t lines, int dumpLevel) {
    bool isDone = false;
    Set([&](auto& manager) {
        manager.KeepRecent(lines, dumpLevel);
        isDone = true;
    });
    return isDone ? 0 : 1;
}

int CoreLogDumpRecent(const char* module) {
    return Set([&](auto& manager) { manager.DumpRecent(TextOf(module)); });
}

int CoreLogFlush(void) {
    return Guarded([](auto& manager) { manager.Flush(); });
}

int CoreLogFlushAndWait(int depth, int64_t timeoutMs) {
    int result = CORE_LOG_NOT_WRITTEN;
    Guarded([&](auto& manager) {
        result = manager.FlushAndWait(depth == CORE_LOG_TO_DISK, timeoutMs);
    });
    return result;
}

int CoreLogShutdown(void) {
    return Guarded([](auto& manager) { manager.Shutdown(); });
}

namespace core {

int PrintLogFields(const char* module, int level, const char* tag,
                   std::initializer_list<TraceProperty> fields, const char* format, ...) noexcept {
    const char* const name = TextOf(module);
    if (ZylLogWrapperManager::IsBelow(level, ZylLogWrapperManager::Get().Guess(name))) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    PrintRest(name, level, tag, nullptr, nullptr, -1, format, arguments, fields.begin(),
              fields.size());
    va_end(arguments);
    return 0;
}

Logger::Logger() = default;
Logger::Logger(const Logger&) = default;
Logger& Logger::operator=(const Logger&) = default;
Logger::~Logger() = default;

}  // namespace core
