#include "core/foundation/clock.h"

#include "core/platform/platform.h"

namespace core {

std::int64_t MonotonicNanos() noexcept {
    return NanosOf(platform::MonotonicCounter(), platform::CounterFrequency());
}

}  // namespace core
