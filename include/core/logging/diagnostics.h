#pragma once

/// Help with crashes: how much stack is left, and which libraries a program misses.
/// For C and C++.

#include <core/export.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Bytes between the low limit of the calling thread's stack and `address`, which
/// is that of a local variable of the caller.
///
/// `total_out` receives the size of the stack, unless null. Both numbers are cut to
/// 32 bits. Where the system does not tell a stack's limits, the answer is 0 and
/// `total_out` stays as it is.
///
/// Fewer than 2048 bytes are also logged, at level 5: "stack is running out.
/// (remained / total: 2047 / 65536)". The line is written before the call returns, on
/// another stack, for that takes more than is left; where there is no memory for one,
/// it is not written. No thread is started: a module may call this while it is loaded.
/// The call itself takes 1 KB of stack, and at a thread's first use 4 KB: call it once
/// before the stack runs low.
CORE_API int32_t ZYLCoreGetStackRemainedBytes(const void* address, uint32_t* total_out);

/// Logs, at level 6, every library that the 64-bit Windows image at `path` imports
/// and that can't be loaded, or what is wrong with the image; nothing else.
///
/// Each library is loaded and unloaded again, with what it does when it is loaded:
/// call this for programs that you would also start. Whatever the file holds, the
/// check ends and keeps within bounds: it looks at the first 4096 imports, and says
/// so, at level 5, where there are more. A null `path` can't be opened.
CORE_API void ZYLCorePrintDependency(const wchar_t* path);

#ifdef __cplusplus
}
#endif
