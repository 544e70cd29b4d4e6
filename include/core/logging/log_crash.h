#pragma once

/// The log at a crash. This header is C too.
///
///     int main(void) {
///         CoreLogHandleCrashes(true);
///         CoreLogWriteFatalAtOnce(true);

#include <core/export.h>

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Has a crash of the process write what is queued for every file of the log, and behind it
/// a line of level Fatal with tag "core" that says what it was, where, and by which calls:
///
///     [Fatal][3601][2026-11-21 19:19:14.860T+0000][core]crash: SIGSEGV at 0x10, in editor+0x12a4
///     core+0x3f0
///
/// The numbers are offsets into the modules, for `addr2line` and its like. Standard error
/// gets the same line. Crashes are the signals SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT,
/// exceptions that nobody handles on Windows, and `std::terminate`, whose line tells
/// `what()` too. Afterwards, whatever handled them before runs, as if this had not been
/// there: other handlers, dumps of memory and the exit status stay.
///
/// Lines are safe once the call that logs them has returned; those that other threads log
/// meanwhile may be lost. While a crash is handled, no memory is taken, no name is looked
/// up and no lock is waited for; a write that another thread is in has a second to end.
/// With a second crash meanwhile, or a stack too damaged to be followed, the line says less.
///
/// To be called once the handlers of others are there, and again on each thread whose
/// stack may overflow: on Linux, each call gives the calling thread a stack for that. `false`
/// puts back what was there before. Answers 0, or 1 when the system refuses. Not for calls
/// that meet on several threads.
CORE_API int CoreLogHandleCrashes(bool isOn);

/// Has every line of level Fatal written, with all before it in its file, when its call
/// returns: it survives `abort`, `_exit` and a loss of the process. Answers 0. Safe from any
/// thread.
CORE_API int CoreLogWriteFatalAtOnce(bool isOn);

#ifdef __cplusplus
}
#endif
