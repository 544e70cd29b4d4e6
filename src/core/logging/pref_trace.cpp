#include <core/logging/pref_trace.h>

#include "core/foundation/mutex.h"
#include "core/foundation/never_destroyed.h"
#include "core/foundation/report.h"
#include "core/logging/analytics.h"
#include "core/logging/zyl_log_wrapper_manager.h"

#include <core/logging/log.h>

#include <array>
#include <charconv>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The recorder of the process. Its mutex is held over one record, or while the file is
// written; never over a call of the log.

namespace core {
namespace {

constexpr char kTag[] = "analytics";

/// Whether lines of this level come out anywhere: texts that nobody reads are not made.
bool IsLogged(int level) noexcept {
    return !ZylLogWrapperManager::IsBelow(level, ZylLogWrapperManager::Get().FindOwn());
}

/// Logs one to three pieces of text as a message.
void Log(int level, const char* function, int line, const char* message, const char* second = "",
         const char* third = "") noexcept {
    CoreLogPrintLog(kOwnModule, level, kTag, nullptr, function, line, "%s%s%s", message, second,
                    third);
}

/// A file opened for writing, empty. It has a buffer before it is opened: a stream that
/// finds no memory for one afterwards has emptied the file by then.
class EmptiedFile {
public:
    explicit EmptiedFile(const std::string& path) {
        stream.rdbuf()->pubsetbuf(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        const std::u8string utf8(path.begin(), path.end());
        stream.open(std::filesystem::path(utf8), std::ios::binary | std::ios::trunc);
    }
    bool IsOpen() const { return stream.is_open(); }
    /// Closes the file too. False when it can't take the whole text.
    bool Write(const std::string& text) {
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
        stream.close();
        return stream.good();
    }

private:
    std::array<char, 4096> buffer;
    std::ofstream stream;
};

enum class FlushResult { Finished, NotOpened, NotWritten };

class Recorder {
public:
    /// Made on first use, never destroyed: events come to the very end of a process.
    static Recorder& Get() {
        static NeverDestroyed<Recorder> recorder;
        return recorder.value;
    }

    bool SetPath(std::string newPath) {
        Lock lock(mutex);
        if (!EmptiedFile(newPath).IsOpen()) {
            return false;
        }
        path = std::move(newPath);
        return true;
    }

    void Add(std::shared_ptr<const analytics::Event> event) {
        Lock lock(mutex);
        records.events.push_back(std::move(event));
    }

    void AddSample(const char* name, const char* key, double value,
                   std::vector<analytics::Property> properties) {
        Lock lock(mutex);
        auto at = records.statistics.find(name);
        if (at == records.statistics.end()) {
            auto event = std::make_shared<analytics::StatisticEvent>();
            event->name = name;
            at = records.statistics.emplace(name, std::move(event)).first;
        }
        at->second->Add(key, value);
        for (analytics::Property& property : properties) {
            at->second->Set(std::move(property));
        }
    }

