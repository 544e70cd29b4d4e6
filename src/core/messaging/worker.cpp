#include <core/messaging/worker.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/messaging/block_deque.h"
#include "core/messaging/named_worker.h"
#include "core/platform/platform.h"

#include <core/foundation/thread_name.h>
#include <core/messaging/future.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
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

/// Marks this thread as one that runs tasks of a queue, for as long as it lives.
class Inside {
public:
    explicit Inside(const TaskQueue* served) noexcept : queue(served), outer(innermost) {
        innermost = this;
    }
    ~Inside() { innermost = outer; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

    static bool Is(const TaskQueue* served) noexcept {
        const Inside* at = innermost;
        while (at != nullptr && at->queue != served) {
            at = at->outer;
        }
        return at != nullptr;
    }

private:
    static thread_local const Inside* innermost;

    const TaskQueue* queue;
    const Inside* outer;
};

thread_local const Inside* Inside::innermost = nullptr;

}  // namespace

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
    /// Stops it without a look at the tasks. For locks whose holder is gone.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS;

private:
    enum class Phase { Running, Draining, Stopped };

    bool IsEmpty() const CORE_REQUIRES(mutex);
    Task* ClaimFromBatch() noexcept;
    Task* Take() CORE_REQUIRES(mutex);
    Task* WaitForTask(bool isOwnThread);
    void Refill() CORE_REQUIRES(mutex);

    Mutex mutex;
    Condition wake;
    Condition drained;
    Phase phase CORE_GUARDED_BY(mutex) = Phase::Running;
    int sleepers CORE_GUARDED_BY(mutex) = 0;
    std::vector<Task*> incoming CORE_GUARDED_BY(mutex);
    BlockDeque<Task*> urgent CORE_GUARDED_BY(mutex);
    /// Tasks at the front of `incoming` that are taken already.
    std::size_t takenOfIncoming CORE_GUARDED_BY(mutex) = 0;
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

bool TaskQueue::Post(Task* task, TaskOrder order) {
    const Lock lock(mutex, *this);
    if (phase == Phase::Stopped || (phase == Phase::Draining && !Inside::Is(this))) {
        return false;
    }
    const bool wasEmpty = incoming.size() == takenOfIncoming && urgent.IsEmpty();
    if (order == TaskOrder::Urgent) {
        urgent.PushBack(task);
        hasUrgent.store(true, std::memory_order_relaxed);
    } else {
        incoming.push_back(task);
    }
    isIncomingEmpty.store(false, std::memory_order_relaxed);
    // Behind another post, the wake-up of the one sleeper is on its way.
    if (sleepers > 1 || (sleepers == 1 && wasEmpty)) {
        wake.NotifyOne();
    }
    return true;
}

bool TaskQueue::IsServedHere() const noexcept {
    return Inside::Is(this);
}

int TaskQueue::Count() {
    const Lock lock(mutex, *this);
    const std::size_t claimed = std::min(nextInBatch.load(), batch.size());
    const std::size_t count =
        batch.size() - claimed + incoming.size() - takenOfIncoming + urgent.Size();
    return static_cast<int>(
        std::min(count, static_cast<std::size_t>(std::numeric_limits<int>::max())));
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
    Lock lock(mutex, *this);
    const auto deadline = std::chrono::steady_clock::now() + kLongestWait;
    while (!hasExit.load() && IsEmpty()) {
        if (platform::OtherThreadsAreGone()) {
            hasExit.store(true);
            break;
        }
        ++sleepers;
        const bool isInTime = wake.WaitUntil(lock, deadline);
        --sleepers;
        if (!isInTime) {
            break;
        }
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
    const Inside inside(this);
    while (!hasExit.load()) {
        const bool mayClaim = isOwnThread && !hasUrgent.load(std::memory_order_relaxed);
        Task* task = mayClaim ? ClaimFromBatch() : nullptr;
        if (task == nullptr) {
            task = WaitForTask(isOwnThread);
        }
        if (task != nullptr) {
            RunAndDestroy(task);
        }
    }
    if (isOwnThread && isLeft) {
        RunRest();
    }
}

void TaskQueue::StopAndDrain() {
    const bool isInside = Inside::Is(this);
    const Inside inside(this);
    Lock lock(mutex, *this);
    hasExit.store(true);
    wake.NotifyAll();
    // A drain that is under way on a thread that is gone goes on here.
    while (phase == Phase::Draining && !platform::OtherThreadsAreGone()) {
        if (isInside) {
            // The drain may be waiting for this very task.
            return;
        }
        drained.Wait(lock);
    }
    if (phase == Phase::Stopped) {
        return;
    }
    phase = Phase::Draining;
    while (Task* const task = Take()) {
        lock.unlock();
        RunAndDestroy(task);
        lock.lock();
    }
    phase = Phase::Stopped;
    incoming = std::vector<Task*>();
    drained.NotifyAll();
}

void TaskQueue::Abandon() noexcept {
    new (&incoming) std::vector<Task*>;
    new (&batch) std::vector<Task*>;
    new (&urgent) BlockDeque<Task*>;
    takenOfIncoming = 0;
    nextInBatch.store(0);
    phase = Phase::Stopped;
    hasExit.store(true);
}

void TaskQueue::Exit() {
    const Lock lock(mutex, *this);
    hasExit.store(true);
    wake.NotifyAll();
}

void TaskQueue::RunRest() {
    const Inside inside(this);
    Lock lock(mutex, *this);
    while (Task* const task = Take()) {
        lock.unlock();
        RunAndDestroy(task);
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
