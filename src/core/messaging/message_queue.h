#pragma once

#include <core/messaging/counters.h>
#include <core/messaging/queue_limit.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/messaging/block_deque.h"
#include "core/messaging/serving.h"
#include "core/messaging/timer_clock.h"
#include "core/messaging/timer_heap.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

// The queue behind both buses.
//
//  1. A waiter looks under the mutex before it sleeps, and whatever ends a wait happens
//     under the mutex, notification included: nothing falls between look and sleep, and
//     whoever takes the last message may destroy the queue.
//  2. Each added element wakes a sleeper that none has woken yet. `wakeUps` of the
//     `sleepers` are on their way and look before they sleep again, so that the others
//     are enough to be told.
//  3. A sleeper that wakes and leaves the element in the queue tells another one.
//  4. The mutex is locked and unlocked by hand where a message is taken, the way that each
//     runs most often: nothing there throws once it is locked.
//  5. Where the system has ended the other threads, or a fork has left them behind, one may
//     have held the mutex: then the elements are left where they are, and the queue is closed
//     and empty.
//  6. Elements leave the queue under the mutex and are destroyed outside: a payload's
//     destructor may call the queue.
//  7. Whoever reads the queue first adds what its timers have due, and sleeps no longer than
//     to the next of them.
//  8. `mark` is the length at which an addition has more to do than to add: it is a record,
//     or the limit.

namespace core {

template <class Message>
class MessageQueue final : public detail::TimerOwner {
public:
    /// A queue that closes when the last copy of the handle is gone, whoever else holds
    /// it by `Shared`.
    static std::shared_ptr<MessageQueue> Make();

    std::shared_ptr<MessageQueue> Shared() {
        return std::static_pointer_cast<MessageQueue>(shared_from_this());
    }

    /// False when it is closed; then `message` is as it was.
    template <class Source>
    bool Add(Source&& message) {
        return Put<false>(std::forward<Source>(message));
    }
    bool InsertUrgent(const Message& message) { return Put<true>(message); }

    MsgBusWaitRet Get(Message& out);
    MsgBusWaitRet GetFor(Message& out, std::int64_t ms);
    MsgBusWaitRet PeekWait(Message& out) { return PeekWait(out, false); }
    /// The same for a loop that handles the message before `PopHandled`.
    MsgBusWaitRet PeekToHandle(Message& out) { return PeekWait(out, true); }
    void PopHandled();
    /// Instead of PopHandled, where it is not handled.
    void LeaveUnhandled();
    TakenMessages GetMany(Message* out, std::size_t count, std::int64_t ms);
    bool TryGet(Message& out);
    bool Peek(Message& out);
    bool Pop();
    std::int32_t Count();
    void Close();
    void SetLimit(const QueueLimit& newLimit);
    Counters CountAll();

    /// A key of nothing when it is closed.
    TimerKey Arm(std::int64_t due, std::int64_t period, Message message);
    bool CancelTimer(const TimerKey& key) override;
    bool HasTimer(const TimerKey& key) override;

    /// Threads that wait and have gone to sleep.
    int Sleepers();
    /// Closes it without a look at the elements. For locks whose holder is gone.
    void Abandon() noexcept CORE_NO_THREAD_SAFETY_ANALYSIS;

private:
    using Clock = std::chrono::steady_clock;

    /// Some systems wait for days at most, or count the rest of a wait in wall time. A
    /// wait that is cut looks again and goes on.
    static constexpr std::chrono::hours kLongestSleep{1};

    static_assert(std::is_nothrow_copy_constructible_v<Message> &&
                  std::is_nothrow_move_constructible_v<Message>);

    /// A microsecond or so, and then some turns for the threads that a look waits for.
    static constexpr int kLooksBeforeYield = 1000;
    static constexpr int kLooks = kLooksBeforeYield + 20;

    using Timers = TimerHeap<Message>;
    static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

