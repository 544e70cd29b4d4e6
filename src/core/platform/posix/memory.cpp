#include "core/platform/platform.h"

#include <sys/mman.h>

namespace core::platform {

std::size_t LargePageSize() noexcept {
    return std::size_t{2} << 20;  // x86-64 has this size and a much larger one
}

void PreferLargePages(void* memory, std::size_t size) noexcept {
#ifdef MADV_HUGEPAGE
    // Where the system has none, all is as before.
    static_cast<void>(::madvise(memory, size, MADV_HUGEPAGE));
#else
    static_cast<void>(memory);
    static_cast<void>(size);
#endif
}

}  // namespace core::platform
