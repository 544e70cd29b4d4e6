#include <core/foundation/time_span.h>

#include "core/foundation/clock.h"

#include <new>

namespace core {

struct TimeSpan::Record {
    std::int64_t startNanos = 0;
    std::int64_t endNanos = 0;
};

TimeSpan::TimeSpan() noexcept : p_impl(new (std::nothrow) Record) {}

TimeSpan::~TimeSpan() {
    delete p_impl;
}

void TimeSpan::start() noexcept {
    if (p_impl != nullptr) {
        p_impl->startNanos = MonotonicNanos();
    }
}

const TimeSpan::Record* TimeSpan::end() noexcept {
    if (p_impl != nullptr) {
        p_impl->endNanos = MonotonicNanos();
    }
    return p_impl;
}

std::int64_t TimeSpan::timeSpan() const noexcept {
    return p_impl != nullptr ? WholeMilliseconds(p_impl->startNanos, p_impl->endNanos) : 0;
}

}  // namespace core
