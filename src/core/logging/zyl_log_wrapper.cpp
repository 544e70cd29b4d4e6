#include "core/logging/zyl_log_wrapper.h"

#include "core/foundation/system_error_text.h"

#include "core/foundation/never_destroyed.h"
#include "core/platform/platform.h"

#include <utility>

namespace core {

namespace {

// Not every platform's mutex is there without being made.
CORE_INIT_FIRST NeverDestroyed<Mutex> logMutexStorage;

}  // namespace

Mutex& logMutex = logMutexStorage.value;

ZylLogWrapper::ZylLogWrapper(const char* moduleName) : name(moduleName) {
    ApplySinks(CORE_LOG_CONSOLE);
}

void ZylLogWrapper::ApplySinks(unsigned sinks) {
    isFileEnabled = (sinks & CORE_LOG_FILE) != 0;
    if ((sinks & CORE_LOG_CONSOLE) == 0) {
        console.reset();
    } else if (!console) {
        console = std::make_unique<BsConsoleChannel>();
    }
    if ((sinks & CORE_LOG_DEBUGGER) == 0) {
        debugger.reset();
    } else if (!debugger) {
        debugger = std::make_unique<BsMSVCChannel>();
    }
    NoteSinks();
}

unsigned ZylLogWrapper::Sinks() const {
    return (console ? unsigned{CORE_LOG_CONSOLE} : 0) |
           (isFileEnabled ? unsigned{CORE_LOG_FILE} : 0) |
           (debugger ? unsigned{CORE_LOG_DEBUGGER} : 0);
}

std::string ZylLogWrapper::Prefix() const {
    return taskId.empty() ? name : taskId;
}

void ZylLogWrapper::SetTaskId(const char* newTaskId) {
    taskId = newTaskId;
    if (file) {
        file->SetPrefix(Prefix());
    }
}

void ZylLogWrapper::SetFilePath(const char* newDirectory, FileLimits newLimits) {
    limits = newLimits;
    directory = *newDirectory != '\0' ? newDirectory : "./";
    if (directory.back() != '\\' && directory.back() != '/') {
        directory += '/';
    }
    std::string absolute;
    if (platform::MakeAbsolute(directory, absolute) == 0) {
        directory = absolute;
    }
    // The old channel goes on until it has written what it was given.
    file = std::make_shared<BsFileChannel>(directory, limits, Prefix());
    file->CountIn(counters);
    if (const platform::SystemError error = file->Open(); error != 0) {
        file.reset();
        fileError = directory + ": " + SystemErrorText(error);
    }
}

void ZylLogWrapper::WriteToConsole(std::string_view line, int level) {
    if (console) {
        console->WriteLine(level, line.data(), line.size());
    }
}

void ZylLogWrapper::WriteToDebugger(std::string_view line, int level) {
    if (debugger) {
        debugger->WriteLine(level, line.data(), line.size());
    }
}

// Each of the pointers is whole, wherever the thread stood that held the mutex.
void ZylLogWrapper::WriteAtTheEnd(std::string_view line, std::string_view coloured,
                                  int level) CORE_NO_THREAD_SAFETY_ANALYSIS {
    if (BsConsoleChannel* const channel = console.get()) {
        channel->WriteLine(level, coloured.data(), coloured.size());
    }
    if (BsMSVCChannel* const channel = debugger.get()) {
        channel->WriteLine(level, line.data(), line.size());
    }
    if (BsFileChannel* const channel = file.get(); channel != nullptr && isFileEnabled) {
        channel->WriteAtTheEnd(line);
    }
}

void ZylLogWrapper::BeginAsChild() {
    if (file && file->IsTheParents()) {
        auto own = std::make_shared<BsFileChannel>(*file, directory, limits, Prefix());
        own->CountIn(counters);
        // Never destroyed: it would write the parent's lines.
        NeverDestroyed<std::shared_ptr<BsFileChannel>> parents;
        parents.value = std::exchange(file, std::move(own));
    }
}

std::shared_ptr<BsFileChannel> ZylLogWrapper::FileForLine() {
    if (isFileEnabled && !file) {
        const std::string wanted = directory;
        SetFilePath(wanted.c_str(), limits);
        isFileEnabled = file != nullptr;
        NoteSinks();
    }
    return isFileEnabled ? file : nullptr;
}

}  // namespace core
