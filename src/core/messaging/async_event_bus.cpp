#include <core/messaging/event_bus.h>

#include <core/messaging/counters.h>
#include <core/messaging/thread_of.h>
#include <core/messaging/timer.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/foundation/report.h"
#include "core/messaging/access.h"
#include "core/messaging/block_deque.h"
#include "core/messaging/event_queue.h"
#include "core/messaging/listener_registry.h"
#include "core/messaging/run_times.h"
#include "core/messaging/timer_access.h"
#include "core/messaging/timer_clock.h"
#include "core/messaging/timer_heap.h"
#include "core/platform/platform.h"

#include <core/foundation/thread_name.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <thread>
#include <utility>

// Changes to the listeners and events reach the consumer by two queues.
//
//  1. The consumer is the one thread that has the role: it alone touches the registry.
//  2. It counts the events first, then applies the changes, then delivers as many events
//     as it has counted. Each of them was posted before the count, and what its poster
//     changed before that is among the changes applied. Counted afterwards, an event
//     could slip in that overtakes its poster's change.
//  3. No lock is held while anything of a caller's runs: listeners, events' moves and
//     destructors, destructors of listeners. The consumer never holds both mutexes.
//  4. A stop empties the queues, which ends the pass of a listener that destroys its own
//     bus. What the consumer still needs is shared with it.
//  5. Where the thread is gone without having ended, it may stand anywhere in here: then
//     nothing is waited for, run or released.
//  6. The consumer posts what its timers have due before it counts, like any poster. So the
//     same pass delivers it, and no timer's event waits when its next one is due.

namespace core {

class AsyncEventBusImpl final : public detail::TimerOwner {
public:
    static void Start(const std::shared_ptr<AsyncEventBusImpl>& impl);

    int NewToken();
    void AddCommand(int token, const detail::EventType& type,
                    std::shared_ptr<detail::EventListener> listener);
    void RemoveListeners(int token);
    void* Reserve(const detail::EventType& type);
    void Free(EventNode* node);
    /// Queues a node's event, or destroys it after the stop.
    void Post(EventNode* node);
    int CountEvents();
    void Consume();
    void Stop();
    TimerKey Arm(std::int64_t due, std::int64_t period, std::function<void()>&& post);
    bool CancelTimer(const TimerKey& key) override;
    bool HasTimer(const TimerKey& key) override;
    Counters CountAll();
    void Measure(bool isOn) { times.Measure(isOn); }
    bool IsConsumerHere() {
        const ScopedLock lock(queueMutex, *this);
        return consumer == std::this_thread::get_id();
    }
    /// Whether Stop could wait for a thread that is gone.
    bool HasLostThreads() const noexcept { return home.HasLostThreads(); }
    /// For locks whose holder is gone.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS;

private:
    /// A change to the listeners: one more, or, without any, a token's removal.
    struct Command {
        int token;
        detail::EventType type;
        std::shared_ptr<detail::EventListener> listener;
    };
    using Commands = BlockDeque<Command>;

    /// What posts a timer's event. Held while it does so without the lock.
    using TimedPost = std::shared_ptr<std::function<void()>>;
    using Timers = TimerHeap<TimedPost>;

    bool WaitForWork();
    bool IsTimerDue() CORE_REQUIRES(queueMutex) {
        return timers != nullptr && timers->NextDue() <= TimerClock::Now();
    }
    void ServeTimers();
    void Wake() CORE_REQUIRES(queueMutex);
    int ProcessCommandsAndGetQueuedEventsCount();
    std::size_t CountCommands();
    bool TakeCommand(Command& out);
    void Run(Command command);
    void Deliver(int count);
    EventNode* TakeSpareNode(const detail::EventType& type) CORE_NO_THREAD_SAFETY_ANALYSIS {
        return events.TakeSpareNode(type);
    }
    static void Destroy(EventNode* node) { node->type->destroy(node->Event()); }

    QueueMutex queueMutex;
    QueueCondition wake;
    QueueCondition roleIsFree;
    EventQueue events CORE_GUARDED_BY(queueMutex);
    unsigned lastToken CORE_GUARDED_BY(queueMutex) = 0;
    std::thread::id consumer CORE_GUARDED_BY(queueMutex);
    bool isAsleep CORE_GUARDED_BY(queueMutex) = false;
    bool hasNewCommands CORE_GUARDED_BY(queueMutex) = false;
    bool isStopped CORE_GUARDED_BY(queueMutex) = false;
    /// The most that waited when the consumer looked.
    std::size_t highest CORE_GUARDED_BY(queueMutex) = 0;
    /// Made with the first timer.
    std::unique_ptr<Timers> timers CORE_GUARDED_BY(queueMutex);
    RunTimes times;