    template <bool isUrgent, class Source>
    bool Put(Source&& message);
    template <class Source>
    bool PutAtLimit(Source&& message);
    void Record() CORE_REQUIRES(mutex);
    std::size_t Waiting() const CORE_REQUIRES(mutex) {
        // A handler may have read the very message that it handles.
        return elements.Size() - (isFrontHandled && !elements.IsEmpty() ? 1 : 0);
    }
    void DropOldest(std::size_t count, std::vector<Message>& dropped) CORE_REQUIRES(mutex);
    std::uint64_t UrgentLeft() const CORE_REQUIRES(mutex) {
        const std::uint64_t popped = elements.Popped() - poppedThen;
        return urgentLeft > popped ? urgentLeft - popped : 0;
    }
    /// Of the elements that were added in turn, all that ever were, and those that have left.
    std::uint64_t PushedInTurn() const CORE_REQUIRES(mutex) {
        return elements.Pushed() - pushedUrgent;
    }
    std::uint64_t PoppedInTurn() const CORE_REQUIRES(mutex) {
        return elements.Popped() - (pushedUrgent - UrgentLeft());
    }
    /// Whether the element that was the `number`-th to be added in turn is still there.
    bool IsThere(std::uint64_t number) const CORE_REQUIRES(mutex) {
        const std::uint64_t popped = PoppedInTurn();
        return popped < movedTo ? number == moved || number > movedTo : number > popped;
    }
    bool HasTimers() const CORE_REQUIRES(mutex) { return timers != nullptr && timers->Size() > 0; }
    void ServeTimers() noexcept CORE_REQUIRES(mutex);
    MsgBusWaitRet PeekWait(Message& out, bool toHandle);
    void Acquire() CORE_ACQUIRE(mutex);
    void AcquireToRead() CORE_ACQUIRE(mutex);
    void TakeFront(Message& out) CORE_REQUIRES(mutex);
    void LookAwake() const;
    void Sleep() CORE_REQUIRES(mutex);
    bool SleepUntil(Clock::time_point deadline) CORE_REQUIRES(mutex);
    void WakeOne() CORE_REQUIRES(mutex);

