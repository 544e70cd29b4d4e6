#pragma once

/// The timeline: what each thread did from when to when, in a file that Perfetto, Chrome's
/// about:tracing and Speedscope open. This header is C too.
///
///     CoreTimelineStart("/tmp/editor-timeline.json", 0);
///     {
///         CORE_TIMELINE_SCOPE_WITH("decode", {{"clip", name}, {"frame", 12}});
///         Decode();
///     }
///     CoreTimelineStop();
///
/// Times are those of the system's monotonic clock, in nanoseconds. Each thread records into
/// memory of its own, without a lock (its first record of a recording takes one), and a
/// thread of the library writes the file beside it. Records that find no room there are
/// lost and counted; the file says where. While nothing is recorded, a scope is a few
/// instructions.
///
/// Names are not copied: they stay to the end of the recording, as literals do. Texts of
/// properties are copied, up to 255 bytes of each. All functions are safe from any thread
/// and throw nothing. A forked child records nothing until it starts a recording of its own.

#include <core/export.h>

#include <stdint.h>

/// What a record says. The numbers are those of the file.
enum CoreTimelinePhase {
    /// Something happened now.
    CORE_TIMELINE_INSTANT = 'i',
    /// Something begins on this thread, within what has begun there; it ends with
    /// CORE_TIMELINE_END, on this thread too.
    CORE_TIMELINE_BEGIN = 'B',
    CORE_TIMELINE_END = 'E',
    /// What has an id begins, goes on and ends on any thread; its records have one name.
    CORE_TIMELINE_ASYNC_BEGIN = 'b',
    CORE_TIMELINE_ASYNC_STEP = 'n',
    CORE_TIMELINE_ASYNC_END = 'e',
    /// An arrow from span to span, over threads: each belongs to the span around it. The
    /// records of an arrow have one name and one id.
    CORE_TIMELINE_FLOW_BEGIN = 's',
    CORE_TIMELINE_FLOW_STEP = 't',
    CORE_TIMELINE_FLOW_END = 'f'
};

#ifdef __cplusplus
extern "C" {
#endif

/// Begins a recording to `path`, replacing the file, and ends the one before.
///
/// Each thread that records gets `bytesPerThread` (256 KiB if 0 is given, 64 KiB at least,
/// 1 GiB at most), which holds what it records until it is written, some 20 ms later; a
/// span without properties takes 32 bytes. Answers 0; or 1, with nothing recorded, when
/// `path` is null or can't be opened, or when there is no memory or no thread.
CORE_API int CoreTimelineStart(const char* path, uint64_t bytesPerThread);

/// Ends the recording: what was recorded is in the file when this returns. Answers how many
/// records were lost. Without a recording it answers 0.
///
/// At a normal end of the process this happens by itself. What ends a process otherwise,
/// a crash or on Windows an end with this library's threads gone, leaves a file that can
/// be opened, without the last moments.
CORE_API uint64_t CoreTimelineStop(void);

/// Records something of a CoreTimelinePhase; others, and a null `name`, are ignored. `id`
/// counts for the asynchronous ones and for arrows.
CORE_API void CoreTimelineRecord(int phase, const char* name, uint64_t id);

/// Records the value that a counter has from now on: a graph beside the threads.
CORE_API void CoreTimelineCounter(const char* name, double value);

#ifdef __cplusplus
}

#include <core/logging/pref_trace.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace core {

namespace detail {
/// Whether a timeline is being recorded; for the inline functions below.
extern CORE_API std::atomic<bool> isTimelineOn;
}  // namespace detail

/// Whether a timeline is being recorded.
inline bool IsTimelineOn() noexcept {
    return detail::isTimelineOn.load(std::memory_order_relaxed);
}

/// The clock of the timeline, in nanoseconds; never 0.
CORE_API std::int64_t TimelineClock() noexcept;

/// Records a span of the calling thread that began at `begin`, a `TimelineClock`, and ends
/// now. Of more than eight properties, the first eight are kept. A null `name` does nothing.
CORE_API void RecordTimelineSpan(const char* name, std::int64_t begin,
                                 const TraceProperty* properties = nullptr,
                                 std::size_t count = 0) noexcept;

/// `CoreTimelineRecord` with properties.
CORE_API void RecordTimeline(CoreTimelinePhase phase, const char* name, std::uint64_t id,
                             const TraceProperty* properties, std::size_t count) noexcept;
inline void RecordTimeline(CoreTimelinePhase phase, const char* name, std::uint64_t id = 0,
                           std::initializer_list<TraceProperty> properties = {}) noexcept {
    if (IsTimelineOn()) {
        RecordTimeline(phase, name, id, properties.begin(), properties.size());
    }
}

/// A span from here to the end of its scope.
class TimelineScope {
public:
    /// Begins it. `spanName` is not copied.
    explicit TimelineScope(const char* spanName) noexcept
        : name(spanName), begin(IsTimelineOn() ? TimelineClock() : 0) {}
    ~TimelineScope() {
        if (begin != 0) {
            RecordTimelineSpan(name, begin);
        }
    }
    TimelineScope(const TimelineScope&) = delete;
    TimelineScope& operator=(const TimelineScope&) = delete;

private:
    const char* name;
    std::int64_t begin;
};

/// A span with properties from here to the end of its scope, where `makeProperties` is called
/// with a function that takes them. For CORE_TIMELINE_SCOPE_WITH.
template <class MakeProperties>
class TimelineScopeWith {
public:
    /// Begins it. `spanName` is not copied.
    TimelineScopeWith(const char* spanName, MakeProperties make) noexcept
        : name(spanName), begin(IsTimelineOn() ? TimelineClock() : 0), makeProperties(make) {}
    ~TimelineScopeWith() {
        if (begin != 0) {
            makeProperties([this](std::initializer_list<TraceProperty> properties) {
                RecordTimelineSpan(name, begin, properties.begin(), properties.size());
            });
        }
    }
    TimelineScopeWith(const TimelineScopeWith&) = delete;
    TimelineScopeWith& operator=(const TimelineScopeWith&) = delete;

private:
    const char* name;
    std::int64_t begin;
    MakeProperties makeProperties;
};

}  // namespace core

/// @def CORE_TIMELINE_JOIN2(a, b)
/// For the macros below.
#define CORE_TIMELINE_JOIN2(a, b) a##b
/// @def CORE_TIMELINE_JOIN(a, b)
/// One name of two, whatever they stand for.
#define CORE_TIMELINE_JOIN(a, b) CORE_TIMELINE_JOIN2(a, b)

/// @def CORE_TIMELINE_SCOPE(name)
/// A span from here to the end of the scope.
#define CORE_TIMELINE_SCOPE(name) \
    const ::core::TimelineScope CORE_TIMELINE_JOIN(coreTimelineScope, __LINE__)(name)

/// @def CORE_TIMELINE_SCOPE_WITH(name, ...)
/// A span with properties, as of `TraceEvent`: {{"clip", name}, {"frame", 12}}. They are
/// evaluated at the end of the scope, and only while a timeline is recorded.
#define CORE_TIMELINE_SCOPE_WITH(name, ...)                                          \
    const ::core::TimelineScopeWith CORE_TIMELINE_JOIN(coreTimelineScope, __LINE__)( \
        name, [&](const auto& coreTimelineTake) { coreTimelineTake(__VA_ARGS__); })
#endif
