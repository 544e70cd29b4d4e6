#pragma once

// A recursive mutex that the compiler can check: Clang's -Wthread-safety reads
// the attributes, other compilers see the standard types alone.

#include <mutex>

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

}  // namespace core
