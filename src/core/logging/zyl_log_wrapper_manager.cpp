#include "core/logging/zyl_log_wrapper_manager.h"

#include "core/foundation/never_destroyed.h"
#include "core/foundation/report.h"
#include "core/messaging/named_worker.h"
#include "core/platform/platform.h"

#include <core/foundation/thread_name.h>
#include <core/logging/log_flush.h>
#include <core/logging/log_form.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <new>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

namespace core {
namespace {

CORE_INIT_FIRST NeverDestroyed<Mutex> shutdownMutexStorage;
Mutex& shutdownMutex = shutdownMutexStorage.value;

static_assert(std::is_trivially_destructible_v<ZylLogWrapperManager>,
              "lines are logged until the very end of a process");

/// A line as the sinks want it, made when the first of them asks.
class LineForms {
public:
    explicit LineForms(const LineFields& from) : fields(from) {}

    std::string_view Get(Colour colour) {
        LineBuffer& line = colour == Colour::Yes ? coloured : plain;
        if (line.Size() == 0) {
            ExpandLine(fields, colour, line);
            // For those who want a zero byte at the end.
            line.Append('\0');
        }
        return line.View().substr(0, line.Size() - 1);
    }

    /// For fields that have changed.
    void Clear() noexcept {
        plain.SetSize(0);
        coloured.SetSize(0);
    }

private:
    const LineFields& fields;
    LineBuffer plain;
    LineBuffer coloured;
};

bool IsUrgent(int level) noexcept {
    return level == CORE_LOG_ERROR || level == CORE_LOG_FATAL;
}

/// `why` is empty where it was told before.
void ReportNoFile(const char* module, const std::string& why) {
    if (!why.empty()) {
        const std::string text = std::string("no log file for module \"") + module + "\": " + why;
        Report(ReportLevel::Error, "core", text.c_str());
    }
}

}  // namespace

constinit ZylLogWrapperManager logManager;

class CORE_SCOPED_CAPABILITY ZylLogWrapperManager::Held {
public:
    explicit Held(ZylLogWrapperManager& log) CORE_ACQUIRE(logMutex) : lock(logMutex) {
        if (log.isForked) {
            log.BeginAsChild();
        }
    }
    ~Held() CORE_RELEASE() {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    Lock<Mutex> lock;
};

void ZylLogWrapperManager::Print(ZylLogWrapper* module, const char* name, LineFields fields,
                                 const char* format, std::va_list arguments) {
    if (platform::OtherThreadsAreGone()) {
        PrintAtTheEnd(module, fields, format, arguments);
        return;
    }
    if (module == nullptr) {
        const Held held(*this);
        module = FindOrCreate(name);
        if (module == nullptr) {
            return;
        }
    }
    if (!IsWanted(*module, fields.level)) {
        module->suppressedLines.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    BodyBuffer body;
    FormatBody(format, arguments, body);
    const bool isDumping = fields.level >= dumpLevel.load(std::memory_order_relaxed);
    Deliver(*module, fields, body, isDumping ? Keep::No : Keep::Yes);
    if (isDumping) {
        Dump(*module);
    }
}

void ZylLogWrapperManager::Deliver(ZylLogWrapper& module, LineFields& fields, BodyBuffer& body,
                                   Keep keep) {
    TimeStamp time;
    fields.module = module.name.c_str();
    if (fields.propertyCount > 0 && !IsJson()) {
        AppendProperties(fields, body);
    }
    // For those who want a zero byte at the end.
    body.Append('\0');
    const std::string_view message = body.View().substr(0, body.Size() - 1);
    const bool isOwn = keep == Keep::No || fields.level >= module.minLevel;
    Complete(fields, time, message);
    LineForms forms(fields);
    // What the sinks will want, as far as we see now.
    const unsigned likely = isOwn ? module.SinksLately() : 0;
    if ((likely & CORE_LOG_CONSOLE) != 0) {
        forms.Get(ConsoleColour());
    }
    if ((likely & (CORE_LOG_DEBUGGER | CORE_LOG_FILE)) != 0) {
        forms.Get(Colour::No);
    }

    std::shared_ptr<BsFileChannel> file;
    std::string whyNoFile;
    std::shared_ptr<const Extras> beside;
    {
        const Held held(*this);
        if (isShutDown) {
            return;
        }
        if (time.Ticks() < lastTicks) {
            // Another thread was faster: lines and stamps come in one order, unless the
            // clock itself goes back.
            time = TimeStamp();
            fields.time = time.View();
            forms.Clear();
        }
        lastTicks = time.Ticks();
        const unsigned sinks = isOwn ? module.Sinks() : 0;
        if ((sinks & CORE_LOG_CONSOLE) != 0) {
            module.WriteToConsole(forms.Get(ConsoleColour()), fields.level);
        }
        if ((sinks & CORE_LOG_DEBUGGER) != 0) {
            module.WriteToDebugger(forms.Get(Colour::No), fields.level);
        }
        if ((sinks & CORE_LOG_FILE) != 0) {
            file = module.FileForLine();
            if (file == nullptr) {
                whyNoFile = module.TakeFileError();
            }
        }
        if (isOwn) {
            module.writtenLines.fetch_add(1, std::memory_order_relaxed);
        }
        if (extras != nullptr) {
            beside = *extras;
        }
        if (file && file->Append(forms.Get(Colour::No), isAutoFlush || IsUrgent(fields.level))) {
            Write(file);
        }
    }
    if (file && fields.level == CORE_LOG_FATAL && isFatalAtOnce) {
        file->Flush();
    }
    if (file) {
        file->WaitForRoom();
        file->TellNotice();
    }
    if (beside && keep == Keep::Yes && beside->recent) {
        beside->recent->Add(module.name.c_str(), fields);
    }
    if (beside && !LogSink::IsInside()) {
        for (const std::shared_ptr<LogSink>& sink : beside->sinks) {
            if (fields.level >= sink->level) {
                sink->Call(module.name.c_str(), fields, time.Ticks());
            }
        }
    }
    ReportNoFile(module.name.c_str(), whyNoFile);
}

void ZylLogWrapperManager::Complete(LineFields& fields, const TimeStamp& time,
                                    std::string_view body) const noexcept {
    fields.threadId = platform::CurrentThreadId();
    if (hasThreadNames.load(std::memory_order_relaxed)) {
        fields.threadName = ThreadName();
    }
    fields.time = time.View();
    fields.body = body;
    fields.isOneLine = form.load(std::memory_order_relaxed) == CORE_LOG_ONE_LINE;
    fields.isJson = IsJson();
}

ZylLogWrapper* ZylLogWrapperManager::FindOrCreate(const char* name) {
    if (isShutDown) {
        return nullptr;
    }
    if (ZylLogWrapper* const known = modules.Find(name)) {
        return known;
    }
    StartWorker();
    auto made = std::make_unique<ZylLogWrapper>(name);
    made->minLevel = defaultLevel.load();
    SetGate(*made);
    made->ApplySinks(defaultSinks);
    ZylLogWrapper& module = modules.Insert(std::move(made));
    if (module.name == kOwnModule) {
        own.store(&module, std::memory_order_release);
    }
    return &module;
}

void ZylLogWrapperManager::PrintAtTheEnd(ZylLogWrapper* module, LineFields& fields,
                                         const char* format, std::va_list arguments) const {
    if (module == nullptr || fields.level < module->minLevel) {
        // None can be made any more.
        return;
    }
    BodyBuffer body;
    FormatBody(format, arguments, body);
    const TimeStamp time;
    fields.module = module->name.c_str();
    Complete(fields, time, body.View());
    LineForms forms(fields);
    module->WriteAtTheEnd(forms.Get(Colour::No), forms.Get(ConsoleColour()), fields.level);
}

void ZylLogWrapperManager::StartWorker() {
    if (std::exchange(hasHadWorker, true)) {
        return;
    }
    MakeWorker();
    platform::KeepLibraryLoaded();
    if (this == &logManager) {
        platform::OnFork(BeforeFork, AfterFork, AfterForkInChild);
        std::atexit(AtProcessEnd);
    }
}

void ZylLogWrapperManager::MakeWorker() {
    try {
        worker = CreateNamedWorker("core log");
    } catch (const std::system_error&) {
        // No thread to be had: lines are written on the threads that log.
    }
}

// What is under the log's mutex is whole in the child. What other threads of the parent had
// in hand (their lines, their tasks, the other locks) stays theirs.
void ZylLogWrapperManager::BeforeFork() CORE_NO_THREAD_SAFETY_ANALYSIS {
    logMutex.lock();
}

void ZylLogWrapperManager::AfterFork() CORE_NO_THREAD_SAFETY_ANALYSIS {
    logMutex.unlock();
}

void ZylLogWrapperManager::AfterForkInChild() CORE_NO_THREAD_SAFETY_ANALYSIS {
    // The rest when it logs, if it does: most children run another program at once.
    logManager.isForked = true;
    logMutex.unlock();
}

void ZylLogWrapperManager::BeginAsChild() {
    new (&shutdownMutex) Mutex;
    BsFileChannel::ForgetLocks();
    for (ZylLogWrapper* const module : modules.All()) {
        module->BeginAsChild();
    }
    if (extras != nullptr && (*extras)->recent) {
        // Another thread may have been in them.
        Extras fresh = CopyOfExtras();
        fresh.recent = std::make_shared<RecentLines>(fresh.recent->Room());
        SetExtras(std::move(fresh));
    }
    isForked = false;
    if (worker != nullptr) {
        parentsWorker = std::exchange(worker, nullptr);
        MakeWorker();
    }
}

void ZylLogWrapperManager::Write(const std::shared_ptr<BsFileChannel>& file) {
    if (worker == nullptr) {
        file->WriteWaiting();
        return;
    }
    try {
        Post(std::make_unique<FileChannelTask>(file));
    } catch (...) {
        // The line is in the queue; the next one is to bring a task again.
        file->TaskIsLost();
        throw;
    }
}

// A task that can't be queued stays ours.
void ZylLogWrapperManager::Post(std::unique_ptr<Task> task) {
    worker->PostTask(task.get());
    static_cast<void>(task.release());
}

void ZylLogWrapperManager::FlushFiles() {
    for (ZylLogWrapper* const module : modules.All()) {
        if (module->File() && worker != nullptr) {
            Post(std::make_unique<FlushTask>(module->File()));
        } else if (module->File()) {
            module->File()->Flush();
        }
    }
}

void ZylLogWrapperManager::FinishFiles() {
    const Held held(*this);
    for (ZylLogWrapper* const module : modules.All()) {
        if (module->File()) {
            module->File()->Finish();
        }
    }
}

void ZylLogWrapperManager::StopWorker() {
    IWorker* stopping = nullptr;
    {
        const Held held(*this);
        stopping = std::exchange(worker, nullptr);
    }
    // Without the mutex: the tasks that are still queued may log. Not drained, which
    // would let this thread overtake the task that the worker is in.
    delete stopping;
}

void ZylLogWrapperManager::SetLevel(int level) {
    const Held held(*this);
    defaultLevel = level;
    for (ZylLogWrapper* const module : modules.All()) {
        module->minLevel = level;
        SetGate(*module);
    }
}

void ZylLogWrapperManager::SetLevel(const char* name, int level) {
    const Held held(*this);
    if (ZylLogWrapper* const module = FindOrCreate(name)) {
        module->minLevel = level;
        SetGate(*module);
    }
}

int ZylLogWrapperManager::Level(const char* name) {
    if (platform::OtherThreadsAreGone()) {
        const ZylLogWrapper* const module = Find(name);
        return module != nullptr ? module->minLevel.load() : int{CORE_LOG_OFF};
    }
    const Held held(*this);
    const ZylLogWrapper* const module = FindOrCreate(name);
    return module != nullptr ? module->minLevel.load() : int{CORE_LOG_OFF};
}

void ZylLogWrapperManager::SetSinks(unsigned sinks) {
    // Kept on purpose: hosts rely on this one, unlike its sister for a module, working
    // after the shutdown too; it may still create console channels.
    const Held held(*this);
    defaultSinks = sinks;
    for (ZylLogWrapper* const module : modules.All()) {
        module->ApplySinks(sinks);
    }
}

void ZylLogWrapperManager::SetSinks(const char* name, unsigned sinks) {
    const Held held(*this);
    if (ZylLogWrapper* const module = FindOrCreate(name)) {
        module->ApplySinks(sinks);
    }
}

unsigned ZylLogWrapperManager::Sinks(const char* name) {
    if (platform::OtherThreadsAreGone()) {
        const ZylLogWrapper* const module = Find(name);
        return module != nullptr ? module->SinksLately() : 0;
    }
    const Held held(*this);
    const ZylLogWrapper* const module = FindOrCreate(name);
    return module != nullptr ? module->Sinks() : 0;
}

void ZylLogWrapperManager::SetFilePath(const char* name, const char* directory, FileLimits limits) {
    const Held held(*this);
    if (ZylLogWrapper* const module = FindOrCreate(name)) {
        module->SetFilePath(directory, limits);
    }
}

void ZylLogWrapperManager::SetTaskId(const char* name, const char* taskId) {
    const Held held(*this);
    if (ZylLogWrapper* const module = FindOrCreate(name)) {
        module->SetTaskId(taskId);
    }
}

void ZylLogWrapperManager::AddFilterTag(const char* tag) {
    const Held held(*this);
    filter.Add(tag);
}

void ZylLogWrapperManager::ClearFilterTags() {
    const Held held(*this);
    filter.Clear();
}

bool ZylLogWrapperManager::IsJson() const noexcept {
    return form.load(std::memory_order_relaxed) == CORE_LOG_JSON;
}

bool ZylLogWrapperManager::IsWanted(const ZylLogWrapper& module, int level) const noexcept {
    return level >= module.minLevel.load(std::memory_order_relaxed) ||
           level >= extrasLevel.load(std::memory_order_relaxed);
}

void ZylLogWrapperManager::SetGate(ZylLogWrapper& module) const noexcept {
    module.gate =
        isCounting ? std::numeric_limits<int>::min() : std::min<int>(module.minLevel, extrasLevel);
}

ZylLogWrapperManager::Extras ZylLogWrapperManager::CopyOfExtras() const {
    return extras != nullptr ? **extras : Extras();
}

void ZylLogWrapperManager::SetExtras(Extras newExtras) {
    int level = std::numeric_limits<int>::max();
    for (const std::shared_ptr<LogSink>& sink : newExtras.sinks) {
        level = std::min(level, sink->level);
    }
    if (newExtras.recent) {
        level = std::numeric_limits<int>::min();
    }
    const bool hasAny = !newExtras.sinks.empty() || newExtras.recent;
    std::unique_ptr<const std::shared_ptr<const Extras>> made;
    if (hasAny) {
        made = std::make_unique<const std::shared_ptr<const Extras>>(
            std::make_shared<const Extras>(std::move(newExtras)));
    }
    delete std::exchange(extras, made.release());
    extrasLevel = level;
    for (ZylLogWrapper* const module : modules.All()) {
        SetGate(*module);
    }
}

int ZylLogWrapperManager::AddSink(CoreLogSinkFunction function, void* context, int level,
                                  const char* pattern) {
    auto sink = std::make_shared<LogSink>(function, context, level, pattern);
    const Held held(*this);
    Extras more = CopyOfExtras();
    sink->id = lastSinkId + 1;
    more.sinks.push_back(std::move(sink));
    SetExtras(std::move(more));
    return ++lastSinkId;
}

bool ZylLogWrapperManager::RemoveSink(int id) {
    std::shared_ptr<LogSink> removed;
    {
        const Held held(*this);
        Extras rest = CopyOfExtras();
        const auto at = std::find_if(rest.sinks.begin(), rest.sinks.end(),
                                     [=](const auto& sink) { return sink->id == id; });
        if (at == rest.sinks.end()) {
            return false;
        }
        removed = *at;
        rest.sinks.erase(at);
        SetExtras(std::move(rest));
    }
    removed->Close();
    return true;
}

void ZylLogWrapperManager::KeepRecent(std::size_t lines, int fromLevel) {
    auto recent = lines > 0 ? std::make_shared<RecentLines>(lines) : nullptr;
    const Held held(*this);
    Extras more = CopyOfExtras();
    more.recent = std::move(recent);
    SetExtras(std::move(more));
    dumpLevel = lines > 0 ? fromLevel : int{CORE_LOG_OFF};
}

void ZylLogWrapperManager::DumpRecent(const char* name) {
    ZylLogWrapper* module = nullptr;
    {
        const Held held(*this);
        module = FindOrCreate(name);
    }
    if (module != nullptr) {
        Dump(*module);
    }
}

void ZylLogWrapperManager::Dump(ZylLogWrapper& module) {
    std::shared_ptr<RecentLines> recent;
    {
        const Held held(*this);
        recent = CopyOfExtras().recent;
    }
    if (recent == nullptr) {
        return;
    }
    for (const RecentLine& line : recent->Take()) {
        LineFields fields;
        fields.level = line.level;
        fields.tag = line.tag.c_str();
        BodyBuffer body;
        body.Append("recent [");
        body.Append(line.time);
        body.Append("][");
        body.Append(line.module);
        body.Append("]");
        body.Append(line.message);
        Deliver(module, fields, body, Keep::No);
    }
}

void ZylLogWrapperManager::SetCounting(bool isOn) {
    const Held held(*this);
    isCounting = isOn;
    for (ZylLogWrapper* const module : modules.All()) {
        SetGate(*module);
    }
}

void ZylLogWrapperManager::CountStopped(ZylLogWrapper* module) const noexcept {
    if (module != nullptr && isCounting) {
        module->suppressedLines.fetch_add(1, std::memory_order_relaxed);
    }
}

bool ZylLogWrapperManager::AddCounters(const char* name, CoreLogCounters& sum) const {
    bool isFound = name == nullptr;
    for (const ZylLogWrapper* const module : modules.All()) {
        if (name != nullptr && module->name != name) {
            continue;
        }
        isFound = true;
        sum.writtenLines += module->writtenLines;
        sum.suppressedLines += module->suppressedLines;
        sum.lostLines += module->counters.lostLines;
        sum.fileBytes += module->counters.bytes;
        sum.files += module->counters.files;
        sum.longestWaitNs = std::max(sum.longestWaitNs, module->counters.longestWaitNanos.load());
    }
    return isFound;
}

void ZylLogWrapperManager::Flush() {
    if (platform::OtherThreadsAreGone()) {
        BsFileChannel::WriteAllAtTheEnd();
        return;
    }
    const Held held(*this);
    if (!isShutDown) {
        FlushFiles();
    }
}

int ZylLogWrapperManager::FlushAndWait(bool toDisk, std::int64_t timeoutMs) {
    if (platform::OtherThreadsAreGone()) {
        BsFileChannel::WriteAllAtTheEnd();
        return CORE_LOG_FLUSHED;
    }
    if (toDisk) {
        RotatingFile::SyncWhenClosed();
    }
    using Clock = RotatingFile::Clock;
    const std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    const Clock::time_point deadline =
        Clock::now() +
        (timeoutMs < 0 ? longest : std::min(std::chrono::milliseconds(timeoutMs), longest));
    const auto wait = std::make_shared<FlushWait>();
    std::unique_ptr<FlushAllTask> runsHere;
    {
        const Held held(*this);
        if (isShutDown) {
            return hasEnded ? CORE_LOG_FLUSHED : CORE_LOG_TIMED_OUT;
        }
        FlushAllTask::Channels files;
        for (ZylLogWrapper* const module : modules.All()) {
            if (module->File()) {
                files.push_back(module->File());
            }
        }
        auto task = std::make_unique<FlushAllTask>(std::move(files), toDisk, wait);
        if (worker != nullptr && !FlushAllTask::IsOnWorker()) {
            // Behind the tasks for all lines before it, of files that were replaced too.
            Post(std::move(task));
        } else {
            runsHere = std::move(task);
        }
    }
    if (runsHere != nullptr) {
        runsHere->Run();
    }
    if (!wait->Await(deadline)) {
        return CORE_LOG_TIMED_OUT;
    }
    return wait->IsWhole() ? CORE_LOG_FLUSHED : CORE_LOG_NOT_WRITTEN;
}

void ZylLogWrapperManager::Shutdown() {
    if (platform::OtherThreadsAreGone()) {
        AtProcessEnd();
        return;
    }
    {
        // A forked child gives up the parent's locks first.
        const Held held(*this);
    }
    // A second caller waits for the first.
    const Lock onlyOne(shutdownMutex);
    std::vector<std::shared_ptr<BsFileChannel>> files;
    {
        const Held held(*this);
        isShutDown = true;
        for (ZylLogWrapper* const module : modules.All()) {
            if (module->File()) {
                files.push_back(module->TakeFile());
            }
        }
    }
    StopWorker();
    // Closed by the last who holds them: us, now that no task is left.
    files.clear();
    hasEnded = true;
}

void ZylLogWrapperManager::AtProcessEnd() {
    if (platform::OtherThreadsAreGone()) {
        // They may have died with any lock held, the mutex of the log among them.
        logManager.isShutDown = true;
        BsFileChannel::WriteAllAtTheEnd();
        return;
    }
    {
        const Lock lock(logMutex);
        if (logManager.isForked) {
            // A child that did not log; what waits is the parent's.
            return;
        }
    }
    try {
        logManager.StopWorker();
        // What was posted between: from here on, every line is written at once.
        logManager.FinishFiles();
    } catch (const std::exception&) {
        // A task of the worker ended the process: it can't wait for itself.
    }
}

}  // namespace core
