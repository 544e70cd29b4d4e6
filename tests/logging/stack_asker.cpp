// A module that asks how much stack is left, and is warned, while it is loaded.

#include <core/logging/diagnostics.h>

#include <cstdint>

namespace {

[[maybe_unused]] const std::int32_t kAtLoad = [] {
    const char here = 0;
    const std::int32_t remaining = ZYLCoreGetStackRemainedBytes(&here, nullptr);
    return ZYLCoreGetStackRemainedBytes(&here - remaining, nullptr);
}();

}  // namespace