    FlushResult Flush() {
        Lock lock(mutex);
        if (path.empty()) {
            return FlushResult::NotOpened;
        }
        // The text first: when there is no memory for it, the file keeps what it holds.
        const std::string text = records.Text();
        EmptiedFile file(path);
        if (!file.IsOpen()) {
            return FlushResult::NotOpened;
        }
        return file.Write(text) ? FlushResult::Finished : FlushResult::NotWritten;
    }

private:
    Mutex mutex;
    std::string path CORE_GUARDED_BY(mutex);
    analytics::Records records CORE_GUARDED_BY(mutex);
};

/// Runs `action`; what it throws ends here. Where no memory is left for a record, it is
/// dropped.
template <class Action>
void Guarded(Action&& action) noexcept {
    try {
        action();
    } catch (...) {
        // Nothing is left to tell it with.
    }
}

std::vector<analytics::Property> KeepAll(const TraceProperty* properties, std::size_t count) {
    std::vector<analytics::Property> kept;
    kept.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (properties[i].Name() != nullptr) {
            kept.push_back(analytics::Keep(properties[i]));
        }
    }
    return kept;
}

/// ",name:value" for each property.
std::string TextOf(const std::vector<analytics::Property>& properties) {
    std::string text;
    for (const analytics::Property& property : properties) {
        text += ',';
        text += property.name;
        text += ':';
        if (const auto* const words = std::get_if<std::string>(&property.value)) {
            text += *words;
        } else if (const auto* const integer = std::get_if<std::int64_t>(&property.value)) {
            text += std::to_string(*integer);
        } else if (const auto* const real = std::get_if<double>(&property.value)) {
            // What "%f" writes, whatever the locale; a double has at most 309 digits.
            char digits[330];
            const auto [end, error] =
                std::to_chars(digits, digits + sizeof digits, *real, std::chars_format::fixed, 6);
            text.append(digits, end);
        }
    }
    return text;
}

void AddEvent(const char* name, const TraceProperty* properties, std::size_t count,
              const char* function) noexcept {
    Guarded([&] {
        const auto event = std::make_shared<const analytics::Event>(
            analytics::Event{name, KeepAll(properties, count)});
        Recorder::Get().Add(event);
        if (IsLogged(CORE_LOG_TRACKING)) {
            Log(CORE_LOG_TRACKING, function, __LINE__, "Event:", name,
                TextOf(event->properties).c_str());
        }
    });
}

void AddSample(const char* name, const char* key, double value, const TraceProperty* properties,
               std::size_t count, const char* function) noexcept {
    Guarded([&] {
        Recorder::Get().AddSample(name, key != nullptr ? key : "", value,
                                  KeepAll(properties, count));
        if (IsLogged(CORE_LOG_TRACKING)) {
            Log(CORE_LOG_TRACKING, function, __LINE__, "StatisticEvent:", name);
        }
    });
}

using Properties = std::vector<TraceProperty>;

/// Reads variadic properties up to the null name, each value in its own type. Nothing,
/// logged, at a type that there is none of: what is behind it can't be read.
std::optional<Properties> Read(std::va_list arguments, const char* function) {
    Properties properties;
    while (const char* const name = va_arg(arguments, const char*)) {
        switch (va_arg(arguments, std::int64_t)) {
            case CORE_TRACE_TEXT:
                properties.emplace_back(name, va_arg(arguments, const char*));
                break;
            case CORE_TRACE_DOUBLE:
                properties.emplace_back(name, va_arg(arguments, double));
                break;
            case CORE_TRACE_INT64:
                properties.emplace_back(name, va_arg(arguments, std::int64_t));
                break;
            case CORE_TRACE_INT32:
                properties.emplace_back(name, va_arg(arguments, std::int32_t));
                break;
            default:
                Log(CORE_LOG_WARN, function, __LINE__, "AddPrefTrace has invalid param.");
                return {};
        }
    }
    return properties;
}

}  // namespace

void TraceEvent(const char* name, const TraceProperty* properties, std::size_t count) noexcept {
    if (name != nullptr) {
        AddEvent(name, properties, count, __func__);
    }
}

void TraceStatistic(const char* name, const char* key, double value,
                    const TraceProperty* properties, std::size_t count) noexcept {
    if (name != nullptr) {
        AddSample(name, key, value, properties, count, __func__);
    }
}

}  // namespace core

using core::Recorder;

int InitPrefTraceFile(const char* path) {
    if (path == nullptr) {
        return 1;
    }
    bool isOpened = false;
    try {
        isOpened = Recorder::Get().SetPath(path);
    } catch (...) {
        // No memory, or no path of this system: like a file that can't be opened.
    }
    if (isOpened) {
        core::Log(CORE_LOG_INFO, __func__, __LINE__, "InitPrefTraceFile path: ", path);
    } else {
        core::Log(CORE_LOG_ERROR, __func__, __LINE__, "InitPrefTraceFile invalid path: ", path);
    }
    return isOpened ? 0 : 1;
}

void AddPrefTrace(const char* name, ...) {
    if (name == nullptr) {
        return;
    }
    const char* const function = __func__;
    std::va_list arguments;
    va_start(arguments, name);
    core::Guarded([&] {
        if (const auto properties = core::Read(arguments, function)) {
            core::AddEvent(name, properties->data(), properties->size(), function);
        }
    });
    va_end(arguments);
}

void AddStatisticPrefTrace(const char* name, const char* key, double value, ...) {
    if (name == nullptr) {
        return;
    }
    const char* const function = __func__;
    std::va_list arguments;
    va_start(arguments, value);
    core::Guarded([&] {
        if (const auto properties = core::Read(arguments, function)) {
            core::AddSample(name, key, value, properties->data(), properties->size(), function);
        }
    });
    va_end(arguments);
}

void FlushPrefTraceFile(void) {
    core::FlushResult result = core::FlushResult::NotWritten;
    try {
        result = Recorder::Get().Flush();
    } catch (...) {
        // No memory for the text of the file.
    }
    switch (result) {
        case core::FlushResult::Finished:
            core::Log(CORE_LOG_INFO, __func__, __LINE__, "FlushPrefTraceFile finished.");
            break;
        case core::FlushResult::NotOpened:
            core::Log(CORE_LOG_ERROR, __func__, __LINE__,
                      "FlushPrefTraceFile failed, file can't open.");
            break;
        case core::FlushResult::NotWritten:
            core::Log(CORE_LOG_ERROR, __func__, __LINE__,
                      "FlushPrefTraceFile failed, file can't be written.");
            break;
    }
}
