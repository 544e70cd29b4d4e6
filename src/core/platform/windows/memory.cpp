#include "core/platform/platform.h"

namespace core::platform {

// Large pages need a privilege that programs do not have.

std::size_t LargePageSize() noexcept {
    return 16;
}

void PreferLargePages(void*, std::size_t) noexcept {}

void PopulatePages(void*, std::size_t) noexcept {}

}  // namespace core::platform
