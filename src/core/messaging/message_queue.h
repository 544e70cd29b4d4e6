#pragma once

#include <core/messaging/message.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/messaging/block_deque.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>

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
//  5. Where the system has ended the other threads, one may have held the mutex: then the
//     elements are left where they are, and the queue is closed and empty.
//  6. Elements leave the queue under the mutex and are destroyed outside: a payload's
//     destructor may call the queue.

namespace core {

template <class Message>
class MessageQueue : public std::enable_shared_from_this<MessageQueue<Message>> {
public:
    /// A queue that closes when the last copy of the handle is gone, whoever else holds
    /// it by shared_from_this.
    static std::shared_ptr<MessageQueue> Make();

    /// False when it is closed; then `message` is as it was.
    template <class Source>
    bool Add(Source&& message) {
        return Put<false>(std::forward<Source>(message));
    }
    bool InsertUrgent(const Message& message) { return Put<true>(message); }

    MsgBusWaitRet Get(Message& out);
    MsgBusWaitRet GetFor(Message& out, std::int64_t ms);
    MsgBusWaitRet PeekWait(Message& out);
    bool TryGet(Message& out);
    bool Peek(Message& out);
    bool Pop();
    std::int32_t Count();
    void Close();
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

    template <bool isUrgent, class Source>
    bool Put(Source&& message);
    void Acquire() CORE_ACQUIRE(mutex);
    Message TakeFront() CORE_REQUIRES(mutex);
    void LookAwake() const;
    void Sleep() CORE_REQUIRES(mutex);
    bool SleepUntil(Clock::time_point deadline) CORE_REQUIRES(mutex);
    void WakeOne() CORE_REQUIRES(mutex);

    mutable Mutex mutex;
    Condition wake;
    BlockDeque<Message> elements CORE_GUARDED_BY(mutex);
    int sleepers CORE_GUARDED_BY(mutex) = 0;
    int wakeUps CORE_GUARDED_BY(mutex) = 0;
    bool isClosed CORE_GUARDED_BY(mutex) = false;  // and empty, for good
    /// Closed or not empty: a guess, for those who look without the mutex.
    std::atomic<bool> isWorthALook = false;
};

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
            if (!home.IsElsewhere() || queue->mutex.IsFreeSoon()) {
                queue->Close();
            }
            if (home.HasLostThreads()) {
                // Some systems' conditions wait, when destroyed, for those that wait.
                Forget(std::move(queue));
            }
        }

        HomeProcess home;
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
void MessageQueue<Message>::Abandon() noexcept {
    new (&elements) BlockDeque<Message>;
    isClosed = true;
    isWorthALook.store(true, std::memory_order_relaxed);
}

template <class Message>
template <bool isUrgent, class Source>
bool MessageQueue<Message>::Put(Source&& message) {
    const ScopedLock lock(mutex, *this);
    if (isClosed) {
        return false;
    }
    if constexpr (isUrgent) {
        elements.PushFront(std::forward<Source>(message));
    } else {
        elements.PushBack(std::forward<Source>(message));
    }
    if (elements.Size() == 1) {
        isWorthALook.store(true, std::memory_order_relaxed);
    }
    WakeOne();
    return true;
}

template <class Message>
[[gnu::always_inline]] inline Message MessageQueue<Message>::TakeFront() {
    Message taken = elements.PopFront();
    if (elements.IsEmpty()) {
        isWorthALook.store(false, std::memory_order_relaxed);
    }
    return taken;
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
    ++sleepers;
    wake.WaitUntil(mutex, std::min(deadline, now + kLongestSleep));
    --sleepers;
    wakeUps = std::max(wakeUps - 1, 0);
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
    Acquire();
    while (elements.IsEmpty()) {
        if (isClosed) {
            mutex.unlock();
            return MsgBusWaitRet::Closed;
        }
        Sleep();
    }
    Message taken = TakeFront();
    mutex.unlock();
    out = std::move(taken);
    return MsgBusWaitRet::Ok;
}

template <class Message>
MsgBusWaitRet MessageQueue<Message>::GetFor(Message& out, std::int64_t ms) {
    const bool mayWait = ms > 0;
    const Clock::time_point deadline = mayWait ? DeadlineIn(ms) : Clock::time_point();
    if (mayWait) {
        LookAwake();
    }
    Acquire();
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
    Message taken = TakeFront();
    mutex.unlock();
    out = std::move(taken);
    return MsgBusWaitRet::Ok;
}

template <class Message>
MsgBusWaitRet MessageQueue<Message>::PeekWait(Message& out) {
    LookAwake();
    Acquire();
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
    if (hasSlept) {
        WakeOne();
    }
    mutex.unlock();
    out = std::move(seen);
    return MsgBusWaitRet::Ok;
}

template <class Message>
bool MessageQueue<Message>::TryGet(Message& out) {
    Acquire();
    if (elements.IsEmpty()) {
        mutex.unlock();
        return false;
    }
    Message taken = TakeFront();
    mutex.unlock();
    out = std::move(taken);
    return true;
}

template <class Message>
bool MessageQueue<Message>::Peek(Message& out) {
    Acquire();
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
    return TryGet(discarded);
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
    const ScopedLock lock(mutex, *this);
    isClosed = true;
    isWorthALook.store(true, std::memory_order_relaxed);
    elements.Swap(discarded);
    wakeUps = sleepers;
    wake.NotifyAll();
}

}  // namespace core
