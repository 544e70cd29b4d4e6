#include "core/platform/platform.h"

#include <sys/mman.h>
#include <unistd.h>
#include <cstdint>

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

void PopulatePages(void* memory, std::size_t size) noexcept {
#ifdef MADV_POPULATE_WRITE
    static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t skipped = (page - begin % page) % page;
    if (skipped + page <= size) {
        // A system that knows nothing of it says so, and all is as before.
        static_cast<void>(::madvise(static_cast<char*>(memory) + skipped,
                                    (size - skipped) / page * page, MADV_POPULATE_WRITE));
    }
#else
    static_cast<void>(memory);
    static_cast<void>(size);
#endif
}

}  // namespace core::platform
