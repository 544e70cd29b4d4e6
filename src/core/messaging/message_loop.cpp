#include <core/messaging/message_loop.h>

#include <core/messaging/counters.h>
#include <core/messaging/thread_of.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/foundation/report.h"
#include "core/messaging/access.h"
#include "core/messaging/message_queue.h"
#include "core/messaging/run_times.h"
#include "core/messaging/serving.h"
#include "core/platform/platform.h"

#include <core/foundation/thread_name.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

// A loop object may go while a thread runs it: a copy keeps the thread alive, or one of
// its own handlers destroys it. So a thread asks before it touches the loop again.
//
//  1. A run holds the queue itself, not the caller's bus, and knows its loop until that
//     is destroyed. The thread is inside the loop from Enter to Leave.
//  2. A loop that goes cuts its runs: it waits until they are outside, but for a run on
//     its own thread, which finds out when it leaves.
//  3. `LoopThreads` belongs to all copies. It counts them itself, so that of two that go
//     at once exactly one is the last.
//  4. A thread that is gone without having ended is forgotten, with its run: it may have
//     held the run's mutex, and nobody is to wait for it.

namespace core {

/// One launch of a loop, shared by its thread and the copies of the loop.
class LoopRun {
public:
    LoopRun(const MessageLoop* runLoop, std::shared_ptr<MessageQueue<SimpleMessage>> simpleQueue,
            std::shared_ptr<MessageQueue<VersatileMsgBus::Handle>> versatileQueue)
        : simple(std::move(simpleQueue)), versatile(std::move(versatileQueue)), loop(runLoop) {}

    /// False when the loop is gone.
    bool Enter() {
        const Lock lock(mutex);
        isInside = loop != nullptr;
        return isInside;
    }
    /// False when the loop is gone.
    bool Leave() {
        const Lock lock(mutex);
        isInside = false;
        if (loop == nullptr) {
            outside.NotifyAll();
        }
        return loop != nullptr;
    }
    bool IsOf(const MessageLoop* other) {
        const Lock lock(mutex);
        return loop == other;
    }
    /// The loop is going. Returns when the thread has left it, if that is another one.
    void Cut(bool isOwnThread) {
        Lock lock(mutex);
        loop = nullptr;
        while (isInside && !isOwnThread) {
            outside.Wait(mutex);
        }
    }

    const std::shared_ptr<MessageQueue<SimpleMessage>> simple;
    const std::shared_ptr<MessageQueue<VersatileMsgBus::Handle>> versatile;

private:
    QueueMutex mutex;
    QueueCondition outside;
    const MessageLoop* loop CORE_GUARDED_BY(mutex);
    bool isInside CORE_GUARDED_BY(mutex) = false;
};

namespace {

void ReportThrow(const char* function, const char* what) noexcept {
    char text[200];
    std::snprintf(text, sizeof text, "a message loop's %s threw: %.150s", function, what);
    Report(ReportLevel::Error, "core", text);
}

/// Runs what a caller has overridden; what it throws ends in the log.
template <class Call>
void Guarded(const char* function, Call&& call) noexcept {
    try {
        call();
    } catch (const std::exception& error) {
        ReportThrow(function, error.what());
    } catch (...) {
        ReportThrow(function, "something that is no exception");
    }
}

/// Until the queue is closed. False, outside the loop, when that is gone before.
template <class Message>
bool Consume(MessageLoop& loop, LoopRun& run, MessageQueue<Message>& queue, RunTimes& times) {
    const Serving serving(&queue);
    while (run.Leave()) {
        Message message;
        const bool isOpen = queue.PeekToHandle(message) == MsgBusWaitRet::Ok;
        if (!run.Enter()) {
            queue.LeaveUnhandled();
            return false;
        }
        if (!isOpen) {
            return true;
        }
        times.Time("handle message",
                   [&] { Guarded("OnMessage", [&] { loop.OnMessage(message); }); });
        // Kept on purpose: handlers rely on an urgent message that came meanwhile being
        // the one that goes here.
        queue.PopHandled();
    }
    return false;
}

}  // namespace

/// The threads that the copies of a loop share.
class LoopThreads {
public:
    void AddCopy() {
        const Lock lock(mutex, *this);
        ++copies;
    }
    /// Starts `body` on a thread of its own, or throws.
    template <class Body>
    void Start(std::shared_ptr<LoopRun> run, Body body);
    /// Null on a thread that was not started here.
    std::shared_ptr<LoopRun> RunOfThisThread();
    void Join();
    void RemoveCopy(const MessageLoop* loop) noexcept;
    /// The run that was started last; null when there is none any more.
    std::shared_ptr<LoopRun> LastRun() {
        const Lock lock(mutex, *this);
        return entries.empty() ? nullptr : entries.back().run;
    }
    RunTimes& Times() noexcept { return times; }
    /// For locks whose holder is gone.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS { new (&entries) Entries; }

private:
    struct Entry {
        std::thread::id id;
        std::thread thread;  // not joinable any more once somebody joins it
        std::shared_ptr<LoopRun> run;
        HomeProcess home;
    };
    using Entries = std::vector<Entry>;

