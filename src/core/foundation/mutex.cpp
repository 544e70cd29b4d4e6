#include "core/foundation/mutex.h"

#include <new>

namespace core {

bool Mutex::WaitOrRenew() {
    const bool isOrphaned = platform::OtherThreadsAreGone();
    if (isOrphaned) {
        new (&mutex) std::mutex;
    }
    mutex.lock();
    return isOrphaned;
}

bool Lock::Wait() CORE_NO_THREAD_SAFETY_ANALYSIS {
    // What is done under our mutexes is short: going to sleep takes longer.
    constexpr int kTriesBeforeWait = 20;
    for (int i = 0; i < kTriesBeforeWait; ++i) {
        if (mutex.mutex.try_lock()) {
            return false;
        }
        std::this_thread::yield();
    }
    return mutex.LockOrRenew();
}

bool Mutex::IsFreeSoon() {
    // Far longer than any of our mutexes is held.
    constexpr int kTries = 10'000;
    for (int i = 0; i < kTries; ++i) {
        if (mutex.try_lock()) {
            mutex.unlock();
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

}  // namespace core
