#pragma once

#include <core/export.h>

#include <cstddef>

namespace core {

/// Bytes of a thread's name that are kept.
inline constexpr std::size_t kLongestThreadName = 63;

/// Gives the calling thread a name, for debuggers and the tools of the system, for the
/// timeline (core/logging/timeline.h) and, on request, for its lines in the log
/// (`CoreLogSetThreadNames`).
///
/// `name` is UTF-8 and copied; what is longer than `kLongestThreadName` bytes is cut between
/// two characters, and the system may keep less: Linux has room for 15 bytes. Null and ""
/// take the name away, the system's stays then. The library's own threads have names: "core
/// log", "core worker", "core loop" and "core bus".
CORE_API void SetThreadName(const char* name) noexcept;

/// The name that the calling thread was given, "" without one. It stays to the end of the
/// thread, and changes with the name.
CORE_API const char* ThreadName() noexcept;

}  // namespace core
