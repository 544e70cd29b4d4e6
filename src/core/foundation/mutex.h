#pragma once

// Mutexes that the compiler can check: Clang's -Wthread-safety reads the
// attributes, other compilers see the standard types alone.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

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

class CORE_CAPABILITY("mutex") RecursiveMutex {
public:
    void lock() CORE_ACQUIRE() { mutex.lock(); }
    void unlock() CORE_RELEASE() { mutex.unlock(); }

private:
    std::recursive_mutex mutex;
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

class CORE_CAPABILITY("mutex") Mutex {
public:
    void lock() CORE_ACQUIRE() { mutex.lock(); }
    void unlock() CORE_RELEASE() { mutex.unlock(); }

private:
    friend class Lock;
    friend class Condition;
    std::mutex mutex;
};

/// Holds a Mutex to the end of a scope, and no more: for where every instruction counts.
class CORE_SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(Mutex& toLock) CORE_ACQUIRE(toLock) : mutex(toLock) { mutex.lock(); }
    ~ScopedLock() CORE_RELEASE() { mutex.unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Mutex& mutex;
};

/// Holds a Mutex; unlocked and locked again, it takes a break.
class CORE_SCOPED_CAPABILITY Lock {
public:
    explicit Lock(Mutex& toLock) CORE_ACQUIRE(toLock) : held(toLock.mutex, std::try_to_lock) {
        // What is done under our mutexes is short: going to sleep takes longer.
        for (int i = 0; i < kTriesBeforeWait && !held.owns_lock(); ++i) {
            if (!held.try_lock()) {
                std::this_thread::yield();
            }
        }
        if (!held.owns_lock()) {
            held.lock();
        }
    }
    ~Lock() CORE_RELEASE() {}
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void unlock() CORE_RELEASE() { held.unlock(); }
    void lock() CORE_ACQUIRE() { held.lock(); }

private:
    static constexpr int kTriesBeforeWait = 20;

    friend class Condition;
    std::unique_lock<std::mutex> held;
};

/// A condition variable that goes with Mutex. Wait in a loop with a predicate.
class Condition {
public:
    void Wait(Lock& lock) { variable.wait(lock.held); }
    /// False when the deadline has passed.
    bool WaitUntil(Lock& lock, std::chrono::steady_clock::time_point deadline) {
        return variable.wait_until(lock.held, deadline) == std::cv_status::no_timeout;
    }
    /// The same for a mutex that is locked already and stays so.
    void Wait(Mutex& locked) CORE_REQUIRES(locked) {
        std::unique_lock<std::mutex> lock(locked.mutex, std::adopt_lock);
        variable.wait(lock);
        lock.release();
    }
    bool WaitUntil(Mutex& locked, std::chrono::steady_clock::time_point deadline)
        CORE_REQUIRES(locked) {
        std::unique_lock<std::mutex> lock(locked.mutex, std::adopt_lock);
        const std::cv_status status = variable.wait_until(lock, deadline);
        lock.release();
        return status == std::cv_status::no_timeout;
    }
    void NotifyOne() noexcept { variable.notify_one(); }
    void NotifyAll() noexcept { variable.notify_all(); }

private:
    std::condition_variable variable;
};

}  // namespace core