    mutable QueueMutex mutex;
    QueueCondition wake;
    BlockDeque<Message> elements CORE_GUARDED_BY(mutex);
    int sleepers CORE_GUARDED_BY(mutex) = 0;
    int wakeUps CORE_GUARDED_BY(mutex) = 0;
    bool isClosed CORE_GUARDED_BY(mutex) = false;  // and empty, for good
    bool isFrontHandled CORE_GUARDED_BY(mutex) = false;
    std::size_t mark CORE_GUARDED_BY(mutex) = 0;
    int roomWaiters CORE_GUARDED_BY(mutex) = 0;
    QueueCondition room;
    std::size_t limit CORE_GUARDED_BY(mutex) = kNoLimit;
    WhenFull whenFull CORE_GUARDED_BY(mutex) = WhenFull::Wait;
    std::size_t highest CORE_GUARDED_BY(mutex) = 0;
    // Urgent messages that were ever added, and those that were in front of all others when
    // the last of them came, and so many elements had left the queue.
    std::uint64_t pushedUrgent CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t urgentLeft CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t poppedThen CORE_GUARDED_BY(mutex) = 0;
    // Of the last element added in turn that others were dropped behind: its number in turn,
    // and the one whose place it has got.
    std::uint64_t moved CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t movedTo CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t refused CORE_GUARDED_BY(mutex) = 0;
    std::uint64_t droppedCount CORE_GUARDED_BY(mutex) = 0;
    /// Made with the first timer.
    std::unique_ptr<Timers> timers CORE_GUARDED_BY(mutex);
    /// Closed or not empty: a guess, for those who look without the mutex.
    std::atomic<bool> isWorthALook = false;
};

/// Moves out what a message releases when it is assigned to.
inline std::shared_ptr<void> TakeReleased(SimpleMessage& message) noexcept {
    return std::move(message.payload);
}
template <class T>
std::shared_ptr<T> TakeReleased(std::shared_ptr<T>& message) noexcept {
    return std::move(message);
}

/// The moment `ms` milliseconds from now, or the last one that there is.
inline std::chrono::steady_clock::time_point DeadlineIn(std::int64_t ms) {
    using Clock = std::chrono::steady_clock;
    const auto now = Clock::now();
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
    return ms >= left.count() ? Clock::time_point::max() : now + std::chrono::milliseconds(ms);
}

template <class Message>
std::shared_ptr<MessageQueue<Message>> MessageQueue<Message>::Make() {
    struct Owner {
        Owner() = default;
        Owner(const Owner&) = delete;
        Owner& operator=(const Owner&) = delete;
        ~Owner() {
            queue->Close();
            if (platform::OtherThreadsAreGone()) {
                // Some systems' conditions wait, when destroyed, for those that wait.
                Forget(std::move(queue));
            }
        }

        std::shared_ptr<MessageQueue> queue = std::make_shared<MessageQueue>();
    };
    const auto owner = std::make_shared<Owner>();
    return std::shared_ptr<MessageQueue>(owner, owner->queue.get());
}

template <class Message>
[[gnu::always_inline]] inline void MessageQueue<Message>::Acquire() {
    if (mutex.LockOrRenew()) {
        Abandon();
    }
}

template <class Message>
[[gnu::always_inline]] inline void MessageQueue<Message>::AcquireToRead() {
    Acquire();
    if (timers != nullptr) {
        ServeTimers();
    }
}

template <class Message>
void MessageQueue<Message>::Abandon() noexcept {
    new (&elements) BlockDeque<Message>;
    new (&timers) std::unique_ptr<Timers>;
    isClosed = true;
    isWorthALook.store(true, std::memory_order_relaxed);
}

template <class Message>
template <bool isUrgent, class Source>
bool MessageQueue<Message>::Put(Source&& message) {
    {
        const ScopedLock lock(mutex, *this);
        if (isClosed) {
            return false;
        }
        const std::size_t size = elements.Size();
        if (isUrgent || size < mark || Waiting() < limit) {
            if constexpr (isUrgent) {
                elements.PushFront(std::forward<Source>(message));
                urgentLeft = UrgentLeft() + 1;
                poppedThen = elements.Popped();
                ++pushedUrgent;
            } else {
                elements.PushBack(std::forward<Source>(message));
            }
            if (size >= mark) {
                Record();
            }
            if (size == 0) {
                isWorthALook.store(true, std::memory_order_relaxed);
            }
            WakeOne();
            return true;
        }
    }
    return PutAtLimit(std::forward<Source>(message));
}

template <class Message>
void MessageQueue<Message>::Record() {
    highest = std::max(highest, Waiting());
    mark = std::min(highest, limit);
}

template <class Message>
template <class Source>
[[gnu::noinline]] bool MessageQueue<Message>::PutAtLimit(Source&& message) {
    std::vector<Message> dropped;
    const ScopedLock lock(mutex, *this);
    while (!isClosed && Waiting() >= limit) {
        if (whenFull == WhenFull::Refuse) {
            ++refused;
            return false;
        }
        if (whenFull == WhenFull::DropOldest) {
            DropOldest(Waiting() - limit + 1, dropped);
            break;
        }
        if (Serving::Is(this) || platform::OtherThreadsAreGone()) {
            break;
        }
        ++roomWaiters;
        room.Wait(mutex);
        --roomWaiters;
    }
    if (isClosed) {
        return false;
    }
    elements.PushBack(std::forward<Source>(message));
    Record();
    isWorthALook.store(true, std::memory_order_relaxed);
    WakeOne();
    return true;
}

template <class Message>
void MessageQueue<Message>::DropOldest(std::size_t count, std::vector<Message>& dropped) {
    dropped.reserve(count);
    // A loop has the first one, and will pop it: it gets the place of the last that goes.
    const bool movesUrgent = isFrontHandled && UrgentLeft() > 0;
    const bool movesInTurn = isFrontHandled && !movesUrgent;
    if (movesInTurn && PoppedInTurn() >= movedTo) {
        moved = PoppedInTurn() + 1;
    }
    for (std::size_t i = 0; i < count; ++i) {
        dropped.push_back(isFrontHandled ? elements.PopBehindFront() : elements.PopFront());
    }
    if (movesUrgent) {
        urgentLeft = std::max<std::uint64_t>(UrgentLeft(), 1);
        poppedThen = elements.Popped();
    } else if (movesInTurn) {
        movedTo = PoppedInTurn() + 1;
    }
    droppedCount += count;
}

template <class Message>
void MessageQueue<Message>::SetLimit(const QueueLimit& newLimit) {
    std::vector<Message> dropped;
    const ScopedLock lock(mutex, *this);
    limit = newLimit.count == 0 ? kNoLimit : newLimit.count;
    whenFull = newLimit.whenFull;
    if (whenFull == WhenFull::DropOldest && Waiting() > limit) {
        DropOldest(Waiting() - limit, dropped);
    }
    mark = std::min(highest, limit);
    room.NotifyAll();
}

template <class Message>
Counters MessageQueue<Message>::CountAll() {
    const ScopedLock lock(mutex, *this);
    Counters counters;
    counters.posted = elements.Pushed();
    counters.done = elements.Popped() - droppedCount;
    counters.refused = refused;
    counters.dropped = droppedCount;
    counters.waiting = Waiting();
    counters.highest = highest;
    counters.timers = timers != nullptr ? timers->Size() : 0;
    return counters;
}

template <class Message>
TimerKey MessageQueue<Message>::Arm(std::int64_t due, std::int64_t period, Message message) {
    const ScopedLock lock(mutex, *this);
    if (isClosed) {
        return {};
    }
    if (timers == nullptr) {
        timers = std::make_unique<Timers>();
    }
    // So that what is due finds a place where nothing waits.
    elements.Reserve();
    const bool isFirst = due < timers->NextDue();
    const TimerKey key = timers->Arm(due, period, std::move(message));
    if (isFirst && sleepers > 0) {
        wakeUps = sleepers;
        wake.NotifyAll();
    }
    return key;
}

template <class Message>
bool MessageQueue<Message>::CancelTimer(const TimerKey& key) {
    Message cancelled;
    const ScopedLock lock(mutex, *this);
    if (timers == nullptr || timers->Find(key) == nullptr) {
        return false;
    }
    cancelled = timers->Cancel(key);
    return true;
}

template <class Message>
bool MessageQueue<Message>::HasTimer(const TimerKey& key) {
    const ScopedLock lock(mutex, *this);
    return timers != nullptr && timers->Find(key) != nullptr;
}

template <class Message>
[[gnu::noinline]] void MessageQueue<Message>::ServeTimers() noexcept {
    if (timers->Size() == 0) {
        return;
    }
    const std::int64_t now = TimerClock::Now();
    while (typename Timers::Slot* const timer = timers->FirstDue(now)) {
        // Its last message still waits: this one is left out.
        if (IsThere(timer->mark)) {
            timers->PostponeFirst(now);
            continue;
        }
        try {
            elements.PushBack(std::as_const(timer->payload));
        } catch (const std::bad_alloc&) {
            // Something waits, so that somebody will look again.
            return;
        }
        if (timer->period > 0) {
            timer->mark = PushedInTurn();
            timers->PostponeFirst(now);
        } else {
            timers->TakeFirst();
        }
        Record();
        isWorthALook.store(true, std::memory_order_relaxed);
        WakeOne();
    }
}

/// `out` owns nothing: see TakeReleased.
template <class Message>
[[gnu::always_inline]] inline void MessageQueue<Message>::TakeFront(Message& out) {
    elements.MoveFrontOver(out);
    if (elements.IsEmpty()) {
        isWorthALook.store(false, std::memory_order_relaxed);
    }
    if (roomWaiters > 0) {
        room.NotifyOne();
    }
}

template <class Message>
[[gnu::always_inline]] inline void MessageQueue<Message>::LookAwake() const {
    // To be met awake is cheaper for both sides than a sleep and a wake-up.
    for (int i = 0; i < kLooks && !isWorthALook.load(std::memory_order_relaxed); ++i) {
        if (i >= kLooksBeforeYield) {
            std::this_thread::yield();
        }
    }
}

template <class Message>
void MessageQueue<Message>::Sleep() {
    if (platform::OtherThreadsAreGone()) {
        Abandon();
        return;
    }
    if (HasTimers()) {
        SleepUntil(Clock::time_point::max());
        return;
    }
    ++sleepers;
    wake.Wait(mutex);
    --sleepers;
    wakeUps = std::max(wakeUps - 1, 0);
}

template <class Message>
bool MessageQueue<Message>::SleepUntil(Clock::time_point deadline) {
    const Clock::time_point now = Clock::now();
    if (now >= deadline || platform::OtherThreadsAreGone()) {
        return false;
    }
    Clock::duration longest = kLongestSleep;
    if (HasTimers()) {
        const std::int64_t left = timers->NextDue() - TimerClock::Now();
        longest = std::min<Clock::duration>(longest, std::chrono::nanoseconds(left));
    }
    ++sleepers;
    wake.WaitUntil(mutex, std::min(deadline, now + longest));
    --sleepers;
    wakeUps = std::max(wakeUps - 1, 0);
    if (timers != nullptr) {
        ServeTimers();
    }
    return true;
}

template <class Message>
void MessageQueue<Message>::WakeOne() {
    if (sleepers > wakeUps) {
        ++wakeUps;
        wake.NotifyOne();
    }
}

template <class Message>
MsgBusWaitRet MessageQueue<Message>::Get(Message& out) {
    LookAwake();
    AcquireToRead();
    while (elements.IsEmpty()) {
        if (isClosed) {
            mutex.unlock();
            return MsgBusWaitRet::Closed;
        }
        Sleep();
    }
    const auto released = TakeReleased(out);
    TakeFront(out);
    mutex.unlock();
    return MsgBusWaitRet::Ok;
}

template <class Message>
MsgBusWaitRet MessageQueue<Message>::GetFor(Message& out, std::int64_t ms) {
    const bool mayWait = ms > 0;
    const Clock::time_point deadline = mayWait ? DeadlineIn(ms) : Clock::time_point();
    if (mayWait) {
        LookAwake();
    }
    AcquireToRead();
    while (!isClosed && elements.IsEmpty() && mayWait && SleepUntil(deadline)) {
    }
    if (isClosed) {
        mutex.unlock();
        return MsgBusWaitRet::Closed;
    }
    if (elements.IsEmpty()) {
        mutex.unlock();
        return MsgBusWaitRet::Timeout;
    }
    const auto released = TakeReleased(out);
    TakeFront(out);
    mutex.unlock();
    return MsgBusWaitRet::Ok;
}

template <class Message>
TakenMessages MessageQueue<Message>::GetMany(Message* out, std::size_t count, std::int64_t ms) {
    std::fill_n(out, count, Message());
    if (count == 0) {
        return {MsgBusWaitRet::Timeout, 0};
    }
    const Clock::time_point deadline = ms > 0 ? DeadlineIn(ms) : Clock::time_point();
    if (ms != 0) {
        LookAwake();
    }
    AcquireToRead();
    while (!isClosed && elements.IsEmpty() && ms != 0) {
        if (ms < 0) {
            Sleep();
        } else if (!SleepUntil(deadline)) {
            break;
        }
    }
    TakenMessages taken{isClosed ? MsgBusWaitRet::Closed : MsgBusWaitRet::Timeout,
                        std::min(count, elements.Size())};
    for (std::size_t i = 0; i < taken.count; ++i) {
        taken.result = MsgBusWaitRet::Ok;
        TakeFront(out[i]);
    }
    mutex.unlock();
    return taken;
}

template <class Message>
MsgBusWaitRet MessageQueue<Message>::PeekWait(Message& out, bool toHandle) {
    LookAwake();
    AcquireToRead();
    bool hasSlept = false;
    while (elements.IsEmpty()) {
        if (isClosed) {
            mutex.unlock();
            return MsgBusWaitRet::Closed;
        }
        Sleep();
        hasSlept = true;
    }
    Message seen = elements.Front();
    if (toHandle) {
        isFrontHandled = true;
        if (roomWaiters > 0) {
            room.NotifyOne();
        }
    }
    if (hasSlept) {
        WakeOne();
    }
    mutex.unlock();
    out = std::move(seen);
    return MsgBusWaitRet::Ok;
}

template <class Message>
void MessageQueue<Message>::PopHandled() {
    Message handled;
    const ScopedLock lock(mutex, *this);
    if (!elements.IsEmpty()) {
        TakeFront(handled);
    }
    isFrontHandled = false;
}

template <class Message>
void MessageQueue<Message>::LeaveUnhandled() {
    const ScopedLock lock(mutex, *this);
    isFrontHandled = false;
}

template <class Message>
bool MessageQueue<Message>::TryGet(Message& out) {
    AcquireToRead();
    if (elements.IsEmpty()) {
        mutex.unlock();
        return false;
    }
    const auto released = TakeReleased(out);
    TakeFront(out);
    mutex.unlock();
    return true;
}

template <class Message>
bool MessageQueue<Message>::Peek(Message& out) {
    AcquireToRead();
    if (elements.IsEmpty()) {
        mutex.unlock();
        return false;
    }
    Message seen = elements.Front();
    mutex.unlock();
    out = std::move(seen);
    return true;
}

template <class Message>
bool MessageQueue<Message>::Pop() {
    Message discarded;
    const ScopedLock lock(mutex, *this);
    if (elements.IsEmpty()) {
        return false;
    }
    TakeFront(discarded);
    return true;
}

template <class Message>
std::int32_t MessageQueue<Message>::Count() {
    const ScopedLock lock(mutex, *this);
    // Kept on purpose: callers know the count as the low 32 bits.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(elements.Size()));
}

template <class Message>
int MessageQueue<Message>::Sleepers() {
    const ScopedLock lock(mutex, *this);
    return sleepers;
}

template <class Message>
void MessageQueue<Message>::Close() {
    BlockDeque<Message> discarded;
    std::unique_ptr<Timers> discardedTimers;
    const ScopedLock lock(mutex, *this);
    isClosed = true;
    droppedCount += Waiting();
    isWorthALook.store(true, std::memory_order_relaxed);
    elements.MoveTo(discarded);
    discardedTimers.swap(timers);
    room.NotifyAll();
    wakeUps = sleepers;
    wake.NotifyAll();
}

}  // namespace core
