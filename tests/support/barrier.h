#pragma once

#include <condition_variable>
#include <mutex>

/// Lets a group of threads start from the same instant: each waits until all have
/// arrived. For one use. Not std::latch, whose wake-ups get lost under Wine.
class Barrier {
public:
    explicit Barrier(int threads) : missing(threads) {}

    void ArriveAndWait() {
        std::unique_lock<std::mutex> lock(mutex);
        if (--missing == 0) {
            everyoneIsHere.notify_all();
        }
        everyoneIsHere.wait(lock, [this] { return missing <= 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable everyoneIsHere;
    int missing;
};
