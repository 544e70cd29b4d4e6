#include "core/foundation/mutex.h"

#include <algorithm>
#include <new>

namespace core {

namespace {

/// Pauses between the calls of `take` until it answers true; false when the other threads
/// are gone with the end of the process.
template <class Take>
bool BackOff(Take&& take) {
    // From a fraction of a microsecond, in which a holder does a row of calls, to a few: where
    // the cache line moves with every call, two threads take three times as long.
    constexpr int kFirstSpin = 32;
    constexpr int kLongestSpin = 256;
    constexpr int kSpins = 8;
    constexpr int kYields = 20;  // tells a holder that runs from one that was interrupted
    constexpr std::chrono::microseconds kLongest(1000);
    std::chrono::microseconds sleep(20);
    for (int round = 0;; ++round) {
        if (round < kSpins) {
            for (int pause = std::min(kFirstSpin << round, kLongestSpin); pause > 0; --pause) {
                platform::Pause();
            }
        } else if (round < kSpins + kYields) {
            std::this_thread::yield();
        } else {
            if (platform::OtherThreadsAreGone()) {
                return false;
            }
            std::this_thread::sleep_for(sleep);
            sleep = std::min(2 * sleep, kLongest);
        }
        if (take()) {
            return true;
        }
    }
}

}  // namespace

void RecursiveMutex::Wait(std::thread::id self) {
    // A look first: only an exchange takes the line from the holder.
    const bool isTaken = BackOff([&] {
        std::thread::id none;
        return holder.load(std::memory_order_relaxed) == none &&
               holder.compare_exchange_strong(none, self, std::memory_order_acquire,
                                              std::memory_order_relaxed);
    });
    if (!isTaken) {
        holder.store(self, std::memory_order_relaxed);
        again = 0;
    }
}

bool SpinMutex::Wait() {
    return !BackOff(
        [this] { return holder.load(std::memory_order_relaxed) == kNobody && Take() == kNobody; });
}

bool Mutex::WaitOrRenew() {
    const bool isOrphaned = platform::OtherThreadsAreGone();
    if (isOrphaned) {
        new (&mutex) std::mutex;
    }
    mutex.lock();
    return isOrphaned;
}

bool Mutex::TryOrRenew() {
    // What is done under our mutexes is short: going to sleep takes longer.
    constexpr int kTriesBeforeWait = 20;
    for (int i = 0; i < kTriesBeforeWait; ++i) {
        if (mutex.try_lock()) {
            return false;
        }
        std::this_thread::yield();
    }
    return LockOrRenew();
}

}  // namespace core