    Entries::iterator Find(std::thread::id id) CORE_REQUIRES(mutex) {
        return std::find_if(entries.begin(), entries.end(),
                            [=](const Entry& entry) { return entry.id == id; });
    }
    void ForgetLostThreads() CORE_REQUIRES(mutex);
    void CutFrom(const MessageLoop* loop);

    RunTimes times;
    QueueMutex mutex;
    QueueCondition joined;
    int copies CORE_GUARDED_BY(mutex) = 1;
    Entries entries CORE_GUARDED_BY(mutex);
};

template <class Body>
void LoopThreads::Start(std::shared_ptr<LoopRun> run, Body body) {
    const Lock lock(mutex, *this);
    // First, so that nothing fails once the thread is there.
    entries.reserve(entries.size() + 1);
    const platform::SignalsBlocked blocked;
    std::thread thread([run = std::move(body)]() mutable {
        SetThreadName("core loop");
        run();
    });
    const std::thread::id id = thread.get_id();
    entries.push_back({id, std::move(thread), std::move(run), {}});
}

std::shared_ptr<LoopRun> LoopThreads::RunOfThisThread() {
    const Lock lock(mutex, *this);
    const auto own = Find(std::this_thread::get_id());
    return own != entries.end() ? own->run : nullptr;
}

void LoopThreads::ForgetLostThreads() {
    for (Entry& entry : entries) {
        if (entry.home.HasLostThreads()) {
            Forget(std::move(entry.thread));
            Forget(std::move(entry.run));
        }
    }
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](const Entry& entry) { return entry.run == nullptr; }),
                  entries.end());
}

void LoopThreads::Join() {
    Lock lock(mutex, *this);
    ForgetLostThreads();
    if (Find(std::this_thread::get_id()) != entries.end()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                "a message loop waits for its own end");
    }
    while (!entries.empty()) {
        const auto next = std::find_if(entries.begin(), entries.end(),
                                       [](const Entry& entry) { return entry.thread.joinable(); });
        if (next == entries.end()) {
            // Others join the rest.
            joined.Wait(mutex);
            continue;
        }
        const std::thread::id id = next->id;
        // A handle that can't be joined must not be destroyed either.
        NeverDestroyed<std::thread> thread;
        thread.value = std::move(next->thread);
        lock.unlock();
        bool hasEnded = true;
        try {
            thread.value.join();
        } catch (const std::system_error&) {
            hasEnded = false;
        }
        lock.lock();
        entries.erase(Find(id));
        joined.NotifyAll();
        if (!hasEnded) {
            throw std::system_error(std::make_error_code(std::errc::no_such_process),
                                    "the thread of a message loop can't be joined");
        }
    }
}

void LoopThreads::CutFrom(const MessageLoop* loop) {
    Lock lock(mutex, *this);
    for (;;) {
        const auto next = std::find_if(entries.begin(), entries.end(),
                                       [=](const Entry& entry) { return entry.run->IsOf(loop); });
        if (next == entries.end()) {
            return;
        }
        const std::shared_ptr<LoopRun> run = next->run;
        const bool isOwnThread = next->id == std::this_thread::get_id();
        // A handler in progress may need this mutex.
        lock.unlock();
        run->Cut(isOwnThread);
        lock.lock();
    }
}

