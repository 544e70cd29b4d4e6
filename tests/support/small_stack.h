#pragma once

#include <core/logging/diagnostics.h>

#include <cstdint>
#include <functional>
#include <thread>

namespace support {

/// Runs `action` where no more than 256 KB of stack are left, with the means of every
/// platform: on a thread of its own that goes down until so little is left.
inline void OnSmallStack(const std::function<void()>& action) {
    constexpr std::int32_t kLeft = 256 * 1024;
    std::function<void()> goDown = [&action, &goDown] {
        volatile char frame[8192];
        frame[0] = 0;
        const char* const here = const_cast<const char*>(&frame[0]);
        if (ZYLCoreGetStackRemainedBytes(here, nullptr) > kLeft) {
            goDown();
        } else {
            action();
        }
        frame[0] = 1;
    };
    std::thread(goDown).join();
}

}  // namespace support
