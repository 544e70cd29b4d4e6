#pragma once

#include <cstdint>
#include <memory>

namespace core {

/// Which of its owner's timers.
struct TimerKey {
    std::uint64_t id = 0;  // 0: none; never used again
    std::uint32_t slot = 0;
};

namespace detail {

/// Whoever serves timers, as their handles know it. Shared; safe from any thread.
class TimerOwner : public std::enable_shared_from_this<TimerOwner> {
public:
    TimerOwner() = default;
    TimerOwner(const TimerOwner&) = delete;
    TimerOwner& operator=(const TimerOwner&) = delete;

    /// Whether it was still to come.
    virtual bool CancelTimer(const TimerKey& key) = 0;
    virtual bool HasTimer(const TimerKey& key) = 0;

protected:
    ~TimerOwner() = default;
};

}  // namespace detail
}  // namespace core
