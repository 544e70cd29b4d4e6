#include <core/messaging/worker.h>

#include <core/foundation/thread_name.h>
#include <core/messaging/counters.h>
#include <core/messaging/future.h>
#include <core/messaging/thread_of.h>
#include <core/messaging/timer.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/foundation/report.h"
#include "core/messaging/block_deque.h"
#include "core/messaging/named_worker.h"
#include "core/messaging/run_times.h"
#include "core/messaging/serving.h"
#include "core/messaging/timer_access.h"
#include "core/messaging/timer_clock.h"
#include "core/messaging/timer_heap.h"
#include "core/platform/platform.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

// Tasks wait in two places. Posts go to `incoming`, under the mutex. The worker's
// own thread swaps all of it out as its `batch` and claims from there by an atomic
// index, so that it meets the posters once per batch and not once per task.
//
//  1. The tasks in the batch are older than those in `incoming`. Urgent ones stand in a
//     queue of their own, which every taker empties first.
//  2. Every claim raises `nextInBatch`, so that each task has one taker. The own
//     thread claims without the mutex, everybody else (a drain, a lent thread) with it.
//  3. The batch changes under the mutex, by the own thread, once it is used up. So
//     those who hold the mutex read a batch that stays.
//  4. The flags that end a wait are set under the mutex and announced before it is
//     released: set outside, they could fall between the look and the wait.
//  5. Where the system has ended the other threads, what is queued runs on the one that
//     is left, unless a thread that is gone held the mutex.

namespace core {

class TaskQueue;

namespace {

/// How long the thread waits before it looks at the exit flag again, wake-up or not.
constexpr std::chrono::seconds kLongestWait(1);

/// How often the thread lets others run before it goes to sleep.
constexpr int kYieldsBeforeWait = 20;

/// Storage for more tasks than these is returned after a burst.
constexpr std::size_t kKeptCapacity = 65'536;

void RunAndDestroy(Task* task) noexcept {
    try {
        task->Run();
    } catch (...) {
        // Kept on purpose: callers rely on a task that throws not being destroyed.
        return;
    }
    delete task;
}

}  // namespace

class WorkerTimer;

class TaskQueue {
public:
    /// False when it takes none.
    bool Post(Task* task, TaskOrder order);
    bool IsServedHere() const noexcept;
    int Count();
    void StopAndDrain();
    /// Takes tasks until the exit flag is set. One thread at a time is the own one.
    void Serve(bool isOwnThread);
    /// Sets the exit flag.
    void Exit();
    /// The own thread calls this, which has no worker any more and runs the rest.
    void LeaveRest() { isLeft = true; }
    /// Runs what is left, on this thread.
    void RunRest();
    /// False when it takes none.
    bool Arm(std::int64_t due, std::int64_t period, const std::shared_ptr<WorkerTimer>& timer);
    std::shared_ptr<WorkerTimer> CancelTimer(const TimerKey& key);
    bool HasTimer(const TimerKey& key);
    Counters CountAll();
    void Measure(bool isOn) { times.Measure(isOn); }
    /// Stops it without a look at the tasks. For locks whose holder is gone.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS;

private:
    enum class Phase { Running, Draining, Stopped };

    using Timers = TimerHeap<std::shared_ptr<WorkerTimer>>;

    bool IsEmpty() const CORE_REQUIRES(mutex);
    std::size_t Waiting() const CORE_REQUIRES(mutex);
    bool ServeTimers() CORE_REQUIRES(mutex);
    std::chrono::steady_clock::time_point NextLook(bool isServed) CORE_REQUIRES(mutex);
    void RunElsewhere(Task* task) {
        times.Time("run task", [task] { RunAndDestroy(task); });
    }
    Task* ClaimFromBatch() noexcept;
    Task* Take() CORE_REQUIRES(mutex);
    Task* WaitForTask(bool isOwnThread);
    void Refill() CORE_REQUIRES(mutex);

