#pragma once

#include <condition_variable>
#include <mutex>

namespace support {

/// Happens once; whoever waits for it may destroy it right afterwards.
class Event {
public:
    void Set() {
        const std::lock_guard lock(mutex);
        isSet = true;
        changed.notify_all();
    }
    void Wait() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isSet; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool isSet = false;
};

/// Lets threads go when all of them have arrived. std::latch loses wake-ups with the
/// compiler that we build for Windows with.
class StartingLine {
public:
    explicit StartingLine(int threads) : missing(threads) {}

    void ArriveAndWait() {
        std::unique_lock lock(mutex);
        if (--missing == 0) {
            changed.notify_all();
        }
        changed.wait(lock, [this] { return missing == 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int missing;
};

}  // namespace support
