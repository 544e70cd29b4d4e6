#pragma once

/// How messages stand in the log. This header is C too.

#include <core/export.h>

#include <stdbool.h>

/// What becomes of control characters in lines.
enum CoreLogForm {
    /// As they are, line ends and all.
    CORE_LOG_AS_IT_IS = 0,
    /// One call, one line: control characters in messages, tags, functions and files are
    /// written as `\n`, `\t`, `\r` or `\x1b`, so that nothing that a message quotes can
    /// look like another line, or steer a terminal. These are U+0000 to U+001F and U+007F
    /// to U+009F; a backslash stays one.
    CORE_LOG_ONE_LINE = 1,
    /// One call, one line, one JSON object, for log collectors: `time` (ISO 8601 with the
    /// offset from UTC), `level`, `module`, `tag`, `thread`, `thread_name`, `message`,
    /// `function`, `line`, `file`, and the `fields` of `PrintLogFields`
    /// (core/logging/log_fields.h); what a line does not have is left out. Bytes that are no
    /// UTF-8 become U+FFFD; of a message beyond 2 MiB the beginning is written, with its size
    /// as `message_bytes`.
    CORE_LOG_JSON = 2
};

#ifdef __cplusplus
extern "C" {
#endif

/// Chooses a CoreLogForm for all lines from now on, in every sink; others are ignored.
/// Answers 0. Safe from any thread.
CORE_API int CoreLogSetForm(int form);
/// Has lines name their threads from now on: `[3601 decoder]` for one that `SetThreadName`
/// of core/foundation/thread_name.h has called "decoder", `[3601]` for others. Control
/// characters and brackets in names are written as `_`. Answers 0. Safe from any thread.
CORE_API int CoreLogSetThreadNames(bool isOn);

#ifdef __cplusplus
}
#endif