    QueueMutex mutex;
    QueueCondition wake;
    QueueCondition drained;
    Phase phase CORE_GUARDED_BY(mutex) = Phase::Running;
    int sleepers CORE_GUARDED_BY(mutex) = 0;
    std::vector<Task*> incoming CORE_GUARDED_BY(mutex);
    BlockDeque<Task*> urgent CORE_GUARDED_BY(mutex);
    /// Tasks at the front of `incoming` that are taken already.
    std::size_t takenOfIncoming CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t posted CORE_GUARDED_BY(mutex) = 0;
    /// The most that waited when the thread took some.
    std::size_t highest CORE_GUARDED_BY(mutex) = 0;
    /// Made with the first timer.
    std::unique_ptr<Timers> timers CORE_GUARDED_BY(mutex);
    RunTimes times;
    /// A guess, for those who look without the mutex.
    std::atomic<bool> isIncomingEmpty = true;
    std::atomic<bool> hasUrgent = false;

    // See 2 and 3 above for who touches these, and how.
    std::vector<Task*> batch;
    std::atomic<std::size_t> nextInBatch = 0;
    std::atomic<bool> hasExit = false;
    // The own thread's alone.
    bool isLeft = false;
};

/// A timer of a worker, and the function that it calls.
class WorkerTimer final : public detail::TimerOwner {
public:
    WorkerTimer(std::weak_ptr<TaskQueue> itsQueue, std::function<void()>&& toCall)
        : queue(std::move(itsQueue)), function(std::move(toCall)) {}

    /// Where it is in the queue's heap: set once, before anybody else knows the timer.
    TimerKey key;

    /// From waiting for its time to waiting for its turn; false when it does already.
    bool Enter() noexcept { return Change(State::Timed, State::Posted); }
    void Run() noexcept {
        if (!Change(State::Posted, State::Running)) {
            return;
        }
        try {
            function();
        } catch (const std::exception& error) {
            Report(ReportLevel::Error, "core", error.what(), "timer");
        } catch (...) {
            Report(ReportLevel::Error, "core", "a timer's function threw", "timer");
        }
        Change(State::Running, State::Timed);
    }

    bool CancelTimer(const TimerKey& ofThis) override {
        const std::shared_ptr<TaskQueue> itsQueue = queue.lock();
        const bool isTimed = itsQueue != nullptr && itsQueue->CancelTimer(ofThis) != nullptr;
        const bool isPosted = Change(State::Posted, State::Cancelled);
        return isTimed || isPosted;
    }
    bool HasTimer(const TimerKey& ofThis) override {
        const std::shared_ptr<TaskQueue> itsQueue = queue.lock();
        return itsQueue != nullptr && (itsQueue->HasTimer(ofThis) || state.load() == State::Posted);
    }

private:
    enum class State : int { Timed, Posted, Running, Cancelled };

    bool Change(State from, State to) noexcept { return state.compare_exchange_strong(from, to); }

