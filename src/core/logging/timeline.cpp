#include <core/logging/timeline.h>

#include "core/foundation/home_process.h"
#include "core/foundation/mutex.h"
#include "core/foundation/never_destroyed.h"
#include "core/foundation/spans.h"
#include "core/logging/timeline_ring.h"
#include "core/logging/timeline_text.h"
#include "core/platform/platform.h"

#include <core/foundation/thread_name.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

// Records go from their threads to the file over rings, one for each thread and recording.
//
//  1. A ring belongs to its thread, which says when no record comes any more: at its end,
//     or with its first record of a later recording. Until then the ring stays.
//  2. The thread that writes empties the rings of its recording, some fifty times a second.
//     Those of earlier ones are only kept for the threads that may still hold them.
//  3. `control` is held by those who begin and end recordings, `mutex` by whoever touches
//     the list of rings. Nobody records under either.

namespace core {

namespace detail {
constinit std::atomic<bool> isTimelineOn = false;
}

namespace {

constexpr std::uint64_t kUsualBytes = std::uint64_t{256} << 10;
constexpr std::uint64_t kLeastBytes = std::uint64_t{64} << 10;
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 30;
static_assert(kLeastBytes > sizeof(TimelineRecord));
constexpr std::chrono::milliseconds kWriteInterval(20);
/// As much text as is handed to the system in one piece, but for its last record.
constexpr std::size_t kGoodWriteBytes = std::size_t{64} << 10;

/// The ring of a thread. Without a destructor, so that threads record to their very end.
struct OwnRing {
    TimelineRing* ring;
    std::uint64_t recording;
};
thread_local constinit OwnRing own{};

/// Gives the ring back when the thread ends. Not a destructor's work: on Windows, `own` may be
/// gone by then, and is made anew where it is named.
void GiveBack(void* ring) noexcept {
    static_cast<TimelineRing*>(ring)->Finish();
    own = {};
}

/// The number of the recording that is under way, or of the last one.
constinit std::atomic<std::uint64_t> recordingNumber = 0;

void RecordThreadName(TimelineRing& ring) noexcept {
    TimelineRecord record(TimelineRecord::kThreadName, "thread_name", 0, 0);
    record.Add({"name", ThreadName()});
    ring.Push(record);
}

class Timeline {
public:
    /// Never destroyed: records come to the very end of a process.
    static Timeline& Get() {
        static NeverDestroyed<Timeline> timeline;
        return timeline.value;
    }

    bool Start(const char* path, std::uint64_t bytes);
    std::uint64_t Stop();
    /// A ring for the calling thread, null without memory.
    TimelineRing* MakeRing();

private:
    struct Entry {
        std::unique_ptr<TimelineRing> ring;
        std::uint64_t recording;
    };
    using Entries = std::vector<Entry>;

    std::uint64_t End() CORE_REQUIRES(control);
    void Serve();
    void WriteRings();
    void Take(TimelineRing& ring, std::string& text);
    void Put(std::string& text);

    static void BeforeFork();
    static void AfterFork();
    static void AfterForkInChild();

    Mutex control;
    std::thread thread CORE_GUARDED_BY(control);
    bool hasStarted CORE_GUARDED_BY(control) = false;

    Mutex mutex;
    Condition change;
    bool isEnding CORE_GUARDED_BY(mutex) = false;
    std::uint64_t ringBytes CORE_GUARDED_BY(mutex) = 0;
    Entries entries CORE_GUARDED_BY(mutex);
    /// With each thread's ring, of which it gives back what it has.
    platform::ThreadEnd threadEnd{GiveBack};