    QueueMutex commandMutex;
    Commands commands CORE_GUARDED_BY(commandMutex);
    bool takesCommands CORE_GUARDED_BY(commandMutex) = true;

    // The consumer's, and after it the destroying thread's.
    ListenerRegistry registry;
    bool mayHaveDue = false;

    // The constructor's and the destructor's.
    std::thread thread;
    HomeProcess home;
};

void AsyncEventBusImpl::Start(const std::shared_ptr<AsyncEventBusImpl>& impl) {
    const platform::SignalsBlocked blocked;
    impl->thread = std::thread([impl] {
        SetThreadName("core bus");
        impl->Consume();
    });
}

int AsyncEventBusImpl::NewToken() {
    const ScopedLock lock(queueMutex, *this);
    return static_cast<int>(++lastToken);
}

void AsyncEventBusImpl::AddCommand(int token, const detail::EventType& type,
                                   std::shared_ptr<detail::EventListener> listener) {
    const Lock lock(commandMutex, *this);
    if (takesCommands) {
        commands.PushBack(Command{token, type, std::move(listener)});
    }
}

void AsyncEventBusImpl::RemoveListeners(int token) {
    AddCommand(token, {}, nullptr);
    const ScopedLock lock(queueMutex, *this);
    hasNewCommands = true;
    Wake();
}

void AsyncEventBusImpl::Wake() {
    if (isAsleep) {
        isAsleep = false;
        wake.NotifyOne();
    }
}

void* AsyncEventBusImpl::Reserve(const detail::EventType& type) {
    EventNode* const node = TakeSpareNode(type);
    if (node != nullptr) {
        return node->Event();
    }
    const ScopedLock lock(queueMutex, *this);
    return events.NewNode(type)->Event();
}

void AsyncEventBusImpl::Free(EventNode* node) {
    const ScopedLock lock(queueMutex, *this);
    events.FreeNode(node);
}

void AsyncEventBusImpl::Post(EventNode* node) {
    {
        const ScopedLock lock(queueMutex, *this);
        if (!isStopped) {
            events.Push(node);
            Wake();
            return;
        }
    }
    Destroy(node);
    Free(node);
}

int AsyncEventBusImpl::CountEvents() {
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    const ScopedLock lock(queueMutex, *this);
    return static_cast<int>(std::min(events.Size(), kMost));
}

void AsyncEventBusImpl::Consume() {
    const std::thread::id self = std::this_thread::get_id();
    {
        const ScopedLock lock(queueMutex, *this);
        if (consumer == self) {
            return;
        }
        const bool isAlone = platform::OtherThreadsAreGone();
        while (!isStopped && !isAlone && consumer != std::thread::id()) {
            roleIsFree.Wait(queueMutex);
        }
        if (isStopped || isAlone) {
            return;
        }
        consumer = self;
    }
    while (WaitForWork()) {
        if (mayHaveDue) {
            ServeTimers();
        }
        Deliver(ProcessCommandsAndGetQueuedEventsCount());
    }
    const ScopedLock lock(queueMutex, *this);
    consumer = std::thread::id();
    roleIsFree.NotifyAll();
}

bool AsyncEventBusImpl::WaitForWork() {
    const ScopedLock lock(queueMutex, *this);
    while (!isStopped && events.Size() == 0 && !hasNewCommands && !IsTimerDue()) {
        isAsleep = true;
        if (timers == nullptr || timers->Size() == 0) {
            wake.Wait(queueMutex);
        } else {
            // Some systems wait for days at most; a wait that is cut goes on.
            constexpr std::chrono::nanoseconds kLongest = std::chrono::hours(1);
            const std::chrono::nanoseconds left(timers->NextDue() - TimerClock::Now());
            wake.WaitUntil(queueMutex, std::chrono::steady_clock::now() + std::min(left, kLongest));
        }
        isAsleep = false;
    }
    hasNewCommands = false;
    mayHaveDue = timers != nullptr;
    highest = std::max(highest, events.Size());
    return !isStopped;
}

void AsyncEventBusImpl::ServeTimers() {
    std::int64_t now = 0;
    for (;;) {
        TimedPost post;
        {
            const ScopedLock lock(queueMutex, *this);
            if (timers == nullptr || isStopped) {
                return;
            }
            // Once: what falls due meanwhile is for the next pass.
            now = now != 0 ? now : TimerClock::Now();
            Timers::Slot* const timer = timers->FirstDue(now);
            if (timer == nullptr) {
                return;
            }
            if (timer->period == 0) {
                post = timers->TakeFirst();
            } else {
                post = timer->payload;
                timers->PostponeFirst(now);
            }
        }
        try {
            (*post)();
        } catch (const std::exception& error) {
            Report(ReportLevel::Error, "core", error.what(), "AsyncEventBus");
        } catch (...) {
            Report(ReportLevel::Error, "core", "a timer's event can't be copied", "AsyncEventBus");
        }
    }
}

TimerKey AsyncEventBusImpl::Arm(std::int64_t due, std::int64_t period,
                                std::function<void()>&& post) {
    auto payload = std::make_shared<std::function<void()>>(std::move(post));
    const ScopedLock lock(queueMutex, *this);
    if (isStopped) {
        return {};
    }
    if (timers == nullptr) {
        timers = std::make_unique<Timers>();
    }
    const bool isFirst = due < timers->NextDue();
    const TimerKey key = timers->Arm(due, period, std::move(payload));
    if (isFirst) {
        Wake();
    }
    return key;
}

bool AsyncEventBusImpl::CancelTimer(const TimerKey& key) {
    TimedPost cancelled;
    const ScopedLock lock(queueMutex, *this);
    if (timers != nullptr) {
        cancelled = timers->Cancel(key);
    }
    return cancelled != nullptr;
}

bool AsyncEventBusImpl::HasTimer(const TimerKey& key) {
    const ScopedLock lock(queueMutex, *this);
    return timers != nullptr && timers->Find(key) != nullptr;
}

Counters AsyncEventBusImpl::CountAll() {
    const ScopedLock lock(queueMutex, *this);
    Counters counters;
    counters.posted = events.Pushed();
    counters.done = times.Done();
    counters.waiting = events.Size();
    highest = std::max(highest, events.Size());
    counters.highest = highest;
    counters.timers = timers != nullptr ? timers->Size() : 0;
    counters.longestRun = times.Longest();
    return counters;
}

int AsyncEventBusImpl::ProcessCommandsAndGetQueuedEventsCount() {
    // First the count, see 2 above.
    const int count = CountEvents();
    // Changes that come meanwhile are for the next pass: they might not end.
    Command command;
    for (std::size_t left = CountCommands(); left > 0 && TakeCommand(command); --left) {
        Run(std::move(command));
    }
    return count;
}

std::size_t AsyncEventBusImpl::CountCommands() {
    const Lock lock(commandMutex, *this);
    return commands.Size();
}

bool AsyncEventBusImpl::TakeCommand(Command& out) {
    const Lock lock(commandMutex, *this);
    if (commands.IsEmpty()) {
        // The bus was destroyed by a function that went.
        return false;
    }
    out = commands.PopFront();
    return true;
}

void AsyncEventBusImpl::Run(Command command) {
    const bool isRemoval = command.listener == nullptr;
    try {
        if (isRemoval) {
            registry.RemoveAll(command.token);
        } else {
            registry.Add(command.type, std::move(command.listener));
        }
    } catch (const std::exception& error) {
        if (isRemoval) {
            // Their owner may be gone. Their functions go with the bus.
            registry.SwitchOff(command.token);
        }
        Report(ReportLevel::Error, "core", error.what(), "AsyncEventBus");
    }
}

void AsyncEventBusImpl::Deliver(int count) {
    // Good for one pass: the listeners do not change, and what describes its events is
    // in memory as long as they are, which is not sure of the next pass's.
    const detail::EventType* lastType = nullptr;
    ChannelHandle channel;
    EventNode* done = nullptr;
    EventQueue::Blocks surplus;
    for (int i = 0;; ++i) {
        EventNode* next = nullptr;
        {
            const ScopedLock lock(queueMutex, *this);
            if (done != nullptr) {
                events.FreeNode(done);
            }
            if (i < count) {
                next = events.Pop();
            }
            if (next == nullptr) {
                surplus = events.TakeSurplus();
            }
        }
        if (next == nullptr) {
            return;
        }
        if (next->type != lastType) {
            lastType = next->type;
            channel = registry.Find(*lastType);
        }
        times.TimeAlone("deliver event", [&] { core::Deliver(channel, *lastType, next->Event()); });
        Destroy(next);
        done = next;
    }
}

void AsyncEventBusImpl::Stop() {
    const std::thread::id self = std::this_thread::get_id();
    {
        const ScopedLock lock(queueMutex, *this);
        isStopped = true;
        wake.NotifyAll();
        roleIsFree.NotifyAll();
    }
    if (thread.get_id() == self) {
        thread.detach();
    } else if (thread.joinable()) {
        thread.join();
    }
    {
        // A thread that a caller has lent.
        const ScopedLock lock(queueMutex, *this);
        while (consumer != std::thread::id() && consumer != self) {
            roleIsFree.Wait(queueMutex);
        }
    }
    // From here on, nobody else is in the registry.
    Commands leftCommands;
    {
        const Lock lock(commandMutex, *this);
        takesCommands = false;
        commands.MoveTo(leftCommands);
    }
    const ListenerRegistry leftListeners = registry.TakeAll();
    std::unique_ptr<Timers> leftTimers;
    {
        const ScopedLock lock(queueMutex, *this);
        leftTimers.swap(timers);
    }
    for (;;) {
        EventNode* node = nullptr;
        {
            const ScopedLock lock(queueMutex, *this);
            node = events.Pop();
        }
        if (node == nullptr) {
            return;
        }
        Destroy(node);
        Free(node);
    }
}

void AsyncEventBusImpl::Abandon() noexcept {
    new (&events) EventQueue;
    new (&commands) Commands;
    new (&timers) std::unique_ptr<Timers>;
    isStopped = true;
    takesCommands = false;
}

AsyncEventBus::AsyncEventBus() : p_impl(std::make_shared<AsyncEventBusImpl>()) {
    try {
        AsyncEventBusImpl::Start(p_impl);
    } catch (const std::exception& error) {
        const char* const what = error.what();
        std::printf("AsyncEventBus::AsyncEventBus:%s", what != nullptr ? what : "nullptr");
    }
}

AsyncEventBus::~AsyncEventBus() {
    if (p_impl->HasLostThreads()) {
        Forget(std::move(p_impl));
        return;
    }
    p_impl->Stop();
}

int AsyncEventBus::newToken() {
    return p_impl->NewToken();
}

void AsyncEventBus::addListener(const detail::EventType& type,
                                std::shared_ptr<detail::EventListener> listener) {
    if (listener != nullptr) {
        const int token = listener->Token();
        p_impl->AddCommand(token, type, std::move(listener));
    }
}

void* AsyncEventBus::reserveEvent(const detail::EventType& type) {
    return p_impl->Reserve(type);
}

void AsyncEventBus::cancelEvent(void* place) noexcept {
    p_impl->Free(EventNode::Of(place));
}

void AsyncEventBus::postEvent(void* place) {
    p_impl->Post(EventNode::Of(place));
}

void AsyncEventBus::unlistenAll(int token) {
    p_impl->RemoveListeners(token);
}

int AsyncEventBus::getQueueEventCount() {
    return p_impl->CountEvents();
}

void AsyncEventBus::consume() {
    // A listener may destroy the bus.
    const std::shared_ptr<AsyncEventBusImpl> impl = p_impl;
    impl->Consume();
}

Timer detail::PostOnBus(AsyncEventBus& bus, std::chrono::nanoseconds delay,
                        std::chrono::nanoseconds period, std::function<void()> post) {
    const auto& impl = MessagingAccess::ImplOf(bus);
    const bool repeats = period != std::chrono::nanoseconds(0);
    const TimerKey key = impl->Arm(TimerClock::After(repeats ? AtLeast(delay) : delay),
                                   repeats ? AtLeast(period).count() : 0, std::move(post));
    return TimerAccess::Make(*impl, key);
}

Counters CountersOf(const AsyncEventBus& bus) {
    return MessagingAccess::ImplOf(bus)->CountAll();
}

void MeasureRuns(AsyncEventBus& bus, bool isOn) {
    MessagingAccess::ImplOf(bus)->Measure(isOn);
}

bool IsThreadOf(const AsyncEventBus& bus) {
    return MessagingAccess::ImplOf(bus)->IsConsumerHere();
}

}  // namespace core
