#pragma once

/// @def CORE_API
/// Marks what the shared library exports; everything else is hidden.
///
/// CORE_BUILDING is defined while the library itself is compiled, CORE_STATIC by
/// programs that link its object files instead of the library.
#if defined(CORE_STATIC)
#define CORE_API
#elif defined(_WIN32)
#if defined(CORE_BUILDING)
#define CORE_API __declspec(dllexport)
#else
#define CORE_API __declspec(dllimport)
#endif
#else
#define CORE_API __attribute__((visibility("default")))
#endif
