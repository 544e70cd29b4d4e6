#pragma once

// Mutexes that the compiler can check: Clang's -Wthread-safety reads the
// attributes, other compilers see the standard types alone.
//
// At the end of a process, some systems end its other threads wherever they are, and
// only then have the static objects of libraries destroyed. A thread that ended so holds
// its locks for ever, and what they guard may stand in the middle of a change. Locks that
// are made with an owner have this owner abandon it and never wait: see Mutex::LockOrRenew.
// A forked process has none of its parent's other threads: a SpinMutex knows the process of
// its holder, and one of the parent's is no holder. The other mutexes stay held there.

#include "core/foundation/never_destroyed.h"
#include "core/platform/platform.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <thread>
#include <type_traits>

#if defined(__clang__)
#define CORE_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define CORE_THREAD_ATTRIBUTE(x)
#endif

#define CORE_CAPABILITY(name) CORE_THREAD_ATTRIBUTE(capability(name))
#define CORE_SCOPED_CAPABILITY CORE_THREAD_ATTRIBUTE(scoped_lockable)
#define CORE_GUARDED_BY(mutex) CORE_THREAD_ATTRIBUTE(guarded_by(mutex))
#define CORE_REQUIRES(...) CORE_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define CORE_ACQUIRE(...) CORE_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define CORE_RELEASE(...) CORE_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define CORE_NO_THREAD_SAFETY_ANALYSIS CORE_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace core {

/// A mutex that the thread which holds it may lock again, for what is short and done often:
/// a sample takes some 40 ns, of which a system's recursive mutex took half.
///
/// A free one is taken by one compare-exchange. Who finds it taken asks again after pauses
/// that grow (exponential back-off; Anderson, "The Performance of Spin Lock Alternatives
/// for Shared-Memory Multiprocessors", 1990), so that the holder keeps the cache line and
/// does a row of calls meanwhile; first it spins, then it gives its processor away, then it
/// sleeps, never for longer than a millisecond, so that nobody is forgotten. Where the
/// holder is gone with the end of the process, the mutex changes hands.
class CORE_CAPABILITY("mutex") RecursiveMutex {
public:
    void lock() CORE_ACQUIRE() {
        const std::thread::id self = std::this_thread::get_id();
        std::thread::id found;
        if (holder.compare_exchange_strong(found, self, std::memory_order_acquire,
                                           std::memory_order_relaxed)) {
            return;
        }
        if (found == self) {
            ++again;
        } else {
            Wait(self);
        }
    }
    void unlock() CORE_RELEASE() {
        if (again > 0) {
            --again;
        } else {
            holder.store(std::thread::id(), std::memory_order_release);
        }
    }

private:
    void Wait(std::thread::id self);

    std::atomic<std::thread::id> holder;
    std::size_t again = 0;  // how often more than once the holder has locked it
};

class CORE_SCOPED_CAPABILITY RecursiveLock {
public:
    explicit RecursiveLock(RecursiveMutex& toLock) CORE_ACQUIRE(toLock) : mutex(toLock) {
        mutex.lock();
    }
    ~RecursiveLock() CORE_RELEASE() { mutex.unlock(); }
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

private:
    RecursiveMutex& mutex;
};

/// A mutex for what takes some nanoseconds and is done very often: one exchange locks a free
/// one and one store unlocks it, where a system's mutex takes some 55 instructions. Who finds
/// it taken waits as for a RecursiveMutex.
class CORE_CAPABILITY("mutex") SpinMutex {
public:
    void lock() CORE_ACQUIRE() { LockOrRenew(); }
    void unlock() CORE_RELEASE() { holder.store(kNobody, std::memory_order_release); }
    /// Like Mutex::LockOrRenew, and true in a forked process too where the thread that holds
    /// it is one of the parent's.
    bool LockOrRenew() CORE_ACQUIRE() {
        const std::uint32_t before = Take();
        return before != kNobody && (before != platform::processGeneration || Wait());
    }
    /// The same: it tries for a while anyway.
    bool LockPatiently() CORE_ACQUIRE() { return LockOrRenew(); }

private:
    static constexpr std::uint32_t kNobody = 0;

    std::uint32_t Take() {
        return holder.exchange(platform::processGeneration, std::memory_order_acquire);
    }
    bool Wait();

    std::atomic<std::uint32_t> holder = kNobody;  // the generation of its process
};

class CORE_CAPABILITY("mutex") Mutex {
public:
    void lock() CORE_ACQUIRE() { mutex.lock(); }
    void unlock() CORE_RELEASE() { mutex.unlock(); }
    bool TryLock() CORE_THREAD_ATTRIBUTE(try_acquire_capability(true)) { return mutex.try_lock(); }

    /// As `lock`, but true where the thread that holds it is gone with the end of the
    /// process. The mutex is made anew then: what it guards is to be abandoned.
    bool LockOrRenew() CORE_ACQUIRE() {
        if constexpr (platform::kEndsThreadsFirst) {
            return !mutex.try_lock() && WaitOrRenew();
        }
        mutex.lock();
        return false;
    }

    /// The same, but tries for a while before it sleeps.
    bool LockPatiently() CORE_ACQUIRE() { return !mutex.try_lock() && TryOrRenew(); }

private:
    friend class Condition;
    bool WaitOrRenew();
    bool TryOrRenew() CORE_NO_THREAD_SAFETY_ANALYSIS;