    const std::weak_ptr<TaskQueue> queue;
    const std::function<void()> function;
    std::atomic<State> state = State::Timed;
};

namespace {

/// One call of a timer's function.
class TimedTask final : public Task {
public:
    explicit TimedTask(std::shared_ptr<WorkerTimer> toRun) noexcept : timer(std::move(toRun)) {}
    void Run() override { timer->Run(); }

private:
    const std::shared_ptr<WorkerTimer> timer;
};

}  // namespace

bool TaskQueue::Post(Task* task, TaskOrder order) {
    const ScopedLock lock(mutex, *this);
    if (phase == Phase::Stopped || (phase == Phase::Draining && !Serving::Is(this))) {
        return false;
    }
    const bool wasEmpty = incoming.size() == takenOfIncoming && urgent.IsEmpty();
    if (order == TaskOrder::Urgent) {
        urgent.PushBack(task);
        hasUrgent.store(true, std::memory_order_relaxed);
    } else {
        incoming.push_back(task);
    }
    ++posted;
    isIncomingEmpty.store(false, std::memory_order_relaxed);
    // Behind another post, the wake-up of the one sleeper is on its way.
    if (sleepers > 1 || (sleepers == 1 && wasEmpty)) {
        wake.NotifyOne();
    }
    return true;
}

bool TaskQueue::IsServedHere() const noexcept {
    return Serving::Is(this);
}

std::size_t TaskQueue::Waiting() const {
    const std::size_t claimed = std::min(nextInBatch.load(), batch.size());
    return batch.size() - claimed + incoming.size() - takenOfIncoming + urgent.Size();
}

int TaskQueue::Count() {
    const ScopedLock lock(mutex, *this);
    return static_cast<int>(
        std::min(Waiting(), static_cast<std::size_t>(std::numeric_limits<int>::max())));
}

Counters TaskQueue::CountAll() {
    const ScopedLock lock(mutex, *this);
    Counters counters;
    counters.done = times.Done();
    counters.posted = posted;
    counters.waiting = Waiting();
    highest = std::max(highest, Waiting());
    counters.highest = highest;
    counters.timers = timers != nullptr ? timers->Size() : 0;
    counters.longestRun = times.Longest();
    return counters;
}

bool TaskQueue::Arm(std::int64_t due, std::int64_t period,
                    const std::shared_ptr<WorkerTimer>& timer) {
    const ScopedLock lock(mutex, *this);
    if (phase != Phase::Running || hasExit.load()) {
        return false;
    }
    if (timers == nullptr) {
        timers = std::make_unique<Timers>();
    }
    const bool isFirst = due < timers->NextDue();
    timer->key = timers->Arm(due, period, std::shared_ptr<WorkerTimer>(timer));
    if (isFirst && sleepers > 0) {
        wake.NotifyAll();
    }
    return true;
}

std::shared_ptr<WorkerTimer> TaskQueue::CancelTimer(const TimerKey& key) {
    const ScopedLock lock(mutex, *this);
    return timers != nullptr ? timers->Cancel(key) : nullptr;
}

bool TaskQueue::HasTimer(const TimerKey& key) {
    const ScopedLock lock(mutex, *this);
    return timers != nullptr && timers->Find(key) != nullptr;
}

/// Posts what is due; false when there is no memory for it.
bool TaskQueue::ServeTimers() {
    const std::int64_t now = TimerClock::Now();
    while (Timers::Slot* const timer = timers->FirstDue(now)) {
        try {
            auto task = std::make_unique<TimedTask>(timer->payload);
            incoming.push_back(task.get());
            if (timer->payload->Enter()) {
                static_cast<void>(task.release());
                ++posted;
                isIncomingEmpty.store(false, std::memory_order_relaxed);
            } else {
                incoming.pop_back();
            }
        } catch (const std::bad_alloc&) {
            return false;
        }
        if (timer->period > 0) {
            timers->PostponeFirst(now);
        } else {
            timers->TakeFirst();
        }
    }
    return true;
}

std::chrono::steady_clock::time_point TaskQueue::NextLook(bool isServed) {
    constexpr std::chrono::milliseconds kUntilThereIsMemory(10);
    std::chrono::nanoseconds longest = isServed ? kLongestWait : kUntilThereIsMemory;
    if (isServed && timers != nullptr && timers->Size() > 0) {
        const std::chrono::nanoseconds left(timers->NextDue() - TimerClock::Now());
        longest = std::min(longest, left);
    }
    return std::chrono::steady_clock::now() + longest;
}

bool TaskQueue::IsEmpty() const {
    return nextInBatch.load() >= batch.size() && incoming.size() == takenOfIncoming &&
           urgent.IsEmpty();
}

Task* TaskQueue::ClaimFromBatch() noexcept {
    if (nextInBatch.load(std::memory_order_relaxed) >= batch.size()) {
        return nullptr;
    }
    const std::size_t index = nextInBatch.fetch_add(1, std::memory_order_relaxed);
    return index < batch.size() ? batch[index] : nullptr;
}

Task* TaskQueue::Take() {
    if (!urgent.IsEmpty()) {
        Task* const task = urgent.PopFront();
        hasUrgent.store(!urgent.IsEmpty(), std::memory_order_relaxed);
        return task;
    }
    if (Task* const task = ClaimFromBatch()) {
        return task;
    }
    if (incoming.size() == takenOfIncoming) {
        return nullptr;
    }
    Task* const task = incoming[takenOfIncoming++];
    if (incoming.size() == takenOfIncoming) {
        incoming.clear();
        takenOfIncoming = 0;
        isIncomingEmpty.store(true, std::memory_order_relaxed);
    }
    return task;
}

void TaskQueue::Refill() {
    batch.clear();
    if (batch.capacity() > kKeptCapacity) {
        batch = std::vector<Task*>();
    }
    highest = std::max(highest, Waiting());
    batch.swap(incoming);
    isIncomingEmpty.store(true, std::memory_order_relaxed);
    nextInBatch.store(std::exchange(takenOfIncoming, 0), std::memory_order_relaxed);
}

Task* TaskQueue::WaitForTask(bool isOwnThread) {
    // Busy posters are met again soon; until then, they need not wake anybody.
    for (int i = 0; i < kYieldsBeforeWait && isIncomingEmpty.load(std::memory_order_relaxed) &&
                    !hasExit.load(std::memory_order_relaxed);
         ++i) {
        std::this_thread::yield();
    }
    const ScopedLock lock(mutex, *this);
    while (!hasExit.load()) {
        const bool isServed = timers == nullptr || ServeTimers();
        if (!IsEmpty()) {
            break;
        }
        if (platform::OtherThreadsAreGone()) {
            hasExit.store(true);
            break;
        }
        const auto deadline = NextLook(isServed);
        ++sleepers;
        wake.WaitUntil(mutex, deadline);
        --sleepers;
    }
    if (hasExit.load()) {
        return nullptr;
    }
    if (isOwnThread && nextInBatch.load() >= batch.size()) {
        Refill();
    }
    return Take();
}

void TaskQueue::Serve(bool isOwnThread) {
    const Serving serving(this);
    while (!hasExit.load()) {
        const bool mayClaim = isOwnThread && !hasUrgent.load(std::memory_order_relaxed);
        Task* task = mayClaim ? ClaimFromBatch() : nullptr;
        if (task == nullptr) {
            task = WaitForTask(isOwnThread);
        }
        if (task != nullptr) {
            if (isOwnThread) {
                times.TimeAlone("run task", [task] { RunAndDestroy(task); });
            } else {
                RunElsewhere(task);
            }
        }
    }
    if (isOwnThread && isLeft) {
        RunRest();
    }
}

void TaskQueue::StopAndDrain() {
    const bool isInside = Serving::Is(this);
    const Serving serving(this);
    Lock lock(mutex, *this);
    hasExit.store(true);
    wake.NotifyAll();
    // A drain that is under way on a thread that is gone goes on here.
    while (phase == Phase::Draining && !platform::OtherThreadsAreGone()) {
        if (isInside) {
            // The drain may be waiting for this very task.
            return;
        }
        drained.Wait(mutex);
    }
    if (phase == Phase::Stopped) {
        return;
    }
    phase = Phase::Draining;
    while (Task* const task = Take()) {
        lock.unlock();
        RunElsewhere(task);
        lock.lock();
    }
    phase = Phase::Stopped;
    incoming = std::vector<Task*>();
    std::unique_ptr<Timers> left;
    left.swap(timers);
    drained.NotifyAll();
    // What the timers hold may call back.
    lock.unlock();
    left.reset();
}

void TaskQueue::Abandon() noexcept {
    new (&incoming) std::vector<Task*>;
    new (&batch) std::vector<Task*>;
    new (&urgent) BlockDeque<Task*>;
    new (&timers) std::unique_ptr<Timers>;
    takenOfIncoming = 0;
    nextInBatch.store(0);
    phase = Phase::Stopped;
    hasExit.store(true);
}

void TaskQueue::Exit() {
    const ScopedLock lock(mutex, *this);
    hasExit.store(true);
    wake.NotifyAll();
}

void TaskQueue::RunRest() {
    const Serving serving(this);
    Lock lock(mutex, *this);
    while (Task* const task = Take()) {
        lock.unlock();
        RunElsewhere(task);
        lock.lock();
    }
}

/// The `IWorker` behind CreateWorker: a thread and the queue that it serves.
class Worker final : public IWorker {
public:
    explicit Worker(const char* name);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() noexcept(false) override;  // NOLINT(bugprone-exception-escape)

