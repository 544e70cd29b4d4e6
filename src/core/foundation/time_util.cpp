#include <core/foundation/time_util.h>

#include "core/foundation/time_format.h"
#include "core/platform/platform.h"

namespace core {

std::uint64_t TimeUtil::nowSinceEpoch() noexcept {
    return static_cast<std::uint64_t>(platform::WallClock100ns()) / 10'000;
}

std::string TimeUtil::now(const std::string& format) {
    return FormatWallTime(WallTimeOf(platform::WallClock100ns()), format);
}

}  // namespace core
