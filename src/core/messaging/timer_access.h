#pragma once

#include <core/messaging/timer.h>

#include "core/messaging/timer_owner.h"

#include <algorithm>
#include <chrono>

namespace core {

/// A period that can be counted in.
inline std::chrono::nanoseconds AtLeast(std::chrono::nanoseconds period) {
    return std::max<std::chrono::nanoseconds>(period, std::chrono::microseconds(1));
}

namespace detail {

/// Makes handles.
class TimerAccess {
public:
    /// Of nothing, where the key is of nothing.
    static Timer Make(TimerOwner& owner, const TimerKey& key) {
        Timer timer;
        if (key.id != 0) {
            timer.owner = owner.weak_from_this();
            timer.id = key.id;
            timer.slot = key.slot;
        }
        return timer;
    }
};

}  // namespace detail
}  // namespace core
