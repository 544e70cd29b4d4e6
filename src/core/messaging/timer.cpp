#include <core/messaging/timer.h>

#include "core/messaging/timer_owner.h"

namespace core {

bool Timer::Cancel() {
    const std::shared_ptr<detail::TimerOwner> held = owner.lock();
    return held != nullptr && held->CancelTimer({id, slot});
}

bool Timer::IsPending() const {
    const std::shared_ptr<detail::TimerOwner> held = owner.lock();
    return held != nullptr && held->HasTimer({id, slot});
}

}  // namespace core