    // Of the thread that writes, and of those who start and join it.
    std::ofstream file;
    std::uint64_t lost = 0;
    /// Records in a text that is not written yet.
    std::uint64_t unwritten = 0;
};

void Record(const TimelineRecord& record) noexcept {
    TimelineRing* ring = own.ring;
    if (own.recording != recordingNumber.load(std::memory_order_relaxed)) {
        ring = Timeline::Get().MakeRing();
    }
    if (ring != nullptr) {
        ring->Push(record);
    }
}

void RecordAll(TimelineRecord& record, const TraceProperty* properties,
               std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        record.Add(properties[i]);
    }
    Record(record);
}

// For folders below.
void TakeSpan(const char* name, std::int64_t begin, std::int64_t end) noexcept {
    Record(TimelineRecord(TimelineRecord::kSpan, name, begin, static_cast<std::uint64_t>(end)));
}

void TakeThreadName() noexcept {
    if (own.ring != nullptr && own.recording == recordingNumber.load(std::memory_order_relaxed)) {
        RecordThreadName(*own.ring);
    }
}

bool Timeline::Start(const char* path, std::uint64_t bytes) {
    const Lock lock(control);
    End();
    if (path == nullptr) {
        return false;
    }
    // Nothing is held back: each text is whole records.
    file.rdbuf()->pubsetbuf(nullptr, 0);
    const std::string utf8(path);
    file.open(std::filesystem::path(std::u8string(utf8.begin(), utf8.end())),
              std::ios::binary | std::ios::trunc);
    if (!file.is_open()) {
        file.clear();
        return false;
    }
    std::string program;
    platform::ExecutablePath(program);
    const auto name = std::find_if(program.rbegin(), program.rend(), platform::IsPathSeparator);
    file << TimelineBegin(platform::CurrentProcessId(), {name.base(), program.end()});
    lost = 0;
    {
        const Lock listLock(mutex);
        ringBytes = std::clamp(bytes != 0 ? bytes : kUsualBytes, kLeastBytes, kMostBytes);
        isEnding = false;
    }
    recordingNumber.fetch_add(1, std::memory_order_relaxed);
    try {
        const platform::SignalsBlocked blocked;
        thread = std::thread([this] { Serve(); });
    } catch (const std::system_error&) {
        file.close();
        return false;
    }
    if (!std::exchange(hasStarted, true)) {
        platform::KeepLibraryLoaded();
        platform::OnFork(BeforeFork, AfterFork, AfterForkInChild);
        std::atexit([] { CoreTimelineStop(); });
    }
    spanSink.store(&TakeSpan, std::memory_order_release);
    threadNamed.store(&TakeThreadName, std::memory_order_release);
    detail::isTimelineOn.store(true, std::memory_order_release);
    return true;
}

std::uint64_t Timeline::Stop() {
    const Lock lock(control);
    return End();
}

std::uint64_t Timeline::End() {
    if (!thread.joinable()) {
        return 0;
    }
    detail::isTimelineOn.store(false, std::memory_order_relaxed);
    spanSink.store(nullptr, std::memory_order_relaxed);
    threadNamed.store(nullptr, std::memory_order_relaxed);
    {
        const Lock listLock(mutex);
        isEnding = true;
        change.NotifyAll();
    }
    thread.join();
    file << kTimelineEnd;
    file.close();
    file.clear();
    return lost;
}

TimelineRing* Timeline::MakeRing() {
    if (own.ring != nullptr) {
        own.ring->Finish();
    }
    threadEnd.Set(nullptr);
    const Lock lock(mutex);
    own.ring = nullptr;
    own.recording = recordingNumber.load(std::memory_order_relaxed);
    try {
        entries.reserve(entries.size() + 1);
        entries.push_back({std::make_unique<TimelineRing>(ringBytes, platform::CurrentThreadId()),
                           own.recording});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    own.ring = entries.back().ring.get();
    threadEnd.Set(own.ring);
    if (*ThreadName() != '\0') {
        RecordThreadName(*own.ring);
    }
    return own.ring;
}

void Timeline::Serve() {
    platform::SetThreadName("core timeline");
    for (bool isLast = false; !isLast;) {
        {
            Lock lock(mutex);
            const auto deadline = std::chrono::steady_clock::now() + kWriteInterval;
            while (!isEnding && change.WaitUntil(lock, deadline)) {
            }
            isLast = isEnding;
        }
        try {
            WriteRings();
        } catch (const std::bad_alloc&) {
            // What the text had is lost, the rest waits.
            lost += std::exchange(unwritten, 0);
        }
    }
}

void Timeline::WriteRings() {
    const std::uint64_t recording = recordingNumber.load(std::memory_order_relaxed);
    std::vector<TimelineRing*> rings;
    {
        const Lock lock(mutex);
        for (const Entry& entry : entries) {
            if (entry.recording == recording) {
                rings.push_back(entry.ring.get());
            }
        }
    }
    std::string text;
    std::vector<const TimelineRing*> finished;
    for (TimelineRing* const ring : rings) {
        // Looked at first: nothing comes behind it.
        if (ring->IsFinished()) {
            finished.push_back(ring);
        }
        Take(*ring, text);
    }
    Put(text);
    const Lock lock(mutex);
    std::erase_if(entries, [&](const Entry& entry) {
        return entry.recording != recording ? entry.ring->IsFinished()
                                            : std::find(finished.begin(), finished.end(),
                                                        entry.ring.get()) != finished.end();
    });
}

void Timeline::Take(TimelineRing& ring, std::string& text) {
    const TimelineThread from{platform::CurrentProcessId(), ring.ThreadId()};
    TimelineRecord record;
    // What waits by now and no more: a thread may record faster than this.
    for (std::uint64_t left = ring.Waiting(); left > 0 && ring.Pop(record);) {
        left -= record.Words();
        ++unwritten;
        AppendTimelineRecord(record, from, text);
        if (text.size() >= kGoodWriteBytes) {
            Put(text);
        }
    }
    if (const std::uint64_t count = ring.TakeLost()) {
        lost += count;
        TimelineRecord note(CORE_TIMELINE_INSTANT, "records lost", TimelineClock(), 0);
        note.Add({"count", static_cast<std::int64_t>(count)});
        AppendTimelineRecord(note, from, text);
    }
}

void Timeline::Put(std::string& text) {
    // A text that was cut is the end of the file: what comes later is lost.
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.good()) {
        lost += unwritten;
    }
    unwritten = 0;
    text.clear();
}

void Timeline::BeforeFork() CORE_NO_THREAD_SAFETY_ANALYSIS {
    Get().control.lock();
    Get().mutex.lock();
}

void Timeline::AfterFork() CORE_NO_THREAD_SAFETY_ANALYSIS {
    Get().mutex.unlock();
    Get().control.unlock();
}

// The thread is the parent's, and so is the file: the child gives both up.
void Timeline::AfterForkInChild() CORE_NO_THREAD_SAFETY_ANALYSIS {
    Timeline& timeline = Get();
    if (timeline.thread.joinable()) {
        detail::isTimelineOn.store(false, std::memory_order_relaxed);
        spanSink.store(nullptr, std::memory_order_relaxed);
        threadNamed.store(nullptr, std::memory_order_relaxed);
        Forget(std::move(timeline.thread));
        Forget(std::move(timeline.entries));
        timeline.file.close();
        timeline.file.clear();
        new (&timeline.change) Condition;
    }
    AfterFork();
}

/// Runs `action`; what it throws ends here.
template <class Action>
auto Guarded(Action&& action) noexcept -> decltype(action()) {
    try {
        return action();
    } catch (...) {
        return {};
    }
}

}  // namespace