    void PostTask(Task* task) override;
    bool PostInOrder(Task* task, TaskOrder order) { return queue->Post(task, order); }
    bool IsServedHere() const noexcept { return queue->IsServedHere(); }
    const std::shared_ptr<TaskQueue>& Queue() const noexcept { return queue; }
    int GetTaskCount() override;
    void StopAndDrain() override;
    void ThreadLoop() override;

private:
    // Shared with the threads that serve it: a task may delete its own worker.
    std::shared_ptr<TaskQueue> queue;
    std::thread thread;
    HomeProcess home;
};

Worker::Worker(const char* name) : queue(std::make_shared<TaskQueue>()) {
    const platform::SignalsBlocked blocked;
    thread = std::thread([served = queue, name] {
        SetThreadName(name);
        served->Serve(true);
    });
}

// It is declared to throw: a task that deletes its own worker is told so.
Worker::~Worker() noexcept(false) {  // NOLINT(bugprone-exception-escape)
    if (home.HasLostThreads()) {
        if (!home.IsElsewhere()) {
            queue->Exit();
            queue->RunRest();
        }
        Forget(std::move(thread));
        Forget(std::move(queue));
        return;
    }
    queue->Exit();
    if (thread.get_id() == std::this_thread::get_id()) {
        queue->LeaveRest();
        thread.detach();
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                "a task deletes its own worker");
    }
    thread.join();
    queue->RunRest();
}

