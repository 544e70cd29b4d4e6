#pragma once

#include <core/export.h>

#include <string>

namespace core {

/// Whether the file system has an object of any kind under a UTF-8 path; false
/// when it can't be asked. Never throws.
///
/// A text with "file:/" anywhere in it loses its first six characters:
/// "file:/C:/x" asks for "C:/x", and "file:///C:/x" for "//C:/x".
CORE_API bool IsFileExist(const std::string& path) noexcept;

/// The directory of the running program, UTF-8, without a separator at its end;
/// empty when the system can't say.
CORE_API std::string getExecutablePath();

/// Suspends the calling thread for `ms` milliseconds; 0 and less return at once.
CORE_API void safe_sleep_ms(int ms) noexcept;

}  // namespace core
