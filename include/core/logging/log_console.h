#pragma once

/// Where the console's lines go. This header is C too.

#include <core/export.h>

/// What the console of the log is.
enum CoreLogConsole {
    CORE_LOG_STANDARD_OUTPUT = 0,
    CORE_LOG_STANDARD_ERROR = 1,
    /// Nowhere. Debugger and files get their lines as ever.
    CORE_LOG_NO_CONSOLE = 2
};

/// Which of the console's lines have colours.
enum CoreLogColours {
    CORE_LOG_ALL_COLOURED = 0,
    CORE_LOG_NONE_COLOURED = 1,
    /// All where the console is a terminal, unless the environment has a NO_COLOR that is not
    /// empty; see https://no-color.org.
    CORE_LOG_TERMINALS_COLOURED = 2
};

#ifdef __cplusplus
extern "C" {
#endif

/// Chooses a CoreLogConsole and CoreLogColours for the console's lines of all modules, and
/// for the version line of each. Without this call lines go to standard output, coloured.
///
/// A program whose standard output belongs to its answers makes it its first call: then
/// nothing of the log's is there. Other numbers are ignored. Answers 0. Safe from any thread;
/// lines that are being written may still go to the old place.
///
///     CoreLogSetConsole(CORE_LOG_STANDARD_ERROR, CORE_LOG_TERMINALS_COLOURED);
CORE_API int CoreLogSetConsole(int console, int colours);

#ifdef __cplusplus
}
#endif