std::int64_t TimelineClock() noexcept {
    return SpanClock();
}

void RecordTimelineSpan(const char* name, std::int64_t begin, const TraceProperty* properties,
                        std::size_t count) noexcept {
    if (name == nullptr || !IsTimelineOn()) {
        return;
    }
    TimelineRecord record(TimelineRecord::kSpan, name, begin,
                          static_cast<std::uint64_t>(SpanClock()));
    RecordAll(record, properties, count);
}

void RecordTimeline(CoreTimelinePhase phase, const char* name, std::uint64_t id,
                    const TraceProperty* properties, std::size_t count) noexcept {
    switch (phase) {
        case CORE_TIMELINE_INSTANT:
        case CORE_TIMELINE_BEGIN:
        case CORE_TIMELINE_END:
        case CORE_TIMELINE_ASYNC_BEGIN:
        case CORE_TIMELINE_ASYNC_STEP:
        case CORE_TIMELINE_ASYNC_END:
        case CORE_TIMELINE_FLOW_BEGIN:
        case CORE_TIMELINE_FLOW_STEP:
        case CORE_TIMELINE_FLOW_END:
            break;
        default:
            return;
    }
    if (name != nullptr && IsTimelineOn()) {
        TimelineRecord record(phase, name, SpanClock(), id);
        RecordAll(record, properties, count);
    }
}

}  // namespace core

int CoreTimelineStart(const char* path, uint64_t bytesPerThread) {
    return core::Guarded([&] { return core::Timeline::Get().Start(path, bytesPerThread); }) ? 0 : 1;
}

uint64_t CoreTimelineStop(void) {
    if (core::platform::OtherThreadsAreGone()) {
        return 0;
    }
    return core::Guarded([] { return core::Timeline::Get().Stop(); });
}

void CoreTimelineRecord(int phase, const char* name, uint64_t id) {
    core::RecordTimeline(static_cast<CoreTimelinePhase>(phase), name, id, nullptr, 0);
}

void CoreTimelineCounter(const char* name, double value) {
    if (name != nullptr && core::IsTimelineOn()) {
        core::Record(core::TimelineRecord(core::TimelineRecord::kCounter, name, core::SpanClock(),
                                          std::bit_cast<std::uint64_t>(value)));
    }
}
