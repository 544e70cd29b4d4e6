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

}  // namespace support
