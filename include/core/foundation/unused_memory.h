#pragma once

#include <core/export.h>

#include <cstddef>

namespace core {

/// Gives memory back to the system that documents have left for the next ones, and answers
/// how many bytes that was.
///
/// A pool that has grown beyond half a megabyte takes regions of 2 MiB, and leaves them to
/// the process when it ends: at most 8 of them, 16 MiB in all, so that documents of such
/// sizes do not begin with fresh pages each time. What more there is goes back to the heap
/// at once, as do all at the end of the process. Worth a call when a project was closed.
/// Any thread.
CORE_API std::size_t ReleaseUnusedMemory() noexcept;

}  // namespace core
