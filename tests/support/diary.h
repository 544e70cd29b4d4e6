#pragma once

#include <mutex>
#include <string>

namespace support {

/// What happened, in order; from any thread.
class Diary {
public:
    void Add(const std::string& what) {
        const std::lock_guard lock(mutex);
        text += what;
    }
    std::string Text() {
        const std::lock_guard lock(mutex);
        return text;
    }

private:
    std::mutex mutex;
    std::string text;
};

}  // namespace support