    std::mutex mutex;
};

/// Holds a Mutex or a SpinMutex to the end of a scope, and no more: for where every
/// instruction counts. Has its owner abandon what is guarded where the lock's holder is gone.
template <class AnyMutex>
class CORE_SCOPED_CAPABILITY ScopedLock {
public:
    template <class Owner>
    ScopedLock(AnyMutex& toLock, Owner& owner) CORE_ACQUIRE(toLock) : mutex(toLock) {
        if (mutex.LockOrRenew()) {
            owner.Abandon();
        }
    }
    ~ScopedLock() CORE_RELEASE() { mutex.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    AnyMutex& mutex;
};

/// Holds a Mutex or a SpinMutex; unlocked and locked again, it is free in between.
template <class AnyMutex>
class CORE_SCOPED_CAPABILITY Lock {
public:
    explicit Lock(AnyMutex& toLock) CORE_ACQUIRE(toLock) : mutex(toLock) { mutex.LockPatiently(); }
    /// Has `owner` abandon what is guarded where the lock's holder is gone.
    template <class Owner>
    Lock(AnyMutex& toLock, Owner& owner) CORE_ACQUIRE(toLock) : mutex(toLock) {
        if (mutex.LockPatiently()) {
            owner.Abandon();
        }
    }
    ~Lock() CORE_RELEASE() {
        if (isHeld) {
            mutex.unlock();
        }
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void unlock() CORE_RELEASE() {
        mutex.unlock();
        isHeld = false;
    }
    void lock() CORE_ACQUIRE() {
        mutex.lock();
        isHeld = true;
    }

private:
    friend class Condition;

    AnyMutex& mutex;
    bool isHeld = true;
};

/// A condition variable that goes with Mutex. Wait in a loop with a predicate, which asks
/// whether the other threads are gone: nobody ends the wait then.
class Condition {
public:
    void Wait(Lock<Mutex>& lock) { Wait(lock.mutex); }
    /// False when the deadline has passed.
    bool WaitUntil(Lock<Mutex>& lock, std::chrono::steady_clock::time_point deadline) {
        return WaitUntil(lock.mutex, deadline);
    }
    /// The same for a mutex that is locked already and stays so.
    void Wait(Mutex& locked) CORE_NO_THREAD_SAFETY_ANALYSIS {
        std::unique_lock<std::mutex> lock(locked.mutex, std::adopt_lock);
        variable.wait(lock);
        lock.release();
    }
    bool WaitUntil(Mutex& locked,
                   std::chrono::steady_clock::time_point deadline) CORE_NO_THREAD_SAFETY_ANALYSIS {
        std::unique_lock<std::mutex> lock(locked.mutex, std::adopt_lock);
        const std::cv_status status = variable.wait_until(lock, deadline);
        lock.release();
        return status == std::cv_status::no_timeout;
    }
    // Some systems' conditions wait for those that they woke.
    void NotifyOne() noexcept {
        if (!platform::OtherThreadsAreGone()) {
            variable.notify_one();
        }
    }
    void NotifyAll() noexcept {
        if (!platform::OtherThreadsAreGone()) {
            variable.notify_all();
        }
    }

private:
    std::condition_variable variable;
};

/// The same for a SpinMutex, which is held where anybody is woken too. Waiting and waking take
/// a system's mutex, so that it is for where that is seldom. In a forked process, nobody of the
/// parent's is woken or waited for.
class SpinCondition {
public:
    SpinCondition() = default;
    ~SpinCondition() {
        if (IsOfThisProcess()) {
            variable.value.~condition_variable_any();
        }
    }
    SpinCondition(const SpinCondition&) = delete;
    SpinCondition& operator=(const SpinCondition&) = delete;

    void Wait(SpinMutex& locked) CORE_NO_THREAD_SAFETY_ANALYSIS { Renewed().wait(locked); }
    bool WaitUntil(SpinMutex& locked,
                   std::chrono::steady_clock::time_point deadline) CORE_NO_THREAD_SAFETY_ANALYSIS {
        return Renewed().wait_until(locked, deadline) == std::cv_status::no_timeout;
    }
    void NotifyOne() noexcept {
        if (IsOfThisProcess()) {
            variable.value.notify_one();
        }
    }
    void NotifyAll() noexcept {
        if (IsOfThisProcess()) {
            variable.value.notify_all();
        }
    }

private:
    bool IsOfThisProcess() const noexcept { return generation == platform::processGeneration; }
    // The parent's counts those who waited there, and one of them may have had it locked.
    std::condition_variable_any& Renewed() {
        if (!IsOfThisProcess()) {
            new (&variable) NeverDestroyed<std::condition_variable_any>;
            generation = platform::processGeneration;
        }
        return variable.value;
    }

    NeverDestroyed<std::condition_variable_any> variable;
    std::uint32_t generation = platform::processGeneration;
};

/// What queues of messages, events and tasks have. Where the system ends threads wherever they
/// are, they had better sleep in a lock of its own than be in the heap, which the end of the
/// process needs: with a SpinMutex, one process in thirty did not end under Wine.
using QueueMutex = std::conditional_t<platform::kEndsThreadsFirst, Mutex, SpinMutex>;
using QueueCondition = std::conditional_t<platform::kEndsThreadsFirst, Condition, SpinCondition>;

}  // namespace core
