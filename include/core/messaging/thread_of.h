#pragma once

#include <core/export.h>
#include <core/messaging/event_bus.h>
#include <core/messaging/message_loop.h>
#include <core/messaging/worker.h>

/// Which thread am I on: asked, and asserted.
///
///     void Title::Show(const std::string& text) {
///         CORE_ASSERT_THREAD_OF(loop);  // drawn by the loop's thread alone
///         ...
///     }
///
/// `CORE_ASSERT_THREAD_OF(x)` does nothing where NDEBUG is defined, like `assert`.
/// Otherwise, on a wrong thread, it writes place, expression and thread to standard error,
/// and aborts. A loop names its thread in `OnLoopStart`, a worker's in a first task, with
/// `SetThreadName`.

/// @def CORE_ASSERT_THREAD_OF(x)
/// Ends the process where the calling thread is not that of the loop or worker `x`.
#if defined(NDEBUG)
#define CORE_ASSERT_THREAD_OF(x) static_cast<void>(0)
#else
#define CORE_ASSERT_THREAD_OF(x)                  \
    (::core::IsThreadOf(x) ? static_cast<void>(0) \
                           : ::core::detail::FailThreadOf(#x, __FILE__, __LINE__))
#endif

namespace core {

/// Whether the calling thread runs tasks of the worker: its own thread, one that drains it,
/// or one that is lent to it. False for a worker that is not from CreateWorker.
CORE_API bool IsThreadOf(const IWorker& worker);
/// Whether the calling thread is one that the loop, or a copy of it, has launched, or that
/// runs its ThreadProc.
CORE_API bool IsThreadOf(const MessageLoop& loop);
/// Whether the calling thread delivers the bus's events.
CORE_API bool IsThreadOf(const AsyncEventBus& bus);

namespace detail {

[[noreturn]] CORE_API void FailThreadOf(const char* what, const char* file, int line);

}  // namespace detail
}  // namespace core