void Worker::PostTask(Task* task) {
    if (task != nullptr) {
        queue->Post(task, TaskOrder::InTurn);
    }
}

int Worker::GetTaskCount() {
    return queue->Count();
}

void Worker::StopAndDrain() {
    // A forked process has copies of tasks that the other one runs.
    if (!home.IsElsewhere()) {
        queue->StopAndDrain();
    }
}

void Worker::ThreadLoop() {
    // A task may delete the worker while this thread serves it.
    const std::shared_ptr<TaskQueue> served = queue;
    served->Serve(false);
}

namespace {

/// The library's own kind, or null. Not by dynamic_cast, which takes as long as the rest
/// of a post.
Worker* OwnKind(IWorker& worker) noexcept {
    return typeid(worker) == typeid(Worker) ? static_cast<Worker*>(&worker) : nullptr;
}

Timer ArmOn(IWorker& worker, std::chrono::nanoseconds delay, std::chrono::nanoseconds period,
            std::function<void()>&& function) {
    const Worker* const own = OwnKind(worker);
    if (own == nullptr || !function) {
        return {};
    }
    const auto timer = std::make_shared<WorkerTimer>(own->Queue(), std::move(function));
    const bool isArmed = own->Queue()->Arm(TimerClock::After(delay), period.count(), timer);
    return isArmed ? detail::TimerAccess::Make(*timer, timer->key) : Timer();
}

}  // namespace

bool PostTask(IWorker& worker, Task* task, TaskOrder order) {
    if (task == nullptr) {
        return false;
    }
    if (Worker* const own = OwnKind(worker)) {
        return own->PostInOrder(task, order);
    }
    worker.PostTask(task);
    return true;
}

Timer PostAfter(IWorker& worker, std::chrono::nanoseconds delay, std::function<void()> function) {
    return ArmOn(worker, delay, std::chrono::nanoseconds(0), std::move(function));
}

Timer PostEvery(IWorker& worker, std::chrono::nanoseconds period, std::function<void()> function) {
    return ArmOn(worker, AtLeast(period), AtLeast(period), std::move(function));
}

Counters CountersOf(IWorker& worker) {
    if (const Worker* const own = OwnKind(worker)) {
        return own->Queue()->CountAll();
    }
    Counters counters;
    counters.waiting = static_cast<std::uint64_t>(worker.GetTaskCount());
    return counters;
}

void MeasureRuns(IWorker& worker, bool isOn) {
    if (const Worker* const own = OwnKind(worker)) {
        own->Queue()->Measure(isOn);
    }
}

bool IsThreadOf(const IWorker& worker) {
    const auto* const own =
        typeid(worker) == typeid(Worker) ? static_cast<const Worker*>(&worker) : nullptr;
    return own != nullptr && own->IsServedHere();
}

void WaitForPosted(IWorker& worker) {
    const Worker* const own = OwnKind(worker);
    if (own != nullptr && own->IsServedHere()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                "a task waits for its own worker");
    }
    PostCall(worker, [] {}).Wait();
}

}  // namespace core

core::IWorker* core::CreateNamedWorker(const char* name) {
    try {
        return new Worker(name);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

core::IWorker* CreateWorker() {
    return core::CreateNamedWorker("core worker");
}
