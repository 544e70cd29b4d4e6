#pragma once

// The one place that names the version: the build, the package and the Windows
// version resource read it here. Plain macros, because the resource compiler
// includes this file too.

/// Version of these headers, as text and as its four numbers.
#define CORE_VERSION_STRING "6.8.101.2"
#define CORE_VERSION_MAJOR 6
#define CORE_VERSION_MINOR 8
#define CORE_VERSION_PATCH 101
#define CORE_VERSION_BUILD 2