void LoopThreads::RemoveCopy(const MessageLoop* loop) noexcept {
    Lock lock(mutex, *this);
    ForgetLostThreads();
    const bool isLast = --copies == 0;
    const bool isOwnThread = Find(std::this_thread::get_id()) != entries.end();
    lock.unlock();
    if (isLast && !isOwnThread) {
        Guarded("WaitExit", [this] { Join(); });
        return;
    }
    CutFrom(loop);
    if (isLast) {
        lock.lock();
        for (Entry& entry : entries) {
            entry.thread.detach();
        }
        entries.clear();
    }
}

MessageLoop::MessageLoop() : p_impl(std::make_shared<LoopThreads>()) {}

MessageLoop::MessageLoop(const MessageLoop& other)
    : simpleBus(other.simpleBus), versatileBus(other.versatileBus), p_impl(other.p_impl) {
    p_impl->AddCopy();
}

MessageLoop& MessageLoop::operator=(const MessageLoop& other) {
    if (this == &other) {
        return *this;
    }
    if (p_impl != other.p_impl) {
        other.p_impl->AddCopy();
        p_impl->RemoveCopy(this);
        p_impl = other.p_impl;
    }
    simpleBus = other.simpleBus;
    versatileBus = other.versatileBus;
    return *this;
}

MessageLoop::~MessageLoop() {
    p_impl->RemoveCopy(this);
}

void MessageLoop::OnLoopStart() {}

void MessageLoop::OnLoopExit() {}

void MessageLoop::OnMessage(const std::shared_ptr<VersatileMessage>& /*message*/) {}

void MessageLoop::OnMessage(const SimpleMessage& /*message*/) {}

void MessageLoop::SetMsgBus(SimpleMsgBus* bus) {
    simpleBus = bus;
}

void MessageLoop::SetMsgBus(VersatileMsgBus* bus) {
    versatileBus = bus;
}

std::shared_ptr<LoopRun> MessageLoop::MakeRun() const {
    return std::make_shared<LoopRun>(
        this, simpleBus != nullptr ? simpleBus->p_impl->Shared() : nullptr,
        versatileBus != nullptr ? versatileBus->p_impl->Shared() : nullptr);
}

bool MessageLoop::Launch() {
    try {
        const std::shared_ptr<LoopRun> run = MakeRun();
        // Held by the thread: a handler may destroy the loop.
        p_impl->Start(run, [this, run, threads = p_impl] {
            const Serving serving(threads.get());
            if (run->Enter()) {
                Guarded("ThreadProc", [this] { ThreadProc(); });
                run->Leave();
            }
        });
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void MessageLoop::WaitExit() {
    p_impl->Join();
}

void MessageLoop::ThreadProc() {
    std::shared_ptr<LoopRun> run = p_impl->RunOfThisThread();
    if (run == nullptr) {
        // A derived class lends a thread of its own.
        run = MakeRun();
    }
    // A handler may destroy the loop.
    const std::shared_ptr<LoopThreads> threads = p_impl;
    const Serving serving(threads.get());
    Guarded("OnLoopStart", [this] { OnLoopStart(); });
    const bool isThere =
        run->simple != nullptr      ? Consume(*this, *run, *run->simple, threads->Times())
        : run->versatile != nullptr ? Consume(*this, *run, *run->versatile, threads->Times())
                                    : run->IsOf(this);
    if (isThere) {
        Guarded("OnLoopExit", [this] { OnLoopExit(); });
    }
}

Counters CountersOf(const MessageLoop& loop) {
    LoopThreads& threads = *MessagingAccess::ImplOf(loop);
    Counters counters;
    if (const std::shared_ptr<LoopRun> run = threads.LastRun()) {
        counters = run->simple != nullptr      ? run->simple->CountAll()
                   : run->versatile != nullptr ? run->versatile->CountAll()
                                               : counters;
    }
    counters.done = threads.Times().Done();
    counters.longestRun = threads.Times().Longest();
    return counters;
}

void MeasureRuns(MessageLoop& loop, bool isOn) {
    MessagingAccess::ImplOf(loop)->Times().Measure(isOn);
}

bool IsThreadOf(const MessageLoop& loop) {
    return Serving::Is(MessagingAccess::ImplOf(loop).get());
}

}  // namespace core
